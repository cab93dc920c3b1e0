#pragma once

#include "marshal/types.h"
#include "net/dispatcher.h"
#include "net/termination.h"

#include <chrono>
#include <optional>

// A timer to wait with: `fired` tells that the time is over.
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

// How a call waits: it turns the event loop, so that everything else of the process is served meanwhile and
// any handler may run inside the wait. With the property OAnoCallback the wait has a loop of its own, in
// which only what the waiting call links is served.
class LoopWait {
public:
    LoopWait();
    LoopWait(const LoopWait&) = delete;
    LoopWait& operator=(const LoopWait&) = delete;
    ~LoopWait() { --_nested; }

    // How many waits there are, each in a handler that the one before has called.
    static unsigned nested() { return _nested; }

    // Where the waiting call links what it waits for, and unlinks it before the wait ends.
    dpDispatcher& dispatcher() { return *_dispatcher; }
    bool isPrivate() const { return _own.has_value(); }

    // Turns the loop until `done()`: true. False after so many seconds, 0 for no limit. What is done in the
    // very turn in which the time runs out does not count.
    template <class Done>
    bool until(CORBA_ULong seconds, Done done) {
        return done() || turnUntil(seconds, done);
    }
    // The same for what is known not to be done yet.
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
    std::optional<TerminationWatch> _signals; // of a loop of its own
    dpDispatcher* _dispatcher;
};

} // namespace harbolance
