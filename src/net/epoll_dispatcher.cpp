#include "net/epoll_dispatcher.h"

#include <pthread.h>
#include <sys/epoll.h>

#include <cerrno>
#include <climits>
#include <utility>

namespace harbolance {

namespace {

// The epoll events that correspond to select's readable, writable and exceptional sets.
constexpr uint32_t readable = EPOLLIN | EPOLLRDNORM | EPOLLRDBAND | EPOLLHUP | EPOLLERR;
constexpr uint32_t writable = EPOLLOUT | EPOLLWRNORM | EPOLLWRBAND | EPOLLERR;
constexpr uint32_t exceptional = EPOLLPRI;
// The end of the input or of the connection, after which no new event comes, and urgent data, at which a read
// stops although more may follow.
constexpr uint32_t interrupting = EPOLLRDHUP | EPOLLHUP | EPOLLERR | EPOLLPRI;

// Number of forks between the first process and this one; a change means that this is a new child.
int forks = 0;

void countForks() {
    // The child shares the parent's epoll set, so its changes would affect the parent: it makes a set of its
    // own.
    static const int registered = ::pthread_atfork(nullptr, nullptr, [] { ++forks; });
    static_cast<void>(registered);
}

// The time-out for `epoll_wait`: rounded up, so that a timer is due when the wait for it ends. A time that
// does not fit in an int (24 days) is cut; the wait then ends early.
int milliseconds(const timeval* time) {
    if (!time)
        return -1;
    if (time->tv_sec >= INT_MAX / 1000)
        return INT_MAX;
    return static_cast<int>(time->tv_sec * 1000 + (time->tv_usec + 999) / 1000);
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
    draining_.reset(fd);
    unread_.reset(fd);
    // EPOLL_CTL_DEL fails when the descriptor is already closed. If its file is still open elsewhere, for
    // example in a child, the set keeps it; the new serial lets its events be told from later ones.
    if (hasSet())
        control(EPOLL_CTL_DEL, fd);
    entry(fd) = {entry(fd).serial + 1};
}

void dpEpollDispatcher::link(int fd, int mask, dpIOHandler* handler) {
    if (mask == readMask && dpDispatcher::handler(fd, mask)) // may have been a draining one
        draining_.reset(fd);
    dpDispatcher::link(fd, mask, handler);
}

void dpEpollDispatcher::linkDraining(int fd, dpIOHandler* handler) {
    static_cast<void>(dpDispatcher::handler(fd, readMask)); // ends the process on a bad number
    draining_.set(fd);
    dpDispatcher::link(fd, readMask, handler);
}

void dpEpollDispatcher::leftUnread(int fd) {
    if (!draining_.test(fd))
        return;
    unread_.set(fd);
    anyUnread_ = true;
}

// Level-triggered descriptors need no mark: the system reports them again.
void dpEpollDispatcher::notServed(const dpFdMask& r) {
    unread_.add(r.intersection(draining_));
    anyUnread_ = anyUnread_ || unread_.anySet();
}

bool dpEpollDispatcher::hasSet() const { return set_.isOpen() && forks_ == forks; }

// Makes the epoll set, with all linked descriptors. False when the system has no descriptor or memory for it.
bool dpEpollDispatcher::makeSet() {
    countForks();
    forks_ = forks;
    // The set is built from what is linked now, so a lost set costs one pass over the descriptors.
    set_.reset(::epoll_create1(EPOLL_CLOEXEC));
    for (int fd = 0; fd < nfds() && set_.isOpen(); ++fd) {
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
    if (draining_.test(fd) && event.events == readable)
        event.events |= EPOLLET | EPOLLRDHUP | EPOLLPRI;
    // The system always reports hang-ups and errors. When no handler watches for them, edge triggering keeps
    // them from being reported by every wait.
    if (entry(fd).onlyChanges)
        event.events |= EPOLLET;
    event.data.u64 = tagOf(fd, entry(fd).serial);
    return ::epoll_ctl(set_.get(), operation, fd, &event) == 0;
}

// Makes the set watch the file that has this number now, if there is one. Gives the set up when it does not
// work.
void dpEpollDispatcher::enter(int fd) {
    if (control(EPOLL_CTL_MOD, fd))
        return;
    // The number belongs to another file now, or none has been entered yet.
    entry(fd) = {entry(fd).serial + 1};
    alwaysReady_.reset(fd);
    if (control(EPOLL_CTL_ADD, fd))
        return;
    // epoll_ctl gives EPERM for a file that cannot be waited for, for example a regular file.
    if (errno == EPERM) {
        anyAlwaysReady_ = true;
        alwaysReady_.set(fd);
    } else if (errno == EINVAL) {
        set_.release(); // closed by code outside; the number is another file now
    } else if (errno != EBADF) {
        set_.reset();
    }
}

// Adds the event to the sets; returns the number of bits set.
inline int dpEpollDispatcher::take(const epoll_event& event, dpFdMask& r, dpFdMask& w, dpFdMask& e) {
    const auto fd = static_cast<int>(event.data.u64 & UINT32_MAX);
    Entry& known = entry(fd);
    if (event.data.u64 != tagOf(fd, known.serial)) {
        // An event of a file that was closed here before it was unlinked and is still open elsewhere. Only a
        // new set can leave it out.
        set_.reset();
        return 0;
    }
    const auto note = [&](int mask, uint32_t events, dpFdMask& ready) {
        // The system reports errors and hang-ups whether they were asked for or not.
        if ((event.events & events) == 0 || !watched(mask).test(fd))
            return 0;
        ready.set(fd);
        return 1;
    };
    // Level-triggered from here on: a handler that reads less than it asked for must be called again.
    if ((event.events & interrupting) != 0 && draining_.test(fd)) [[unlikely]] {
        draining_.reset(fd);
        control(EPOLL_CTL_MOD, fd);
    }
    const int found =
        note(readMask, readable, r) + note(writeMask, writable, w) + note(exceptMask, exceptional, e);
    if (known.onlyChanges != (found == 0)) {
        known.onlyChanges = found == 0;
        control(EPOLL_CTL_MOD, fd);
    }
    return found;
}

// Collects what is ready within the limit. -1 when only something happened that the caller must not see.
inline int dpEpollDispatcher::collect(const timeval* limit, dpFdMask& r, dpFdMask& w, dpFdMask& e) {
    int found = 0;
    if (anyAlwaysReady_ && alwaysReady_.anySet()) {
        r = alwaysReady_.intersection(watched(readMask));
        w = alwaysReady_.intersection(watched(writeMask));
        found = r.count() + w.count();
    }
    // One event per descriptor at most, so that a call never leaves some behind.
    std::array<epoll_event, maxDescriptors> events;
    // When a descriptor is ready in any case, events are collected without waiting.
    anyUnread_ = anyUnread_ && unread_.anySet();
    const bool waits = found == 0 && !anyUnread_;
    const int count = ::epoll_wait(set_.get(), events.data(), events.size(), waits ? milliseconds(limit) : 0);
    if (count < 0) {
        // Some code outside closed the set's descriptor, whose number may now be another file: do not close
        // it here.
        if (errno != EINTR)
            set_.release();
        return -1;
    }
    for (int i = 0; i < count; ++i)
        found += take(events[static_cast<size_t>(i)], r, w, e);
    if (std::exchange(anyUnread_, false)) {
        found -= r.count();
        r.add(unread_.intersection(watched(readMask)));
        found += r.count();
        unread_.clear();
    }
    return found == 0 && count > 0 ? -1 : found;
}

[[gnu::hot]] int dpEpollDispatcher::waitFor(dpFdMask& r, dpFdMask& w, dpFdMask& e, timeval* limit) {
    const timeval zero{};
    // One end time for all passes of the loop, so that events for no handler do not lengthen the wait. The
    // clock is read only when there is a limit.
    timeval end{}, left{};
    if (limit)
        end = timeSum(monotonicTime(), isEarlier(zero, *limit) ? *limit : zero);
    for (;;) {
        if (limit) {
            const timeval now = monotonicTime();
            left = isEarlier(now, end) ? timeDifference(end, now) : zero;
        }
        timeval* rest = limit ? &left : nullptr;
        if (!hasSet() && !makeSet())
            return dpDispatcher::waitFor(r, w, e, rest);
        const int found = collect(calculateTimeout(rest), r, w, e);
        if (found >= 0)
            return found;
    }
}

} // namespace harbolance
