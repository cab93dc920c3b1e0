#pragma once

#include <netinet/in.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace oadd {

struct Network {
    in_addr_t address; // network byte order
    in_addr_t mask;
    bool contains(in_addr_t host) const { return (host & mask) == (address & mask); }
};

// "10.1.0.0/16", or one dotted address.
std::optional<Network> networkOf(const std::string& text);

// Who may do more than look up objects and ask for their state: peers of this host, by the address of the
// connection, and those of the networks given.
class Access {
public:
    explicit Access(std::vector<Network> networks) : networks_(std::move(networks)) {}

    // Of a connection's socket; less than 0 for calls inside this process.
    bool isTrusted(int fd) const;
    // The same of an address, where the connection's own end has the address `local`.
    bool isTrusted(in_addr_t peer, in_addr_t local) const;

    // What every peer may call.
    static bool isOpenToAll(std::string_view operation);

private:
    std::vector<Network> networks_;
};

// One connection to the daemon, for what goes on after it has ended. Calls inside this process have none.
struct Connection {
    bool trusted;
    bool open = true;
};
using Caller = std::shared_ptr<const Connection>;

inline bool isTrusted(const Caller& caller) { return !caller || caller->trusted; }
inline bool hasGone(const Caller& caller) { return caller && !caller->open; }

} // namespace oadd
