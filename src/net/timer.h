#pragma once

#include "net/dispatcher.h"

// A timer for a wait: start it, turn its dispatcher, and test `expired` after each turn. The dispatcher must
// outlive it. Only one period runs at a time.
class DSTimer : public dpIOHandler {
public:
    explicit DSTimer(dpDispatcher* owner) : dispatcher(owner) {}
    DSTimer(const DSTimer&) = delete;
    DSTimer& operator=(const DSTimer&) = delete;
    ~DSTimer() override { stop(); }

    // May be called from a handler. A period that is still running is dropped.
    void start(long sec, long usec) {
        stop();
        running = true;
        expired = false;
        dispatcher->startTimer(sec, usec, this);
    }

    // May be called from a handler. `expired` stays as it is.
    void stop() {
        if (running)
            dispatcher->stopTimer(this);
        running = false;
    }

    void timerExpired(long, long) override {
        running = false;
        expired = true;
    }

    bool running = false;
    bool expired = false;
    dpDispatcher* dispatcher;
};
