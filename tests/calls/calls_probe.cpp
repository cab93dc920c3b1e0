// Calls the object whose reference is the first argument, if there is one. Reads commands from standard
// input, one per line, and ends each with the line "= RESULT"; RESULT is the exception's name if one was
// raised:
//
//     bind [NAME [HOST]]: from now on uses the object of that name on that host, or any Echo
//     moved NOTES: calls until the object has another number of notes
//     null COUNT, say TEXT, note COUNT (one-way, with 1), notes, relay DEPTH, fail HOW, crash, exists, is_a
//     ID, hash give OCTETS, take OCTETS, turn COUNT: [ok] when the values that come back are right another:
//     also calls a second object of the server; late: and again after that object has gone defer COUNT: sends
//     so many requests before the first reply is taken limits SEND RECEIVE CONNECT, rebind 0 or 1: options of
//     the reference, or of all references bound later spent COUNT: the allocations of so many null calls, in
//     both processes cancelled: a timer cancels the request while its reply is being waited for dropped: the
//     server calls back a servant that releases the called reference; the last command load ROUNDS: calls of
//     every kind; the descriptors and heap octets that they cost

#include "echo_servant.h"
#include "invoke/stub/vstub.h"
#include "net/dispatcher.h"

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <vector>

using std::string;

namespace {

Calls::Echo_var echo;
Calls::Echo_var self;

Calls::Octets octets(CORBA::ULong count) {
    Calls::Octets result;
    result.length(count);
    for (CORBA::ULong i = 0; i < count; ++i)
        result[i] = static_cast<CORBA::Octet>(i * 7 + i / 251);
    return result;
}

bool equal(const Calls::Octets& a, const Calls::Octets& b) {
    return a.length() == b.length() && std::equal(&a[0], &a[0] + a.length(), &b[0]);
}

string give(CORBA::ULong count) {
    const Calls::Octets data = octets(count);
    const Calls::Octets_var result = echo->give(data);
    return count == 0 || equal(*result, data) ? "ok" : "different";
}

string turn(CORBA::ULong count) {
    Calls::Records data;
    data.length(count);
    for (CORBA::ULong i = 0; i < count; ++i)
        data[i] = {static_cast<CORBA::Long>(i), i / 2.0, std::to_string(i).c_str()};
    const Calls::Records_var result = echo->turn(data);
    if (result->length() != count)
        return "another length";
    for (CORBA::ULong i = 0; i < count; ++i) {
        const Calls::Record& record = result[count - 1 - i];
        if (record.number != static_cast<CORBA::Long>(i) || record.value != i / 2.0)
            return "different";
    }
    return "ok";
}

string defer(int count) {
    auto& stub = *TRXStubInfo::of(echo);
    std::vector<CORBA::MarshalOutBuffer_var> requests;
    for (int i = 0; i < count; ++i) {
        requests.emplace_back(stub.create_request("say", 1));
        *requests.back() << std::to_string(i).c_str();
        stub.send(requests.back(), 1);
    }
    for (int i = count; i-- > 0;) {
        const CORBA::MarshalInBuffer_var reply = stub.receive_reply(requests[static_cast<size_t>(i)]);
        CORBA::String_var text;
        *reply >> text;
        if (string(text.in()) != "echo " + std::to_string(i))
            return text.in();
    }
    return "ok";
}

string another(bool late) {
    const Calls::Echo_var other = echo->another();
    other->note(2);
    string result = std::to_string(other->notes());
    echo->forget(other);
    if (late)
        other->null();
    return result;
}

void limits(std::istream& in, bool rebind) {
    const std::unique_ptr<CORBA_BindOptions> options(echo ? echo->_bind_options()
                                                          : CORBA::Object::_default_bind_options());
    if (rebind)
        in >> options->enableRebind;
    else
        in >> options->sendTimeout >> options->receiveTimeout >> options->connectTimeout;
    if (echo)
        echo->_bind_options(*options);
    else
        CORBA::Object::_default_bind_options(*options);
}

int descriptors() {
    int count = 0;
    DIR* const folder = ::opendir("/proc/self/fd");
    while (::readdir(folder))
        ++count;
    ::closedir(folder);
    return count;
}

void round() {
    echo->null();
    echo->note(1);
    give(100);
    turn(3);
    defer(2);
    another(false);
    try {
        CORBA::String_var(echo->say("no"));
    } catch (const Calls::Refused&) {
        // as it has to
    }
    try {
        another(true);
    } catch (const CORBA::OBJECT_NOT_EXIST&) {
        // as it has to
    }
}

string load(int rounds) {
    for (int i = 0; i < 100; ++i)
        round(); // until free lists and tables have what they need
    const int before = descriptors();
    const size_t used = ::mallinfo2().uordblks;
    for (int i = 0; i < rounds; ++i)
        round();
    const size_t more = ::mallinfo2().uordblks - used;
    // How octets arrive decides whether a free list needs one more block of 8 KiB to receive into.
    return std::to_string(descriptors() - before) + " " +
           (more < 32768 || ::mallinfo2().uordblks < used ? "bounded" : std::to_string(more));
}

void bindTo(const string& name, const string& host) {
    echo = Calls::Echo::_bind(name.c_str(), host.empty() ? nullptr : host.c_str());
}

void moved(CORBA::ULong notes) {
    while (echo->notes() == static_cast<CORBA::Long>(notes)) {
    }
}

string spent(CORBA::ULong count) {
    const auto allocations = [] { return allocationCount() + echo->allocations(); };
    allocations();
    const uint64_t before = allocations();
    for (CORBA::ULong i = 0; i < count; ++i)
        echo->null();
    return std::to_string(allocations() - before);
}

string cancelled() {
    struct Canceller : dpIOHandler {
        void timerExpired(long, long) override { stub.cancel(request); }
        TRXStubInfo& stub = *TRXStubInfo::of(echo);
        CORBA::MarshalOutBuffer_var request{stub.create_request("null", 1)};
    } canceller;
    canceller.stub.send(canceller.request, 1);
    dpDispatcher::instance()->startTimer(0, 0, &canceller);
    release_buffer(canceller.stub.receive_reply(canceller.request));
    return "a reply";
}

string dropped() {
    struct Dropping : EchoServant {
        CORBA::Long relay(Calls::Echo_ptr, CORBA::Long) override {
            echo = Calls::Echo::_nil();
            return 1;
        }
    };
    const Calls::Echo_var dropping = new Dropping;
    self->_boa()->obj_is_ready(dropping);
    return std::to_string(echo->relay(dropping, 2));
}

string run(const string& line) {
    std::istringstream in(line);
    string command;
    in >> command;
    const auto number = [&in] {
        CORBA::ULong value = 0;
        in >> value;
        return value;
    };
    const auto word = [&in] {
        string value;
        in >> value;
        return value;
    };
    if (command == "bind") {
        const string name = word();
        return bindTo(name, word()), "ok";
    }
    if (command == "moved")
        return moved(number()), "ok";
    if (command == "null") {
        for (CORBA::ULong i = number(); i > 0; --i)
            echo->null();
        return "ok";
    }
    if (command == "say")
        return CORBA::String_var(echo->say(word().c_str())).in();
    if (command == "note") {
        for (CORBA::ULong i = number(); i > 0; --i)
            echo->note(1);
        return "ok";
    }
    if (command == "notes")
        return std::to_string(echo->notes());
    if (command == "next")
        return std::to_string(echo->next(static_cast<Calls::Color>(number())));
    if (command == "relay")
        return std::to_string(echo->relay(self, static_cast<CORBA::Long>(number())));
    if (command == "fail" || command == "crash")
        return command == "crash" ? (echo->crash(), "") : (echo->fail(word().c_str()), "");
    if (command == "exists")
        return echo->_non_existent() ? "no" : "yes";
    if (command == "is_a")
        return echo->_is_a(word().c_str()) ? "yes" : "no";
    if (command == "hash")
        return echo->_hash(1000) == echo->_hash(0) % 1000 ? "ok" : "different";
    if (command == "give")
        return give(number());
    if (command == "take")
        return echo->take(octets(number())), "ok";
    if (command == "turn")
        return turn(number());
    if (command == "another" || command == "late")
        return another(command == "late");
    if (command == "defer")
        return defer(static_cast<int>(number()));
    if (command == "cancelled" || command == "dropped")
        return command == "dropped" ? dropped() : cancelled();
    if (command == "spent")
        return spent(number());
    if (command == "load")
        return load(static_cast<int>(number()));
    if (command == "limits" || command == "rebind")
        return limits(in, command == "rebind"), "ok";
    return "unknown command";
}

// Commands on standard input. Between them the program serves.
class Commands : public dpIOHandler {
public:
    int inputReady(int fd) override {
        char octets[4096];
        const ssize_t count = ::read(fd, octets, sizeof octets);
        over = count <= 0;
        if (over)
            return -1;
        text_.append(octets, static_cast<size_t>(count));
        for (size_t end = 0; (end = text_.find('\n')) != string::npos;) {
            const string line = text_.substr(0, end);
            text_.erase(0, end + 1);
            const string said = result(line); // which may print
            std::cout << "= " << said << std::endl;
        }
        return 0;
    }

    bool over = false;

private:
    static string result(const string& line) {
        try {
            return run(line);
        } catch (const CORBA::SystemException& exception) {
            return string(exception._name()) + " " + std::to_string(exception.completed());
        } catch (const Calls::Refused& refused) {
            return string("Refused ") + refused.reason.in() + " " + std::to_string(refused.code);
        } catch (const CORBA::Exception& exception) {
            return exception._name();
        }
    }

    string text_;
};

} // namespace

int main(int argc, char** argv) {
    const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    const CORBA::BOA_var boa = orb->BOA_init(argc, argv);
    self = new EchoServant;
    boa->obj_is_ready(self);
    if (argc > 1)
        echo = Calls::Echo::_narrow(CORBA::Object_var(orb->string_to_object(argv[1])));
    Commands commands;
    dpDispatcher& loop = *dpDispatcher::instance();
    loop.link(STDIN_FILENO, dpDispatcher::readMask, &commands);
    while (!commands.over)
        loop.dispatch();
    echo = Calls::Echo::_nil();
    return 0;
}
