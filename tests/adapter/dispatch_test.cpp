#include "adapter/vgsrv.h"
#include "adapters.h"

#include <gtest/gtest.h>

namespace {

// The server of calls inside the process, which executes the same steps as every server.

class Guard : public Animal {
public:
    Guard() : Animal("guard", type) {}
    void* _cast(const CORBA_TypeInfo* target) override {
        return *target == type ? static_cast<CORBA_Object*>(this) : Animal::_cast(target);
    }
    std::function<void()> act;

    static const CORBA_TypeInfo type;
    static const CORBA_TypeInfo skeletons;
};

void answer(void* object, CORBA_MarshalInBuffer& in, CORBA_OctetSequence*, const char*, void* pdata) {
    CORBA_ULong number = 0;
    in >> number;
    auto& guard = static_cast<Guard&>(*static_cast<CORBA_Object*>(object));
    if (guard.act)
        guard.act();
    *guard._prepare_reply(pdata) << number + 1;
}

constexpr TRXMethod methods[] = {{"answer", answer}};
const CORBA_TypeInfo Guard::type("Zoo::Guard", "IDL:Zoo/Guard:1.0", nullptr, &baseType);
const CORBA_TypeInfo Guard::skeletons("Zoo::Guard", 1, methods);

// Status and contents of the reply to one call with request id 7.
std::string called(TRXGIOPServer& server, CORBA_Object* target, const char* operation = "answer",
                   bool expected = true) {
    CORBA_MarshalOutBuffer buffer(255);
    buffer << CORBA_ULong{7};
    GIOP::RequestHeader header;
    header.request_id = 5;
    header.response_expected = expected;
    header.operation = operation;
    server.execute_local(header, &buffer, target);
    if (!expected)
        return "";
    CORBA_MarshalInBuffer in(buffer.data(), buffer.offset());
    GIOP::ReplyHeader reply;
    in >> reply;
    if (reply.reply_status == GIOP::NO_EXCEPTION) {
        CORBA_ULong number = 0;
        in >> number;
        return std::to_string(number);
    }
    CORBA_String_var id;
    if (reply.reply_status == GIOP::LOCATION_FORWARD)
        return "forward";
    in >> id;
    return id.in();
}

// An exception that cannot be written.
class Unwritable : public CORBA_UserException {
public:
    CORBA_Exception* _copy() const override { return new Unwritable; }
    void _write(TRXostream&) const override { throw CORBA_BAD_PARAM(); }
};

TEST(Dispatch, repliesWithWhatTheServantDoes) {
    TRXGIOPServer server(nullptr, nullptr, false);
    auto* guard = new Guard;
    CORBA_Object_var held(guard);
    const struct {
        const char* operation;
        std::function<void()> act;
        const char* reply;
    } rows[] = {
        {"answer", nullptr, "8"},
        {"nothing", nullptr, "IDL:omg.org/CORBA/BAD_OPERATION:1.0"},
        {"answer", [] { throw CORBA_ORB_InvalidName(); }, "IDL:omg.org/CORBA/ORB/InvalidName:1.0"},
        {"answer", [] { throw Unwritable(); }, "IDL:omg.org/CORBA/BAD_PARAM:1.0"},
        {"answer", [] { throw 7; }, "IDL:omg.org/CORBA/UNKNOWN:1.0"},
        {"answer", [&] { EXPECT_EQ(called(server, guard, "answer", false), ""); }, "8"},
        {"answer",
         [&] {
             guard->skel().synch = true;
             EXPECT_EQ(called(server, guard), "IDL:omg.org/CORBA/TRANSIENT:1.0");
         },
         "8"},
        {"answer", [&] { held = CORBA_Object::_nil(); }, "8"}, // in its own call
    };
    for (const auto& row : rows) {
        const bool nests = &row == &rows[5];
        guard->act = [&, depth = 0]() mutable {
            if (row.act && (!nests || depth++ == 0))
                row.act();
        };
        EXPECT_EQ(called(server, guard, row.operation), row.reply) << &row - rows;
    }
    EXPECT_EQ(Animal::alive, 0);
    EXPECT_EQ(TRXGlobalTable::instance()->currentObject.in(), nullptr);
}

// Writes its steps into a text that both of a chain share; acts as its role says.
class Watcher : public TRXServerInterceptor {
public:
    Watcher(std::string& log, char mark, const std::string& role) : log_(log), mark_(mark), role_(role) {}

    CORBA_MarshalInBuffer* receive_request(const GIOP::RequestHeader&, CORBA_Object*& target,
                                           CORBA_MarshalInBuffer*, TRXClosure& closure) override {
        note("receive");
        EXPECT_EQ(closure.data(), nullptr);
        EXPECT_TRUE(TRXGlobalTable::instance()->currentObject.in() == target || role_.empty());
        closure.data(new TRXClosureData);
        if (role_ == "refuses")
            throw CORBA_NO_PERMISSION();
        if (role_ == "hides")
            CORBA_release(std::exchange(target, nullptr));
        if (role_ != "reads")
            return nullptr;
        static CORBA_ULong hundred = 100;
        return new CORBA_MarshalInBuffer(reinterpret_cast<char*>(&hundred), sizeof hundred);
    }
    void prepare_reply(const GIOP::RequestHeader&, GIOP::ReplyHeader&, CORBA_Object*,
                       TRXClosure& closure) override {
        note(closure.data() ? "prepare" : "PREPARE");
    }
    CORBA_MarshalOutBuffer* send_reply(const GIOP::RequestHeader&, const GIOP::ReplyHeader& header,
                                       CORBA_Object*, CORBA_MarshalOutBuffer*, CORBA_Environment& environment,
                                       TRXClosure&) override {
        note("send" + std::to_string(header.reply_status));
        if (role_ == "fails")
            environment.exception(new CORBA_NO_PERMISSION);
        if (role_ != "writes")
            return nullptr;
        auto* buffer = new CORBA_MarshalOutBuffer(255);
        *buffer << header << CORBA_ULong{42};
        return buffer;
    }
    void reply_sent(const GIOP::RequestHeader&, CORBA_Object*, TRXClosure&) override { note("sent"); }
    void exception_occurred(const GIOP::RequestHeader&, CORBA_Environment& environment,
                            TRXClosure&) override {
        note("exception");
        if (role_ == "replaces")
            environment.exception(new CORBA_NO_PERMISSION);
    }

private:
    void note(const std::string& step) {
        log_ += mark_ + step + " ";
        if (role_ == "raises " + step)
            throw CORBA_NO_PERMISSION();
    }

    std::string& log_;
    const char mark_;
    const std::string role_;
};

// Leaves the chain while the chain asks it, when told so.
struct Watchers : TRXServerInterceptorFactory {
    Watchers(std::string& l, char m, const char* r) : log(l), mark(m), role(r) {}
    TRXServerInterceptor* create(int fd, const IOP::TaggedProfile& profile) override {
        EXPECT_EQ(fd, -1);
        EXPECT_EQ(profile.tag, IOP::TAG_TRX_LOCAL);
        EXPECT_EQ(IIOP::decoded(profile.profile_data).iiop_version.minor, 1);
        if (role == "leaves")
            TRXChainServerIntercepFactory::remove(this);
        return role == "none" ? nullptr : new Watcher(log, mark, role);
    }
    std::string& log;
    char mark;
    std::string role;
};

TEST(Dispatch, showsTheInterceptorsWhatPasses) {
    auto* guard = new Guard;
    const CORBA_Object_var held(guard);
    const std::string usual = "areceive breceive bprepare aprepare bsend0 asend0 bsent asent ";
    const std::string noPermission = "IDL:omg.org/CORBA/NO_PERMISSION:1.0";
    const struct {
        const char *role, *operation;
        std::string reply, steps;
    } rows[] = {
        {"none", "answer", "8", "breceive bprepare bsend0 bsent "},
        {"leaves", "answer", "8", usual},
        {"reads", "answer", "101", usual},
        {"writes", "answer", "42", usual},
        {"refuses", "answer", noPermission, "areceive aexception aprepare asend2 asent "},
        {"hides", "answer", "IDL:omg.org/CORBA/OBJECT_NOT_EXIST:1.0",
         "areceive breceive bexception aexception bprepare aprepare bsend2 asend2 bsent asent "},
        {"replaces", "nothing", noPermission,
         "areceive breceive bexception aexception bprepare aprepare bsend2 asend2 bsent asent "},
        {"fails", "answer", noPermission,
         "areceive breceive bprepare aprepare bsend0 asend0 bexception aexception bprepare aprepare bsend2 "
         "asend2 bprepare aprepare bsent asent "},
        {"raises prepare", "answer", noPermission,
         "areceive breceive bprepare aprepare bexception aexception bsend2 asend2 bsent asent "},
        {"raises send0", "answer", noPermission,
         "areceive breceive bprepare aprepare bsend0 asend0 bexception aexception bprepare aprepare bsend2 "
         "asend2 bsent asent "},
        {"raises exception", "nothing", noPermission,
         "areceive breceive bexception aexception bprepare aprepare bsend2 asend2 bsent asent "},
        {"raises sent", "answer", "8", usual},
    };
    for (const auto& row : rows) {
        std::string log;
        const TRXRef<Watchers> first(new Watchers(log, 'a', row.role)), second(new Watchers(log, 'b', ""));
        TRXChainServerIntercepFactory::add(first.get());
        TRXChainServerIntercepFactory::add(second.get());
        TRXGIOPServer server(nullptr, nullptr, false);
        TRXChainServerIntercepFactory::remove(first.get());
        TRXChainServerIntercepFactory::remove(second.get());
        EXPECT_EQ(called(server, guard, row.operation), row.reply) << row.role;
        EXPECT_EQ(log, row.steps) << row.role;
    }
}

} // namespace
