#pragma once

#include "marshal/types.h"
#include "net/dispatcher.h"
#include "net/termination.h"

#include <chrono>
#include <optional>

// A timer for waits: `fired` is set when the time has passed.
class TRXTimer : public dpIOHandler {
public:
    explicit TRXTimer(dpDispatcher& owner) : dispatcher(&owner) {}
    TRXTimer(const TRXTimer&) = delete;
    TRXTimer& operator=(const TRXTimer&) = delete;
    ~TRXTimer() override { stop(); }

    void start(long seconds, long microseconds = 0) {
        stop();
        fired = false;
        _running = true;
        dispatcher->startTimer(seconds, microseconds, this);
    }
    void stop() {
        if (_running)
            dispatcher->stopTimer(this);
        _running = false;
    }

    void timerExpired(long, long) override {
        _running = false;
        fired = true;
    }

    bool fired = false;
    dpDispatcher* dispatcher;

private:
    bool _running = false;
};

namespace harbolance {

// How a call waits: it runs the event loop, so that the rest of the process is served meanwhile, and any
// handler may be called inside the wait. With the property OAnoCallback the wait uses a private loop, which
// serves only what the waiting call links.
class LoopWait {
public:
    LoopWait();
    LoopWait(const LoopWait&) = delete;
    LoopWait& operator=(const LoopWait&) = delete;
    ~LoopWait() { --_nested; }

    // The number of waits, each in a handler that the previous one has called.
    static unsigned nested() { return _nested; }

    // The dispatcher to which the waiting call links what it waits for; it must unlink that before the wait
    // ends.
    dpDispatcher& dispatcher() { return *_dispatcher; }
    bool isPrivate() const { return _own.has_value(); }

    // Runs the loop until `done()` and then returns true. False after so many seconds, 0 for no limit, even
    // if `done()` becomes true in the same turn.
    template <class Done>
    bool until(CORBA_ULong seconds, Done done) {
        return done() || turnUntil(seconds, done);
    }
    // The same when `done()` is known to be false at the start.
    template <class Done>
    bool turnUntil(CORBA_ULong seconds, Done done) {
        if (seconds == 0) {
            do
                _dispatcher->dispatch();
            while (!done());
            return true;
        }
        TRXTimer timer(*_dispatcher);
        timer.start(static_cast<long>(seconds));
        do {
            _dispatcher->dispatch();
            if (timer.fired)
                return false;
        } while (!done());
        return true;
    }

    void pause(std::chrono::microseconds length);

private:
    static inline constinit unsigned _nested = 0;

    std::optional<dpDispatcher> _own;
    std::optional<TerminationWatch> _signals; // only for a private loop
    dpDispatcher* _dispatcher;
};

} // namespace harbolance
