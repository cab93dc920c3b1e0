#pragma once

#include "net/dispatcher.h"

#include <chrono>
#include <functional>

namespace locd {

// Milliseconds since an arbitrary moment, not affected by changes of the system's clock.
inline int64_t nowMilliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

// Calls an action periodically from the global dispatcher.
class Ticker : public dpIOHandler {
public:
    explicit Ticker(std::function<void()> action) : action_(std::move(action)) {}
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;
    ~Ticker() override { stop(); }

    // The first call comes after one period. Calling it again sets a new period.
    void start(double seconds) {
        stop();
        seconds_ = seconds;
        running_ = true;
        arm();
    }
    // May be called from the action.
    void stop() {
        if (running_)
            dpDispatcher::instance()->stopTimer(this);
        running_ = false;
    }
    bool running() const { return running_; }

    void timerExpired(long, long) override {
        arm();
        // Restarted before the action, which may stop the ticker or change its period.
        action_();
    }

private:
    void arm() {
        const auto whole = static_cast<long>(seconds_);
        const auto rest = static_cast<long>((seconds_ - static_cast<double>(whole)) * 1e6);
        dpDispatcher::instance()->startTimer(whole, rest, this);
    }

    std::function<void()> action_;
    double seconds_ = 0;
    bool running_ = false;
};

} // namespace locd
