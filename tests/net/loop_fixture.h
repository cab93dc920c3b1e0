#pragma once

#include "net/dispatcher.h"
#include "net/sockets.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <functional>
#include <memory>

// A pipe whose ends close with it.
class Pipe {
public:
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        in_.reset(ends[0]);
        out_.reset(ends[1]);
    }

    int in() const { return in_.get(); }
    int out() const { return out_.get(); }
    void fill() const { EXPECT_EQ(write(out(), "x", 1), 1); }
    void drain() const {
        char octet = 0;
        EXPECT_EQ(read(in(), &octet, 1), 1);
    }
    void closeRead() { in_.close(); }

private:
    harbolance::Descriptor in_;
    harbolance::Descriptor out_;
};

// Counts its calls and does what the test says in them.
class Recorder : public dpIOHandler {
public:
    using Action = std::function<int(int fd)>;

    explicit Recorder(Action action = nullptr) : onInput(std::move(action)) {}

    int inputReady(int fd) override {
        ++inputs;
        return onInput ? onInput(fd) : 0;
    }
    int outputReady(int fd) override {
        ++outputs;
        return onOutput ? onOutput(fd) : 0;
    }
    int exceptionRaised(int) override {
        ++exceptions;
        return 0;
    }
    void timerExpired(long, long) override {
        ++timers;
        if (onTimer)
            onTimer();
    }

    Action onInput;
    Action onOutput;
    std::function<void()> onTimer;
    int inputs = 0;
    int outputs = 0;
    int exceptions = 0;
    int timers = 0;
};

// A dispatcher that lets a test see the single steps of a turn.
class OpenDispatcher : public dpDispatcher {
public:
    using dpDispatcher::calculateTimeout;
    using dpDispatcher::checkConnections;
    using dpDispatcher::handleError;
    using dpDispatcher::notify;

    // A turn over what is ready at this moment.
    bool poll() {
        timeval atOnce{};
        return dispatch(&atOnce);
    }
};
