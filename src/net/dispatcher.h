#pragma once

// This folder holds the event loop and what else talks to the system about descriptors: the dispatcher (this
// file; epoll_dispatcher.h is the one that waits by `epoll`), its timers (timer_queue.h; timer.h is one to
// wait with), the end by a signal (termination.h), the round-trip estimate (ncrtt.h), descriptors and
// interrupted calls (descriptors.h), host names and addresses (host_address.h).
//
// The event loop. One turn, `dpDispatcher::dispatch`, goes like this:
//
//   1. When a descriptor is marked ready (a handler asked to be called again, or `setReady`), the marked ones
//      are taken and nothing is waited for.
//   2. Otherwise the loop waits for a watched descriptor, for the earliest timer or for the caller's limit,
//      whichever comes first. A signal or a closed descriptor does not end the wait.
//   3. The handlers of the ready descriptors are called, each at most once for reading, writing and
//      exceptions, in that order. The descriptor that goes first moves on by one with each turn.
//   4. The timers that are due by then are called, earliest first.
//
// There is one thread and a handler runs to its end. A handler may call every public operation of the
// dispatcher that is calling it: link, unlink, start and stop timers, mark ready, turn this loop again or
// turn a private dispatcher of its own, which keeps this one still for that time. It may destroy other
// handlers, and itself, once they are unlinked and their timers stopped. It must not destroy the dispatcher.
//
// A nested turn takes over the ready descriptors that the outer turn has not served yet. No event is lost,
// and no handler is called for input that the nested turn has already consumed. The outer turn then only has
// its timers left.

#include "net/timer_queue.h"

#include <sys/select.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// A handler that can be linked to a dispatcher. The result of the first three operations: negative, unlink
// this descriptor; positive, call again for it without waiting; 0, nothing.
//
// Handlers are not owned by the dispatcher: unlink the descriptors and stop the timers before destroying one.
class dpIOHandler {
public:
    virtual ~dpIOHandler() = default;
    virtual int inputReady(int fd);
    virtual int outputReady(int fd);
    virtual int exceptionRaised(int fd);
    // Called with the time of day, not with the time that the timer was set for.
    virtual void timerExpired(long sec, long usec);
};

// A set of descriptors 0..1023 in the layout of `fd_set`, so that it can be passed to `select`.
class dpFdMask {
public:
    static constexpr size_t wordBits = 64;
    static constexpr size_t words = 1024 / wordBits;

    void clear() { words_ = {}; }
    void set(int fd) { wordOf(fd) |= bitOf(fd); }
    void reset(int fd) { wordOf(fd) &= ~bitOf(fd); }
    bool test(int fd) const { return (words_[static_cast<size_t>(fd) / wordBits] & bitOf(fd)) != 0; }
    bool anySet() const {
        uint64_t any = 0; // no early exit: the whole loop takes only a few instructions
        for (const uint64_t word : words_)
            any |= word;
        return any != 0;
    }
    int count() const;

    uint64_t word(size_t index) const { return words_[index]; }
    // Adds every descriptor of the other set.
    void add(const dpFdMask& other);
    dpFdMask intersection(const dpFdMask& other) const;
    fd_set* forSelect() { return reinterpret_cast<fd_set*>(words_.data()); }

private:
    static uint64_t bitOf(int fd) { return uint64_t{1} << (static_cast<size_t>(fd) % wordBits); }
    uint64_t& wordOf(int fd) { return words_[static_cast<size_t>(fd) / wordBits]; }

    std::array<uint64_t, words> words_{};
};

static_assert(sizeof(dpFdMask) == sizeof(fd_set) && alignof(dpFdMask) >= alignof(fd_set));
static_assert(sizeof(long) == sizeof(uint64_t) || std::endian::native == std::endian::little,
              "fd_set is an array of long");

// A loop over descriptors, with a queue of timers. This class waits by `select`; the global instance, which
// serves the long-lived connections, waits by `epoll` (epoll_dispatcher.h). A wait that must serve nothing
// else makes a private dispatcher on the stack. Descriptors are never closed here; unlink one before closing
// it.
//
// A descriptor outside 0..255 or an unknown mask in `link`, `handler` or `setReady` ends the process by
// `abort`. Compare descriptors that a peer can make you open with `maxDescriptors` first.
class dpDispatcher {
public:
    enum { readMask = 0, writeMask = 1, exceptMask = 2 };
    static constexpr int maxDescriptors = 256;

    // The global dispatcher, made by the first call and never destroyed.
    static dpDispatcher* instance();
    // Replaces the global dispatcher without destroying the old one. After null the next `instance()` makes a
    // new one.
    static void instance(dpDispatcher* dispatcher);

    dpDispatcher() = default;
    dpDispatcher(const dpDispatcher&) = delete;
    dpDispatcher& operator=(const dpDispatcher&) = delete;
    virtual ~dpDispatcher() = default;

    // One handler per descriptor and mask; a second one replaces the first. Handlers are not owned.
    virtual void link(int fd, int mask, dpIOHandler* handler);
    // Null when none is linked.
    virtual dpIOHandler* handler(int fd, int mask) const;
    // Unlinks the descriptor for all three masks. No handler of it is called afterwards, not even later in
    // the present turn. Does nothing when it isn't linked.
    virtual void unlink(int fd);

    // Calls `timerExpired` once, in a turn after the interval. A handler may have several timers. Setting the
    // wall clock does not affect them.
    virtual void startTimer(long sec, long usec, dpIOHandler* handler);
    // Stops the earliest timer of the handler, only that one.
    virtual void stopTimer(dpIOHandler* handler);

    // Makes the next turn call the handler without waiting. Returns 1, or 0 when none is linked.
    virtual int setReady(int fd, int mask);
    // Takes that back. A turn with a marked descriptor does not look at the others, so a mark must not stay
    // when its reason is gone.
    void clearReady(int fd, int mask) {
        if (marked_)
            ready_[mask].reset(fd);
    }

    // Runs one turn, which waits no longer than the limit, and stores in it the time that remains, zero when
    // it ran out. True when a descriptor was ready.
    virtual bool dispatch(long& sec, long& usec);
    // Runs one turn, which waits no longer than `limit` (not changed), or for null until a descriptor is
    // ready or a timer is due. True when a descriptor was ready; false for a turn that only ran timers.
    virtual bool dispatch(timeval* limit);

    virtual bool anyReady() const;

    // Runs one turn without a limit. With no descriptor linked and no timer it waits for ever.
    virtual bool dispatch();

    // Links a read handler that drains its descriptor: each call reads until the system has no more data, or
    // calls `leftUnread`. Such a handler need not be called again for the same data, which saves the system a
    // check of the descriptor in each wait. It may also be called when there is nothing to read.
    virtual void linkDraining(int fd, dpIOHandler* handler);
    // The descriptor of a draining handler counts as readable in the next wait.
    virtual void leftUnread(int fd);

    // One above the highest linked descriptor.
    int nfds() const { return nfds_; }

protected:
    virtual void attach(int fd, int mask, dpIOHandler* handler);
    virtual void detach(int fd);
    // Both fill the three sets, which are empty, and return the number of bits in them. `waitFor` is the only
    // step of a turn that waits; it returns 0 when the time ran out.
    virtual int fillInReady(dpFdMask& r, dpFdMask& w, dpFdMask& e);
    virtual int waitFor(dpFdMask& r, dpFdMask& w, dpFdMask& e, timeval* limit);
    // Steps 3 and 4 of the turn. `nfound` bounds the descriptors; the sets are emptied on the way.
    virtual void notify(int nfound, dpFdMask& r, dpFdMask& w, dpFdMask& e);
    // The limit of the wait: `limit` itself, or the dispatcher's own value, valid until the next call.
    virtual timeval* calculateTimeout(timeval* limit);
    // Called after a wait has failed, with its `errno`: returns when the wait can be repeated, else ends the
    // process with status 1.
    virtual void handleError();
    // Drops the descriptors with a read handler that are no longer open.
    virtual void checkConnections();

    // Called when the turn before was cut short by a nested turn or an exception: the descriptors of `r` are
    // readable, and their handlers have not been called.
    virtual void notServed(const dpFdMask& r);

    // The descriptors entered by `attach` for one of the three masks.
    const dpFdMask& watched(int mask) const { return watched_[mask]; }

private:
    int serveRange(int from, int end, int nfound, dpFdMask& r, dpFdMask& w, dpFdMask& e);
    template <int mask>
    void serve(int fd, dpFdMask& ready);
    bool hasHandler(int fd) const;
    void dropClosed(int mask);

    int nfds_ = 0;
    dpFdMask watched_[3];
    dpFdMask ready_[3];
    dpFdMask selected_[3]; // what the present turn has not served yet
    dpIOHandler* handlers_[3][maxDescriptors] = {};
    dpTimerQueue timers_;
    timeval wait_{};
    bool selectedFromReady_ = false;
    bool serving_ = false; // the handlers of `selected_` are being called, or some were not
    bool marked_ = false;  // `ready_` may have members
};
