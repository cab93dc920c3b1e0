// The cost of one event in a loop that watches 250 idle descriptors and one busy one, compared with a minimal
// loop over `select` on the same set: copy the set, wait, find the ready descriptor, read.
//
// `EventRatio` runs the yardstick, the dispatcher that waits by `select` and the one that waits by `epoll` in
// turns of a hundred events, so that all see the same machine, and reports the nanoseconds of each and the
// quotients with the yardstick. The others can be profiled by themselves.

#include "net/epoll_dispatcher.h"

#include <benchmark/benchmark.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <vector>

namespace {

constexpr int idleCount = 250;

// 250 descriptors that never become ready and, behind them, one that does.
class Descriptors {
public:
    Descriptors() {
        for (int i = 0; i <= idleCount; ++i)
            fds_.push_back(eventfd(0, EFD_CLOEXEC));
    }
    Descriptors(const Descriptors&) = delete;
    Descriptors& operator=(const Descriptors&) = delete;
    ~Descriptors() {
        for (const int fd : fds_)
            close(fd);
    }

    bool usable() const { return fds_.front() >= 0 && busy() < dpDispatcher::maxDescriptors; }
    const std::vector<int>& all() const { return fds_; }
    int busy() const { return fds_.back(); }
    void raise() const { eventfd_write(busy(), 1); }

private:
    std::vector<int> fds_;
};

void consume(int fd) {
    eventfd_t value = 0;
    eventfd_read(fd, &value);
    benchmark::DoNotOptimize(value);
}

class Yardstick {
public:
    explicit Yardstick(const Descriptors& descriptors) : descriptors_(descriptors) {
        FD_ZERO(&watched_);
        for (const int fd : descriptors.all())
            FD_SET(fd, &watched_);
    }
    void event() const {
        descriptors_.raise();
        fd_set ready = watched_;
        const int nfds = descriptors_.busy() + 1;
        int found = select(nfds, &ready, nullptr, nullptr, nullptr);
        for (int fd = 0; fd < nfds && found > 0; ++fd) {
            if (FD_ISSET(fd, &ready)) {
                consume(fd);
                --found;
            }
        }
    }

private:
    const Descriptors& descriptors_;
    fd_set watched_;
};

template <class Dispatcher>
class Loop : dpIOHandler {
public:
    explicit Loop(const Descriptors& descriptors) : descriptors_(descriptors) {
        for (const int fd : descriptors.all())
            dispatcher_.link(fd, dpDispatcher::readMask, this);
    }
    void event() {
        descriptors_.raise();
        dispatcher_.dispatch();
    }

private:
    int inputReady(int fd) override {
        consume(fd);
        return 0;
    }

    const Descriptors& descriptors_;
    Dispatcher dispatcher_;
};

template <class Subject>
double secondsFor(Subject& subject, int events) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < events; ++i)
        subject.event();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <class Subject>
void event(benchmark::State& state) {
    const Descriptors descriptors;
    if (!descriptors.usable()) {
        state.SkipWithError("needs 251 free descriptors below 256");
        return;
    }
    Subject subject(descriptors);
    for ([[maybe_unused]] auto _ : state)
        subject.event();
}
BENCHMARK_TEMPLATE(event, Yardstick)->Name("EventOnBareSelect");
BENCHMARK_TEMPLATE(event, Loop<dpDispatcher>)->Name("EventOnDispatcher");
BENCHMARK_TEMPLATE(event, Loop<harbolance::dpEpollDispatcher>)->Name("EventOnEpollDispatcher");

void eventRatio(benchmark::State& state) {
    constexpr int batch = 100;
    const Descriptors descriptors;
    if (!descriptors.usable()) {
        state.SkipWithError("needs 251 free descriptors below 256");
        return;
    }
    Yardstick yardstick(descriptors);
    Loop<dpDispatcher> loop(descriptors);
    Loop<harbolance::dpEpollDispatcher> epollLoop(descriptors);
    double bare = 0;
    double dispatched = 0;
    double byEpoll = 0;
    for ([[maybe_unused]] auto _ : state) {
        bare += secondsFor(yardstick, batch);
        dispatched += secondsFor(loop, batch);
        byEpoll += secondsFor(epollLoop, batch);
    }
    const double events = batch * static_cast<double>(state.iterations());
    state.counters["select_ns"] = 1e9 * bare / events;
    state.counters["dispatcher_ns"] = 1e9 * dispatched / events;
    state.counters["epoll_ns"] = 1e9 * byEpoll / events;
    state.counters["dispatcher/select"] = dispatched / bare;
    state.counters["epoll/select"] = byEpoll / bare;
}
BENCHMARK(eventRatio)->Name("EventRatio");

} // namespace
