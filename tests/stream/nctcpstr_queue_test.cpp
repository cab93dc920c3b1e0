#include "stream/tcp_fixture.h"

#include <poll.h>

namespace {

// More than the system's buffers of a connection take.
constexpr size_t large = 16 * 1024 * 1024;

// A non-blocking stream whose first message is only partly out.
class TcpQueue : public TcpStream {
protected:
    void SetUp() override {
        TcpStream::SetUp();
        ASSERT_EQ(stream.setBlocking(false), 0);
        ASSERT_EQ(stream.send(NCRef<Counted>(new TestBlock(std::string(large, 'x'))).get(), 10),
                  NCtcpstream::partlyWritten);
        ASSERT_TRUE(stream.isWritePending());
        other.attach(dup(peer.get()));
        other.setBlocking(false);
    }

    int sendBlock(const char* text, uint8_t priority) {
        return stream.send(NCRef<Counted>(new TestBlock(text)).get(), priority);
    }

    // Flushes and reads in turns until all is over there; what came, in its order, blocks by their first
    // characters.
    std::string exchange(size_t messages) {
        std::string order;
        for (int turn = 0; turn < 10'000 && order.size() < messages; ++turn) {
            stream.flush();
            const NCRef<Counted> object = nc_cast<Counted>(other.receive());
            if (const auto* block = nc_cast<TestBlock>(object.get()))
                order += block->data[0];
            else if (object)
                order += nc_cast<TestNode>(object.get()) ? 'N' : 'L';
            else if (other.status() == NCtcpstream::partlyRead || other.status() == NCtcpstream::noData)
                waitForInput();
            else
                break;
        }
        EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
        return order;
    }

    void waitForInput() const {
        pollfd input{other.fd(), POLLIN, 0};
        poll(&input, 1, 100);
    }

    NCtcpstream other{1024, 3};
};

TEST_F(TcpQueue, finishesTheFirstMessageAndThenTheQueue) {
    EXPECT_EQ(sendBlock("a", 10), NCtcpstream::queued);
    EXPECT_EQ(stream.queueCount(), 1);
    EXPECT_EQ(exchange(2), "xa");
    EXPECT_EQ(sendBlock("b", 10), 0);
    EXPECT_EQ(exchange(1), "b");
}

TEST_F(TcpQueue, overtakingMessagesDoNotNeedEachOthersNames) {
    const TestLeaf leaf;
    const TestNode node("n");
    EXPECT_EQ(stream.send(&leaf, 9), NCtcpstream::queued);
    EXPECT_EQ(stream.send(&leaf, 5), NCtcpstream::queued);
    EXPECT_EQ(stream.send(&node, 1), NCtcpstream::queued);
    EXPECT_EQ(exchange(4), "xNLL");
    const NCRef<TestNode> both(new TestNode("m"));
    EXPECT_EQ(stream.send(both.get(), 1), 0);
    EXPECT_EQ(stream.send(&leaf, 1), 0);
    EXPECT_EQ(stream.send(both.get(), 1), 0);
    EXPECT_EQ(exchange(3), "NLN");
}

TEST_F(TcpQueue, refusesTheNewMessageWhenFull) {
    for (const char* text : {"a", "b", "c"})
        EXPECT_EQ(sendBlock(text, 1), NCtcpstream::queued);
    EXPECT_EQ(sendBlock("d", 0), NCtcpstream::queueFull);
    stream.setQueueLimit(2);
    EXPECT_EQ(stream.queueLimit(), 3);
    stream.setQueueLimit(4);
    EXPECT_EQ(sendBlock("e", 1), NCtcpstream::queued);
    EXPECT_EQ(exchange(5), "xabce");
}

TEST_F(TcpQueue, closeDropsWhatWaits) {
    EXPECT_EQ(sendBlock("a", 1), NCtcpstream::queued);
    EXPECT_EQ(stream.close(), 0);
    EXPECT_EQ(stream.queueCount(), 0);
    EXPECT_FALSE(stream.isWritePending());
    reconnect();
    EXPECT_EQ(sendBlock("b", 1), 0);
    EXPECT_EQ(stream.flush(), NCtcpstream::nothingPending);
}

TEST_F(TcpQueue, goingToBlockingWritesAllThroughSignals) {
    EXPECT_EQ(sendBlock("a", 1), NCtcpstream::queued);
    const PeerProcess reader([&] {
        other.setBlocking(true);
        const NCRef<Counted> first = nc_cast<Counted>(other.receive());
        const NCRef<Counted> second = nc_cast<Counted>(other.receive());
        const NCRef<Counted> third = nc_cast<Counted>(other.receive());
        return first && second && third;
    });
    const Interruptions interruptions;
    EXPECT_EQ(stream.setBlocking(true), 0);
    EXPECT_FALSE(stream.isWritePending());
    EXPECT_EQ(stream.send(NCRef<Counted>(new TestBlock(std::string(large, 'y'))).get(), 10), 0)
        << "a blocking send writes the whole message";
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
