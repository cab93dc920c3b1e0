#pragma once

#include <netinet/in.h>
#include <optional>
#include <string>

namespace harbolance {

// Host texts and addresses. Every question to the resolver goes through here; each may block for as long as
// the resolver takes. Addresses are words in network byte order, as in a sockaddr_in.

// How often the resolver is asked while it answers that it should be tried again.
constexpr int resolverAttempts = 4;

// The address of a dotted text, without a question to the resolver. 255.255.255.255 is an address like any
// other.
std::optional<in_addr_t> dottedAddress(const char* text);

// The dotted text of an address.
std::string dottedText(in_addr_t address);

// A dotted text, or else the first address that the resolver has for the name. Null is no host.
std::optional<in_addr_t> addressOfHost(const char* host);

// An endpoint for the socket calls, and the same as the sockaddr pointer that they take. `address` is in
// network byte order, `port` in host byte order; only the port's low 16 bits are used.
sockaddr_in socketAddress(in_addr_t address, int port);
inline sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }
inline const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

// The name of an address by reverse look-up.
std::optional<std::string> nameOfAddress(in_addr_t address);

// This host's own name, at most 99 characters; nothing, with errno set, when the system gives none.
std::optional<std::string> thisHostName();

struct ThisHost {
    enum class State {
        known,
        nameless, // the system gave no name; errno says why
        unknown,  // the resolver has no address for `name`
    };
    State state;
    std::string name;
    in_addr_t address; // 0 unless known
};

// This host's name and address. The resolver is asked once per process and its answer is cached, also when
// the name has no address.
const ThisHost& thisHost();

} // namespace harbolance
