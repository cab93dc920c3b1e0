#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

namespace locd {

// What the command line and the environment say. Seconds may have decimals.
struct Options {
    in_addr_t address = INADDR_ANY; // network byte order
    int port = 0;                   // 0: any
    double interval = 30;           // between announcements to the other agents
    double checkInterval = 60;      // of silence until a client is checked
    bool verbose = false;
    std::vector<sockaddr_in> peers;
};

// What to do with a command line.
struct Command {
    enum class Action { run, help, version, refuse };
    Action action = Action::run;
    Options options;
    std::string complaint; // one line without newline, for `refuse`
};

// Reads the command line. `portVariable` is the value of LOCD_PORT, or null. The name of a peer is looked up,
// which may block.
Command readCommand(int argc, const char* const* argv, const char* portVariable);

// What `--help` prints.
const char* usage();

} // namespace locd
