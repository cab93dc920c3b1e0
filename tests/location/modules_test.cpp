#include "command_line.h"
#include "location/location_settings.h"
#include "location/modules.h"
#include "orb/orb_settings.h"
#include "orb/vorb.h"

#include <gtest/gtest.h>

namespace {

TEST(LocateInitializer, takesItsOptionsWhereverTheyStand) {
    LocateInitializer options;
    const LocationSettings& settings = locationSettings;
    EXPECT_TRUE(!settings.debug && !settings.verify && settings.timeout == 1);
    CommandLine line{"prog", "-LOCtimeout",  "5s", "-LOCverify", "1", "-LOCverify",
                     "0",    "-LOCtimeoutx", "5",  "-LOCdebug",  "10"};
    options.ORB_init(line.argc, line.argv(), nullptr);
    EXPECT_EQ(line.left(), (Words{"prog", "-LOCtimeoutx", "5"}));
    // The first character of a switch counts, and the digits of a number.
    EXPECT_TRUE(settings.debug && !settings.verify && settings.timeout == 5);
}

TEST(AgentOptions, areThoseOfTheOrb) {
    harbolance::SessionOptions* options = harbolance::SessionOptions::current();
    EXPECT_EQ(options->option("OAipaddr"), std::nullopt);
    EXPECT_EQ(TRXORB::current(), nullptr); // asking for the adapter's address starts no ORB
    EXPECT_EQ(options->option("ORBagentaddr"), std::nullopt);
    ASSERT_NE(TRXORB::current(), nullptr);
    CommandLine line{"-ORBagentaddr", "127.0.0.9", "-OAipaddr", "127.0.0.2", "-ORBagentport", "15000"};
    CORBA_ORB_init(line.argc, line.argv());
    TRXORB::current()->parse(line.argc, line.argv(), "-OA");
    EXPECT_EQ(options->option("ORBagentaddr"), "127.0.0.9");
    EXPECT_EQ(options->option("OAipaddr"), "127.0.0.2");
    EXPECT_EQ(options->agentPort(), 15000);
    options->setAgentPort(14000);
    EXPECT_EQ(orbSettings.agentPort, 14000);
}

} // namespace
