#include "locd/options.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using Words = std::vector<const char*>;

locd::Command read(Words words, const char* portVariable = nullptr) {
    words.insert(words.begin(), "locd");
    return locd::readCommand(static_cast<int>(words.size()), words.data(), portVariable);
}

} // namespace

TEST(LocdOptions, portComesFromTheOptionThenTheVariableThenTheDefault) {
    EXPECT_EQ(read({}).options.port, 14000);
    EXPECT_EQ(read({}, "").options.port, 14000);
    EXPECT_EQ(read({}, "15000").options.port, 15000);
    EXPECT_EQ(read({"--port=17000"}, "nonsense").options.port, 17000);
}

TEST(LocdOptions, settingsAreTaken) {
    const auto options =
        read({"-p0", "-va127.0.0.5", "--interval", "0.25", "--check-interval=7", "--list-port=8", "--peer",
              "one", "--foreground", "--peer=127.0.0.3:99", "--log-file=log"},
             "15000")
            .options;
    EXPECT_EQ(options.address, inet_addr("127.0.0.5"));
    EXPECT_EQ(options.interval, 0.25);
    EXPECT_EQ(options.checkInterval, 7);
    EXPECT_EQ(options.listPort, 8);
    EXPECT_EQ(options.logFile, "log");
    EXPECT_EQ(options.logLevel, locd::LogLevel::info);
    ASSERT_EQ(options.peers.size(), 2U);
    EXPECT_EQ(options.peers[0].host, "one");
    EXPECT_EQ(options.peers[0].port, 15000) << "without a port it gets that of the domain";
    EXPECT_EQ(options.peers[1].port, 99);
    EXPECT_EQ(read({"-vv"}).options.logLevel, locd::LogLevel::debug);
    EXPECT_EQ(read({"--log-level", "error"}).options.logLevel, locd::LogLevel::error);
}
