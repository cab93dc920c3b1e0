#include "oadd/log.h"

#include "base/printable.h"

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <string>

namespace oadd {

namespace {

constinit LogLevel highest = LogLevel::warning;

const char* nameOf(LogLevel level) {
    switch (level) {
    case LogLevel::error: return "error";
    case LogLevel::warning: return "warning";
    case LogLevel::info: break;
    }
    return "info";
}

std::string presentTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char text[40];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(now.tv_nsec / 1000000));
    return text;
}

} // namespace

void setLogLevel(LogLevel level) { highest = level; }

void log(LogLevel level, std::string_view text) {
    constexpr size_t longestText = 2000; // below PIPE_BUF, so a line is written as a whole or not at all
    if (level > highest)
        return;
    std::string line = presentTime() + " oadd " + nameOf(level) + ": ";
    line += harbolance::withoutControls(text.substr(0, longestText));
    line += '\n';
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0)
        static_cast<void>(::write(STDERR_FILENO, line.data(), line.size()) != 0);
}

} // namespace oadd
