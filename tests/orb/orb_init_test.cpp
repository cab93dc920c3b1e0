#include "base/exit_list.h"
#include "command_line.h"
#include "console.h"
#include "invoke/transport/transport_settings.h"
#include "marshal/exception/vexcept.h"
#include "marshal/marshal_settings.h"
#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>

using namespace harbolance;

namespace {

CORBA_ORB* start(CommandLine line) { return CORBA_ORB_init(line.argc, line.argv(), nullptr); }

TEST(OrbInit, leavesWhatIsNotItsOwn) {
    CommandLine line{"prog",        "-ORBfoo", "bar",       "-OAid", "x", "-a",
                     "-LOCtimeout", "5",       "-ORBagent", "0",     "-r"};
    ASSERT_NE(CORBA_ORB_init(line.argc, line.argv(), nullptr), nullptr);
    EXPECT_EQ(line.left(), (Words{"prog", "-OAid", "x", "-a", "-r"}));
    const TRXORB* orb = TRXORB::current();
    EXPECT_EQ(orb->property("ORBfoo"), "bar");
    EXPECT_FALSE(orb->agentEnabled());
    start({"-ORBagent", "1"});
    EXPECT_TRUE(orb->agentEnabled());
}

TEST(OrbInit, givesTheSameOrbEachTimeAndRunsTheHooks) {
    class Counter : public TRXInit {
    public:
        void ORB_init(int& argc, char**, CORBA_ORB* orb) override {
            ++calls;
            words = argc;
            seen = orb;
        }
        int calls = 0;
        int words = -1;
        CORBA_ORB* seen = nullptr;
    } counter;
    CORBA_ORB* orb = start({"prog", "-ORBfoo", "bar", "-x"});
    EXPECT_EQ(counter.words, 2);
    EXPECT_EQ(CORBA_ORB_init(), orb);
    EXPECT_EQ(counter.words, 0);
    EXPECT_EQ(counter.calls, 2);
    EXPECT_EQ(counter.seen, orb);
    EXPECT_EQ(TRXORB::current(), orb);
}

TEST(OrbInit, findsTheOrbByItsId) {
    EXPECT_EQ(start({"prog", "-ORBid", "Nowhere"}), nullptr);
    EXPECT_EQ(start({"prog", "-ORBid", "ORB"}), CORBA_ORB_init());
    CommandLine line{"prog", "-ORBid", "Nowhere"};
    EXPECT_EQ(CORBA_ORB_init(line.argc, line.argv(), "ORB"), CORBA_ORB_init());
}

TEST(OrbInitDeathTest, idAsTheLastWordLacksItsValue) {
    EXPECT_EXIT(
        {
            joinOutputs();
            start({"prog", "-ORBid"});
        },
        testing::ExitedWithCode(0), "^Harbolance:: -ORBid not followed by value\n$");
}

TEST(OrbInit, narrowerOptionsOverrideBackcompat) {
    start({"-ORBnullstring", "0", "-ORBbackcompat", "1"});
    EXPECT_TRUE(marshalSettings.backCompat);
    EXPECT_TRUE(marshalSettings.backDII);
    EXPECT_FALSE(marshalSettings.nullString);
    start({"-ORBbackcompat", "0", "-ORBbackdii", "1", "-ORBtcindirection", "0"});
    EXPECT_FALSE(marshalSettings.backCompat);
    EXPECT_TRUE(marshalSettings.backDII);
    EXPECT_FALSE(marshalSettings.tcIndirection);
}

TEST(OrbInit, readsTheTransportsOptions) {
    start({"-ORBsendbufsize", "70000", "-ORBrcvbufsize", "65535", "-ORBtcpdelay", "-ORBcacheDSQuery", "0"});
    EXPECT_EQ(transportSettings.sendBufSize, 0);
    EXPECT_EQ(transportSettings.rcvBufSize, 65535);
    EXPECT_TRUE(transportSettings.tcpNoDelay);
    EXPECT_FALSE(orbSettings.cacheDSQuery);
    // Not the low byte, but the number.
    start({"-ORBsendbufsize", "1", "-ORBrcvbufsize", "-1", "-ORBtcpnodelay", "-ORBcacheDSQuery", "256"});
    EXPECT_EQ(transportSettings.sendBufSize, 1);
    EXPECT_EQ(transportSettings.rcvBufSize, 0);
    EXPECT_FALSE(transportSettings.tcpNoDelay);
    EXPECT_TRUE(orbSettings.cacheDSQuery);
}

TEST(OrbInit, firstPortStands) {
    orbSettings.agentPort = 0;
    start({"-ORBagentport", "0"});
    EXPECT_EQ(orbSettings.agentPort, 0);
    start({"-ORBagentport", "15000"});
    start({"-ORBagentport", "16000"});
    EXPECT_EQ(orbSettings.agentPort, 15000);
}

TEST(OrbInit, makesFailingAllocationsRaise) {
    CORBA_ORB_init();
    ASSERT_NE(std::get_new_handler(), nullptr);
    errno = ENOMEM;
    try {
        std::get_new_handler()();
        FAIL();
    } catch (const CORBA_NO_RESOURCES& raised) {
        EXPECT_EQ(raised.minor(), static_cast<CORBA_ULong>(ENOMEM));
        EXPECT_EQ(raised.completed(), COMPLETED_NO);
    }
}

void tell() { std::fputs(orbSettings.shuttingDown ? "after" : "before", stderr); }

TEST(OrbExitDeathTest, functionsOfLaterComersRunBeforeTheOrbGoes) {
    const auto startWithSession = [] {
        CORBA_ORB_init();
        registerExitFunction(tell);
    };
    EXPECT_EXIT(
        {
            startWithSession();
            std::exit(3);
        },
        testing::ExitedWithCode(3), "^before$");
    for (const int signal : {SIGINT, SIGTERM}) {
        EXPECT_EXIT(
            {
                startWithSession();
                std::atexit([] { std::fputs("a handler of atexit", stderr); });
                std::raise(signal);
            },
            testing::ExitedWithCode(0), "^before$");
    }
}

TEST(OrbExitDeathTest, handlersOfTheProgramAreLeftAlone) {
    EXPECT_EXIT(
        {
            std::signal(SIGINT, [](int) { std::fputs("mine", stderr); });
            std::signal(SIGTERM, SIG_IGN);
            CORBA_ORB_init();
            std::raise(SIGTERM);
            std::raise(SIGINT);
            std::_Exit(5);
        },
        testing::ExitedWithCode(5), "^mine$");
}

} // namespace
