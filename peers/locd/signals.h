#pragma once

#include "locd/agent.h"

namespace locd {

// The operator's signals, as input of the event loop. SIGTERM or SIGINT makes the agent leave, a second one
// ends the process at once; SIGHUP reopens the log file; SIGUSR1 writes a status to the log. Other signals
// that would end the process without telling the clients are ignored.
class Signals : public dpIOHandler {
public:
    // Blocks these signals, so that none of them ends the process.
    static void hold();

    Signals(Agent& agent, Log& log);
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals() override;

    // False with errno set.
    bool open();
    // Whether the process is to end: the clients have answered, or the time for that has passed.
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
