#pragma once

#include "net/dispatcher.h"

#include <functional>

namespace oadd {

// Calls an action once, from the global dispatcher. The action must not destroy the alarm.
class Alarm : public dpIOHandler {
public:
    explicit Alarm(std::function<void()> action) : action_(std::move(action)) {}
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;
    ~Alarm() override { stop(); }

    void start(long seconds) {
        stop();
        running_ = true;
        dpDispatcher::instance()->startTimer(seconds, 0, this);
    }
    void stop() {
        if (running_)
            dpDispatcher::instance()->stopTimer(this);
        running_ = false;
    }

    void timerExpired(long, long) override {
        running_ = false;
        action_();
    }

private:
    std::function<void()> action_;
    bool running_ = false;
};

} // namespace oadd
