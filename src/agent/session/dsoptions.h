#pragma once

#include <optional>
#include <string>

// Where the session finds the options of the ORB above it. The ORB installs one object of this kind; without
// one every option is absent.
class DSOptions {
public:
    virtual ~DSOptions() = default;

    // The value of an option such as "ORBagentaddr" or "OAipaddr", or nothing.
    virtual std::optional<std::string> option(const char* key) = 0;

    // The domain's port from the command line, 0 when none was given. The session writes its final port back
    // to a port that was given.
    virtual int agentPort() = 0;
    virtual void setAgentPort(int port) = 0;

    // Never null.
    static DSOptions* current();
    // The object is not owned and has to live as long as the process. Null takes the present one out.
    static void install(DSOptions* options);
};
