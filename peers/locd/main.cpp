#include "locd/signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int usageError = 2;

// Opens standard streams that are closed. Otherwise the first socket would get such a number, and printed
// output would be sent on it.
void openStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/dev/null", O_RDWR);
    close(fd);
}

int serve(const locd::Options& options) {
    locd::Log log(options.logLevel);
    if (!options.logFile.empty() && !log.open(options.logFile)) {
        std::fprintf(stderr, "locd: cannot open the log file %s: %s\n", options.logFile.c_str(),
                     std::strerror(errno));
        return EXIT_FAILURE;
    }
    // Declared before the agent, whose parts may print, and so destroyed after it.
    const locd::CapturedStreams captured(log);
    locd::Agent agent(options, log);
    locd::Signals signals(agent, log);
    if (!signals.open()) {
        std::fprintf(stderr, "locd: cannot receive signals: %s\n", std::strerror(errno));
        return EXIT_FAILURE;
    }
    const std::string address = harbolance::dottedText(options.address);
    if (const auto port = agent.start()) {
        std::fprintf(stderr, "locd: cannot listen on %s port %d: %s; choose another port or --address\n",
                     address.c_str(), *port, std::strerror(errno));
        return EXIT_FAILURE;
    }
    // Scripts wait for this line: from here on the agent answers, and the actual port is known.
    std::printf("locd: listening on %s port %d\n", address.c_str(), agent.port());
    std::fflush(stdout);
    while (!signals.done())
        dpDispatcher::instance()->dispatch();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    // As early as possible, so that a signal during the start is kept until the loop runs.
    locd::Signals::hold();
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
