#pragma once

#include "net/sockets.h"
#include "stream/nctcpstr.h"
#include "stream/ncudpstr.h"
#include "stream/records.h"

#include <poll.h>

// A carrier and, at the other end, a plain socket.
template <class Stream>
class Connection {
public:
    void sendFromPeer(const std::string& listing) const { sendOctetsFromPeer(octets(listing)); }
    void sendOctetsFromPeer(const std::string& data) const {
        ASSERT_EQ(::send(peer.get(), data.data(), data.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(data.size()));
    }
    // All that has come there.
    std::string atPeer() const {
        std::string data(70'000, '\0');
        const ssize_t count = recv(peer.get(), data.data(), data.size(), MSG_DONTWAIT);
        data.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return data;
    }
    // Loopback delivers before `send` returns, so there is no waiting anywhere.
    NCRef<Counted> receive() {
        NCTransObject* object = stream.receive();
        EXPECT_EQ(object != nullptr, stream.status() == 0);
        return nc_cast<Counted>(object);
    }

    Stream stream;
    harbolance::Descriptor peer;
};

struct UdpConnection : Connection<NCudpstream> {
    UdpConnection() {
        peer = boundSocket(SOCK_DGRAM);
        EXPECT_EQ(stream.bind(0, "127.0.0.1"), 0);
        const sockaddr_in address = loopback(stream.port());
        EXPECT_EQ(connect(peer.get(), harbolance::generic(address), sizeof address), 0);
        EXPECT_EQ(stream.connect(loopback(portOf(peer.get()))), 0);
    }
};

struct TcpConnection : Connection<NCtcpstream> {
    TcpConnection() : Connection{NCtcpstream(1024, 3), {}} { reconnect(); }
    void reconnect() {
        auto [near, far] = tcpPair();
        EXPECT_EQ(stream.attach(near.release()), 0);
        peer = std::move(far);
    }
};

inline const std::string leafMessage = "00 00 00 18 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. ";
