#pragma once

#include "agent/records/dsaddr.h"
#include "locd/network.h"
#include "locd/wire.h"

#include <vector>

namespace locd {

// The UDP side of the agent: the socket for clients, and the sockets that receive broadcasts.
//
// An agent bound to one address needs more sockets for broadcasts, because those datagrams are addressed to
// the network. Several agents on one host share these, and each gets every broadcast. The main socket is
// never shared: a second agent on the same address and port is refused.
class Endpoint {
public:
    // False with errno set. A network whose broadcasts cannot be received is no failure.
    bool open(in_addr_t address, int port);

    in_addr_t address() const { return address_; }
    int port() const { return main().port(); }
    // Every socket to read from, the main one first.
    const std::vector<UdpSocket>& sockets() const { return sockets_; }

    // The address at which `peer` can reach this agent, with the given port.
    DSAddr* addressFor(const sockaddr_in& peer, int port) const;
    // The address of this agent in providers registered by `client`. Others read it too, so it is not
    // loopback when there is another.
    in_addr_t publicAddress(const sockaddr_in& client) const;

    // Returns the octets sent, valid until the next call; empty, with nothing sent, when the message does not
    // fit a datagram.
    std::span<const uint8_t> send(const NCTransObject& message, const sockaddr_in& to);
    // The size of the datagram with this message; 0 when it does not fit. Invalidates the result of `send`.
    uint32_t sizeOf(const NCTransObject& message) {
        return static_cast<uint32_t>(encoder_.encode(message).size());
    }
    void sendOctets(std::span<const uint8_t> octets, const sockaddr_in& to) const { main().send(octets, to); }

private:
    const UdpSocket& main() const { return sockets_.front(); }
    in_addr_t localAddressTowards(const sockaddr_in& peer) const;

    in_addr_t address_ = INADDR_ANY;
    std::vector<UdpSocket> sockets_;
    RouteFinder routes_;
    Encoder encoder_;
};

} // namespace locd
