#pragma once

#include "net/dispatcher.h"

namespace harbolance {

// Orderly end of the process on SIGINT or SIGTERM. The signal handler only notes the signal and makes a
// descriptor readable. The action runs in the process's next wait, or at once in the present one. It thus
// runs outside the signal handler and may allocate, send and wait. A second signal ends the process at once.
class Termination {
public:
    // Called once. A signal that the program already handles or ignores is left alone. From then on the
    // global dispatcher watches for signals.
    static void install(void (*action)());
    // Runs the action when a signal has come and it has not run yet.
    static void act();
    // Readable when there may be something to act on; -1 before `install`.
    static int fd();
};

// Makes another dispatcher than the global one watch for termination signals, for as long as it lives.
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
