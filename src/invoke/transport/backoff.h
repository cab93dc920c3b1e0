#pragma once

#include <algorithm>
#include <chrono>

namespace harbolance {

// The delays between attempts that fail in a row: each is twice the previous one, from 20 ms to one second.
class Backoff {
public:
    std::chrono::milliseconds next() {
        using namespace std::chrono_literals;
        return _last = std::clamp<std::chrono::milliseconds>(2 * _last, 20ms, 1s);
    }
    void reset() { _last = _last.zero(); }

private:
    std::chrono::milliseconds _last{0};
};

} // namespace harbolance
