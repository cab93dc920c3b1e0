#pragma once

#include <harbolance/activation_stub.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// A command line that cannot be understood.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What the command line says.
struct Choice {
    enum class Action { registering, unregistering, listing, status, lookup, ending, help, version };
    Action action = Action::help;

    // Where the daemon is: a reference, a file with one, or a host, which is this one unless it is given.
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

// The number of words in front of the command. Words for the ORB stand among these only: behind the command
// they are for the program that is registered.
int wordsBeforeCommand(int argc, char** argv);

// Raises UsageError.
Choice readOptions(int argc, char** argv);

extern const char* const usage;
