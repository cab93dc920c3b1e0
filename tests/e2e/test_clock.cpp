// Preloaded by programs whose clocks a test sets. CLOCK_FACTOR: the clocks run so many times as fast, and
// what the program waits in `select`, `poll` and `epoll_wait` is as much shorter. CLOCK_SHIFT: a file whose
// eight octets are the seconds by which the time of day is off.

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr int64_t second = 1'000'000'000;

int64_t factor() {
    static const char* const text = std::getenv("CLOCK_FACTOR");
    static const int64_t value = text ? std::atoi(text) : 1;
    return value;
}

int64_t shift() {
    static const char* const path = std::getenv("CLOCK_SHIFT");
    static const int fd = path ? ::open(path, O_RDONLY | O_CLOEXEC) : -1;
    int64_t seconds = 0;
    return ::pread(fd, &seconds, sizeof seconds, 0) == sizeof seconds ? seconds : 0;
}

int64_t kernelTime(clockid_t clock) {
    timespec now{};
    ::syscall(SYS_clock_gettime, clock, &now);
    return now.tv_sec * second + now.tv_nsec;
}

// Both clocks show the right time when they are first read.
int64_t timeOf(clockid_t clock) {
    if (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC)
        return kernelTime(clock);
    static const int64_t begin[] = {kernelTime(CLOCK_REALTIME), kernelTime(CLOCK_MONOTONIC)};
    const int64_t time = begin[clock] + (kernelTime(clock) - begin[clock]) * factor();
    return clock == CLOCK_REALTIME ? time + shift() * second : time;
}

timespec split(int64_t nanoseconds) { return {nanoseconds / second, nanoseconds % second}; }

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    *now = split(timeOf(clock));
    return 0;
}

extern "C" int gettimeofday(timeval* now, void*) noexcept {
    const timespec time = split(timeOf(CLOCK_REALTIME));
    *now = {time.tv_sec, time.tv_nsec / 1000};
    return 0;
}

extern "C" time_t time(time_t* place) noexcept {
    const time_t now = timeOf(CLOCK_REALTIME) / second;
    return place ? *place = now : now;
}

extern "C" int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* limit) {
    const timespec shorter = split(limit ? (limit->tv_sec * second + limit->tv_usec * 1000) / factor() : 0);
    return ::pselect(count, read, write, except, limit ? &shorter : nullptr, nullptr);
}

extern "C" int poll(pollfd* watched, nfds_t count, int milliseconds) {
    const timespec shorter = split(milliseconds * (second / 1000) / factor());
    return ::ppoll(watched, count, milliseconds < 0 ? nullptr : &shorter, nullptr);
}

extern "C" int epoll_wait(int set, epoll_event* events, int most, int milliseconds) {
    const int64_t shorter = milliseconds < 0 ? -1 : (milliseconds + factor() - 1) / factor();
    return ::epoll_pwait(set, events, most, static_cast<int>(shorter), nullptr);
}
