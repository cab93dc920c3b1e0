#include "stream/ncudpstr.h"

#include "net/sockets.h"
#include "stream/octets.h"
#include "stream/records.h"

#include <gtest/gtest.h>

namespace {

// A table of two networks, both this host's loopback; the second reaches only the port after the first's.
class LoopbackTable : public NCBroadcastTable {
public:
    explicit LoopbackTable(int port) : port_(port) {}
    int forEachTarget(const std::function<int(const sockaddr_in&)>& send) const override {
        const int status = send(loopback(port_));
        return status != 0 || !second ? status : send(*second);
    }
    const DSAddr* localAddrFor(const sockaddr_in&) const override {
        return reinterpret_cast<const DSAddr*>(&madeForPort);
    }

    static inline int madeForPort = 0;
    static inline const sockaddr_in* second = nullptr;

private:
    int port_;
};

class UdpStream : public ::testing::Test {
protected:
    // A plain socket as the peer.
    void SetUp() override {
        peer.reset(socket(AF_INET, SOCK_DGRAM, 0));
        sockaddr_in address = loopback(0);
        ASSERT_EQ(bind(peer.get(), harbolance::generic(address), sizeof address), 0);
        socklen_t length = sizeof address;
        ASSERT_EQ(getsockname(peer.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
        peerPort = ntohs(address.sin_port);
        ASSERT_EQ(stream.bind(0, "127.0.0.1"), 0);
    }
    void TearDown() override { EXPECT_EQ(Counted::alive, 0); }

    void sendFromPeer(const std::vector<uint8_t>& bytes) {
        const sockaddr_in to = loopback(stream.port());
        ASSERT_EQ(sendto(peer.get(), bytes.data(), bytes.size(), 0, harbolance::generic(to), sizeof to),
                  static_cast<ssize_t>(bytes.size()));
    }
    std::vector<uint8_t> receiveAtPeer() {
        std::vector<uint8_t> bytes(70000);
        const ssize_t count = recv(peer.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return bytes;
    }
    // Loopback delivers before sendto returns, so there is no waiting anywhere.
    NCRef<Counted> receive() {
        NCTransObject* object = stream.receive(&sender);
        EXPECT_EQ(object != nullptr, stream.status() == 0);
        return nc_cast<Counted>(object);
    }

    harbolance::Descriptor peer;
    int peerPort = 0;
    NCudpstream stream;
    sockaddr_in sender{};
};

const std::string leafDatagram = "00 00 00 18 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. ";

TEST_F(UdpStream, putsALengthBeforeTheObject) {
    const TestLeaf leaf;
    EXPECT_EQ(stream.connect("127.0.0.1", peerPort), 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(stream.send(&leaf), 0);
        const auto bytes = receiveAtPeer();
        EXPECT_TRUE(Octets(leafDatagram).match(bytes.data(), bytes.size()))
            << "each message spells its classes";
    }
    EXPECT_EQ(stream.send(nullptr), 0);
    const auto null = receiveAtPeer();
    EXPECT_TRUE(Octets("00 00 00 10 3A .. .. .. 00 00 00 04 '::' 00 ..").match(null.data(), null.size()));
}

TEST_F(UdpStream, receivesAnObjectAndItsSender) {
    EXPECT_EQ(stream.receive(), nullptr);
    EXPECT_EQ(stream.status(), NCudpstream::noData);
    sendFromPeer(Octets(leafDatagram).bytes());
    EXPECT_TRUE(receive());
    EXPECT_EQ(ntohs(sender.sin_port), peerPort);
    EXPECT_EQ(sender.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
}

TEST_F(UdpStream, dropsBadDatagramsAndStaysUsable) {
    const struct {
        const char* what;
        const char* octets;
    } cases[] = {
        {"nothing", ""},
        {"less than a length", "00 00 00"},
        {"a length alone", "00 00 00 04"},
        {"a length too small", "00 00 00 17 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. "},
        {"a length too large", "00 00 00 19 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. "},
        {"garbage behind the tag", "00 00 00 18 3A .. .. .. FF FF FF FF 'TestLeaf' 00 .. .. .. "},
        {"a class that only the one before spelled", "00 00 00 0C 23 .. .. .. 00 00 00 00"},
        {"a null object", "00 00 00 10 3A .. .. .. 00 00 00 04 '::' 00 .."},
    };
    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    for (const auto& each : cases) {
        sendFromPeer(Octets(each.octets).bytes());
        EXPECT_FALSE(receive()) << each.what;
        EXPECT_EQ(stream.status(), NCudpstream::badObject) << each.what;
        sendFromPeer(Octets(leafDatagram).bytes());
        EXPECT_TRUE(receive()) << "after " << each.what;
    }
    ::testing::internal::GetCapturedStderr();
    ::testing::internal::GetCapturedStdout();
}

TEST_F(UdpStream, ignoresOctetsBehindTheObject) {
    sendFromPeer(Octets("00 00 00 1C 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. 00 00 00 05").bytes());
    EXPECT_TRUE(receive());
}

TEST_F(UdpStream, refusesWhatExceedsADatagram) {
    NCudpstream other;
    ASSERT_EQ(other.bind(0, "127.0.0.1"), 0);
    // Length word, tag and name of the class, size of the block: 28 octets.
    const std::string fits(NCudpstream::datagramSize - 28, 'x');
    ASSERT_EQ(other.sendTo(loopback(stream.port()), NCRef<Counted>(new TestBlock(fits)).get()), 0);
    EXPECT_TRUE(receive());
    ASSERT_EQ(other.sendTo(loopback(stream.port()), NCRef<Counted>(new TestBlock(fits + "x")).get()), 0);
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCudpstream::badObject);
    // Beyond what the system sends in one piece.
    EXPECT_EQ(
        other.sendTo(loopback(stream.port()), NCRef<Counted>(new TestBlock(std::string(66000, 'x'))).get()),
        NCudpstream::systemError);
    EXPECT_EQ(other.sendTo(loopback(stream.port()), NCRef<Counted>(new TestLeaf).get()), 0);
    EXPECT_TRUE(receive());
}

TEST_F(UdpStream, givesEachMisuseItsStatus) {
    NCudpstream closed;
    const TestLeaf leaf;
    EXPECT_EQ(closed.connect("127.0.0.1", 1), NCudpstream::notOpen);
    EXPECT_EQ(closed.connect(loopback(1)), NCudpstream::notOpen);
    EXPECT_EQ(closed.send(&leaf), NCudpstream::notOpen);
    EXPECT_EQ(closed.sendTo(loopback(1), &leaf), NCudpstream::notOpen);
    EXPECT_EQ(closed.broadcast(&leaf), NCudpstream::notOpen);
    EXPECT_EQ(closed.close(), NCudpstream::notOpen);
    int status = 0;
    EXPECT_EQ(closed.receive(status), nullptr);
    EXPECT_EQ(status, NCudpstream::notOpen);

    const int fd = stream.fd();
    EXPECT_EQ(stream.bind(0), NCudpstream::alreadyOpen);
    EXPECT_EQ(stream.fd(), fd);
    EXPECT_EQ(stream.send(&leaf), NCudpstream::notConnected);
    EXPECT_EQ(stream.connect("no host at all", 1), NCudpstream::noHost);
    EXPECT_FALSE(stream.isConnected());
    EXPECT_EQ(closed.bind(stream.port(), "127.0.0.1"), NCudpstream::systemError);
    EXPECT_FALSE(closed.isOpen());
    EXPECT_EQ(stream.connect(loopback(peerPort)), 0);
    EXPECT_EQ(stream.sendTo(loopback(peerPort), &leaf), NCudpstream::connected);

    EXPECT_EQ(stream.close(), 0);
    EXPECT_FALSE(stream.isConnected());
    EXPECT_EQ(stream.bind(0, "no address"), 0) << "stands for any address";
    EXPECT_EQ(stream.sendTo("127.0.0.1", peerPort, &leaf), 0);
    EXPECT_FALSE(receiveAtPeer().empty());
}

TEST_F(UdpStream, tellsFailuresOnlyWhenDebugging) {
    ::testing::internal::CaptureStderr();
    NCudpstream quiet;
    quiet.close();
    quiet.setDebug(true);
    quiet.close();
    stream.setDebug(true);
    stream.receive();
    stream.connect("no host at all", 1);
    sendFromPeer({1, 2});
    stream.receive();
    stream.overflow(1);
    EXPECT_EQ(stream.status(), NCudpstream::tooLarge);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "\nNCudpstream::close: File not open\n"
              "\nNCudpstream::receive No data available to read\n"
              "\nNCudpstream::connect: No host (no host at all)\n"
              "\nNCudpstream::receive: Object length mismatch\n"
              "\nUDPstrm::overflow: Object does not fit in UDP packet.\n");
}

TEST_F(UdpStream, waitsInBlockingModeThroughSignals) {
    EXPECT_EQ(stream.setBlocking(true), 0);
    const Interruptions interruptions;
    const PeerProcess late([&] {
        usleep(100'000);
        const Octets leaf(leafDatagram);
        const sockaddr_in to = loopback(stream.port());
        return sendto(peer.get(), leaf.bytes().data(), leaf.size(), 0, harbolance::generic(to), sizeof to) >
               0;
    });
    EXPECT_TRUE(receive());
    EXPECT_GT(Interruptions::count, 0);
    EXPECT_EQ(stream.setBlocking(false), 0);
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCudpstream::noData);
}

TEST_F(UdpStream, broadcastsToEachTargetUntilOneFails) {
    const TestLeaf leaf;
    const auto usualMaker = NCudpstream::setBroadcastTableMaker(nullptr);
    EXPECT_EQ(stream.broadcast(&leaf, peerPort), 0) << "without a table nobody is reached";
    EXPECT_TRUE(receiveAtPeer().empty());
    EXPECT_EQ(stream.localAddrFor(loopback(1)), nullptr);

    NCudpstream::setBroadcastTableMaker([](int fd, int port, bool) -> std::unique_ptr<NCBroadcastTable> {
        EXPECT_GE(fd, 0);
        LoopbackTable::madeForPort = port;
        return std::make_unique<LoopbackTable>(port);
    });
    const sockaddr_in self = loopback(stream.port());
    LoopbackTable::second = &self;
    EXPECT_EQ(stream.broadcast(&leaf, peerPort), 0);
    const auto bytes = receiveAtPeer();
    EXPECT_TRUE(Octets(leafDatagram).match(bytes.data(), bytes.size()));
    EXPECT_TRUE(receive());
    EXPECT_NE(stream.localAddrFor(loopback(1)), nullptr);

    // Another port and a close change nothing about the table.
    EXPECT_EQ(stream.close(), 0);
    ASSERT_EQ(stream.bind(0, "127.0.0.1"), 0);
    const sockaddr_in nowhere = loopback(0);
    LoopbackTable::second = &nowhere;
    EXPECT_EQ(stream.broadcast(&leaf, 1), NCudpstream::systemError);
    EXPECT_EQ(LoopbackTable::madeForPort, peerPort);
    EXPECT_FALSE(receiveAtPeer().empty()) << "the target before the failing one is reached";
    LoopbackTable::second = nullptr;
    NCudpstream::setBroadcastTableMaker(usualMaker);
}

} // namespace
