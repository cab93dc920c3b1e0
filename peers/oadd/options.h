#pragma once

#include "oadd/access.h"
#include "oadd/log.h"
#include "oadd/servers.h"

#include <string>
#include <vector>

namespace oadd {

// The result of the command line.
struct Options {
    std::string file; // of the registrations
    std::string referenceFile;
    std::vector<std::string> programs; // folders
    std::vector<Network> allow;
    std::vector<std::string> adapterWords; // for BOA_init: -OA words, --address and --port
    ServerLimits limits;
    LogLevel logLevel = LogLevel::warning;
    bool asRoot = false;
};

// The action that a command line asks for.
struct Command {
    enum class Action { run, help, version, refuse };
    Action action = Action::run;
    Options options;
    std::string complaint; // one line without newline, when refused
};

// Reads the command line, from which the ORB has already removed its options. `stateDirectory` is the value
// of STATE_DIRECTORY, or null.
Command readCommand(int argc, const char* const* argv, const char* stateDirectory);

// What `--help` prints.
const char* usage();

} // namespace oadd
