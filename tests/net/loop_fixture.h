#pragma once

#include "net/dispatcher.h"
#include "net/sockets.h"

#include <functional>
#include <memory>
#include <string>

struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        in.reset(ends[0]);
        out.reset(ends[1]);
    }
    void fill() const { EXPECT_EQ(write(out.get(), "x", 1), 1); }
    void drain() const {
        char octet = 0;
        EXPECT_EQ(read(in.get(), &octet, 1), 1);
    }
    harbolance::Descriptor in;
    harbolance::Descriptor out;
};

// Notes its calls: its letter for input, the capital for output, '!' for an exception, the letter for a
// timer.
struct Recorder : dpIOHandler {
    Recorder(char letter, std::string& calls) : name(letter), log(calls) {}
    int inputReady(int) override {
        log += name;
        return then ? then() : 0;
    }
    int outputReady(int) override { return log += static_cast<char>(name - 'a' + 'A'), 0; }
    int exceptionRaised(int) override { return log += '!', 0; }
    void timerExpired(long sec, long) override {
        log += name;
        lastTime = sec;
        if (then)
            then();
    }
    char name;
    std::string& log;
    std::function<int()> then;
    long lastTime = 0;
};
