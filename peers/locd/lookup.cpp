#include "locd/lookup.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace harbolance;

namespace locd {

HostLookup::HostLookup(std::vector<std::string> hosts, Found found, Find find)
    : hosts_(std::move(hosts)), found_(std::move(found)), find_(find) {}

HostLookup::~HostLookup() {
    if (child_ != -1)
        end();
}

void HostLookup::start() {
    int ends[2];
    if (child_ != -1 || hosts_.empty() || ::pipe2(ends, O_CLOEXEC) == -1)
        return;
    Descriptor readEnd(ends[0]);
    const Descriptor writeEnd(ends[1]);
    // On failure both ends of the pipe are closed by their owners.
    child_ = readEnd.get() < dpDispatcher::maxDescriptors ? ::fork() : -1;
    if (child_ == 0)
        answerAll(writeEnd.get());
    if (child_ == -1)
        return;
    // The parent's write end is closed on return, so the pipe ends when the child does.
    pipe_ = std::move(readEnd);
    number_ = 0;
    dpDispatcher::instance()->link(pipe_.get(), dpDispatcher::readMask, this);
}

// Runs in the child. It ends with `_exit`, because handlers and buffers belong to the parent.
void HostLookup::answerAll(int fd) const {
    // The look-up may take minutes and is useless without the parent, so the child dies with it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Closes the child's copies, because a connection that the parent closes must end for its peer.
    constexpr int own = STDERR_FILENO + 1;
    ::dup2(fd, own);
    ::close_range(own + 1, ~0U, 0);
    for (const std::string& host : hosts_) {
        const auto address = find_(host.c_str());
        const Answer answer{address.value_or(0), address.has_value()};
        if (::write(own, &answer, sizeof answer) != sizeof answer)
            break;
    }
    ::_exit(0);
}

int HostLookup::inputReady(int) {
    Answer answer{};
    // An answer is shorter than PIPE_BUF, so it is never split.
    const ssize_t count = uninterrupted([&] { return ::read(pipe_.get(), &answer, sizeof answer); });
    if (count == sizeof answer)
        found_(number_++, answer.known ? std::optional(answer.address) : std::nullopt);
    else
        end();
    return 0;
}

void HostLookup::end() {
    dpDispatcher::instance()->unlink(pipe_.get());
    pipe_.close();
    // Safe also when the child has ended: until waitpid() no other process gets its number.
    ::kill(child_, SIGKILL);
    uninterrupted([this] { return ::waitpid(child_, nullptr, 0); });
    child_ = -1;
}

} // namespace locd
