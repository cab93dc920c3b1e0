#pragma once

#include <optional>
#include <string>

class NCudpstream;

namespace harbolance {

// The session's access to the options of the ORB. The ORB installs one object of this class; without it every
// option is absent.
class SessionOptions {
public:
    virtual ~SessionOptions() = default;

    // The value of an option such as "ORBagentaddr" or "OAipaddr", or nothing.
    virtual std::optional<std::string> option(const char* key) = 0;

    // The domain's port from the command line, 0 when none was given. If one was given, the session stores
    // its final port here.
    virtual int agentPort() = 0;
    virtual void setAgentPort(int port) = 0;

    // Never null.
    static SessionOptions* current();
    // The object is not owned and must exist until the process ends or another one is installed. Null removes
    // the present one.
    [[gnu::cold]] static void install(SessionOptions* options);
};

// Binds the stream to any free port of the address in the option OAipaddr, or of any address without that
// option. Returns the status of the stream.
int bindOwnAddress(NCudpstream& stream);

} // namespace harbolance
