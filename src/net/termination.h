#pragma once

#include "net/dispatcher.h"

namespace harbolance {

// How a process ends in good order on SIGINT or SIGTERM. The signal's handler only notes the signal and makes
// a descriptor readable. The action runs at the process's next wait, at once when it waits already: outside
// of signal context, so that it may allocate, send and wait. A second signal ends the process at once.
class Termination {
public:
    // Once. A signal that the program handles itself, or ignores, is left to it. The global dispatcher looks
    // out for signals from then on.
    static void install(void (*action)());
    // Runs the action when a signal has come and it has not run yet.
    static void act();
    // Readable when there may be something to act on; -1 before `install`.
    static int fd();
};

// Makes a dispatcher of its own, beside the global one, look out for termination signals.
class TerminationWatch final : public dpIOHandler {
public:
    explicit TerminationWatch(dpDispatcher& dispatcher);
    TerminationWatch(const TerminationWatch&) = delete;
    TerminationWatch& operator=(const TerminationWatch&) = delete;
    ~TerminationWatch() override;

    int inputReady(int fd) override;

private:
    dpDispatcher& dispatcher_;
    const int fd_;
};

} // namespace harbolance
