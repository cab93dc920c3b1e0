#pragma once

#include <cerrno>
#include <chrono>
#include <utility>

namespace harbolance {

// Owns an open descriptor, or none. A plain `int fd` elsewhere is borrowed, unless its comment says
// otherwise.
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
    // Closes the descriptor and keeps errno, so that a caller can still report an earlier failure.
    ~Descriptor() { reset(); }

    bool isOpen() const { return fd_ >= 0; }
    int get() const { return fd_; } // -1 for none
    // Closes the descriptor held, if any, and takes ownership of `fd`.
    void reset(int fd = -1);
    // Gives up ownership without closing. Returns the descriptor, -1 for none.
    int release() { return std::exchange(fd_, -1); }
    // Returns false with errno set when the system refuses; the object then still owns the descriptor.
    bool close();

private:
    int fd_ = -1;
};

// Repeats a system call for as long as signals interrupt it (EINTR). Returns its last result.
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

// Waits until `fd` is ready for `events` (those of poll) or has an error. Returns 1 then, 0 at the deadline,
// -1 with errno set when poll fails. With a deadline that has passed it polls once without waiting. A
// termination signal during the wait is acted on (termination.h).
int pollUntil(int fd, short events, const Deadline& deadline);

} // namespace harbolance
