#pragma once

#include "net/descriptors.h"
#include "net/host_address.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

inline sockaddr_in loopback(int port) { return harbolance::socketAddress(htonl(INADDR_LOOPBACK), port); }

// The port of a bound socket.
inline int portOf(int fd) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    EXPECT_EQ(getsockname(fd, harbolance::generic(address), &length), 0);
    return ntohs(address.sin_port);
}

// A socket of that type on the loopback interface, on any port.
inline harbolance::Descriptor boundSocket(int type) {
    harbolance::Descriptor bound(socket(AF_INET, type, 0));
    const sockaddr_in any = loopback(0);
    EXPECT_EQ(bind(bound.get(), harbolance::generic(any), sizeof any), 0);
    return bound;
}

// Two sockets that are connected with each other.
inline std::pair<harbolance::Descriptor, harbolance::Descriptor> tcpPair() {
    const harbolance::Descriptor listener = boundSocket(SOCK_STREAM);
    harbolance::Descriptor near(socket(AF_INET, SOCK_STREAM, 0));
    const sockaddr_in address = loopback(portOf(listener.get()));
    EXPECT_EQ(listen(listener.get(), 1), 0);
    EXPECT_EQ(connect(near.get(), harbolance::generic(address), sizeof address), 0);
    return {std::move(near), harbolance::Descriptor(accept(listener.get(), nullptr, nullptr))};
}

// Signals that interrupt whatever waits, every few milliseconds.
class Interruptions {
public:
    Interruptions() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        told_.reset(ends[0]);
        tell_.reset(ends[1]);
        struct sigaction action {};
        action.sa_handler = [](int) { count = count + static_cast<int>(write(tell_.get(), "!", 1)); };
        sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, 5000}, {0, 5000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
    }
    // In a child process: waits for so many.
    static void await(int number) {
        for (char octet = 0; number > 0; --number)
            EXPECT_EQ(read(told_.get(), &octet, 1), 1);
    }
    static inline volatile sig_atomic_t count = 0;

private:
    static inline harbolance::Descriptor told_, tell_;
};

// Runs `peer` in another process. The destructor waits for it; it has to end by itself.
class PeerProcess {
public:
    explicit PeerProcess(const std::function<bool()>& peer) : pid_(fork()) {
        if (pid_ == 0) {
            signal(SIGALRM, SIG_DFL);
            alarm(30);
            _exit(peer() ? 0 : 1);
        }
    }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;
    ~PeerProcess() {
        int status = 0;
        EXPECT_EQ(harbolance::uninterrupted([&] { return waitpid(pid_, &status, 0); }), pid_);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the peer saw something else";
    }

private:
    pid_t pid_;
};
