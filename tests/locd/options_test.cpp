#include "locd/options.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using locd::Command;
using Words = std::vector<const char*>;

Command read(Words words, const char* portVariable = nullptr) {
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

TEST(LocdOptions, complaintNamesTheWordThatIsWrong) {
    const std::pair<Words, std::string> cases[] = {
        {{"--wrong=1"}, "unknown option '--wrong'"},
        {{"-vx"}, "unknown option '-x'"},
        {{"word", "-v"}, "unexpected word 'word'"},
        {{"--port"}, "option '--port' needs a value"},
        {{"-p"}, "option '-p' needs a value"},
        {{"--verbose=1"}, "option '--verbose' takes no value"},
        {{"--port", "65536"}, "--port: '65536' is no port number (0 to 65535)"},
        {{"-p80x"}, "--port: '80x' is no port number (0 to 65535)"},
        {{"--list-port", "-1"}, "--list-port: '-1' is no port number (0 to 65535)"},
        {{}, "LOCD_PORT: '-1' is no port number (1 to 65535)"},
        {{"--address", "host"}, "--address: 'host' is no IPv4 address in dotted form"},
        {{"--peer", "127.0.0.2:0"}, "--peer: '127.0.0.2:0' is not of the form HOST or HOST:PORT"},
        {{"--peer", ":99"}, "--peer: ':99' is not of the form HOST or HOST:PORT"},
        {{"--interval", "0"}, "--interval: '0' is no number of seconds from 0.1 to 86400"},
        {{"--check-interval", "nan"}, "--check-interval: 'nan' is no number of seconds from 0.1 to 86400"},
        {{"--log-level", "all"}, "--log-level: 'all' is none of error, warning, info, debug"}};
    for (const auto& [words, complaint] : cases) {
        const Command command = read(words, "-1");
        EXPECT_EQ(command.action, Command::Action::refuse);
        EXPECT_EQ(command.complaint, complaint);
    }
}
