#pragma once

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <poll.h>

namespace harbolance {

// Makes a system call again for as long as a signal interrupts it.
template <class Call>
auto uninterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR)
            return result;
    }
}

// False, with errno set, when the descriptor's flags cannot be read or changed.
inline bool setNonBlocking(int fd, bool on) {
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags == -1)
        return false;
    const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    return wanted == flags || ::fcntl(fd, F_SETFL, wanted) != -1;
}

// A number of seconds from now on, or no limit when it is negative. Changes of the wall clock do not matter.
class Deadline {
public:
    explicit Deadline(int seconds)
        : limited_(seconds >= 0), end_(Clock::now() + std::chrono::seconds(limited_ ? seconds : 0)) {}

    bool passed() const { return limited_ && Clock::now() >= end_; }

    // For poll: rounded up, -1 for no limit.
    int milliseconds() const {
        if (!limited_)
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    }

private:
    using Clock = std::chrono::steady_clock;
    bool limited_;
    Clock::time_point end_;
};

// Waits until the descriptor is ready for `events` or broken: 1. At the deadline 0, on an error -1. A
// deadline that has passed still finds out what is ready now.
inline int pollUntil(int fd, short events, const Deadline& deadline) {
    for (;;) {
        pollfd watched{fd, events, 0};
        const int result = ::poll(&watched, 1, deadline.milliseconds());
        const bool again = result == -1 ? errno == EINTR : result == 0 && !deadline.passed();
        if (!again)
            return result;
    }
}

} // namespace harbolance
