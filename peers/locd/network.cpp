#include "locd/network.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

using namespace harbolance;

namespace locd {

namespace {

// Bursts come when many processes start at once. The kernel reduces this to its own limit.
constexpr int receiveArea = 4 * 1024 * 1024;

// Number of connections that the kernel completes before they are accepted.
constexpr int backlog = 128;

class Interfaces {
public:
    Interfaces() {
        // Without descriptors or memory the list is empty, which callers treat as a host without a network.
        if (::getifaddrs(&first_) != 0)
            first_ = nullptr;
    }
    Interfaces(const Interfaces&) = delete;
    Interfaces& operator=(const Interfaces&) = delete;
    ~Interfaces() {
        if (first_)
            ::freeifaddrs(first_);
    }

    // Calls `visit(address, netmask)` for each IPv4 address of an interface that is up.
    template <class Visit>
    void forEach(Visit visit) const {
        for (const ifaddrs* entry = first_; entry; entry = entry->ifa_next) {
            const bool usable = entry->ifa_addr && entry->ifa_netmask && (entry->ifa_flags & IFF_UP) != 0;
            // The family has been checked, so the addresses are those of IPv4.
            if (usable && entry->ifa_addr->sa_family == AF_INET)
                visit(wordOf(entry->ifa_addr), wordOf(entry->ifa_netmask));
        }
    }

private:
    static in_addr_t wordOf(const sockaddr* address) {
        return reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr;
    }

    ifaddrs* first_ = nullptr;
};

} // namespace

std::string textOf(const sockaddr_in& address) {
    return dottedText(address.sin_addr.s_addr) + ':' + std::to_string(portOf(address));
}

in_addr_t primaryAddress() {
    in_addr_t found = 0;
    Interfaces().forEach([&](in_addr_t address, in_addr_t) {
        if (found == 0 && !isLoopback(address))
            found = address;
    });
    return found != 0 ? found : htonl(INADDR_LOOPBACK);
}

std::vector<in_addr_t> broadcastAddressesOf(in_addr_t local) {
    std::vector<in_addr_t> found;
    Interfaces().forEach([&](in_addr_t address, in_addr_t netmask) {
        // All addresses of the loopback network are this host, whichever one the interface has.
        const bool same = address == local || (isLoopback(address) && ((address ^ local) & netmask) == 0);
        // A network with a single address, such as that of a tunnel, has no broadcasts.
        if (same && netmask != htonl(INADDR_BROADCAST))
            found.push_back(address | ~netmask);
    });
    return found;
}

bool Socket::make(int type) {
    fd_.reset(::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return fd_.isOpen();
}

bool Socket::bind(in_addr_t address, int port, bool shared) {
    const int on = 1;
    if (shared && ::setsockopt(fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == -1)
        return false;
    // With port 0 the system chooses the port, which is read back afterwards.
    sockaddr_in local = socketAddress(address, port);
    socklen_t length = sizeof local;
    if (::bind(fd(), generic(local), sizeof local) == -1 ||
        ::getsockname(fd(), generic(local), &length) == -1)
        return false;
    port_ = portOf(local);
    return true;
}

bool UdpSocket::open(in_addr_t address, int port, bool shared) {
    if (!make(SOCK_DGRAM))
        return false;
    // The result is ignored: a smaller buffer than requested is no failure.
    ::setsockopt(fd(), SOL_SOCKET, SO_RCVBUF, &receiveArea, sizeof receiveArea);
    return bind(address, port, shared);
}

ssize_t UdpSocket::receive(std::span<uint8_t> area, sockaddr_in& from) const {
    socklen_t length = sizeof from;
    return uninterrupted(
        [&] { return ::recvfrom(fd(), area.data(), area.size(), 0, generic(from), &length); });
}

void UdpSocket::send(std::span<const uint8_t> octets, const sockaddr_in& to) const {
    uninterrupted([&] { return ::sendto(fd(), octets.data(), octets.size(), 0, generic(to), sizeof to); });
}

bool TcpListener::open(in_addr_t address, int port) {
    return make(SOCK_STREAM) && bind(address, port, true) && ::listen(fd(), backlog) == 0;
}

Descriptor TcpListener::accept() const {
    return Descriptor(
        uninterrupted([&] { return ::accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); }));
}

in_addr_t RouteFinder::localAddressTowards(const sockaddr_in& peer) const {
    // Disconnected first, because a second connect would keep the source address of the first.
    const sockaddr none{AF_UNSPEC, {}};
    sockaddr_in local{};
    socklen_t length = sizeof local;
    const bool known = ::connect(fd(), &none, sizeof none) == 0 &&
                       ::connect(fd(), generic(peer), sizeof peer) == 0 &&
                       ::getsockname(fd(), generic(local), &length) == 0;
    return known ? local.sin_addr.s_addr : 0;
}

} // namespace locd
