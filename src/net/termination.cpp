#include "net/termination.h"

#include <cerrno>
#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>

namespace harbolance {

namespace {

using Action = void (*)();
constinit Action installedAction = nullptr;
volatile std::sig_atomic_t signalled = 0; // a signal has been noted and not acted on yet
volatile std::sig_atomic_t noted = 0;     // set once this process has noted a signal
volatile std::sig_atomic_t wakeUp = -1;   // the descriptor that makes waits end

extern "C" void noteSignal(int signal) {
    if (noted != 0) { // the other of the two signals came before
        ::raise(signal);
        return;
    }
    // Keeps errno, since the handler may run between a failed call and the test of its errno. Only `write`
    // and `raise` are called, which are async-signal-safe.
    const int error = errno;
    noted = 1;
    signalled = 1;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(static_cast<int>(wakeUp), &one, sizeof one);
    errno = error;
}

// Only one signal is noted. A second one, of either kind, gets the default action, which ends the process
// even if it never waits.
void handleIfDefault(int signal) {
    struct sigaction present {};
    if (::sigaction(signal, nullptr, &present) != 0)
        return;
    // A program that handles or ignores the signal itself keeps doing so.
    if ((present.sa_flags & SA_SIGINFO) != 0 || present.sa_handler != SIG_DFL)
        return;
    struct sigaction handler {};
    handler.sa_handler = noteSignal;
    handler.sa_flags = static_cast<int>(SA_RESETHAND);
    ::sigaction(signal, &handler, nullptr);
}

} // namespace

void Termination::install(void (*action)()) {
    if (installedAction)
        return;
    const int fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd == -1)
        return; // the default action ends the process
    installedAction = action;
    // All that the signal handler uses is set before the handler is installed.
    wakeUp = fd;
    // Never destroyed: waits may go on until the process has ended.
    static auto& global = *new TerminationWatch(*dpDispatcher::instance());
    static_cast<void>(global);
    handleIfDefault(SIGINT);
    handleIfDefault(SIGTERM);
}

void Termination::act() {
    uint64_t count = 0;
    // Read before the signal is tested: a signal that arrives from here on makes the descriptor readable
    // again.
    while (::read(static_cast<int>(wakeUp), &count, sizeof count) == -1 && errno == EINTR) {
    }
    if (signalled == 0)
        return; // noted by another process, which shares the descriptor since a fork
    // Cleared before the action, which may itself wait and so call this function again.
    signalled = 0;
    installedAction();
}

int Termination::fd() { return static_cast<int>(wakeUp); }

TerminationWatch::TerminationWatch(dpDispatcher& dispatcher)
    : dispatcher_(dispatcher), fd_(Termination::fd()) {
    if (fd_ != -1)
        dispatcher_.link(fd_, dpDispatcher::readMask, this);
}

TerminationWatch::~TerminationWatch() {
    if (fd_ != -1)
        dispatcher_.unlink(fd_);
}

int TerminationWatch::inputReady(int) {
    Termination::act();
    return 0;
}

} // namespace harbolance
