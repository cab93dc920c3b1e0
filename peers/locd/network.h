#pragma once

// Addresses and sockets of the agent. All words are in network byte order.

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

// The first local address that other hosts can reach; that of the loopback when there is none.
in_addr_t primaryAddress();

// Where broadcasts to the network of this local address go. Empty when it has none.
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
    // With `shared` other sockets may have the same address, which the kernel allows for datagrams to a
    // broadcast address: each of them gets a copy. False with errno set.
    bool open(in_addr_t address, int port, bool shared = false);

    // The octets received, at most those of `area`, or -1 when nothing is there.
    ssize_t receive(std::span<uint8_t> area, sockaddr_in& from) const;
    // A datagram that the system does not take is lost, like any other.
    void send(std::span<const uint8_t> octets, const sockaddr_in& to) const;
};

class TcpListener : public Socket {
public:
    // False with errno set. Connections of a former process on that port are no obstacle.
    bool open(in_addr_t address, int port);
    // A non-blocking connection; none with errno set, EAGAIN when none waits.
    harbolance::Descriptor accept() const;
};

// Asks the system for routes. It keeps one socket for that, so that a process without free descriptors still
// knows its addresses.
class RouteFinder : public Socket {
public:
    // False with errno set.
    bool open() { return make(SOCK_DGRAM); }
    // The local address from which a datagram to `peer` would leave; 0 when there is no route.
    in_addr_t localAddressTowards(const sockaddr_in& peer) const;
};

} // namespace locd
