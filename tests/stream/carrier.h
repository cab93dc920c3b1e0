#pragma once

#include "net/sockets.h"
#include "stream/nctcpstr.h"
#include "stream/ncudpstr.h"
#include "stream/records.h"

// A carrier and, at the other end, a plain socket.
template <class Carried>
class CarrierTest : public StreamTest {
public:
    using Stream = Carried;

protected:
    template <class... Arguments>
    explicit CarrierTest(Arguments... arguments) : stream(arguments...) {}

    void sendFromPeer(const std::string& listing) const { sendOctetsFromPeer(octets(listing)); }
    void sendOctetsFromPeer(const std::string& data) const {
        ASSERT_EQ(::send(peer.get(), data.data(), data.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(data.size()));
    }
    // Of all that has come there. Loopback delivers before `send` returns, so there is no waiting.
    std::string differenceAtPeer(const std::string& listing) const {
        char data[1000];
        const ssize_t count = recv(peer.get(), data, sizeof data, MSG_DONTWAIT);
        return OctetListing(listing).differenceFrom({data, static_cast<size_t>(std::max<ssize_t>(count, 0))});
    }
    NCRef<Counted> receive() {
        NCTransObject* object = stream.receive();
        EXPECT_EQ(object != nullptr, stream.status() == 0);
        return nc_cast<Counted>(object);
    }

    Stream stream;
    harbolance::Descriptor peer;
};

class UdpStream : public CarrierTest<NCudpstream> {
protected:
    UdpStream() : CarrierTest() {
        peer = boundSocket(SOCK_DGRAM);
        EXPECT_EQ(stream.bind(0, "127.0.0.1"), 0);
        const sockaddr_in address = loopback(stream.port());
        EXPECT_EQ(connect(peer.get(), harbolance::generic(address), sizeof address), 0);
        EXPECT_EQ(stream.connect(loopback(portOf(peer.get()))), 0);
    }
};

class TcpStream : public CarrierTest<NCtcpstream> {
protected:
    TcpStream() : CarrierTest(1024, 3) { connectPeer(); }
    void connectPeer() {
        auto [near, far] = tcpPair();
        EXPECT_EQ(stream.attach(near.release()), 0);
        peer = std::move(far);
    }
    void startAnew() {
        EXPECT_EQ(stream.close(), 0);
        connectPeer();
    }
};

inline const std::string leafMessage = "+24 :TestLeaf ";
inline const std::string leafAgain = "+12 #0 ";
