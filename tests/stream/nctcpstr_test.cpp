#include "stream/tcp_fixture.h"

#include <fcntl.h>

namespace {

TEST_F(TcpStream, spellsAClassOncePerConnection) {
    const TestLeaf leaf;
    EXPECT_EQ(stream.send(&leaf, 10), 0);
    EXPECT_EQ(stream.send(&leaf, 10), 0);
    const auto both = receiveAtPeer();
    EXPECT_TRUE(Octets(leafMessage + leafAgain).match(both.data(), both.size()));
    sendFromPeer(leafMessage + leafAgain);
    EXPECT_TRUE(receive());
    EXPECT_TRUE(receive());

    EXPECT_EQ(stream.close(), 0);
    reconnect();
    EXPECT_EQ(stream.send(&leaf, 10), 0);
    const auto fresh = receiveAtPeer();
    EXPECT_TRUE(Octets(leafMessage).match(fresh.data(), fresh.size()));
    sendFromPeer(leafAgain);
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(receive());
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(stream.status(), NCtcpstream::badObject);
}

TEST_F(TcpStream, putsMessagesTogetherFromSingleOctets) {
    EXPECT_EQ(stream.setBlocking(false), 0);
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCtcpstream::noData);
    const Octets messages(leafMessage + leafAgain);
    int objects = 0;
    for (size_t i = 0; i < messages.size(); ++i) {
        sendFromPeer(std::vector<uint8_t>{messages.bytes()[i]});
        const bool complete = i == 23 || i == 35;
        if (receive())
            ++objects;
        EXPECT_EQ(stream.status(), complete ? 0 : NCtcpstream::partlyRead) << i;
        EXPECT_EQ(stream.isReadPending(), !complete);
    }
    EXPECT_EQ(objects, 2);
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCtcpstream::noData);
}

TEST_F(TcpStream, growsToTheLongestMessage) {
    NCtcpstream other(1024, 3);
    other.attach(dup(peer.get()));
    const std::string text(5000, 'x');
    EXPECT_EQ(other.send(NCRef<Counted>(new TestBlock(text)).get(), 10), 0);
    EXPECT_EQ(other.send(NCRef<Counted>(new TestLeaf).get(), 10), 0);
    const auto block = receive();
    ASSERT_TRUE(nc_cast<TestBlock>(block.get()));
    EXPECT_EQ(static_cast<TestBlock*>(block.get())->data, text);
    EXPECT_TRUE(receive());
    EXPECT_EQ(streamInput->buffer()->rsize(), 5000u + 4 + 4 + 4 + 12);
}

TEST_F(TcpStream, refusesLengthsThatCannotBe) {
    EXPECT_EQ(stream.setBlocking(false), 0);
    for (const char* length :
         {"00 00 00 00", "00 00 00 03", "10 00 00 01", "7F FF FF FF", "80 00 00 00", "FF FF FF FF"}) {
        sendFromPeer(std::string(length) + " " + leafMessage);
        EXPECT_FALSE(receive());
        EXPECT_EQ(stream.status(), NCtcpstream::broken) << length;
        EXPECT_FALSE(receive());
        EXPECT_EQ(stream.status(), NCtcpstream::broken) << "nothing behind it is a message: " << length;
        EXPECT_EQ(stream.close(), 0);
        reconnect();
    }
    sendFromPeer(leafMessage);
    EXPECT_TRUE(receive());
}

TEST_F(TcpStream, spendsNoMemoryOnClaims) {
    EXPECT_EQ(stream.setBlocking(false), 0);
    sendFromPeer("10 00 00 00");
    sendFromPeer(std::vector<uint8_t>(3000, 0));
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCtcpstream::partlyRead);
    EXPECT_LE(streamInput->buffer()->rsize(), 4096u);
}

TEST_F(TcpStream, takesAMessageWithoutObjectForABadOne) {
    ::testing::internal::CaptureStdout();
    sendFromPeer("00 00 00 04 00 00 00 10 3A .. .. .. 00 00 00 04 '::' 00 .. " + leafMessage);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(receive());
        EXPECT_EQ(stream.status(), NCtcpstream::badObject);
    }
    EXPECT_TRUE(receive()) << "the framing survives";
    ::testing::internal::GetCapturedStdout();
}

TEST_F(TcpStream, tellsTheEndOfTheConnection) {
    for (const char* start : {"", "00 00", "00 00 00 18", "00 00 00 18 3A 00 00 00"}) {
        for (const bool limited : {false, true}) {
            sendFromPeer(start);
            peer.close();
            int status = 0;
            EXPECT_EQ(limited ? stream.receive(status, 5) : stream.receive(), nullptr);
            EXPECT_EQ(stream.status(), NCtcpstream::broken) << start;
            EXPECT_EQ(stream.close(), 0);
            reconnect();
        }
    }
}

TEST_F(TcpStream, holdsItsLimitAgainstASilentPeer) {
    for (const bool blocking : {true, false}) {
        EXPECT_EQ(stream.setBlocking(blocking), 0);
        int status = 0;
        EXPECT_EQ(stream.receive(status, 0), nullptr);
        EXPECT_EQ(status, NCtcpstream::timedOut);
        sendFromPeer("00 00 00 18 3A");
        const Interruptions interruptions;
        const Stopwatch watch;
        EXPECT_EQ(stream.receive(status, 1), nullptr);
        EXPECT_EQ(status, NCtcpstream::timedOut);
        EXPECT_GE(watch.seconds(), 0.99);
        EXPECT_LT(watch.seconds(), 5);
        EXPECT_EQ(stream.close(), 0);
        reconnect();
    }
}

TEST_F(TcpStream, holdsItsLimitAgainstADrippingPeer) {
    const Octets message(leafMessage);
    const PeerProcess dripping([&] {
        for (const uint8_t octet : message.bytes()) {
            usleep(150'000);
            if (::send(peer.get(), &octet, 1, MSG_NOSIGNAL) != 1)
                return false;
        }
        return true;
    });
    const Stopwatch watch;
    int status = 0;
    EXPECT_EQ(stream.receive(status, 1), nullptr);
    EXPECT_EQ(status, NCtcpstream::timedOut);
    EXPECT_LT(watch.seconds(), 3);
    // What came is not lost.
    const NCRef<Counted> object = nc_cast<Counted>(stream.receive(status, 20));
    EXPECT_TRUE(object);
    EXPECT_EQ(status, 0);
}

TEST_F(TcpStream, holdsItsLimitAgainstAPeerThatAlwaysHasAnotherOctet) {
    sendFromPeer("10 00 00 00");
    const PeerProcess pouring([&] {
        const Stopwatch watch;
        while (watch.seconds() < 3) {
            if (::send(peer.get(), "", 1, MSG_NOSIGNAL | MSG_DONTWAIT) != 1 && errno != EAGAIN)
                return false;
        }
        return true;
    });
    const Stopwatch watch;
    int status = 0;
    EXPECT_EQ(stream.receive(status, 1), nullptr);
    EXPECT_EQ(status, NCtcpstream::timedOut);
    EXPECT_LT(watch.seconds(), 2.5);
}

TEST_F(TcpStream, takesAllThatIsThereWithoutWaiting) {
    NCtcpstream other(64, 3);
    other.attach(dup(peer.get()));
    EXPECT_EQ(other.send(NCRef<Counted>(new TestBlock(std::string(20000, 'x'))).get(), 10), 0);
    int status = -1;
    EXPECT_TRUE(NCRef<Counted>(nc_cast<Counted>(stream.receive(status, 0))));
    EXPECT_EQ(status, 0);
}

TEST_F(TcpStream, givesEachMisuseItsStatus) {
    NCtcpstream closed(64, 2);
    const TestLeaf leaf;
    int status = 0;
    EXPECT_EQ(closed.close(), NCtcpstream::notOpen);
    EXPECT_EQ(closed.send(&leaf, 1), NCtcpstream::notOpen);
    EXPECT_EQ(closed.flush(), NCtcpstream::notOpen);
    EXPECT_EQ(closed.accept(), NCtcpstream::notOpen);
    EXPECT_EQ(closed.receive(), nullptr);
    EXPECT_EQ(closed.status(), NCtcpstream::notOpen);
    EXPECT_EQ(closed.receive(status, 1), nullptr);
    EXPECT_EQ(status, NCtcpstream::notOpen);
    EXPECT_EQ(closed.attach(-1), NCtcpstream::badDescriptor);
    EXPECT_EQ(closed.connect("no host at all", 1), NCtcpstream::noHost);
    EXPECT_EQ(closed.listen(listener.port(), "127.0.0.1"), NCtcpstream::systemError);
    EXPECT_FALSE(closed.isOpen());

    EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
    EXPECT_EQ(stream.connect("127.0.0.1", 1), NCtcpstream::alreadyOpen);
    EXPECT_EQ(stream.listen(0), NCtcpstream::alreadyOpen);
    EXPECT_EQ(stream.attach(0), NCtcpstream::alreadyOpen);
    EXPECT_EQ(stream.port(), listener.port());
    EXPECT_STREQ(stream.hostName(), "127.0.0.1");

    const int port = listener.port();
    EXPECT_EQ(listener.close(), 0);
    for (const int seconds : {-1, 2}) {
        EXPECT_EQ(closed.connect(htonl(INADDR_LOOPBACK), port, seconds), NCtcpstream::systemError)
            << "nobody listens there";
        EXPECT_EQ(errno, ECONNREFUSED);
    }
}

TEST_F(TcpStream, tellsFailuresOnlyWhenDebugging) {
    ::testing::internal::CaptureStderr();
    NCtcpstream closed(64, 2);
    closed.close();
    closed.setDebug(true);
    closed.close();
    closed.attach(-1);
    closed.connect("no host at all", 1);
    stream.setDebug(true);
    stream.setBlocking(false);
    stream.receive();
    peer.close();
    stream.receive();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "\nNCtcpstream::close: File not open\n"
                                                        "\nNCtcpstream::attach: Invalid file\n"
                                                        "\nNCtcpstream::connect: No host (no host at all)\n"
                                                        "\nNCtcpstream::receive: No data to read\n"
                                                        "\nNCtcpstream::receive: Connection broken\n");
}

TEST_F(TcpStream, boundsConnectingToAHostThatDoesNotAnswer) {
    // A listener whose backlog is full drops what asks for more.
    const harbolance::Descriptor full(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(full.get(), harbolance::generic(address), length), 0);
    ASSERT_EQ(::listen(full.get(), 0), 0);
    ASSERT_EQ(getsockname(full.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    harbolance::Descriptor waiting[4];
    for (harbolance::Descriptor& each : waiting) {
        each.reset(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        ::connect(each.get(), harbolance::generic(address), sizeof address);
    }

    NCtcpstream late(64, 2);
    const Interruptions interruptions;
    const Stopwatch watch;
    EXPECT_EQ(late.connect("127.0.0.1", ntohs(address.sin_port), 1), NCtcpstream::timedOut);
    EXPECT_GE(watch.seconds(), 0.99);
    EXPECT_LT(watch.seconds(), 5);
    EXPECT_FALSE(late.isOpen());
    EXPECT_EQ(late.connect("127.0.0.1", listener.port(), 1), 0);
    EXPECT_EQ(fcntl(late.fd(), F_GETFL) & O_NONBLOCK, 0) << "the limit leaves a blocking stream blocking";
}

TEST_F(TcpStream, acceptsAsAStream) {
    NCtcpstream client(64, 2);
    ASSERT_EQ(client.connect("127.0.0.1", listener.port()), 0);
    const auto served = listener.acceptStream();
    ASSERT_TRUE(served);
    EXPECT_TRUE(served->isBlocking());
    EXPECT_EQ(served->queueLimit(), 50);
    EXPECT_NE(fcntl(served->fd(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(served->send(NCRef<Counted>(new TestLeaf).get(), 10), 0);
    EXPECT_TRUE(NCRef<Counted>(nc_cast<Counted>(client.receive())));
    EXPECT_EQ(listener.setBlocking(false), 0);
    EXPECT_FALSE(listener.acceptStream());
    EXPECT_EQ(listener.status(), NCtcpstream::systemError);
}

} // namespace
