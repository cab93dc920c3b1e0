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
// A turn inside a turn takes over what the outer one has not served yet; nothing is lost and nothing is
// called for input that the inner turn has already consumed. The outer turn then only has its timers left.

#include "net/timer_queue.h"

#include <sys/select.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// What can be linked to a dispatcher. The result of the first three says what happens next: negative, drop
// this descriptor; positive, call me again for it without waiting; 0, nothing.
//
// Handlers are not owned by the dispatcher: unlink the descriptors and stop the timers before destroying one.
class dpIOHandler {
public:
    virtual ~dpIOHandler() = default;
    virtual int inputReady(int fd);
    virtual int outputReady(int fd);
    virtual int exceptionRaised(int fd);
    // The time of day, not the time that the timer was set for.
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
        uint64_t any = 0; // without an exit from the loop, which takes a few instructions then
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

// A loop over descriptors with a queue of timers. This class waits by `select`; the global instance, which
// serves the long-lived connections, by `epoll` (epoll_dispatcher.h). A wait that must keep everything else
// out makes a dispatcher of its own on the stack. Descriptors are never closed; unlink one before closing it.
//
// A descriptor outside 0..255 or an unknown mask in `link`, `handler` or `setReady` ends the process by
// `abort`: compare with `maxDescriptors` what a peer can make you open.
class dpDispatcher {
public:
    enum { readMask = 0, writeMask = 1, exceptMask = 2 };
    static constexpr int maxDescriptors = 256;

    // The global dispatcher, made by the first call and never destroyed.
    static dpDispatcher* instance();
    // Replaces the global dispatcher and does not destroy the old one; null: the next `instance()` makes a
    // new one.
    static void instance(dpDispatcher* dispatcher);

    dpDispatcher() = default;
    dpDispatcher(const dpDispatcher&) = delete;
    dpDispatcher& operator=(const dpDispatcher&) = delete;
    virtual ~dpDispatcher() = default;

    // One handler per descriptor and mask; a second one takes the place of the first.
    virtual void link(int fd, int mask, dpIOHandler* handler);
    // Null when none is linked.
    virtual dpIOHandler* handler(int fd, int mask) const;
    // Takes the descriptor out for all three masks. From then on none of its handlers is called, not even
    // later in the turn that is running. Nothing happens when it isn't linked.
    virtual void unlink(int fd);

    // Calls `timerExpired` once, after the interval, from a turn. A handler may have several timers. Setting
    // the wall clock changes nothing about it.
    virtual void startTimer(long sec, long usec, dpIOHandler* handler);
    // Stops the earliest timer of the handler, only that one.
    virtual void stopTimer(dpIOHandler* handler);

    // Makes the next turn call the handler without waiting. 1, or 0 when none is linked.
    virtual int setReady(int fd, int mask);

    // One turn that waits no longer than the limit and leaves in it the time that remains, zero when it ran
    // out. True when a descriptor was ready.
    virtual bool dispatch(long& sec, long& usec);
    // One turn that waits no longer than `limit`, which is left as it is; null: until a descriptor is ready
    // or a timer is due. True when a descriptor was ready; a turn that only ran timers gives false.
    virtual bool dispatch(timeval* limit);

    virtual bool anyReady() const;

    // One turn without a limit. With nothing linked and no timer it waits for ever.
    virtual bool dispatch();

    // Links a read handler that reads each time until the system has nothing more, or says `leftUnread`
    // before it returns. It need not be called as long as something is there, only when something new has
    // come, and must be prepared for a call without any: the system then looks at the descriptor half as
    // often.
    virtual void linkDraining(int fd, dpIOHandler* handler);
    // The next wait finds the descriptor readable, beside those that are.
    virtual void leftUnread(int fd);

    // One above the highest linked descriptor.
    int nfds() const { return nfds_; }

protected:
    virtual void attach(int fd, int mask, dpIOHandler* handler);
    virtual void detach(int fd);
    // Both fill the three sets, which are empty, and give the number of bits in them. `waitFor` is the one
    // step of a turn that waits; it gives 0 when the time ran out.
    virtual int fillInReady(dpFdMask& r, dpFdMask& w, dpFdMask& e);
    virtual int waitFor(dpFdMask& r, dpFdMask& w, dpFdMask& e, timeval* limit);
    // Steps 3 and 4 of the turn. `nfound` bounds the descriptors; the sets are emptied on the way.
    virtual void notify(int nfound, dpFdMask& r, dpFdMask& w, dpFdMask& e);
    // How long the wait may last: `limit` itself, or the dispatcher's own value, valid until the next call.
    virtual timeval* calculateTimeout(timeval* limit);
    // After a wait that failed, with its `errno`: returns when the wait can be repeated, ends the process
    // with status 1 when not.
    virtual void handleError();
    // Drops the descriptors with a read handler that are no longer open.
    virtual void checkConnections();

    // The turn before was cut short, by an inner one or an exception, and has not served these for reading.
    virtual void notServed(const dpFdMask& r);

    // What `attach` has entered for one of the three masks.
    const dpFdMask& watched(int mask) const { return watched_[mask]; }

private:
    int serveRange(int from, int end, int nfound, dpFdMask& r, dpFdMask& w, dpFdMask& e);
    void serve(int fd, int mask, dpFdMask& ready);
    bool hasHandler(int fd) const;
    void dropClosed(int mask);

    int nfds_ = 0;
    dpFdMask watched_[3];
    dpFdMask ready_[3];
    dpFdMask selected_[3]; // what the turn that is running has not served yet
    dpIOHandler* handlers_[3][maxDescriptors] = {};
    dpTimerQueue timers_;
    timeval wait_{};
    bool selectedFromReady_ = false;
    bool serving_ = false; // `selected_` is being served
    bool marked_ = false;  // something may be in `ready_`
};
