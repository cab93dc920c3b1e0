// The first octet of the input is the size of the pieces in which a client's stream is sent to a server.
// Messages follow, each beginning with an octet of flags: either a count and so many octets, which are sent
// unchanged; or an operation, a count of two octets and so many octets of arguments, which are sent as a
// request to the servant. The size of the pieces must not matter, and the server must not connect anywhere.

#include "fuzzing.h"
#include "hostile_skel.h"

#include "adapter/vgsrv.h"
#include "invoke/transport/viconn.h"
#include "marshal/reference/vutil.h"
#include "net/dispatcher.h"

#include <harbolance/corba.h>

#include <algorithm>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using namespace harbolance;

// Replaces the system's function.
extern "C" int connect(int, const sockaddr*, socklen_t) {
    require(false, "what comes in is not called");
    return -1;
}

namespace {

constexpr size_t longestInput = 64 * 1024; // a socket pair takes it at once

class Servant : public _sk_Hostile::_sk_Target {
public:
    Servant() : _sk_Target("target") {}

    Hostile::Octets* text() override { return new Hostile::Octets(text_); }
    void text(const Hostile::Octets& text) override { text_ = text; }
    Hostile::Tree* turn(Hostile::Tree& tree, const Hostile::Choice& choice, Hostile::Kind& kind) override {
        kind = choice._d();
        auto* result = new Hostile::Tree(tree);
        std::swap(tree.pair[0], tree.pair[1]);
        return result;
    }
    Hostile::Mixed* mix(const Hostile::Mixed& mixed, CORBA::Any& value) override {
        if (mixed.flag)
            throw Hostile::Failed(Hostile::second, mixed);
        value = mixed.value;
        return new Hostile::Mixed(mixed);
    }
    CORBA::Object_ptr refer(CORBA::Object_ptr any_object, Hostile::Target_ptr& target,
                            Hostile::Target_ptr& other) override {
        other = Hostile::Target::_duplicate(target);
        return CORBA::Object::_duplicate(any_object);
    }
    Hostile::Row_slice* rows(const Hostile::Row row, char*& text, CORBA::WChar*& broad,
                             CORBA::TypeCode_ptr& type) override {
        type = CORBA::TypeCode::_duplicate(CORBA::_tc_any);
        std::swap(text[0], text[0]);
        static_cast<void>(broad);
        return Hostile::Row_dup(row);
    }
    void tell(const CORBA::Any&) override {}

private:
    Hostile::Octets text_;
};

struct Server {
    Server() {
        char name[] = "fuzz", address[] = "-OAipaddr", local[] = "127.0.0.1", agent[] = "-OAagent",
             no[] = "0";
        char* argv[] = {name, address, local, agent, no, nullptr};
        int argc = 5;
        CORBA::ORB_ptr orb = CORBA::ORB_init(argc, argv);
        adapter = static_cast<TRXAdapter*>(orb->BOA_init(argc, argv));
        adapter->obj_is_ready(servant);
        const TRXPersistentId id("IDL:Hostile/Target:1.0", "target");
        const CORBA_OctetSequence_var octets(TRXUtil::key_from_id(id));
        key.assign(reinterpret_cast<const char*>(octets->buffer()), octets->length());
    }
    Servant* servant = new Servant; // outlives the adapter, which the library destroys at the end
    TRXAdapter* adapter;
    std::string key;
};

const Server& server() {
    static const auto& only = *new Server;
    return only;
}

// --- The stream --------------------------------------------------------------------------------------------

class Message {
public:
    explicit Message(bool little)
        : octets_{'G', 'I', 'O', 'P', 1, 0, static_cast<char>(little), 0}, little_(little) {
        number(0);
    }
    void octet(unsigned value) { octets_ += static_cast<char>(value); }
    void number(size_t value) {
        octets_.append(-octets_.size() % 4, ' ');
        for (unsigned i = 0; i < 4; ++i)
            octet(value >> (little_ ? 8 * i : 24 - 8 * i) & 255);
    }
    void sequence(const std::string& octets) {
        number(octets.size());
        octets_ += octets;
    }
    const std::string& with(std::string_view arguments) {
        octets_ += arguments;
        const std::string rest = octets_.substr(12);
        octets_.resize(8);
        sequence(rest);
        return octets_;
    }

private:
    std::string octets_;
    bool little_;
};

// Removes the next part from the input and returns it.
std::string_view part(std::string_view& input, size_t count) {
    const std::string_view taken = input.substr(0, count);
    input.remove_prefix(taken.size());
    return taken;
}
unsigned octet(std::string_view& input) {
    const std::string_view taken = part(input, 1);
    return taken.empty() ? 0 : static_cast<unsigned char>(taken[0]);
}

std::string nextMessage(std::string_view& input, CORBA_ULong id) {
    const unsigned flags = octet(input);
    if ((flags & 7) == 7)
        return std::string(part(input, octet(input)));
    static constexpr const char* operations[] = {"turn",          "mix",        "refer",     "rows",
                                                 "tell",          "_get_text",  "_set_text", "_is_a",
                                                 "_non_existent", "_interface", "__bind",    "none"};
    Message message((flags & 1) != 0);
    message.number(0);
    message.number(id);
    message.octet((flags & 2) == 0);
    message.sequence(server().key);
    message.sequence(std::string(operations[octet(input) % std::size(operations)]) + '\0');
    message.sequence("");
    const size_t high = octet(input);
    return message.with(part(input, high << 8 | octet(input)));
}

// --- The connection ----------------------------------------------------------------------------------------

// The server's answers to the stream, sent in pieces.
std::string answers(const std::string& stream, size_t piece) {
    server().servant->text(Hostile::Octets()); // which the stream may read before it sets it
    int fds[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) == 0, "there are sockets");
    std::string result;
    {
        auto* transport = new TRXTCPConn;
        const TRXConnection_var owned(transport);
        transport->attach(fds[0]);
        const GIOPUse connection(new TRXGIOPConn(transport));
        const TRXRef<TRXGIOPServer> served(new TRXGIOPServer(server().adapter, connection.get(), true));
        connection->register_io();
        const auto serve = [&] {
            char octets[65536];
            timeval now{};
            bool more = true;
            while (more) {
                more = dpDispatcher::instance()->dispatch(&now);
                ssize_t count = 0;
                while ((count = ::recv(fds[1], octets, sizeof octets, MSG_DONTWAIT)) > 0) {
                    result.append(octets, static_cast<size_t>(count));
                    more = true;
                }
            }
        };
        for (size_t at = 0; at < stream.size(); at += piece) {
            ::send(fds[1], stream.data() + at, std::min(piece, stream.size() - at),
                   MSG_NOSIGNAL | MSG_DONTWAIT);
            serve();
        }
        ::shutdown(fds[1], SHUT_WR);
        serve();
        require(served->busy() == 0 && served->_refcount() == 1, "nothing of the connection is left");
    }
    ::close(fds[1]);
    return result;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    silenceComplaints();
    if (size < 1 || size > longestInput)
        return 0;
    std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::string stream;
    for (CORBA_ULong id = 0; !input.empty(); ++id)
        stream += nextMessage(input, id);
    if (stream.size() > longestInput)
        return 0;
    const size_t piece = 1 + size_t{data[0]} * data[0] / 8;
    require(answers(stream, piece) == answers(stream, longestInput), "replies do not depend on the pieces");
    return 0;
}
