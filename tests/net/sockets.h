#pragma once

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <functional>

// A descriptor that closes with its holder.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }
    int get() const { return fd_; }
    void set(int fd) {
        close();
        fd_ = fd;
    }
    void close() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_;
};

inline sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline const sockaddr* generic(const sockaddr_in* address) {
    return reinterpret_cast<const sockaddr*>(address);
}

// Signals that interrupt whatever waits, every few milliseconds.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action {};
        action.sa_handler = [](int) { count = count + 1; };
        sigaction(SIGALRM, &action, &before_);
        const itimerval often{{0, 5000}, {0, 5000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }
    static inline volatile sig_atomic_t count = 0;

private:
    struct sigaction before_ {};
};

// Runs `peer` in another process. The destructor waits for it; it has to end by itself.
class PeerProcess {
public:
    explicit PeerProcess(const std::function<bool()>& peer) : pid_(fork()) {
        if (pid_ == 0) {
            alarm(30);
            _exit(peer() ? 0 : 1);
        }
    }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;
    ~PeerProcess() {
        int status = 0;
        EXPECT_EQ(uninterruptedWait(status), pid_);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the peer saw something else";
    }

private:
    pid_t uninterruptedWait(int& status) const {
        pid_t result = -1;
        do
            result = waitpid(pid_, &status, 0);
        while (result == -1 && errno == EINTR);
        return result;
    }
    pid_t pid_;
};
