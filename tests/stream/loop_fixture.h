#pragma once

#include "stream/dispatcher.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <functional>
#include <memory>

// A pipe whose ends close with it.
class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe(ends_), 0); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        closeRead();
        closeEnd(ends_[1]);
    }

    int in() const { return ends_[0]; }
    int out() const { return ends_[1]; }
    void fill() const { EXPECT_EQ(write(out(), "x", 1), 1); }
    void drain() const {
        char octet = 0;
        EXPECT_EQ(read(in(), &octet, 1), 1);
    }
    void closeRead() { closeEnd(ends_[0]); }

private:
    static void closeEnd(int& fd) {
        if (fd >= 0)
            close(fd);
        fd = -1;
    }

    int ends_[2] = {-1, -1};
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
