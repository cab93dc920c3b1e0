#pragma once

#include <cstdarg>
#include <cstdio>

namespace locd {

// What `--verbose` shows: one line per event on the standard error stream.
class Log {
public:
    explicit Log(bool on) : on_(on) {}

    [[gnu::format(printf, 2, 3)]] void operator()(const char* format, ...) const {
        if (!on_)
            return;
        std::va_list values;
        va_start(values, format);
        std::fputs("locd: ", stderr);
        std::vfprintf(stderr, format, values);
        std::fputc('\n', stderr);
        va_end(values);
    }
    bool on() const { return on_; }

private:
    bool on_;
};

} // namespace locd
