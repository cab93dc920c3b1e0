// Preloaded by tests that would wait for long time-outs: the program's clocks run six times as fast, and what
// it waits in `select`, `poll` and `epoll_wait` is as much shorter.

#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>

namespace {

constexpr int64_t factor = 6; // harness.py knows it too
constexpr int64_t second = 1'000'000'000;

int64_t kernelTime(clockid_t clock) {
    timespec now{};
    ::syscall(SYS_clock_gettime, clock, &now);
    return now.tv_sec * second + now.tv_nsec;
}

// Both clocks show the right time when they are first read.
int64_t fastTime(clockid_t clock) {
    static const int64_t begin[] = {kernelTime(CLOCK_REALTIME), kernelTime(CLOCK_MONOTONIC)};
    return begin[clock] + (kernelTime(clock) - begin[clock]) * factor;
}

timespec split(int64_t nanoseconds) { return {nanoseconds / second, nanoseconds % second}; }

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const bool isFast = clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC;
    *now = split(isFast ? fastTime(clock) : kernelTime(clock));
    return 0;
}

extern "C" int gettimeofday(timeval* now, void*) noexcept {
    const timespec time = split(fastTime(CLOCK_REALTIME));
    *now = {time.tv_sec, time.tv_nsec / 1000};
    return 0;
}

extern "C" int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* limit) {
    const timespec shorter = split(limit ? (limit->tv_sec * second + limit->tv_usec * 1000) / factor : 0);
    return ::pselect(count, read, write, except, limit ? &shorter : nullptr, nullptr);
}

extern "C" int poll(pollfd* watched, nfds_t count, int milliseconds) {
    const timespec shorter = split(milliseconds * (second / 1000) / factor);
    return ::ppoll(watched, count, milliseconds < 0 ? nullptr : &shorter, nullptr);
}

extern "C" int epoll_wait(int set, epoll_event* events, int most, int milliseconds) {
    const int shorter =
        milliseconds < 0 ? -1 : (milliseconds + static_cast<int>(factor) - 1) / static_cast<int>(factor);
    return ::epoll_pwait(set, events, most, shorter, nullptr);
}
