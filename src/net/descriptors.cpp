#include "net/descriptors.h"

#include "net/termination.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <iterator>

namespace harbolance {

void Descriptor::reset(int fd) {
    const int error = errno;
    if (isOpen())
        ::close(fd_);
    fd_ = fd;
    errno = error;
}

bool Descriptor::close() {
    // When EINTR interrupts close(), the descriptor is closed all the same; its number may already be in use
    // again.
    if (isOpen() && ::close(fd_) == -1 && errno != EINTR)
        return false;
    fd_ = -1;
    return true;
}

bool setNonBlocking(int fd, bool on) {
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags == -1)
        return false;
    const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    return wanted == flags || ::fcntl(fd, F_SETFL, wanted) != -1;
}

bool ignoreBrokenPipes() {
    static bool ignored = false;
    if (!ignored) {
        struct sigaction action {};
        action.sa_handler = SIG_IGN;
        ignored = ::sigaction(SIGPIPE, &action, nullptr) == 0;
    }
    return ignored;
}

int Deadline::milliseconds() const {
    if (!limited_)
        return -1;
    // Rounded up: a limit that is rounded down to 0 would make poll spin during the last fraction of a
    // millisecond.
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

int pollUntil(int fd, short events, const Deadline& deadline) {
    for (;;) {
        pollfd watched[] = {{fd, events, 0}, {Termination::fd(), POLLIN, 0}}; // poll ignores fd -1
        const int result = ::poll(watched, std::size(watched), deadline.milliseconds());
        // Tested first, so that a peer that keeps `fd` ready cannot delay the end of the process.
        if (watched[1].revents != 0)
            Termination::act();
        if (watched[0].revents != 0)
            return 1;
        // A result above 0 means here that only the termination descriptor was ready. A result of 0 can come
        // before the deadline, when the limit does not fit in poll's int.
        const bool again = result == -1 ? errno == EINTR : result > 0 || !deadline.passed();
        if (!again)
            return result;
    }
}

} // namespace harbolance
