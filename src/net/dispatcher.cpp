#include "net/dispatcher.h"

#include "base/standard_streams.h"
#include "net/epoll_dispatcher.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

using namespace harbolance;

namespace {

dpDispatcher* globalDispatcher = nullptr;

// Shared by all dispatchers of the process: the descriptor at which the next turn starts.
int turnCounter = 0;

void checkRange(int fd, int mask) {
    // A number outside the tables is a caller's bug; continuing would write out of bounds.
    if (fd < 0 || fd >= dpDispatcher::maxDescriptors || mask < dpDispatcher::readMask ||
        mask > dpDispatcher::exceptMask)
        std::abort();
}

// The first descriptor in from..end-1 that is in one of the sets, or `end`.
int nextReady(int from, int end, const dpFdMask& r, const dpFdMask& w, const dpFdMask& e) {
    constexpr int bits = dpFdMask::wordBits;
    for (int base = from - from % bits; base < end; base += bits) {
        const auto index = static_cast<size_t>(base / bits);
        uint64_t word = r.word(index) | w.word(index) | e.word(index);
        // The first word may contain bits below `from`; they belong to the other half of the turn.
        if (base < from)
            word &= ~uint64_t{0} << (from - base);
        if (word != 0)
            return std::min(base + std::countr_zero(word), end);
    }
    return end;
}

// Tests by a `select` on this descriptor alone that does not wait; it fails when the descriptor is closed.
bool isClosed(int fd) {
    int result = 0;
    do {
        dpFdMask alone;
        alone.set(fd);
        timeval atOnce{};
        result = select(fd + 1, alone.forSelect(), nullptr, nullptr, &atOnce);
    } while (result < 0 && errno == EINTR);
    return result < 0;
}

} // namespace

int dpIOHandler::inputReady(int) { return 0; }

int dpIOHandler::outputReady(int) { return 0; }

int dpIOHandler::exceptionRaised(int) { return 0; }

void dpIOHandler::timerExpired(long, long) {}

int dpFdMask::count() const {
    int bits = 0;
    for (const uint64_t word : words_)
        bits += std::popcount(word);
    return bits;
}

void dpFdMask::add(const dpFdMask& other) {
    for (size_t i = 0; i < words; ++i)
        words_[i] |= other.words_[i];
}

dpFdMask dpFdMask::intersection(const dpFdMask& other) const {
    dpFdMask common;
    for (size_t i = 0; i < words; ++i)
        common.words_[i] = words_[i] & other.words_[i];
    return common;
}

[[gnu::hot]] dpDispatcher* dpDispatcher::instance() {
    if (!globalDispatcher)
        globalDispatcher = new dpEpollDispatcher;
    return globalDispatcher;
}

void dpDispatcher::instance(dpDispatcher* dispatcher) { globalDispatcher = dispatcher; }

void dpDispatcher::link(int fd, int mask, dpIOHandler* handler) {
    checkRange(fd, mask);
    attach(fd, mask, handler);
}

[[gnu::hot]] dpIOHandler* dpDispatcher::handler(int fd, int mask) const {
    checkRange(fd, mask);
    return handlers_[mask][fd];
}

void dpDispatcher::unlink(int fd) { detach(fd); }

void dpDispatcher::startTimer(long sec, long usec, dpIOHandler* handler) {
    timers_.insert(timeSum(monotonicTime(), {sec, usec}), handler);
}

void dpDispatcher::stopTimer(dpIOHandler* handler) { timers_.remove(handler); }

[[gnu::hot]] int dpDispatcher::setReady(int fd, int mask) {
    if (!handler(fd, mask))
        return 0;
    ready_[mask].set(fd);
    marked_ = true;
    return 1;
}

bool dpDispatcher::dispatch(long& sec, long& usec) {
    // timeSum needs microseconds below a million; callers may pass any number.
    timeval limit = timeSum({sec, 0}, {usec / 1000000, usec % 1000000});
    if (limit.tv_sec < 0 || limit.tv_usec < 0)
        limit = {};
    const timeval end = timeSum(monotonicTime(), limit);
    const bool served = dispatch(&limit);
    const timeval now = monotonicTime();
    const timeval left = isEarlier(now, end) ? timeDifference(end, now) : timeval{};
    sec = left.tv_sec;
    usec = left.tv_usec;
    return served;
}

[[gnu::hot]] bool dpDispatcher::dispatch(timeval* limit) {
    // These descriptors are left over from an outer turn, or from a turn that an exception ended. `select`
    // will report again what it has reported, but descriptors marked as ready would be lost, so they are
    // marked again.
    for (int mask = readMask; selectedFromReady_ && mask <= exceptMask; ++mask) {
        ready_[mask].add(selected_[mask]);
        marked_ = true;
    }
    if (serving_) [[unlikely]] {
        notServed(selected_[readMask]);
        for (dpFdMask& mask : selected_)
            mask.clear();
    }

    dpFdMask& r = selected_[readMask];
    dpFdMask& w = selected_[writeMask];
    dpFdMask& e = selected_[exceptMask];
    selectedFromReady_ = anyReady();
    const int nfound = selectedFromReady_ ? fillInReady(r, w, e) : waitFor(r, w, e, limit);
    notify(nfound, r, w, e);
    return nfound != 0;
}

[[gnu::hot]] bool dpDispatcher::anyReady() const {
    return marked_ &&
           (ready_[readMask].anySet() || ready_[writeMask].anySet() || ready_[exceptMask].anySet());
}

[[gnu::hot]] bool dpDispatcher::dispatch() { return dispatch(nullptr); }

void dpDispatcher::linkDraining(int fd, dpIOHandler* handler) { link(fd, readMask, handler); }

// `select` reports what is left unread anyway.
void dpDispatcher::leftUnread(int) {}

void dpDispatcher::notServed(const dpFdMask&) {}

void dpDispatcher::attach(int fd, int mask, dpIOHandler* handler) {
    watched_[mask].set(fd);
    handlers_[mask][fd] = handler;
    nfds_ = std::max(nfds_, fd + 1);
}

void dpDispatcher::detach(int fd) {
    if (fd < 0 || fd >= nfds_)
        return;
    for (int mask = readMask; mask <= exceptMask; ++mask) {
        watched_[mask].reset(fd);
        ready_[mask].reset(fd);
        // A descriptor of the same number, opened and linked before the turn is over, isn't ready yet.
        selected_[mask].reset(fd);
        handlers_[mask][fd] = nullptr;
    }
    // `nfds_` must be as small as possible, because `select` and each turn examine all numbers below it.
    if (fd == nfds_ - 1) {
        while (nfds_ > 0 && !hasHandler(nfds_ - 1))
            --nfds_;
    }
}

[[gnu::hot]] int dpDispatcher::fillInReady(dpFdMask& r, dpFdMask& w, dpFdMask& e) {
    r = ready_[readMask];
    w = ready_[writeMask];
    e = ready_[exceptMask];
    // A mark causes a single call; a handler requests another one by its result.
    for (dpFdMask& mask : ready_)
        mask.clear();
    marked_ = false;
    return r.count() + w.count() + e.count();
}

int dpDispatcher::waitFor(dpFdMask& r, dpFdMask& w, dpFdMask& e, timeval* limit) {
    // `select` reduces its limit to the time remaining. The reduced value is kept over the repeats, so that
    // signals don't lengthen the wait; the caller's value is not changed.
    timeval left = limit ? *limit : timeval{};
    if (left.tv_sec < 0 || left.tv_usec < 0)
        left = {};
    for (;;) {
        // A failed `select` leaves the sets undefined, so they are filled again for each try.
        r = watched_[readMask];
        w = watched_[writeMask];
        e = watched_[exceptMask];
        timeval* wait = calculateTimeout(limit ? &left : nullptr);
        const int nfound = select(nfds_, r.forSelect(), w.forSelect(), e.forSelect(), wait);
        if (nfound >= 0)
            return nfound;
        handleError();
    }
}

[[gnu::hot]] void dpDispatcher::notify(int nfound, dpFdMask& r, dpFdMask& w, dpFdMask& e) {
    turnCounter = turnCounter == INT_MAX ? 0 : turnCounter + 1;
    const int turn = turnCounter;
    // The range is fixed before handlers change `nfds_`, so that every bit is served.
    const int end = nfds_;
    serving_ = true;
    if (nfound > 0 && end > 0) {
        const int first = nfound > 1 ? turn % end : 0; // one descriptor has no order
        nfound = serveRange(first, end, nfound, r, w, e);
        if (nfound > 0)
            serveRange(0, first, nfound, r, w, e);
    }
    // Only a nested turn that an exception ended leaves descriptors.
    serving_ = turnCounter != turn && r.anySet();
    // Timers run after the descriptors, so that a reply that has arrived is served before its time-out is
    // reported.
    if (!timers_.empty())
        timers_.expire(monotonicTime(), timeOfDay());
}

// Calls the handler of a descriptor in the set, and removes it from the set.
template <int mask>
inline void dpDispatcher::serve(int fd, dpFdMask& ready) {
    // Removed before the call, so that a nested turn does not serve this bit again.
    ready.reset(fd);
    dpIOHandler* const called = handlers_[mask][fd];
    if (!called)
        return;

    int result = 0;
    if constexpr (mask == readMask)
        result = called->inputReady(fd);
    else if constexpr (mask == writeMask)
        result = called->outputReady(fd);
    else
        result = called->exceptionRaised(fd);

    // The result applies to the handler that was called. If it has linked another handler under this number,
    // the result does not concern that one.
    if (handlers_[mask][fd] != called)
        return;
    if (result < 0)
        detach(fd);
    else if (result > 0)
        setReady(fd, mask);
}

[[gnu::hot]] int dpDispatcher::serveRange(int from, int end, int nfound, dpFdMask& r, dpFdMask& w,
                                          dpFdMask& e) {
    // The sets are searched again after each handler, which may unlink descriptors; a nested turn empties the
    // sets.
    for (int fd = from; nfound > 0; ++fd) {
        fd = nextReady(fd, end, r, w, e);
        if (fd == end)
            break;
        // Each set is tested after the previous call, which may have changed it.
        if (r.test(fd)) {
            serve<readMask>(fd, r);
            --nfound;
        }
        if (w.test(fd)) {
            serve<writeMask>(fd, w);
            --nfound;
        }
        if (e.test(fd)) {
            serve<exceptMask>(fd, e);
            --nfound;
        }
    }
    return nfound;
}

[[gnu::hot]] timeval* dpDispatcher::calculateTimeout(timeval* limit) {
    if (timers_.empty())
        return limit;
    const timeval now = monotonicTime();
    const timeval due = timers_.head()->due();
    // A timer that is due makes the wait zero, so that descriptors are still looked at before it runs.
    wait_ = {};
    if (isEarlier(now, due)) {
        wait_ = timeDifference(due, now);
        if (limit && !isEarlier(wait_, *limit))
            return limit;
    }
    return &wait_;
}

void dpDispatcher::handleError() {
    const int error = errno;
    if (error == EINTR)
        return;
    // Any other error would be returned at once by every further wait.
    if (error != EBADF) {
        perror("Dispatcher: select");
        standardOutput() << "Dispatcher::handleError: Select error (" << error << ")\n";
        std::exit(1);
    }
    const int before = watched_[readMask].count();
    checkConnections();
    // When no closed descriptor was found among the readers, the others must be tested, or the wait would
    // fail for ever.
    if (watched_[readMask].count() == before) {
        dropClosed(writeMask);
        dropClosed(exceptMask);
    }
}

void dpDispatcher::checkConnections() { dropClosed(readMask); }

void dpDispatcher::dropClosed(int mask) {
    for (int fd = 0; fd < nfds_; ++fd) {
        if (handlers_[mask][fd] && isClosed(fd))
            detach(fd);
    }
}

bool dpDispatcher::hasHandler(int fd) const {
    return handlers_[readMask][fd] || handlers_[writeMask][fd] || handlers_[exceptMask][fd];
}
