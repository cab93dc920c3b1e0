#pragma once

#include "invoke/giop/vgconn.h"

#include <chrono>

// Closes a connection whose peer stops in the middle of a message, or reads none of its waiting output, for
// `transportSettings.stallLimit` seconds. It runs only while a message is incomplete.
class TRXGIOPConn::ProgressTimer final : public dpIOHandler {
public:
    explicit ProgressTimer(TRXGIOPConn& connection) : _connection(connection) {}
    ProgressTimer(const ProgressTimer&) = delete;
    ProgressTimer& operator=(const ProgressTimer&) = delete;
    ~ProgressTimer() override;

    // Call while a message is incomplete: starts the timer, or records the progress made.
    void watch();

    void timerExpired(long sec, long usec) override;

private:
    using Clock = std::chrono::steady_clock;

    void start(std::chrono::microseconds interval);
    uint64_t progress() const;

    TRXGIOPConn& _connection;
    bool _running = false;
    uint64_t _seen = 0;         // the progress that had been made ...
    Clock::time_point _since{}; // ... when it was looked at last and had changed
};
