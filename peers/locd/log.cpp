#include "locd/log.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <streambuf>
#include <utility>

using namespace harbolance;

namespace locd {

namespace {

constexpr size_t longestText = 400; // a line is below PIPE_BUF, so that other writers do not split it
constexpr double tickSeconds = 1;

std::string formatted(const char* format, std::va_list values) {
    char text[longestText];
    // A longer text is cut. A name from a peer may be as long as a datagram.
    std::vsnprintf(text, sizeof text, format, values);
    return text;
}

// "2026-11-22T10:11:12.123Z".
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

const char* nameOf(LogLevel level) {
    switch (level) {
    case LogLevel::error: return "error";
    case LogLevel::warning: return "warning";
    case LogLevel::info: return "info";
    case LogLevel::debug: break;
    }
    return "debug";
}

Log::Log(LogLevel level) : level_(level), ticker_([this] { tick(); }) {
    // The descriptor is shared with other processes and must stay blocking for them. A pipe or terminal can
    // be opened a second time; a regular file too, but at its start.
    struct stat status {};
    const bool known = fstat(STDERR_FILENO, &status) == 0;
    const bool canBeOpened = known && (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode));
    if (canBeOpened)
        own_.reset(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    use(own_.isOpen() ? own_.get() : STDERR_FILENO);
}

void Log::use(int fd) {
    fd_ = fd;
    struct stat status {};
    const bool known = fstat(fd, &status) == 0;
    isSocket_ = known && S_ISSOCK(status.st_mode);
    // For the other outputs: a file never blocks, and a socket takes a flag per call. Any other kind is
    // polled before it is written to.
    mayBlock_ = !own_.isOpen() && !isSocket_ && !(known && S_ISREG(status.st_mode));
    // The unwritten rest belongs to the previous output.
    rest_.clear();
}

bool Log::open(const std::string& path) {
    constexpr int rights = 0644;
    Descriptor fd(
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, rights));
    if (!fd.isOpen())
        return false;
    path_ = path;
    own_ = std::move(fd);
    use(own_.get());
    return true;
}

void Log::operator()(LogLevel level, const char* format, ...) {
    if (level > level_)
        return; // before anything is formatted
    std::va_list values;
    va_start(values, format);
    std::string text = formatted(format, values);
    va_end(values);
    if (!ticker_.running())
        ticker_.start(tickSeconds);
    Kind& kind = kindOf(level, format);
    if (kind.allowed > 0) {
        --kind.allowed;
        writeLine(nameOf(level), text);
    } else {
        ++kind.leftOut;
        kind.last = std::move(text);
    }
}

void Log::status(const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    writeLine("status", formatted(format, values));
    va_end(values);
}

// Compared by address, because each format is one literal of the program.
Log::Kind& Log::kindOf(LogLevel level, const char* format) {
    for (Kind& kind : kinds_) {
        if (kind.format == format)
            return kind;
    }
    // There are only as many kinds as formats in the program, so a linear search is fast enough.
    return kinds_.emplace_back(format, level);
}

void Log::tick() {
    bool idle = true;
    for (Kind& kind : kinds_) {
        if (kind.leftOut > 0)
            writeLine(nameOf(kind.level), kind.last + " (" + std::to_string(kind.leftOut) +
                                              " lines of this kind since the last one)");
        kind.leftOut = 0;
        kind.allowed = std::min(kind.allowed + perSecond, burst);
        idle = idle && kind.allowed == burst;
    }
    // The timer is stopped when there is nothing to do, so that an idle agent does not wake up.
    if (idle)
        ticker_.stop();
}

void Log::writeLine(const char* label, const std::string& text) {
    std::string line = presentTime() + " locd ";
    // Written before the first line that is accepted again, at the place of the lost lines.
    if (lost_ > 0) {
        const std::string note =
            line + "warning: " + std::to_string(lost_) + " lines are lost, nothing took them\n";
        if (write(note))
            lost_ = 0;
    }
    line += label;
    line += ": ";
    line += text;
    line += '\n';
    if (!write(line))
        ++lost_;
}

// False when the line is lost.
bool Log::write(const std::string& line) {
    const std::string all = rest_ + line; // a partly written line is completed first
    ssize_t count = -1;
    if (isSocket_) {
        count = ::send(fd_, all.data(), all.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    } else {
        pollfd output{fd_, POLLOUT, 0};
        if (!mayBlock_ || (::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0))
            count = ::write(fd_, all.data(), all.size());
    }
    // Nothing was written, so `rest_` is unchanged.
    if (count < 0)
        return false;
    rest_ = all.substr(static_cast<size_t>(count));
    return true;
}

// Collects printed characters until a line is complete.
class CapturedStreams::Lines : public std::streambuf {
public:
    explicit Lines(Log& log) : log_(log) {}

protected:
    int_type overflow(int_type next) override {
        const char c = traits_type::to_char_type(next);
        // The rest of a line that is too long is dropped.
        if (c != '\n' && line_.size() < longestText)
            line_ += c;
        else if (c == '\n')
            end();
        return traits_type::not_eof(next);
    }

private:
    void end() {
        const std::string line = std::exchange(line_, {});
        // Complaints of the streams about a peer's data, which any peer can cause.
        const bool aboutInput = line.starts_with("NCistream::") || line.starts_with("NCipcbuf::");
        if (line.empty())
            return;
        // Two formats, so that complaints that peers cause have a limit of their own and do not hide others.
        if (aboutInput)
            log_(LogLevel::info, "%s", line.c_str());
        else
            log_(LogLevel::warning, "%.*s", static_cast<int>(line.size()), line.c_str());
    }

    Log& log_;
    std::string line_;
};

CapturedStreams::CapturedStreams(Log& log)
    : lines_(std::make_unique<Lines>(log)), out_(std::cout.rdbuf(lines_.get())),
      err_(std::cerr.rdbuf(lines_.get())) {}

CapturedStreams::~CapturedStreams() {
    std::cout.rdbuf(out_);
    std::cerr.rdbuf(err_);
}

} // namespace locd
