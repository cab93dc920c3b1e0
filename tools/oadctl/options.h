#pragma once

#include <harbolance/activation_stub.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// Raised for a command line with wrong usage.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What the command line says.
struct Choice {
    enum class Action { registering, unregistering, listing, status, lookup, ending, help, version };
    Action action = Action::help;

    // How to find the daemon: by a reference, a file that contains one, or a host (by default this one).
    std::optional<std::string> reference;
    std::optional<std::string> referenceFile;
    std::optional<std::string> host;
    bool json = false;

    // Of the commands. An interface is a repository id.
    std::string interface;
    std::optional<std::string> name;
    bool wholeInterface = false; // unregister
    bool everything = false;     // unregister
    std::string data;
    CORBA_ULong policy = SHARED_SERVER;
    std::vector<std::string> environment;
    std::string program; // absolute
    std::vector<std::string> arguments;
    CORBA_Long wait = -1;       // lookup: seconds
    std::optional<bool> ending; // destroy-on-unregister
};

// The number of words before the command. Options for the ORB are recognised only there: after the command
// they belong to the program being registered.
int wordsBeforeCommand(int argc, char** argv);

// Raises UsageError.
Choice readOptions(int argc, char** argv);

extern const char* const usage;
