#include "locd/log.h"
#include "locd/lookup.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <functional>
#include <iostream>

namespace {

// Turns the event loop until the condition holds, twenty seconds at the most.
void turnUntil(const std::function<bool()>& condition) {
    const int64_t end = locd::nowMilliseconds() + 20'000;
    while (!condition() && locd::nowMilliseconds() < end) {
        timeval limit{0, 5000};
        dpDispatcher::instance()->dispatch(&limit);
    }
}

std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line.substr(line.find(' ') + 1)); // behind the time
    return lines;
}

bool hostIsKnown = false;

} // namespace
TEST(LocdLog, kindOfLineThatFloodsIsCountedAndHidesNoOther) {
    const std::string path = ::testing::TempDir() + "locd_log_" + std::to_string(getpid());
    locd::Log log(locd::LogLevel::info);
    ASSERT_TRUE(log.open(path));
    for (int i = 1; i <= 30'000; ++i)
        log(locd::LogLevel::info, "nonsense %d", i);
    log(locd::LogLevel::debug, "detail");
    log(locd::LogLevel::warning, "limit");
    {
        const locd::CapturedStreams captured(log);
        std::cerr << "NCistream::readObject: malformed" << std::endl;
        std::cout << "no file\n";
    }
    auto lines = linesOf(path);
    ASSERT_EQ(lines.size(), locd::Log::burst + 3U);
    EXPECT_EQ(lines[99], "locd info: nonsense 100");
    EXPECT_EQ(lines[100], "locd warning: limit");
    EXPECT_EQ(lines[101], "locd info: NCistream::readObject: malformed");
    EXPECT_EQ(lines[102], "locd warning: no file");
    turnUntil([&] { return linesOf(path).size() > 103; });
    EXPECT_EQ(linesOf(path).back(),
              "locd info: nonsense 30000 (29900 lines of this kind since the last one)");
    std::remove(path.c_str());
}

TEST(LocdLookup, unknownHostIsFoundByALaterLookUp) {
    std::vector<in_addr_t> found;
    locd::HostLookup lookup(
        {"known", "late"},
        [&](size_t, std::optional<in_addr_t> address) { found.push_back(address.value_or(0)); },
        [](const char* host) {
            const bool known = hostIsKnown || std::string(host) == "known";
            return known ? std::optional<in_addr_t>(7) : std::nullopt;
        });
    for (const std::vector<in_addr_t>& expected : {std::vector<in_addr_t>{7, 0}, {7, 0, 7, 7}}) {
        turnUntil([&] { return found.size() >= expected.size() || (lookup.start(), false); });
        EXPECT_EQ(found, expected);
        hostIsKnown = true;
    }
}
