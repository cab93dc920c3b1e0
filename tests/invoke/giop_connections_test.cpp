#include "invoke/giop/giop_connections.h"

#include "invoke/transport/viconn.h"
#include "net/descriptors.h"
#include "stub_connection.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <vector>

using harbolance::GIOPUse;

namespace {

constexpr CORBA_ULong fakeTag = 77;

// A connection without a socket.
class FakeConnection : public StubConnection {
public:
    FakeConnection() : StubConnection(fakeTag) { ++alive; }
    ~FakeConnection() override { --alive; }
    void close() override { _state = CLOSED; }

    static inline int alive = 0;
};

class FakeTransport : public TRXConnFactory {
public:
    FakeTransport() : TRXConnFactory(fakeTag) {}
    void destroy(TRXConnection*) override {}
    TRXConnection* create(const IOP::TaggedProfile&) override { return nullptr; }
    TRXConnection* connection(const IOP::TaggedProfile&, CORBA_ULong) override { return nullptr; }
};

class GIOPConnections : public ::testing::Test {
protected:
    GIOPConnections() {
        all.max_idle_time(300);
        all.max_connections(0);
    }
    ~GIOPConnections() override {
        all.max_idle_time(0);
        all.cool();
        EXPECT_EQ(FakeConnection::alive, 0);
    }

    GIOPUse use() {
        const TRXConnection_var connection(new FakeConnection);
        return GIOPUse(all.connection(connection.get()));
    }

    static inline FakeTransport transport;
    TRXGIOPConnFactory& all = TRXGIOPConnFactory::of(fakeTag);
};

} // namespace

TEST_F(GIOPConnections, FiveIdleOnesAreKeptAndOneGoesAtSix) {
    std::vector<GIOPUse> uses;
    for (int i = 0; i < 6; ++i)
        uses.push_back(use());
    TRXConnection* const first = &uses[0]->connection();
    uses[0].reset();
    EXPECT_EQ(GIOPUse(all.connection(first))->connection().state(), TRXConnection::CONNECTED);
    uses.resize(2); // and four others
    EXPECT_EQ(FakeConnection::alive, 6);
    uses.clear();
    EXPECT_EQ(FakeConnection::alive, 5);
    all.max_idle_time(0);
    all.cool();
    EXPECT_EQ(FakeConnection::alive, 0);
}

TEST_F(GIOPConnections, OneWithoutUsersGoesAtOnceWhenItIsClosedOrNothingMayBeIdle) {
    GIOPUse closed = use();
    const GIOPUse another = closed;
    closed->connection().close();
    closed.reset();
    EXPECT_EQ(FakeConnection::alive, 1);
    GIOPUse(another).reset();
    all.max_idle_time(0);
    use().reset();
    EXPECT_EQ(FakeConnection::alive, 1);
}

TEST_F(GIOPConnections, AtTheLimitOneOnWhichNothingIsOutstandingMakesRoom) {
    all.max_connections(1);
    use().reset();
    GIOPUse active = use(); // the idle one was closed
    EXPECT_EQ(FakeConnection::alive, 1);
    GIOPUse second = use(); // users of the first one find it closed
    EXPECT_EQ(active->connection().state(), TRXConnection::CLOSED);
    EXPECT_EQ(all.connections(), 1U);
}

// A turn of the loop with a mark does not look at other connections.
TEST(GIOPConnection, IsMarkedReadyWhileAWholeMessageIsLeft) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const harbolance::Descriptor peer(ends[1]);
    dpDispatcher loop;
    const TRXRef<TRXTCPConn> socket(new TRXTCPConn);
    socket->attach(ends[0]);
    const TRXRef<TRXGIOPConn> connection(new TRXGIOPConn(socket.get()));
    connection->register_io(&loop);
    const std::string message("GIOP\1\0\1\6\0\0\0\0", 12), two = message + message;
    ASSERT_EQ(::send(peer.get(), two.data(), two.size(), 0), 24);
    for (const bool left : {true, false}) {
        const TRXRef<TRXGIOPMessage> taken(connection->next_message());
        EXPECT_TRUE(taken);
        EXPECT_EQ(loop.anyReady(), left);
    }
}
