#pragma once

#include <optional>
#include <string>

class NCudpstream;

namespace harbolance {

// Where the session finds the options of the ORB above it. The ORB installs one object of this kind; without
// one every option is absent.
class SessionOptions {
public:
    virtual ~SessionOptions() = default;

    // The value of an option such as "ORBagentaddr" or "OAipaddr", or nothing.
    virtual std::optional<std::string> option(const char* key) = 0;

    // The domain's port from the command line, 0 when none was given. The session writes its final port back
    // to a port that was given.
    virtual int agentPort() = 0;
    virtual void setAgentPort(int port) = 0;

    // Never null.
    static SessionOptions* current();
    // The object is not owned and has to exist until the process ends or another one is installed. Null takes
    // the present one out.
    [[gnu::cold]] static void install(SessionOptions* options);
};

// Opens the stream at any port of the address that the option OAipaddr names, or of any address without that
// option. The status of the stream.
int bindOwnAddress(NCudpstream& stream);

} // namespace harbolance
