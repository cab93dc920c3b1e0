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

// Decides who may do more than look up objects and their states: peers on this host, by the address of the
// connection, and peers in the given networks.
class Access {
public:
    explicit Access(std::vector<Network> networks) : networks_(std::move(networks)) {}

    // Whether the peer of a connection's socket is trusted; a negative `fd` means a call inside this process.
    bool isTrusted(int fd) const;
    // The same for a peer's address, where `local` is the address of the connection's own end.
    bool isTrusted(in_addr_t peer, in_addr_t local) const;

    // Whether every peer may call the operation.
    static bool isOpenToAll(std::string_view operation);

private:
    std::vector<Network> networks_;
};

// Identifies a connection to the daemon, also after it has ended. Calls inside this process have none.
struct Connection {
    bool trusted;
    bool open = true;
};
using Caller = std::shared_ptr<const Connection>;

inline bool isTrusted(const Caller& caller) { return !caller || caller->trusted; }
inline bool hasGone(const Caller& caller) { return caller && !caller->open; }

} // namespace oadd
