#pragma once

// The log of the agent.

#include "locd/ticker.h"
#include "net/descriptors.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace locd {

enum class LogLevel { error, warning, info, debug };
const char* nameOf(LogLevel level);

// Lines with a time (UTC) and a level, on the standard error stream or at the end of a file:
//
//     2026-11-22T10:11:12.123Z locd info: 127.0.0.1:40123 logs in, process 17, verify port 40124
//
// Writing never blocks: when the reader of a pipe or terminal does not read, lines are lost and counted. Of
// each kind of line, which is one format text, `burst` lines are written at once; after that one per second,
// with the number of lines left out. So a peer that sends bad messages neither fills the disk nor hides other
// lines.
class Log {
public:
    static constexpr int burst = 100;
    static constexpr int perSecond = 10; // how fast the burst is allowed again

    // Lines of less important levels are dropped. Before `open`, lines go to the standard error stream.
    explicit Log(LogLevel level);
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    // Appends to the file from now on; it is made if it does not exist. False with errno set; then the
    // previous output is kept.
    bool open(const std::string& path);
    // Opens the same path again, after the log file was renamed. Does nothing without a file.
    bool reopen() { return path_.empty() || open(path_); }

    [[gnu::format(printf, 3, 4)]] void operator()(LogLevel level, const char* format, ...);
    // Written always and at once: the answer to an operator's signal.
    [[gnu::format(printf, 2, 3)]] void status(const char* format, ...);

private:
    struct Kind {
        Kind(const char* text, LogLevel itsLevel) : format(text), level(itsLevel) {}

        const char* format;
        LogLevel level;
        int allowed = burst;
        uint64_t leftOut = 0;
        std::string last; // the last line left out
    };

    Kind& kindOf(LogLevel level, const char* format);
    void tick();
    void writeLine(const char* label, const std::string& text);
    bool write(const std::string& line);
    void use(int fd);

    LogLevel level_;
    std::string path_;
    int fd_ = -1; // the output: `own_` or the standard error stream
    harbolance::Descriptor own_;
    bool isSocket_ = false;
    bool mayBlock_ = false;
    std::string rest_;  // rest of a line that was partly written
    uint64_t lost_ = 0; // lines that could not be written since the last one that was
    std::vector<Kind> kinds_;
    Ticker ticker_;
};

// While it exists, output of the library on the standard streams goes to the log line by line: complaints
// about malformed input at level info, others as warnings.
class CapturedStreams {
public:
    explicit CapturedStreams(Log& log);
    CapturedStreams(const CapturedStreams&) = delete;
    CapturedStreams& operator=(const CapturedStreams&) = delete;
    ~CapturedStreams();

private:
    class Lines;

    std::unique_ptr<Lines> lines_;
    std::streambuf* out_;
    std::streambuf* err_;
};

} // namespace locd
