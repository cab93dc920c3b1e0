#include "locd/options.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using locd::Command;

Command read(std::vector<const char*> words, const char* portVariable = nullptr) {
    words.insert(words.begin(), "locd");
    return locd::readCommand(static_cast<int>(words.size()), words.data(), portVariable);
}

std::string complaint(const std::vector<const char*>& words, const char* portVariable = nullptr) {
    const Command command = read(words, portVariable);
    EXPECT_EQ(command.action, Command::Action::refuse);
    return command.complaint;
}

} // namespace

TEST(LocdOptions, portComesFromTheOptionThenTheVariableThenTheDefault) {
    EXPECT_EQ(read({}).options.port, 14000);
    EXPECT_EQ(read({}, "").options.port, 14000);
    EXPECT_EQ(read({}, "15000").options.port, 15000);
    EXPECT_EQ(read({"-p", "16000"}, "15000").options.port, 16000);
    EXPECT_EQ(read({"--port", "0"}, "15000").options.port, 0);
    EXPECT_EQ(read({"--port=17000"}, "nonsense").options.port, 17000);
}

TEST(LocdOptions, peerWithoutPortGetsThatOfTheDomain) {
    const auto peers = [](const std::vector<const char*>& words) {
        return read(words, "15000").options.peers;
    };
    ASSERT_EQ(peers({"--peer", "127.0.0.2", "--peer=127.0.0.3:99", "--port", "16000"}).size(), 2U);
    const auto both = peers({"--peer", "127.0.0.2", "--peer=127.0.0.3:99", "--port", "16000"});
    EXPECT_EQ(both[0].sin_addr.s_addr, inet_addr("127.0.0.2"));
    EXPECT_EQ(ntohs(both[0].sin_port), 16000);
    EXPECT_EQ(ntohs(both[1].sin_port), 99);
    EXPECT_EQ(ntohs(peers({"--peer", "127.0.0.2", "--port", "0"})[0].sin_port), 15000);
}

TEST(LocdOptions, settingsAreTaken) {
    const auto options =
        read({"-a", "127.0.0.5", "--interval", "0.25", "--check-interval=7", "-v", "--foreground"}).options;
    EXPECT_EQ(options.address, inet_addr("127.0.0.5"));
    EXPECT_EQ(options.interval, 0.25);
    EXPECT_EQ(options.checkInterval, 7);
    EXPECT_TRUE(options.verbose);
}

TEST(LocdOptions, helpAndVersionEndTheReading) {
    EXPECT_EQ(read({"--help", "--port", "x"}).action, Command::Action::help);
    EXPECT_EQ(read({"--version", "--wrong"}).action, Command::Action::version);
}

TEST(LocdOptions, complaintNamesTheWordThatIsWrong) {
    EXPECT_EQ(complaint({"--wrong"}), "unknown option '--wrong'");
    EXPECT_EQ(complaint({"word"}), "unexpected word 'word'");
    EXPECT_EQ(complaint({"--port"}), "option '--port' needs a value");
    EXPECT_EQ(complaint({"--verbose=1"}), "option '--verbose' takes no value");
    EXPECT_EQ(complaint({"--port", "65536"}), "--port: '65536' is no port number (0 to 65535)");
    EXPECT_EQ(complaint({"--port", "80x"}), "--port: '80x' is no port number (0 to 65535)");
    EXPECT_EQ(complaint({}, "-1"), "LOCD_PORT: '-1' is no port number (1 to 65535)");
    EXPECT_EQ(complaint({"--address", "host"}), "--address: 'host' is no IPv4 address in dotted form");
    EXPECT_EQ(complaint({"--peer", "127.0.0.2:0"}),
              "--peer: '127.0.0.2:0' is not of the form HOST or HOST:PORT");
    EXPECT_EQ(complaint({"--peer", ":99"}), "--peer: no host ''");
    EXPECT_EQ(complaint({"--interval", "0"}), "--interval: '0' is no number of seconds from 0.1 to 86400");
    EXPECT_EQ(complaint({"--check-interval", "nan"}),
              "--check-interval: 'nan' is no number of seconds from 0.1 to 86400");
}
