#pragma once

#include <cerrno>
#include <chrono>
#include <utility>

namespace harbolance {

// Owns an open descriptor, or none. Where nothing else is said, an `int fd` elsewhere is borrowed.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    // Leaves errno as it is, so that a failure can be told after it.
    ~Descriptor() { reset(); }

    bool isOpen() const { return fd_ >= 0; }
    int get() const { return fd_; } // -1 for none
    // Closes what is held and takes `fd` over.
    void reset(int fd = -1);
    // Gives the descriptor up without closing it.
    int release() { return std::exchange(fd_, -1); }
    // False, with errno set, when the system refuses; the descriptor is then still held.
    bool close();

private:
    int fd_ = -1;
};

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
bool setNonBlocking(int fd, bool on);

// Makes the whole process ignore SIGPIPE, once: a write to a connection or a pipe that has no
// reader any more gives an error and does not end the process. False, with errno set, when the system
// refuses.
bool ignoreBrokenPipes();

// A number of seconds from now on, or no limit when it is negative. Changes of the wall clock do not matter.
class Deadline {
public:
    explicit Deadline(int seconds)
        : limited_(seconds >= 0), end_(Clock::now() + std::chrono::seconds(limited_ ? seconds : 0)) {}

    bool passed() const { return limited_ && Clock::now() >= end_; }
    // For poll: rounded up, -1 for no limit.
    int milliseconds() const;

private:
    using Clock = std::chrono::steady_clock;
    bool limited_;
    Clock::time_point end_;
};

// Waits until the descriptor is ready for `events` (those of poll) or broken: 1. At the deadline 0, on an
// error -1. A deadline that has passed still finds out what is ready now.
// A termination signal is acted on (termination.h).
int pollUntil(int fd, short events, const Deadline& deadline);

} // namespace harbolance
