#pragma once

#include "locd/log.h"

#include <netinet/in.h>

#include <string>
#include <vector>

namespace locd {

// Another agent by name: a host name or dotted address, and a port.
struct PeerName {
    std::string host;
    int port;
};

// The result of the command line and the environment. Seconds may have decimals.
struct Options {
    in_addr_t address = INADDR_ANY; // network byte order
    int port = 0;                   // 0: any
    int listPort = 0;               // 0: any
    double interval = 30;           // between announcements to the other agents
    double checkInterval = 60;      // seconds of silence after which a client is checked
    LogLevel logLevel = LogLevel::warning;
    std::string logFile; // empty: the standard error stream
    std::vector<PeerName> peers;
};

// What to do with a command line.
struct Command {
    enum class Action { run, help, version, refuse };
    Action action = Action::run;
    Options options;
    std::string complaint; // one line without newline, for `refuse`
};

// Reads the command line. `portVariable` is the value of LOCD_PORT, or null. Names are not looked up.
Command readCommand(int argc, const char* const* argv, const char* portVariable);

// What `--help` prints.
const char* usage();

} // namespace locd
