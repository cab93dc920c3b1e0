#pragma once

#include "locd/agent.h"

namespace locd {

// The signals of the operator, as input of the event loop. SIGTERM or SIGINT makes the agent leave, a second
// one ends the process at once; SIGHUP opens the log file anew; SIGUSR1 writes a status to the log. Others
// that would end the process without a farewell are ignored.
class Signals : public dpIOHandler {
public:
    // From now on none of these signals ends the process.
    static void hold();

    Signals(Agent& agent, Log& log);
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals() override;

    // False with errno set.
    bool open();
    // The process is to end: the clients have answered the farewell, or had their time for it.
    bool done() const { return done_; }

    int inputReady(int fd) override;

private:
    void take(uint32_t signal);
    void leave();
    void waitForFarewells();

    Agent& agent_;
    Log& log_;
    Ticker ticker_;
    harbolance::Descriptor fd_;
    int ticks_ = 0;
    bool leaving_ = false;
    bool done_ = false;
};

} // namespace locd
