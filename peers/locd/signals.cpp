#include "locd/signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace locd {

namespace {

constexpr double farewellTick = 0.05;
constexpr int farewellTicks = 20; // one second
constexpr int farewellRepeat = 8; // the tick at which the farewell is repeated

sigset_t heldSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1})
        sigaddset(&set, signal);
    return set;
}

} // namespace

void Signals::hold() {
    // Ignored: the reader of the log may go away, the log may reach its size limit, and the others must not
    // end the agent either.
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGUSR2, SIGALRM})
        std::signal(signal, SIG_IGN);
    const sigset_t set = heldSignals();
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

Signals::Signals(Agent& agent, Log& log)
    : agent_(agent), log_(log), ticker_([this] { waitForFarewells(); }) {}

Signals::~Signals() {
    if (fd_.isOpen())
        dpDispatcher::instance()->unlink(fd_.get());
}

bool Signals::open() {
    const sigset_t set = heldSignals();
    // The signals stay blocked and are read from this descriptor, so that no handler interrupts other code.
    fd_.reset(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!fd_.isOpen())
        return false;
    dpDispatcher::instance()->link(fd_.get(), dpDispatcher::readMask, this);
    return true;
}

int Signals::inputReady(int) {
    signalfd_siginfo info{};
    while (read(fd_.get(), &info, sizeof info) > 0)
        take(info.ssi_signo);
    return 0;
}

void Signals::take(uint32_t signal) {
    if (signal == SIGUSR1)
        agent_.reportStatus();
    else if (signal == SIGHUP && !log_.reopen())
        log_(LogLevel::error, "cannot open the log file anew: %s", std::strerror(errno));
    else if (signal == SIGTERM || signal == SIGINT)
        leave();
}

void Signals::leave() {
    done_ = leaving_; // at the second signal the agent does not wait for clients
    if (!leaving_) {
        leaving_ = true;
        agent_.beginLeaving();
        ticker_.start(farewellTick);
        // An agent without clients ends at once.
        done_ = agent_.hasLeft();
    }
}

void Signals::waitForFarewells() {
    // Repeated once, in case a datagram was lost; clients that miss both find out by themselves.
    if (++ticks_ == farewellRepeat)
        agent_.sendFarewell();
    done_ = done_ || ticks_ >= farewellTicks || agent_.hasLeft();
}

} // namespace locd
