#include "net/epoll_dispatcher.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>

#include <cerrno>

namespace harbolance {

namespace {

constexpr timeval compareInterval{0, 100'000};
constexpr timeval longestWait{1'000'000, 0}; // in milliseconds still an int

// What `select` calls readable, writable and exceptional.
constexpr uint32_t readable = EPOLLIN | EPOLLRDNORM | EPOLLRDBAND | EPOLLHUP | EPOLLERR;
constexpr uint32_t writable = EPOLLOUT | EPOLLWRNORM | EPOLLWRBAND | EPOLLERR;
constexpr uint32_t exceptional = EPOLLPRI;

// How often this process has come out of a fork as the child.
int forks = 0;

void countForks() {
    static const int registered = ::pthread_atfork(nullptr, nullptr, [] { ++forks; });
    static_cast<void>(registered);
}

// Rounded up, so that a timer is due when the wait for it is over.
int milliseconds(const timeval& time) {
    return static_cast<int>(time.tv_sec * 1000 + (time.tv_usec + 999) / 1000);
}

uint64_t tagOf(int fd, uint32_t serial) { return uint64_t{serial} << 32 | static_cast<uint32_t>(fd); }

} // namespace

bool dpEpollDispatcher::isLinked(int fd) const {
    return watched(readMask).test(fd) || watched(writeMask).test(fd) || watched(exceptMask).test(fd);
}

void dpEpollDispatcher::attach(int fd, int mask, dpIOHandler* handler) {
    dpDispatcher::attach(fd, mask, handler);
    if (hasSet())
        enter(fd);
}

void dpEpollDispatcher::detach(int fd) {
    const bool wasLinked = fd >= 0 && fd < nfds() && isLinked(fd);
    dpDispatcher::detach(fd);
    if (!wasLinked)
        return;
    // Without success when the descriptor is closed. If its file is still open elsewhere, in a child for one,
    // the set keeps it; its events have a serial that is not the present one then.
    if (entry(fd).isInSet && forks_ == forks)
        control(EPOLL_CTL_DEL, fd);
    entry(fd) = {entry(fd).serial + 1};
    alwaysReady_.reset(fd);
}

// Makes the set when there is none, with all that is linked.
bool dpEpollDispatcher::hasSet() {
    if (set_.isOpen() && forks_ == forks)
        return true;
    countForks();
    forks_ = forks;
    set_.reset(::epoll_create1(EPOLL_CLOEXEC));
    alwaysReady_.clear();
    for (int fd = 0; fd < nfds() && set_.isOpen(); ++fd) {
        entry(fd) = {entry(fd).serial + 1};
        if (isLinked(fd))
            enter(fd);
    }
    return set_.isOpen();
}

bool dpEpollDispatcher::control(int operation, int fd) {
    epoll_event event{};
    if (watched(readMask).test(fd))
        event.events |= readable;
    if (watched(writeMask).test(fd))
        event.events |= writable;
    if (watched(exceptMask).test(fd))
        event.events |= exceptional;
    if (entry(fd).onlyChanges)
        event.events |= EPOLLET;
    event.data.u64 = tagOf(fd, entry(fd).serial);
    return ::epoll_ctl(set_.get(), operation, fd, &event) == 0;
}

// Makes the set hold the file that has this number now. False when there is none. The set is given up when it
// does not work.
bool dpEpollDispatcher::enter(int fd) {
    Entry& entered = entry(fd);
    if (entered.isInSet && control(EPOLL_CTL_MOD, fd))
        return true;
    // Another file has come under the number, or none has been entered yet.
    entered = {entered.serial + 1};
    alwaysReady_.reset(fd);
    if (control(EPOLL_CTL_ADD, fd)) {
        entered.isInSet = true;
        return true;
    }
    if (errno == EPERM) {
        alwaysReady_.set(fd);
        return true;
    }
    if (errno == EBADF && ::fcntl(set_.get(), F_GETFD) != -1)
        return false;
    // The set was closed from outside, and its number may be somebody else's by now; or memory is short.
    if (errno == EBADF || errno == EINVAL)
        set_.release();
    set_.reset();
    return true;
}

void dpEpollDispatcher::compare() {
    compared_ = monotonicTime();
    for (bool closed = true; closed && set_.isOpen();) {
        closed = false;
        for (int fd = 0; fd < nfds() && set_.isOpen(); ++fd)
            closed = (isLinked(fd) && !enter(fd)) || closed;
        if (closed) {
            errno = EBADF; // as `select` has it
            handleError();
        }
    }
}

int dpEpollDispatcher::waitFor(dpFdMask& r, dpFdMask& w, dpFdMask& e, timeval* limit) {
    const timeval zero{};
    const timeval end = timeSum(monotonicTime(), limit && isEarlier(zero, *limit) ? *limit : zero);
    // Handlers and callers may have closed anything since the last wait. Within a wait no code of the process
    // runs, so one comparison is enough.
    bool isCompared = false;
    for (;;) {
        const timeval now = monotonicTime();
        timeval left = isEarlier(now, end) ? timeDifference(end, now) : zero;
        if (!hasSet())
            return dpDispatcher::waitFor(r, w, e, limit ? &left : nullptr);
        const timeval due = timeSum(compared_, compareInterval);
        if (!isCompared && !isEarlier(now, due)) {
            compare();
            isCompared = true;
            continue;
        }
        timeval wait = isCompared ? longestWait : timeDifference(due, now);
        const timeval* wanted = calculateTimeout(limit ? &left : nullptr);
        const bool isWhole = wanted && !isEarlier(wait, *wanted);
        if (isWhole)
            wait = *wanted;
        const int found = collect(wait, r, w, e);
        if (found > 0 || (found == 0 && isWhole))
            return found;
    }
}

// What is ready after at most that time; -1 when something happened that changes nothing for the caller.
int dpEpollDispatcher::collect(const timeval& longest, dpFdMask& r, dpFdMask& w, dpFdMask& e) {
    e.clear();
    r = alwaysReady_.intersection(watched(readMask));
    w = alwaysReady_.intersection(watched(writeMask));
    int found = r.count() + w.count();
    std::array<epoll_event, maxDescriptors> events;
    const int count =
        ::epoll_wait(set_.get(), events.data(), events.size(), found > 0 ? 0 : milliseconds(longest));
    if (count < 0) {
        if (errno == EBADF || errno == EINVAL)
            set_.release(); // closed from outside
        else
            handleError();
        return -1;
    }
    for (int i = 0; i < count; ++i)
        found += take(events[static_cast<size_t>(i)], r, w, e);
    return found == 0 && count > 0 ? -1 : found;
}

// Enters what the event says in the sets; the number of bits.
int dpEpollDispatcher::take(const epoll_event& event, dpFdMask& r, dpFdMask& w, dpFdMask& e) {
    const auto fd = static_cast<int>(event.data.u64 & UINT32_MAX);
    Entry& known = entry(fd);
    if (!known.isInSet || event.data.u64 != tagOf(fd, known.serial)) {
        // Of a file that is closed here and open elsewhere: only a new set is without it.
        set_.reset();
        return 0;
    }
    const struct {
        int mask;
        uint32_t events;
        dpFdMask& ready;
    } kinds[] = {{readMask, readable, r}, {writeMask, writable, w}, {exceptMask, exceptional, e}};
    int found = 0;
    for (const auto& kind : kinds) {
        if ((event.events & kind.events) != 0 && watched(kind.mask).test(fd)) {
            kind.ready.set(fd);
            ++found;
        }
    }
    if (known.onlyChanges != (found == 0)) {
        known.onlyChanges = found == 0;
        control(EPOLL_CTL_MOD, fd);
    }
    return found;
}

} // namespace harbolance
