#include "agent/session/dsoptions.h"
#include "command_line.h"
#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <gtest/gtest.h>

namespace {

TEST(AgentOptions, comeFromTheOrb) {
    DSOptions* options = DSOptions::current();
    // No ORB yet: the adapter's address does not start one, the session's own options do.
    EXPECT_EQ(options->option("OAipaddr"), std::nullopt);
    EXPECT_EQ(TRXORB::current(), nullptr);
    EXPECT_EQ(options->option("ORBagentaddr"), std::nullopt);
    ASSERT_NE(TRXORB::current(), nullptr);

    CommandLine line{"-ORBagentaddr", "127.0.0.9", "-OAipaddr", "127.0.0.2", "-ORBagentport", "15000"};
    CORBA_ORB_init(line.argc, line.argv(), nullptr);
    TRXORB::current()->parse(line.argc, line.argv(), "-OA");
    EXPECT_EQ(line.argc, 0);
    EXPECT_EQ(options->option("ORBagentaddr"), "127.0.0.9");
    EXPECT_EQ(options->option("OAipaddr"), "127.0.0.2");
    EXPECT_EQ(options->agentPort(), 15000);
    options->setAgentPort(14000);
    EXPECT_EQ(orbSettings.agentPort, 14000);
}

} // namespace
