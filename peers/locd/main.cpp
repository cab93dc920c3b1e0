#include "locd/agent.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using locd::Agent;

constexpr int usageError = 2;
constexpr double farewellTick = 0.05;
constexpr int farewellTicks = 20; // one second
constexpr int farewellRepeat = 8;

// SIGTERM and SIGINT as input. The first one makes the agent leave, the second one ends the process at once.
class Signals : public dpIOHandler {
public:
    explicit Signals(Agent& agent) : agent_(agent), ticker_([this] { waitForFarewells(); }) {}

    bool open() {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGINT);
        if (sigprocmask(SIG_BLOCK, &set, nullptr) != 0)
            return false;
        fd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
        if (fd_ < 0)
            return false;
        dpDispatcher::instance()->link(fd_, dpDispatcher::readMask, this);
        return true;
    }

    bool done() const { return done_; }

    int inputReady(int) override {
        signalfd_siginfo info{};
        while (read(fd_, &info, sizeof info) > 0) {
            done_ = leaving_;
            leaving_ = true;
        }
        if (leaving_ && !ticker_.running()) {
            agent_.beginLeaving();
            ticker_.start(farewellTick);
            done_ = done_ || agent_.hasLeft();
        }
        return 0;
    }

private:
    void waitForFarewells() {
        if (++ticks_ == farewellRepeat)
            agent_.repeatFarewell();
        done_ = done_ || ticks_ >= farewellTicks || agent_.hasLeft();
    }

    Agent& agent_;
    locd::Ticker ticker_;
    int fd_ = -1;
    int ticks_ = 0;
    bool leaving_ = false;
    bool done_ = false;
};

int serve(const locd::Options& options) {
    Agent agent(options);
    Signals signals(agent);
    const std::string address = locd::textOf(options.address);
    if (!signals.open() || !agent.start()) {
        std::fprintf(stderr, "locd: cannot listen on %s port %d: %s; choose another --port or --address\n",
                     address.c_str(), options.port, std::strerror(errno));
        return EXIT_FAILURE;
    }
    std::printf("locd: listening on %s port %d\n", address.c_str(), agent.port());
    std::fflush(stdout);
    while (!signals.done())
        dpDispatcher::instance()->dispatch();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    const locd::Command command = locd::readCommand(argc, argv, std::getenv("LOCD_PORT"));
    switch (command.action) {
    case locd::Command::Action::help: std::fputs(locd::usage(), stdout); return EXIT_SUCCESS;
    case locd::Command::Action::version: std::puts("locd " LOCD_VERSION); return EXIT_SUCCESS;
    case locd::Command::Action::refuse:
        std::fprintf(stderr, "locd: %s; see locd --help\n", command.complaint.c_str());
        return usageError;
    case locd::Command::Action::run: break;
    }
    return serve(command.options);
}
