#include "adapter/adapter_factory.h"
#include "base/exit_list.h"
#include "command_line.h"
#include "invoke/transport/transport_settings.h"
#include "marshal/exception/orb_exceptions.h"
#include "marshal/marshal_settings.h"
#include "net/descriptors.h"
#include "net/dispatcher.h"
#include "object/global_table.h"
#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

using namespace harbolance;

namespace {

CORBA_ORB* start(CommandLine line) { return CORBA_ORB_init(line.argc, line.argv()); }

TEST(StartUp, takesItsOwnWordsAndGivesTheSameOrbEachTime) {
    CommandLine line{"prog",        "-ORBfoo", "bar",       "-OAid", "x", "-a",
                     "-LOCtimeout", "5",       "-ORBagent", "0",     "-r"};
    CORBA_ORB* orb = CORBA_ORB_init(line.argc, line.argv());
    EXPECT_EQ(line.left(), (Words{"prog", "-OAid", "x", "-a", "-r"}));
    EXPECT_EQ(TRXORB::current(), orb);
    EXPECT_EQ(TRXORB::current()->property("ORBfoo"), "bar");
    EXPECT_FALSE(TRXORB::current()->agentEnabled());
    EXPECT_EQ(start({"-ORBagent", "1", "-ORBid", "ORB"}), orb);
    EXPECT_TRUE(TRXORB::current()->agentEnabled());
    EXPECT_EQ(CORBA_ORB_init(), orb);
    EXPECT_EQ(start({"-ORBid", "Nowhere"}), nullptr);
    CommandLine named{"-ORBid", "Nowhere"};
    EXPECT_EQ(CORBA_ORB_init(named.argc, named.argv(), "ORB"), orb);
    EXPECT_EQ(TRXORBFactory::find(CORBA_Long{0}), TRXORBFactory::find("ORB"));
    EXPECT_EQ(TRXORBFactory::find(CORBA_Long{77}), nullptr);
}

// In order: each row adds its words to what the rows before it have set.
TEST(StartUp, fillsTheSettingsOfTheLayers) {
    const auto settings = [&marshal = marshalSettings, &transport = transportSettings] {
        return std::string(TRXGlobalTable::instance()->backCompat ? "compat " : "") +
               (marshal.backDII ? "dii " : "") + (marshal.nullString ? "null " : "") +
               (marshal.tcIndirection ? "" : "flat ") + (transport.tcpNoDelay ? "nodelay " : "") +
               (orbSettings.cacheDSQuery ? "" : "uncached ") + std::to_string(transport.sendBufSize) + " " +
               std::to_string(transport.rcvBufSize) + " " + std::to_string(orbSettings.agentPort);
    };
    EXPECT_EQ(settings(), "0 0 0");
    const struct {
        CommandLine words;
        const char* settings;
    } rows[] = {
        {{"-ORBbackcompat", "1"}, "compat dii null 0 0 0"},
        {{"-ORBnullstring", "0", "-ORBbackcompat", "1"}, "compat dii 0 0 0"},
        {{"-ORBbackcompat", "0", "-ORBbackdii", "1", "-ORBtcindirection", "0"}, "dii flat 0 0 0"},
        {{"-ORBtcpdelay", "-ORBcacheDSQuery", "0"}, "dii flat nodelay uncached 0 0 0"},
        {{"-ORBtcpnodelay", "-ORBcacheDSQuery", "256"}, "dii flat 0 0 0"}, // the number, not its low byte
        {{"-ORBsendbufsize", "1", "-ORBrcvbufsize", "65535"}, "dii flat 1 65535 0"},
        {{"-ORBsendbufsize", "65536", "-ORBrcvbufsize", "-1"}, "dii flat 0 0 0"},
        {{"-ORBagentport", "0"}, "dii flat 0 0 0"},
        {{"-ORBagentport", "15000"}, "dii flat 0 0 15000"},
        {{"-ORBagentport", "16000"}, "dii flat 0 0 15000"}, // the first one stands
    };
    for (const auto& row : rows) {
        start(row.words);
        EXPECT_EQ(settings(), row.settings);
    }
}

// Appends its mark, the hook and the number of words to a record.
struct Recorder : TRXInit {
    Recorder(std::string& r, const char* m, long priority) : TRXInit(priority), record(r), mark(m) {}
    void ORB_init(int& argc, char**, CORBA_ORB*) override { record += mark + std::to_string(argc) + " "; }
    void BOA_init(int& argc, char**, CORBA_BOA*) override {
        record += mark + "b" + std::to_string(argc) + " ";
    }
    std::string& record;
    std::string mark;
};

TEST(Initializers, runByPriorityAndThenInTheOrderOfTheirMaking) {
    std::string record;
    const Recorder late(record, "late", 5), first(record, "first", -20), one(record, "one", 0);
    { const Recorder gone(record, "gone", 0); }
    const Recorder two(record, "two", 0);
    start({"prog", "-ORBfoo", "bar", "-x"});
    CORBA_ORB_init();
    int argc = 3;
    TRXInit::initializeAll(argc, nullptr, static_cast<CORBA_BOA*>(nullptr));
    EXPECT_EQ(record, "first2 one2 two2 late2 first0 one0 two0 late0 firstb3 oneb3 twob3 lateb3 ");
}

// Resolves to a place that only looks like an object.
class Fixed : public TRXResolver {
public:
    explicit Fixed(const char* name) : TRXResolver(name) {}
    CORBA_Object* resolve(CORBA_ORB*) override { return reinterpret_cast<CORBA_Object*>(this); }
};

TEST(InitialReferences, areFoundByNameAndTheLaterOfOneNameCounts) {
    CORBA_ORB* orb = CORBA_ORB_init();
    const auto resolved = [&] { return reinterpret_cast<Fixed*>(orb->resolve_initial_references("Clock")); };
    EXPECT_THROW(orb->resolve_initial_references(nullptr), CORBA_ORB_InvalidName);
    auto early = std::make_unique<Fixed>("Clock");
    EXPECT_EQ(resolved(), early.get());
    auto later = std::make_unique<Fixed>("Clock");
    EXPECT_EQ(resolved(), later.get());
    early.reset();
    EXPECT_EQ(resolved(), later.get());
    const CORBA_StringSequence_var names = orb->list_initial_services();
    EXPECT_THAT(std::vector<std::string>(names->begin(), names->end()),
                testing::IsSupersetOf({"LocationService", "Clock"}));
    later.reset();
    EXPECT_THROW(resolved(), CORBA_ORB_InvalidName);
}

TEST(StartUp, makesFailingAllocationsRaise) {
    CORBA_ORB_init();
    errno = ENOMEM;
    try {
        std::get_new_handler()();
        FAIL();
    } catch (const CORBA_NO_RESOURCES& raised) {
        EXPECT_EQ(raised.minor(), CORBA_ULong{ENOMEM});
    }
}

void tell() { std::fputs(AllAdapters::instance().shuttingDown() ? "after " : "before ", stderr); }

// Starts the ORB, with a function of the C library's list registered before and one of ours after it.
template <class End>
[[noreturn]] void startAndEnd(End end) {
    std::atexit(tell);
    CORBA_ORB_init();
    registerExitFunction(tell);
    end();
    std::_Exit(1);
}

void waitBriefly() {
    timeval none{};
    dpDispatcher::instance()->dispatch(&none);
}

TEST(EndDeathTest, runsWhatRegisteredLaterFirst) {
    EXPECT_EXIT(startAndEnd([] { std::exit(3); }), testing::ExitedWithCode(3), "^before after $");
    // A signal ends the process at its next wait, without the functions of the C library.
    EXPECT_EXIT(startAndEnd([] { std::raise(SIGINT), waitBriefly(); }), testing::ExitedWithCode(0),
                "^after $");
    EXPECT_EXIT(startAndEnd([] { std::raise(SIGTERM), pollUntil(0, 0, Deadline(0)); }),
                testing::ExitedWithCode(0), "^after $");
    for (const int first : {SIGTERM, SIGINT}) {
        EXPECT_EXIT(startAndEnd([first] { std::raise(first), std::raise(SIGTERM); }),
                    testing::KilledBySignal(SIGTERM), "^$");
    }
    const auto withOwnHandlers = [] {
        std::signal(SIGINT, [](int) { std::fputs("mine", stderr); });
        std::signal(SIGTERM, SIG_IGN);
        startAndEnd([] { std::raise(SIGTERM), std::raise(SIGINT), waitBriefly(); });
    };
    EXPECT_EXIT(withOwnHandlers(), testing::ExitedWithCode(1), "^mine$");
    // As the last word it is no id, and lacks its value.
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), start({"prog", "-ORBid"})), testing::ExitedWithCode(0),
                "^Harbolance:: -ORBid not followed by value\n$");
}

} // namespace
