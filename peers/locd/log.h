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
        char text[400];
        std::vsnprintf(text, sizeof text, format, values);
        va_end(values);
        // In one write, so that the lines of several agents stay whole.
        std::fprintf(stderr, "locd: %s\n", text);
    }
    bool on() const { return on_; }

private:
    bool on_;
};

} // namespace locd
