#pragma once

#include "marshal/exception/vexcept.h"

#include <chrono>

namespace harbolance {

// Whole seconds since it was made.
class Stopwatch {
public:
    CORBA_ULong seconds() const {
        const auto spent = std::chrono::steady_clock::now() - _start;
        return static_cast<CORBA_ULong>(std::chrono::duration_cast<std::chrono::seconds>(spent).count());
    }

private:
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

// Whole seconds for several steps together, 0 for no limit.
class TimeLimit {
public:
    explicit TimeLimit(CORBA_ULong seconds) : _seconds(seconds) {}

    // Raises CORBA_NO_RESPONSE when nothing is left.
    void check() const {
        if (_seconds != 0 && _watch.seconds() >= _seconds)
            throw CORBA_NO_RESPONSE();
    }
    // For the next step, behind `check`; 0 for no limit.
    CORBA_ULong left() const { return _seconds == 0 ? 0 : _seconds - _watch.seconds(); }

private:
    CORBA_ULong _seconds;
    Stopwatch _watch;
};

} // namespace harbolance
