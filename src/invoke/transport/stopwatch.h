#pragma once

#include "marshal/exception/vexcept.h"

#include <chrono>

namespace harbolance {

// Whole seconds since its construction.
class Stopwatch {
public:
    CORBA_ULong seconds() const {
        const auto spent = std::chrono::steady_clock::now() - _start;
        return static_cast<CORBA_ULong>(std::chrono::duration_cast<std::chrono::seconds>(spent).count());
    }

private:
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

// A limit in whole seconds for several steps together, 0 for none.
class TimeLimit {
public:
    explicit TimeLimit(CORBA_ULong seconds) : _seconds(seconds) {}

    // Raises CORBA_NO_RESPONSE when no time is left, as `left` does.
    void check() const { left(); }
    // The time left for the next step; 0 for no limit.
    CORBA_ULong left() const {
        if (_seconds == 0)
            return 0;
        const CORBA_ULong spent = _watch.seconds();
        if (spent >= _seconds)
            throw CORBA_NO_RESPONSE();
        return _seconds - spent;
    }

private:
    CORBA_ULong _seconds;
    Stopwatch _watch;
};

} // namespace harbolance
