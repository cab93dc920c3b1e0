#include "net/host_address.h"

#include <arpa/inet.h>
#include <cstring>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace harbolance {

namespace {

// The resolver's answer, or null. It points into memory of the C library that the next look-up overwrites.
template <class LookUp>
const hostent* askResolver(LookUp lookUp) {
    for (int attempt = 0; attempt < resolverAttempts; ++attempt) {
        if (const hostent* host = lookUp())
            return host;
        // A limited number of attempts: a name server that never answers must not block the process for ever.
        if (h_errno != TRY_AGAIN)
            break;
    }
    return nullptr;
}

} // namespace

std::optional<in_addr_t> dottedAddress(const char* text) {
    in_addr address{};
    // inet_addr is not used: its error value equals the broadcast address.
    if (!text || ::inet_aton(text, &address) == 0)
        return std::nullopt;
    return address.s_addr;
}

std::string dottedText(in_addr_t address) {
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

std::optional<in_addr_t> addressOfHost(const char* host) {
    // Dotted texts first: they need no question to the resolver, which may block.
    if (const auto dotted = dottedAddress(host))
        return dotted;
    if (!host)
        return std::nullopt;
    const hostent* found = askResolver([host] { return ::gethostbyname(host); });
    in_addr_t address = 0;
    // The address type is checked before the copy, since addresses of other families have other lengths.
    if (!found || found->h_addrtype != AF_INET || !found->h_addr_list[0])
        return std::nullopt;
    std::memcpy(&address, found->h_addr_list[0], sizeof address);
    return address;
}

sockaddr_in socketAddress(in_addr_t address, int port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<uint16_t>(port));
    result.sin_addr.s_addr = address;
    return result;
}

std::optional<std::string> nameOfAddress(in_addr_t address) {
    const hostent* found =
        askResolver([&address] { return ::gethostbyaddr(&address, sizeof address, AF_INET); });
    if (!found || !found->h_name)
        return std::nullopt;
    return found->h_name;
}

std::optional<std::string> thisHostName() {
    char name[100] = {};
    // The last octet stays 0, because the system does not terminate a name that it cuts.
    if (::gethostname(name, sizeof name - 1) == -1)
        return std::nullopt;
    return name;
}

const ThisHost& thisHost() {
    static ThisHost host{ThisHost::State::nameless, "", 0};
    // When the host has no name, it is asked for again each time: that costs one system call, and the failure
    // may pass. The resolver's answer is cached, also a negative one, since a look-up may block.
    if (host.state != ThisHost::State::nameless)
        return host;
    if (const auto name = thisHostName()) {
        const auto address = addressOfHost(name->c_str());
        host = {address ? ThisHost::State::known : ThisHost::State::unknown, *name, address.value_or(0)};
    }
    return host;
}

} // namespace harbolance
