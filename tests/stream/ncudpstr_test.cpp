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

class UdpStream : public testing::Test, public UdpConnection {
protected:
    ~UdpStream() override { EXPECT_EQ(Counted::alive, 0); }
    int sendBlock(NCudpstream& from, size_t size) const {
        return from.sendTo(loopback(stream.port()),
                           NCRef<Counted>(new TestBlock(std::string(size, 'x'))).get());
    }
};

TEST_F(UdpStream, eachMessageStandsForItself) {
    const TestLeaf leaf;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(stream.send(&leaf), 0);
        EXPECT_EQ(OctetListing(leafMessage).differenceFrom(atPeer()), "");
    }
    sockaddr_in sender{};
    sendFromPeer(leafMessage);
    EXPECT_TRUE(NCRef<Counted>(nc_cast<Counted>(stream.receive(&sender))));
    EXPECT_EQ(ntohs(sender.sin_port), portOf(peer.get()));
    EXPECT_EQ(sender.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    ::testing::internal::CaptureStderr();
    const std::string object = leafMessage.substr(12);
    for (const std::string& listing :
         {std::string(), std::string("00 00 00"), "00 00 00 17 " + object, "00 00 00 19 " + object,
          std::string("00 00 00 0C 23...... 00000000")}) {
        sendFromPeer(listing);
        EXPECT_FALSE(receive()) << listing;
        EXPECT_EQ(stream.status(), NCudpstream::badObject) << listing;
    }
    ::testing::internal::GetCapturedStderr();
}

TEST_F(UdpStream, refusesWhatExceedsADatagram) {
    NCudpstream other;
    ASSERT_EQ(other.bind(0, "127.0.0.1"), 0);
    // Length word, tag and name of the class, size of the block: 28 octets.
    constexpr size_t fits = NCudpstream::datagramSize - 28;
    ASSERT_EQ(sendBlock(other, fits), 0);
    EXPECT_TRUE(receive());
    ASSERT_EQ(sendBlock(other, fits + 1), 0);
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCudpstream::badObject);
    EXPECT_EQ(sendBlock(other, 66'000), NCudpstream::systemError) << "beyond what the system sends";
    EXPECT_EQ(sendBlock(other, 1), 0);
    EXPECT_TRUE(receive());
    stream.overflow(1);
    EXPECT_EQ(stream.status(), NCudpstream::tooLarge);
}

TEST_F(UdpStream, givesEachMisuseItsStatus) {
    NCudpstream other;
    const TestLeaf leaf;
    const sockaddr_in address = loopback(portOf(peer.get()));
    EXPECT_EQ(other.connect(address), NCudpstream::notOpen);
    EXPECT_EQ(other.broadcast(&leaf), NCudpstream::notOpen);
    EXPECT_EQ(other.sendTo(address, &leaf), NCudpstream::notOpen);
    EXPECT_EQ(other.bind(stream.port(), "127.0.0.1"), NCudpstream::systemError);
    EXPECT_FALSE(other.isOpen());
    EXPECT_EQ(other.bind(0, "no address"), 0) << "stands for any address";
    EXPECT_EQ(other.send(&leaf), NCudpstream::notConnected);
    EXPECT_EQ(other.connect("no host at all", 1), NCudpstream::noHost);
    EXPECT_FALSE(other.isConnected());
    EXPECT_EQ(other.sendTo("127.0.0.1", stream.port(), &leaf), 0);
    EXPECT_TRUE(receive());

    const int fd = stream.fd();
    EXPECT_EQ(stream.bind(0), NCudpstream::alreadyOpen);
    EXPECT_EQ(stream.fd(), fd);
    EXPECT_EQ(stream.sendTo(address, &leaf), NCudpstream::connected);
    EXPECT_EQ(stream.close(), 0);
    EXPECT_FALSE(stream.isConnected());
}

TEST_F(UdpStream, broadcastsToEachTargetUntilOneFails) {
    NCudpstream other;
    ASSERT_EQ(other.bind(0, "127.0.0.1"), 0);
    other.setDebug(true);
    const TestLeaf leaf;
    const auto usualMaker = NCudpstream::setBroadcastTableMaker(nullptr);
    EXPECT_EQ(other.broadcast(&leaf, 1), 0) << "without a table it reaches no host";
    EXPECT_EQ(other.localAddrFor(loopback(1)), nullptr);
    NCudpstream::setBroadcastTableMaker([](int, int port, bool debug) -> std::unique_ptr<NCBroadcastTable> {
        EXPECT_TRUE(debug);
        LoopbackTable::port = port;
        return std::make_unique<LoopbackTable>();
    });
    LoopbackTable::second = loopback(stream.port());
    EXPECT_EQ(other.broadcast(&leaf, stream.port()), 0);
    EXPECT_TRUE(receive() && receive());
    EXPECT_NE(other.localAddrFor(loopback(1)), nullptr);

    // Another port and a close change nothing about the table.
    EXPECT_EQ(other.close(), 0);
    ASSERT_EQ(other.bind(0, "127.0.0.1"), 0);
    LoopbackTable::second = loopback(0);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(other.broadcast(&leaf, 1), NCudpstream::systemError);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "NCudpstream::send: write: Invalid argument\n");
    EXPECT_TRUE(receive()) << "the target before the failing one is reached";
    NCudpstream::setBroadcastTableMaker(usualMaker);
}

} // namespace
