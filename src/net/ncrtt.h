#pragma once

#include <sys/time.h>

#include <cstdint>
#include <iosfwd>

// How long to wait for a reply before sending again: a smoothed round trip and its deviation, with a growing
// time-out for each retransmission. The caller drives it for one request after another:
//
//     if (!rtt.valid) rtt.reset();
//     rtt.nrexmt = 0;
//     before each sending:    wait rtt.start() seconds
//     at each time-out:       ++rtt.nrexmt; above `maxRetransmissions`, set rtt.valid = 0 and give up
//     when the wait is over:  rtt.stop()
//
// Times in the fields are seconds. All operations may be called from a handler; none waits.
class NCrtt {
public:
    static constexpr int maxRetransmissions = 4;
    static constexpr int maxTimeout = 20;

    virtual ~NCrtt() = default;

    // The time-out for this sending, whole seconds, 2..20 on a first sending. A retransmission multiplies the
    // time-out before it; one beyond `maxRetransmissions` stays at `maxTimeout`.
    int start();
    // Ends the measurement and updates the estimate. A retransmitted request gives no measurement, because
    // the reply may belong to any of its sendings; the next request then begins with the last time-out.
    void stop();
    // All fields back to their initial values.
    void reset();

    int32_t valid = 1; // 0 asks for a `reset` before the next request
    float rtt = 0;     // last measured round trip
    float srtt = 0;
    float rttdev = 1.5F;
    int nrexmt = 0; // retransmissions of the current request
    int currto = 0;
    int nxtrto = 0; // the first time-out of the next request, when not 0
    timeval started{};
    timeval stopped{};

protected:
    // Reads the wall clock. 0, or -1 with errno set and `now` unchanged.
    virtual int readClock(timeval& now);
};

// " rtt = 0.1, srtt = 0.2, rttdev = 1.5, currto = 3" and a newline.
std::ostream& operator<<(std::ostream& out, const NCrtt& estimate);
