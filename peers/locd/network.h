#pragma once

// Addresses and sockets of the agent. Address words are in network byte order.

#include "net/descriptors.h"
#include "net/host_address.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace locd {

inline int portOf(const sockaddr_in& address) { return ntohs(address.sin_port); }
inline bool isLoopback(in_addr_t address) { return (ntohl(address) >> 24) == 127; }

// Address and port in one word, as a key.
inline uint64_t keyOf(in_addr_t address, int port) {
    return uint64_t{address} << 16 | static_cast<uint16_t>(port);
}
inline uint64_t keyOf(const sockaddr_in& address) { return keyOf(address.sin_addr.s_addr, portOf(address)); }

// "127.0.0.1:14000".
std::string textOf(const sockaddr_in& address);

// The first local address that other hosts can reach; the loopback address when there is none.
in_addr_t primaryAddress();

// The broadcast addresses of the networks of this local address. Empty when it has none.
std::vector<in_addr_t> broadcastAddressesOf(in_addr_t local);

// A non-blocking IPv4 socket.
class Socket {
public:
    int fd() const { return fd_.get(); }
    int port() const { return port_; }

protected:
    // Both false with errno set. Port 0 is any. `shared` is SO_REUSEADDR.
    bool make(int type);
    bool bind(in_addr_t address, int port, bool shared);

private:
    harbolance::Descriptor fd_;
    int port_ = 0;
};

class UdpSocket : public Socket {
public:
    // With `shared` other sockets may use the same address, which the kernel allows for a broadcast address:
    // each of them gets a copy of a datagram. False with errno set.
    bool open(in_addr_t address, int port, bool shared = false);

    // Returns the number of octets received, at most the size of `area`, or -1 when there is no datagram.
    ssize_t receive(std::span<uint8_t> area, sockaddr_in& from) const;
    // A datagram that the system does not accept is lost; no error is reported.
    void send(std::span<const uint8_t> octets, const sockaddr_in& to) const;
};

class TcpListener : public Socket {
public:
    // False with errno set. Old connections of a former process on that port do not prevent it.
    bool open(in_addr_t address, int port);
    // Returns a non-blocking connection, or none with errno set: EAGAIN when none is waiting.
    harbolance::Descriptor accept() const;
};

// Queries the system's routes. It keeps one socket for this, so that it works when no descriptor is free.
class RouteFinder : public Socket {
public:
    // False with errno set.
    bool open() { return make(SOCK_DGRAM); }
    // The local address that a datagram to `peer` would be sent from; 0 when there is no route.
    in_addr_t localAddressTowards(const sockaddr_in& peer) const;
};

} // namespace locd
