#include "stream/carrier.h"

namespace {

// A table of two networks, both this host's loopback; the second target is the test's.
struct LoopbackTable : NCBroadcastTable {
    int forEachTarget(const std::function<int(const sockaddr_in&)>& send) const override {
        const int status = send(loopback(port));
        return status != 0 ? status : send(second);
    }
    const DSAddr* localAddrFor(const sockaddr_in&) const override {
        return reinterpret_cast<const DSAddr*>(this);
    }
    static inline int port = 0;
    static inline sockaddr_in second{};
};

TEST_F(UdpStream, eachMessageStandsForItself) {
    const TestLeaf leaf;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(stream.send(&leaf), 0);
        EXPECT_EQ(differenceAtPeer(leafMessage), "");
    }
    sockaddr_in sender{};
    sendFromPeer(leafMessage);
    EXPECT_TRUE(NCRef<Counted>(nc_cast<Counted>(stream.receive(&sender))));
    EXPECT_EQ(ntohs(sender.sin_port), portOf(peer.get()));
    EXPECT_EQ(sender.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    for (const char* bad : {"", "000000", "+23 :TestLeaf", "+25 :TestLeaf", "+12 #0"}) {
        sendFromPeer(bad);
        EXPECT_FALSE(receive()) << bad;
        EXPECT_EQ(stream.status(), NCudpstream::badObject) << bad;
    }
}

TEST_F(UdpStream, refusesWhatExceedsADatagram) {
    NCudpstream other;
    ASSERT_EQ(other.bind(0, "127.0.0.1"), 0);
    const auto send = [&](size_t nameLength) {
        return other.sendTo(loopback(stream.port()),
                            NCRef<Counted>(new TestNode(std::string(nameLength, 'x').c_str())).get());
    };
    // Length word, tag of the class, both lengths of the name, its NUL, two nulls: 57 octets.
    constexpr size_t fits = NCudpstream::datagramSize - 57;
    ASSERT_EQ(send(fits), 0);
    EXPECT_TRUE(receive());
    ASSERT_EQ(send(fits + 1), 0);
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCudpstream::badObject);
    EXPECT_EQ(send(66'000), NCudpstream::systemError) << "beyond what the system sends";
    EXPECT_EQ(send(1), 0);
    EXPECT_TRUE(receive());
    stream.overflow(1);
    EXPECT_EQ(stream.status(), NCudpstream::tooLarge);
}

TEST_F(UdpStream, givesEachMisuseItsStatus) {
    NCudpstream other;
    const TestLeaf leaf;
    const sockaddr_in address = loopback(portOf(peer.get()));
    EXPECT_EQ(other.broadcast(&leaf), NCudpstream::notOpen);
    EXPECT_EQ(other.bind(stream.port(), "127.0.0.1"), NCudpstream::systemError);
    EXPECT_FALSE(other.isOpen());
    EXPECT_EQ(other.bind(0, "no address"), 0) << "stands for any address";
    EXPECT_EQ(other.send(&leaf), NCudpstream::notConnected);
    EXPECT_EQ(other.connect("no host at all", 1), NCudpstream::noHost);
    EXPECT_EQ(other.sendTo("127.0.0.1", stream.port(), &leaf), 0);
    EXPECT_TRUE(receive());
    EXPECT_EQ(stream.bind(0), NCudpstream::alreadyOpen);
    EXPECT_EQ(stream.sendTo(address, &leaf), NCudpstream::connected);
    EXPECT_EQ(stream.close(), 0);
    EXPECT_FALSE(stream.isConnected());
}

TEST_F(UdpStream, broadcastsToEachTargetUntilOneFails) {
    NCudpstream other;
    const TestLeaf leaf;
    const auto usualMaker =
        NCudpstream::setBroadcastTableMaker([](int, int port, bool) -> std::unique_ptr<NCBroadcastTable> {
            LoopbackTable::port = port;
            return std::make_unique<LoopbackTable>();
        });
    // Another port and a close change nothing about the table.
    for (const auto& [port, second] : {std::pair{stream.port(), stream.port()}, {1, 0}}) {
        ASSERT_EQ(other.bind(0, "127.0.0.1"), 0);
        LoopbackTable::second = loopback(second);
        EXPECT_EQ(other.broadcast(&leaf, port), second == 0 ? NCudpstream::systemError : 0);
        EXPECT_TRUE(receive() && (second == 0 || receive())) << "those before the failing one are reached";
        EXPECT_NE(other.localAddrFor(loopback(1)), nullptr);
        EXPECT_EQ(other.close(), 0);
    }
    NCudpstream::setBroadcastTableMaker(usualMaker);
}

} // namespace
