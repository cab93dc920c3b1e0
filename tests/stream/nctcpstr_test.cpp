#include "stream/carrier.h"
#include "stream/ncpriqueue.h"

#include <fcntl.h>
#include <poll.h>

using harbolance::Deadline;

namespace {

int send(NCtcpstream& stream, Counted* object, uint8_t priority = 10) {
    return stream.send(NCRef<Counted>(object).get(), priority);
}

int sendName(NCtcpstream& stream, char first, uint8_t priority, size_t size = 1) {
    return send(stream, new TestNode(std::string(size, first).c_str()), priority);
}

// Takes the place of a plain socket.
void attach(NCtcpstream& stream, const harbolance::Descriptor& peer) {
    EXPECT_EQ(stream.attach(dup(peer.get())), 0);
}

TEST_F(TcpStream, spellsAClassOncePerConnectionAndPutsMessagesTogetherFromSingleOctets) {
    const std::string messages = octets(leafMessage + leafAgain);
    for (int connection = 0; connection < 2; ++connection) {
        EXPECT_EQ(stream.setBlocking(false), 0);
        EXPECT_EQ(send(stream, new TestLeaf), 0);
        EXPECT_EQ(send(stream, new TestLeaf), 0);
        EXPECT_EQ(differenceAtPeer(leafMessage + leafAgain), "");
        for (size_t i = 0; i < messages.size(); ++i) {
            sendOctetsFromPeer(messages.substr(i, 1));
            const bool complete = i == 23 || i == 35;
            EXPECT_EQ(receive().get() != nullptr, complete) << i;
            EXPECT_EQ(stream.status(), complete ? 0 : NCtcpstream::partlyRead) << i;
        }
        EXPECT_FALSE(receive());
        EXPECT_EQ(stream.status(), NCtcpstream::noData);
        startAnew();
    }
    sendFromPeer(leafAgain);
    EXPECT_FALSE(receive());
}

TEST_F(TcpStream, growsToTheLongestMessageButNotToClaims) {
    auto in = std::make_unique<NCipcstream>();
    const NCipcstream* const input = in.get();
    stream.setStreams(std::move(in), std::make_unique<NCipcstream>());
    NCtcpstream other(64, 3);
    attach(other, peer);
    EXPECT_EQ(sendName(other, 'x', 10, 5003), 0);
    EXPECT_EQ(send(other, new TestLeaf), 0);
    int status = -1;
    const NCRef<TestNode> node = nc_cast<TestNode>(stream.receive(status, 0));
    EXPECT_TRUE(node && node->name.len() == 5003) << "what is there is taken without waiting";
    EXPECT_TRUE(receive());
    EXPECT_EQ(input->buffer()->rsize(), 20u + 8 + 5004 + 2 * 12);
    sendFromPeer("10 00 00 00");
    sendOctetsFromPeer(std::string(7000, '\0'));
    EXPECT_EQ(stream.receive(status, 0), nullptr);
    EXPECT_LE(input->buffer()->rsize(), 14'000u);
}

TEST_F(TcpStream, isBrokenByLengthsThatCannotBeAndByTheEnd) {
    const std::pair<std::string, bool> cases[] = {{"+0 " + leafMessage, false},
                                                  {"+3 " + leafMessage, false},
                                                  {"10000001 " + leafMessage, false},
                                                  {"80000000 " + leafMessage, false},
                                                  {"-1 " + leafMessage, false},
                                                  {"", true},
                                                  {"00 00", true},
                                                  {"+24", true},
                                                  {"+24 3A000000", true}};
    for (const auto& [start, ends] : cases) {
        for (const bool limited : {false, true}) {
            sendFromPeer(start);
            if (ends)
                peer.close();
            for (int i = 0; i < 2; ++i) { // nothing behind it is a message
                int status = 0;
                EXPECT_EQ(limited ? stream.receive(status, 5) : stream.receive(), nullptr);
                EXPECT_EQ(stream.status(), NCtcpstream::broken) << start;
            }
            startAnew();
        }
    }
    sendFromPeer(leafMessage);
    EXPECT_TRUE(receive());
}

TEST_F(TcpStream, holdsItsLimitWhileThePeerDripsAndLosesNothing) {
    sendOctetsFromPeer(octets(leafMessage).substr(0, 5));
    const PeerProcess dripping([&] {
        for (size_t i = 5; i < 24; ++i) {
            usleep(100'000);
            sendOctetsFromPeer(octets(leafMessage).substr(i, 1));
        }
        return true;
    });
    const Interruptions interruptions;
    const Deadline earliest(1);
    const Deadline latest(3);
    int status = 0;
    EXPECT_EQ(stream.receive(status, 1), nullptr);
    EXPECT_EQ(status, NCtcpstream::timedOut);
    EXPECT_TRUE(earliest.passed() && !latest.passed());
    EXPECT_TRUE(NCRef<Counted>(nc_cast<Counted>(stream.receive(status, 20))));
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
    for (const int status : {stream.connect("127.0.0.1", 1), stream.listen(0), stream.attach(0)})
        EXPECT_EQ(status, NCtcpstream::alreadyOpen);
    EXPECT_EQ(stream.close(), 0);
    for (const int status : {stream.flush(), stream.accept()})
        EXPECT_EQ(status, NCtcpstream::notOpen);
    EXPECT_EQ(stream.attach(-1), NCtcpstream::badDescriptor);
    const int port = portOf(boundSocket(SOCK_STREAM).get()); // where no socket listens
    for (const int seconds : {-1, 2}) {
        EXPECT_EQ(stream.connect("127.0.0.1", port, seconds), NCtcpstream::systemError);
        EXPECT_EQ(errno, ECONNREFUSED);
    }
    stream.setDebug(true);
    EXPECT_EQ(stream.connect("no host at all", 1), NCtcpstream::noHost);
    EXPECT_EQ(stream.listen(0, "no host at all"), NCtcpstream::systemError);
    EXPECT_EQ(told, "\nNCtcpstream::connect: No host (no host at all)\n"
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
        attach(other, peer);
        EXPECT_EQ(stream.setBlocking(false), 0);
        EXPECT_EQ(sendName(stream, 'x', 10, large), NCtcpstream::partlyWritten);
    }
    // Flushes and reads in turns until that many messages are over there. The first characters of the nodes'
    // names and "L" for any other record, in the order in which they came.
    std::string exchange(size_t messages) {
        EXPECT_EQ(other.setBlocking(false), 0);
        std::string order;
        for (const Deadline limit(20); order.size() < messages && !limit.passed();) {
            stream.flush();
            const NCRef<Counted> object = nc_cast<Counted>(other.receive());
            if (const auto* node = nc_cast<TestNode>(object.get()))
                order += node->name.at(0);
            else if (object)
                order += 'L';
            pollfd input{other.fd(), POLLIN, 0};
            poll(&input, 1, order.size() < messages ? 100 : 0);
        }
        EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
        return order;
    }

    static constexpr size_t large = size_t{16} * 1024 * 1024;
    NCtcpstream other{64, 3};
};

TEST_F(TcpQueue, lowNumbersLeaveFirstAndClassesAreLearntInThatOrder) {
    const NCRef<TestPair> pair(new TestPair({}, new TestNode("p"), nullptr));
    EXPECT_EQ(send(stream, new TestLeaf, 9), NCtcpstream::queued);
    EXPECT_EQ(stream.send(pair.get(), 5), NCtcpstream::queued);
    EXPECT_EQ(sendName(stream, 'n', 1), NCtcpstream::queued);
    EXPECT_EQ(sendName(stream, 'd', 0), NCtcpstream::queueFull);
    stream.setQueueLimit(2);
    EXPECT_EQ(stream.queueLimit(), 3);
    stream.setQueueLimit(4);
    EXPECT_EQ(sendName(stream, 'e', 1), NCtcpstream::queued);
    EXPECT_EQ(exchange(5), "xneLL");
    // The node, the pair and the leaf were spelled once each.
    EXPECT_EQ(send(stream, new TestLeaf, 1), 0);
    EXPECT_EQ(differenceAtPeer("+12 #2"), "");
}

// What the stream asks of its queue is in the order above.
TEST(PriorityQueue, refusesWhatItHasNoRoomForAndOnlyGrows) {
    NCPriorityQueue queue(1);
    EXPECT_EQ(queue.enqueue(&queue, 5), 0);
    EXPECT_EQ(queue.enqueue(&queue, 1), NCPriorityQueue::statusFull);
    queue.setCapacity(2);
    queue.setCapacity(1);
    EXPECT_EQ(queue.enqueue(&queue, 1), 0);
    EXPECT_EQ(queue.enqueue(&queue, 1), NCPriorityQueue::statusFull);
}

TEST_F(TcpQueue, closingDropsWhatWaits) {
    EXPECT_EQ(sendName(stream, 'f', 1), NCtcpstream::queued);
    startAnew();
    EXPECT_EQ(stream.queueCount(), 0);
    EXPECT_EQ(sendName(stream, 'g', 1), 0);
    EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
}

TEST_F(TcpQueue, goingToBlockingWritesAllThroughSignals) {
    EXPECT_EQ(sendName(stream, 'a', 1), NCtcpstream::queued);
    const PeerProcess reader([&] {
        int objects = 0;
        while (objects < 3 && NCRef<Counted>(nc_cast<Counted>(other.receive())))
            ++objects;
        return objects == 3;
    });
    const Interruptions interruptions;
    EXPECT_EQ(stream.setBlocking(true), 0);
    EXPECT_FALSE(stream.isWritePending());
    EXPECT_EQ(sendName(stream, 'y', 10, large), 0) << "a blocking send writes the whole message";
}

TEST_F(TcpQueue, aPeerThatLeftIsAStatusAndNoSignal) {
    other.close();
    peer.close();
    int status = 0;
    for (int i = 0; i < 100 && status != NCtcpstream::broken; ++i)
        status = stream.flush();
    EXPECT_EQ(status, NCtcpstream::broken);
    EXPECT_EQ(stream.flush(), NCtcpstream::broken) << "the second write is the one that would raise a signal";
}

} // namespace
