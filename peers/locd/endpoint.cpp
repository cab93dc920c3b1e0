#include "locd/endpoint.h"

namespace locd {

bool Endpoint::open(in_addr_t address, int port) {
    address_ = address;
    UdpSocket& socket = sockets_.emplace_back();
    // The socket for route queries is opened now, because later there may be no free descriptor.
    if (!socket.open(address, port) || !routes_.open())
        return false;
    if (address == INADDR_ANY)
        return true;
    // The kernel delivers broadcasts only to sockets bound to the broadcast address or to no address.
    for (const in_addr_t network : broadcastAddressesOf(address)) {
        UdpSocket broadcasts;
        if (broadcasts.open(network, main().port(), true))
            sockets_.push_back(std::move(broadcasts));
    }
    return true;
}

in_addr_t Endpoint::localAddressTowards(const sockaddr_in& peer) const {
    return address_ != INADDR_ANY ? address_ : routes_.localAddressTowards(peer);
}

DSAddr* Endpoint::addressFor(const sockaddr_in& peer, int port) const {
    return new DSAddr(port, localAddressTowards(peer));
}

in_addr_t Endpoint::publicAddress(const sockaddr_in& client) const {
    const in_addr_t local = localAddressTowards(client);
    // When the operator has bound the agent to loopback, that address is used.
    return address_ == INADDR_ANY && isLoopback(local) ? primaryAddress() : local;
}

std::span<const uint8_t> Endpoint::send(const NCTransObject& message, const sockaddr_in& to) {
    const auto octets = encoder_.encode(message);
    if (!octets.empty())
        sendOctets(octets, to);
    return octets;
}

} // namespace locd
