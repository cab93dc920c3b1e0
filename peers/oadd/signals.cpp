#include "oadd/signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace oadd {

namespace {

sigset_t setOf(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    return set;
}

} // namespace

void Signals::hold() {
    // Ignored: the terminal may close, the reader of the log may go away, and the log may reach its size
    // limit.
    for (const int signal : {SIGHUP, SIGPIPE, SIGXFSZ})
        std::signal(signal, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL); // if it were ignored, ended children could not be waited for
    const sigset_t set = setOf({SIGCHLD});
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

Signals::~Signals() {
    if (fd_.isOpen())
        dpDispatcher::instance()->unlink(fd_.get());
}

bool Signals::open() {
    const sigset_t set = setOf({SIGTERM, SIGINT, SIGCHLD});
    sigprocmask(SIG_BLOCK, &set, nullptr);
    fd_.reset(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!fd_.isOpen())
        return false;
    dpDispatcher::instance()->link(fd_.get(), dpDispatcher::readMask, this);
    return true;
}

int Signals::inputReady(int) {
    signalfd_siginfo info{};
    while (read(fd_.get(), &info, sizeof info) > 0) {
        if (info.ssi_signo != SIGCHLD)
            leave();
    }
    servers_.reap();
    return 0;
}

void Signals::leave() {
    forced_ = ending_;
    if (ending_)
        return;
    ending_ = true;
    lookups_.stop();
    servers_.endAll();
}

} // namespace oadd
