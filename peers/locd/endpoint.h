#pragma once

#include "agent/records/dsaddr.h"
#include "locd/network.h"
#include "locd/wire.h"

#include <vector>

namespace locd {

// The UDP side of the agent: the socket that clients talk to, and the sockets that hear what is broadcast.
//
// An agent that is bound to one address needs further sockets for broadcasts, since such datagrams are
// addressed to the network. Several agents on one host share these, and each hears every broadcast. The main
// socket is never shared: a second agent on the same address and port is refused.
class Endpoint {
public:
    // False with errno set. A network whose broadcasts cannot be heard is no failure.
    bool open(in_addr_t address, int port);

    in_addr_t address() const { return address_; }
    int port() const { return main().port(); }
    // Every socket to read from, the main one first.
    const std::vector<UdpSocket>& sockets() const { return sockets_; }

    // The address of this agent as `peer` can reach it, with the port given.
    DSAddr* addressFor(const sockaddr_in& peer, int port) const;
    // The address of this agent for providers that `client` registers, which others read too: not that of the
    // loopback when there is another.
    in_addr_t publicAddress(const sockaddr_in& client) const;

    // The octets that were sent, valid until the next call; empty when the message does not fit a datagram,
    // and then nothing was sent.
    std::span<const uint8_t> send(const NCTransObject& message, const sockaddr_in& to);
    // Of the datagram with this message; 0 when it does not fit one. Ends the life of what `send` returned.
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
