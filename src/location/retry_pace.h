#pragma once

#include "marshal/reference/vior.h"

#include <chrono>

namespace harbolance {

// Agents name a server that has died until they have found that out, and one that lives but cannot be reached
// for as long as it lives. Whoever tries such a server again does it at this pace, and not for ever.
class RetryPace {
public:
    static constexpr CORBA_ULong longest = 60; // seconds

    // Waits before the server of a reference that has just failed is tried again: each time longer, up to a
    // second. The event loop is turned meanwhile. False when so many seconds have been spent on it, 0 for the
    // longest time.
    bool again(const IOP::IOR& server, CORBA_ULong seconds);

private:
    using Clock = std::chrono::steady_clock;

    IOP::IOR _server;
    Clock::time_point _begin;
    Clock::time_point _last;
    std::chrono::milliseconds _pause{};
};

} // namespace harbolance
