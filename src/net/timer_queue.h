#pragma once

#include <sys/time.h>

#include <cstdint>
#include <limits>
#include <memory>

class dpIOHandler;

namespace harbolance {

// Timeval arithmetic. Arguments have `tv_usec` in 0..999999 and so has the result.

// A sum that time_t cannot hold is the latest time there is.
inline timeval timeSum(const timeval& a, const timeval& b) {
    constexpr time_t latest = std::numeric_limits<time_t>::max() - 1; // the carry still fits
    if (b.tv_sec > 0 && a.tv_sec > latest - b.tv_sec)
        return {latest, 999999};
    timeval sum{a.tv_sec + b.tv_sec, a.tv_usec + b.tv_usec};
    if (sum.tv_usec >= 1000000) {
        sum.tv_usec -= 1000000;
        ++sum.tv_sec;
    }
    return sum;
}

inline timeval timeDifference(const timeval& a, const timeval& b) {
    timeval difference{a.tv_sec - b.tv_sec, a.tv_usec - b.tv_usec};
    if (difference.tv_usec < 0) {
        difference.tv_usec += 1000000;
        --difference.tv_sec;
    }
    return difference;
}

inline bool isEarlier(const timeval& a, const timeval& b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_usec < b.tv_usec;
}

// The wall clock, for times that are shown or sent. It may be set, also backwards.
timeval timeOfDay();
// The clock for measuring waits. Its start is arbitrary and it never goes back.
timeval monotonicTime();

} // namespace harbolance

// One timer that has been started: when it is due, by the monotonic clock, and which handler is called.
struct dpTimer {
    long sec;
    long usec;
    dpIOHandler* handler;
    std::unique_ptr<dpTimer> next;
    uint64_t serial; // of the start: a turn leaves out timers that its own callbacks started

    timeval due() const { return {sec, usec}; }
};

// The timers of one dispatcher, earliest first. Times are handed in: they are those of the monotonic clock,
// so that timers keep their intervals when the wall clock is set. Handlers are not owned. Insertion is
// linear: a process has a handful of timers.
//
// `insert`, `remove` and a nested `expire` may be called from a handler that `expire` is calling.
class dpTimerQueue {
public:
    dpTimerQueue() = default;
    dpTimerQueue(const dpTimerQueue&) = delete;
    dpTimerQueue& operator=(const dpTimerQueue&) = delete;
    ~dpTimerQueue();

    bool empty() const { return !head_; }
    const dpTimer* head() const { return head_.get(); }

    // A timer earlier than the head becomes the head. One with the time of the head goes second; among the
    // later ones it goes ahead of those with an equal time.
    void insert(const timeval& due, dpIOHandler* handler);

    // Removes the first timer of that handler, and only that one. False when it has none.
    bool remove(const dpIOHandler* handler);

    // Takes out every timer strictly earlier than `now`, one after another, and calls `timerExpired` with
    // the time of day. A timer that a callback stops is not called; one that a callback starts waits for the
    // next call of `expire`, even if it is due at once.
    void expire(const timeval& now, const timeval& timeOfDay);

private:
    std::unique_ptr<dpTimer> takeDue(const timeval& now, uint64_t serialLimit);

    std::unique_ptr<dpTimer> head_;
    uint64_t nextSerial_ = 0;
};
