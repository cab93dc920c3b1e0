#include "stream/carrier.h"

#include <fcntl.h>

using harbolance::Deadline;

namespace {

const std::string leafAgain = "00 00 00 0C 23 .. .. .. 00 00 00 00 ";

class TcpStream : public testing::Test, public TcpConnection {
protected:
    ~TcpStream() override { EXPECT_EQ(Counted::alive, 0); }
    // Another stream at the peer's end.
    std::unique_ptr<NCtcpstream> atOtherEnd() const {
        auto other = std::make_unique<NCtcpstream>(64, 3);
        EXPECT_EQ(other->attach(dup(peer.get())), 0);
        return other;
    }
    void startAnew() {
        EXPECT_EQ(stream.close(), 0);
        reconnect();
    }
};

int send(NCtcpstream& stream, Counted* object, uint8_t priority = 10) {
    return stream.send(NCRef<Counted>(object).get(), priority);
}

TEST_F(TcpStream, spellsAClassOncePerConnection) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(send(stream, new TestLeaf), 0);
        EXPECT_EQ(send(stream, new TestLeaf), 0);
        EXPECT_EQ(OctetListing(leafMessage + leafAgain).differenceFrom(atPeer()), "");
        sendFromPeer(leafMessage + leafAgain);
        EXPECT_TRUE(receive() && receive());
        startAnew();
    }
    sendFromPeer(leafAgain);
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(receive());
    ::testing::internal::GetCapturedStderr();
}

TEST_F(TcpStream, putsMessagesTogetherFromSingleOctets) {
    EXPECT_EQ(stream.setBlocking(false), 0);
    const std::string messages = octets(leafMessage + leafAgain);
    for (size_t i = 0; i < messages.size(); ++i) {
        sendOctetsFromPeer(messages.substr(i, 1));
        const bool complete = i == 23 || i == 35;
        EXPECT_EQ(receive().get() != nullptr, complete) << i;
        EXPECT_EQ(stream.status(), complete ? 0 : NCtcpstream::partlyRead) << i;
    }
    EXPECT_FALSE(receive());
    EXPECT_EQ(stream.status(), NCtcpstream::noData);
}

TEST_F(TcpStream, growsToTheLongestMessageButNotToClaims) {
    auto in = std::make_unique<NCipcstream>();
    const NCipcstream* const input = in.get();
    stream.setStreams(std::move(in), std::make_unique<NCipcstream>());
    const auto other = atOtherEnd();
    EXPECT_EQ(send(*other, new TestBlock(std::string(5000, 'x'))), 0);
    EXPECT_EQ(send(*other, new TestLeaf), 0);
    int status = -1;
    const NCRef<TestBlock> block = nc_cast<TestBlock>(stream.receive(status, 0));
    EXPECT_TRUE(block && block->data == std::string(5000, 'x')) << "what is there is taken without waiting";
    EXPECT_TRUE(receive());
    EXPECT_EQ(input->buffer()->rsize(), 5000u + 4 + 4 + 4 + 12);
    sendFromPeer("10 00 00 00");
    sendOctetsFromPeer(std::string(7000, '\0'));
    EXPECT_EQ(stream.receive(status, 0), nullptr);
    EXPECT_LE(input->buffer()->rsize(), 14'000u);
}

TEST_F(TcpStream, isBrokenByLengthsThatCannotBeAndByTheEnd) {
    for (const char* length :
         {"00 00 00 00 ", "00 00 00 03 ", "10 00 00 01 ", "80 00 00 00 ", "FF FF FF FF "}) {
        sendFromPeer(length + leafMessage);
        EXPECT_FALSE(receive());
        EXPECT_FALSE(receive()) << "nothing behind it is a message: " << length;
        EXPECT_EQ(stream.status(), NCtcpstream::broken) << length;
        startAnew();
    }
    for (const char* start : {"", "00 00", "00 00 00 18", "00 00 00 18 3A 00 00 00"}) {
        for (const bool limited : {false, true}) {
            sendFromPeer(start);
            peer.close();
            int status = 0;
            EXPECT_EQ(limited ? stream.receive(status, 5) : stream.receive(), nullptr);
            EXPECT_EQ(stream.status(), NCtcpstream::broken) << start;
            startAnew();
        }
    }
    sendFromPeer(leafMessage);
    EXPECT_TRUE(receive());
}

TEST_F(TcpStream, holdsItsLimitWhateverThePeerDoes) {
    const auto silent = [] {};
    const auto dripping = [&] {
        for (const char octet : octets(leafMessage).substr(5)) {
            usleep(100'000);
            sendOctetsFromPeer({octet});
        }
    };
    const auto pouring = [&] {
        for (const Deadline end(4); !end.passed();)
            ::send(peer.get(), "", 1, MSG_NOSIGNAL | MSG_DONTWAIT);
    };
    const std::pair<const char*, std::function<void()>> peers[] = {
        {"00 00 00 18 3A", silent}, {"00 00 00 18 3A", dripping}, {"10 00 00 00", pouring}};
    for (const auto& [start, goOn] : peers) {
        EXPECT_EQ(stream.setBlocking(&goOn != &peers[0].second), 0);
        sendFromPeer(start);
        const PeerProcess process([&goOn = goOn] { return goOn(), true; });
        const Interruptions interruptions;
        const Deadline earliest(1);
        const Deadline latest(3);
        int status = 0;
        EXPECT_EQ(stream.receive(status, 1), nullptr);
        EXPECT_EQ(status, NCtcpstream::timedOut);
        EXPECT_TRUE(earliest.passed() && !latest.passed());
        if (&goOn == &peers[1].second) {
            EXPECT_TRUE(NCRef<Counted>(nc_cast<Counted>(stream.receive(status, 20)))) << "nothing is lost";
        }
        startAnew();
    }
}

TEST_F(TcpStream, listensConnectsAndAccepts) {
    NCtcpstream listener(64, 2);
    ASSERT_EQ(listener.listen(0, "127.0.0.1"), 0);
    for (const bool byName : {true, false}) {
        NCtcpstream client(64, 2);
        ASSERT_EQ(byName ? client.connect("127.0.0.1", listener.port())
                         : client.connect(htonl(INADDR_LOOPBACK), listener.port(), 5),
                  0);
        EXPECT_EQ(client.port(), listener.port());
        EXPECT_STREQ(client.hostName(), byName ? "127.0.0.1" : "");
        EXPECT_EQ(fcntl(client.fd(), F_GETFL) & O_NONBLOCK, 0) << "a limit leaves a blocking stream blocking";
        const auto served = listener.acceptStream();
        ASSERT_TRUE(served && served->isBlocking());
        EXPECT_NE(fcntl(served->fd(), F_GETFD) & FD_CLOEXEC, 0);
        EXPECT_EQ(send(*served, new TestLeaf), 0);
        EXPECT_TRUE(NCRef<Counted>(nc_cast<Counted>(client.receive())));
    }
    EXPECT_EQ(listener.setBlocking(false), 0);
    EXPECT_FALSE(listener.acceptStream());
    EXPECT_EQ(listener.status(), NCtcpstream::systemError);
}

TEST_F(TcpStream, givesEachMisuseItsStatus) {
    EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
    EXPECT_EQ(stream.connect("127.0.0.1", 1), NCtcpstream::alreadyOpen);
    EXPECT_EQ(stream.listen(0), NCtcpstream::alreadyOpen);
    EXPECT_EQ(stream.attach(0), NCtcpstream::alreadyOpen);
    EXPECT_EQ(stream.close(), 0);
    EXPECT_EQ(stream.flush(), NCtcpstream::notOpen);
    EXPECT_EQ(stream.accept(), NCtcpstream::notOpen);
    EXPECT_EQ(stream.attach(-1), NCtcpstream::badDescriptor);
    const int port = portOf(boundSocket(SOCK_STREAM).get()); // where nobody listens
    for (const int seconds : {-1, 2}) {
        EXPECT_EQ(stream.connect("127.0.0.1", port, seconds), NCtcpstream::systemError);
        EXPECT_EQ(errno, ECONNREFUSED);
    }
    stream.setDebug(true);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(stream.connect("no host at all", 1), NCtcpstream::noHost);
    EXPECT_EQ(stream.listen(0, "no host at all"), NCtcpstream::systemError);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "\nNCtcpstream::connect: No host (no host at all)\n"
              "NCtcpstream::listen: bind: Cannot assign requested address\n");
}

TEST_F(TcpStream, boundsConnectingToAHostThatDoesNotAnswer) {
    // A listener whose backlog is full drops what asks for more.
    const harbolance::Descriptor full = boundSocket(SOCK_STREAM);
    ASSERT_EQ(::listen(full.get(), 0), 0);
    const sockaddr_in address = loopback(portOf(full.get()));
    harbolance::Descriptor waiting[4];
    for (harbolance::Descriptor& each : waiting) {
        each.reset(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        static_cast<void>(::connect(each.get(), harbolance::generic(address), sizeof address));
    }
    NCtcpstream late(64, 2);
    const Interruptions interruptions;
    const Deadline earliest(1);
    const Deadline latest(5);
    EXPECT_EQ(late.connect("127.0.0.1", portOf(full.get()), 1), NCtcpstream::timedOut);
    EXPECT_TRUE(earliest.passed() && !latest.passed());
    EXPECT_FALSE(late.isOpen());
}

// A non-blocking stream whose first message, larger than the system's buffers, is only partly out.
class TcpQueue : public TcpStream {
protected:
    TcpQueue() {
        EXPECT_EQ(stream.setBlocking(false), 0);
        EXPECT_EQ(sendBlock('x', 10, large), NCtcpstream::partlyWritten);
        EXPECT_EQ(other->setBlocking(false), 0);
    }
    int sendBlock(char first, uint8_t priority, size_t size = 1) {
        return send(stream, new TestBlock(std::string(size, first)), priority);
    }
    // Flushes and reads in turns until that many messages are over there. What came, in its order: blocks by
    // their first characters, nodes by their names, leaves.
    std::string exchange(size_t messages) {
        std::string order;
        for (int turn = 0; turn < 10'000 && order.size() < messages; ++turn) {
            stream.flush();
            const NCRef<Counted> object = nc_cast<Counted>(other->receive());
            if (const auto* block = nc_cast<TestBlock>(object.get()))
                order += block->data[0];
            else if (const auto* node = nc_cast<TestNode>(object.get()))
                order += node->name.at(0);
            else if (object)
                order += 'L';
            else if (other->status() != NCtcpstream::partlyRead && other->status() != NCtcpstream::noData)
                return order + " status " + std::to_string(other->status());
            pollfd input{other->fd(), POLLIN, 0};
            poll(&input, 1, order.size() < messages ? 100 : 0);
        }
        EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
        return order;
    }

    static constexpr size_t large = size_t{16} * 1024 * 1024;
    const std::unique_ptr<NCtcpstream> other = atOtherEnd();
};

TEST_F(TcpQueue, lowNumbersLeaveFirstAndClassesAreLearntInThatOrder) {
    const NCRef<TestNode> pair(new TestNode("p"));
    pair->left = NCRef<TestNode>(new TestNode("q"));
    EXPECT_EQ(send(stream, new TestLeaf, 9), NCtcpstream::queued);
    EXPECT_EQ(stream.send(pair.get(), 5), NCtcpstream::queued);
    EXPECT_EQ(send(stream, new TestNode("n"), 1), NCtcpstream::queued);
    EXPECT_EQ(exchange(4), "xnpL");
    // The block, the node and the leaf were spelled once each.
    EXPECT_EQ(send(stream, new TestLeaf, 1), 0);
    EXPECT_EQ(OctetListing("00 00 00 0C 23 .. .. .. 00 00 00 02").differenceFrom(atPeer()), "");
}

TEST_F(TcpQueue, refusesTheNewMessageWhenFullAndDropsAllWhenClosed) {
    for (const char name : {'a', 'b', 'c'})
        EXPECT_EQ(sendBlock(name, 1), NCtcpstream::queued);
    EXPECT_EQ(sendBlock('d', 0), NCtcpstream::queueFull);
    stream.setQueueLimit(2);
    EXPECT_EQ(stream.queueLimit(), 3);
    stream.setQueueLimit(4);
    EXPECT_EQ(sendBlock('e', 1), NCtcpstream::queued);
    EXPECT_EQ(exchange(5), "xabce");
    startAnew(); // the buffers of the old connection have grown
    EXPECT_EQ(sendBlock('y', 1, large), NCtcpstream::partlyWritten);
    EXPECT_EQ(sendBlock('f', 1), NCtcpstream::queued);
    startAnew();
    EXPECT_EQ(stream.queueCount(), 0);
    EXPECT_EQ(sendBlock('g', 1), 0);
    EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
}

TEST_F(TcpQueue, goingToBlockingWritesAllThroughSignals) {
    EXPECT_EQ(sendBlock('a', 1), NCtcpstream::queued);
    const PeerProcess reader([&] {
        other->setBlocking(true);
        const auto comes = [&] {
            return NCRef<Counted>(nc_cast<Counted>(other->receive())).get() != nullptr;
        };
        return comes() && comes() && comes();
    });
    const Interruptions interruptions;
    EXPECT_EQ(stream.setBlocking(true), 0);
    EXPECT_FALSE(stream.isWritePending());
    EXPECT_EQ(sendBlock('y', 10, large), 0) << "a blocking send writes the whole message";
}

TEST_F(TcpQueue, aPeerThatLeftIsAStatusAndNoSignal) {
    other->close();
    peer.close();
    int status = 0;
    for (int i = 0; i < 100 && status != NCtcpstream::broken; ++i)
        status = stream.flush();
    EXPECT_EQ(status, NCtcpstream::broken);
    EXPECT_EQ(stream.flush(), NCtcpstream::broken) << "the second write is the one that would raise a signal";
}

} // namespace
