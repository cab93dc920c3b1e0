#include "agent/collections/dsset.h"
#include "agent/records/dsreply.h"
#include "agent/records/dsreq.h"
#include "locd/lists.h"
#include "stream/nctcpstr.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using locd::ServiceName;

// Turns the event loop until the condition holds, five seconds at the most.
void turnUntil(const std::function<bool()>& condition) {
    const int64_t end = locd::nowMilliseconds() + 5000;
    while (!condition() && locd::nowMilliseconds() < end) {
        timeval limit{0, 5000};
        dpDispatcher::instance()->dispatch(&limit);
    }
}

struct Deaf : locd::RegistryObserver {
    void providerUp(const ServiceName&, DSProvider*) override {}
    void providerDown(const ServiceName&, DSProvider*) override {}
    void watchEnds(const ServiceName&) override {}
};

class LocdLists : public ::testing::Test {
protected:
    LocdLists() { EXPECT_TRUE(lists.open(htonl(INADDR_LOOPBACK))); }
    ~LocdLists() override { registry.removeAll(holder); }

    void add(const std::string& name) {
        const DSName service(name.c_str(), dsArgType, DSServiceManual);
        registry.add(holder, NCRef<DSProvider>(new DSProvider(service, DSAddr(1, in_addr{}))).get());
    }

    std::unique_ptr<NCtcpstream> connection() {
        auto stream = std::make_unique<NCtcpstream>(1024, 4);
        EXPECT_EQ(stream->connect("127.0.0.1", lists.port()), 0);
        stream->setBlocking(false);
        return stream;
    }
    NCRef<DSReply> receive(NCtcpstream& stream) {
        NCRef<DSReply> reply;
        turnUntil([&] {
            reply = nc_cast<DSReply>(stream.receive());
            return reply || stream.status() == NCtcpstream::broken;
        });
        return reply;
    }
    static void askForNames(NCtcpstream& stream) {
        EXPECT_EQ(stream.send(NCRef<DSRequest>(new DSRequest(DSRequestListNames)).get(), 10), 0);
    }

    locd::Log log{false};
    Deaf observer;
    locd::Registry registry{observer};
    locd::Holder holder;
    locd::Lists lists{log, registry};
};

} // namespace

TEST_F(LocdLists, slowReaderHoldsNobodyUp) {
    // 16 MiB: more than the system's buffers of a connection take.
    constexpr int count = 4096;
    for (int i = 0; i < count; ++i)
        add(std::string(4096, 'n') + std::to_string(i));
    const auto slow = connection();
    const auto quick = connection();
    for (NCtcpstream* each : {slow.get(), quick.get()})
        askForNames(*each);
    for (NCtcpstream* each : {quick.get(), slow.get()}) {
        const auto reply = receive(*each);
        ASSERT_TRUE(reply);
        EXPECT_EQ(nc_cast<DSSet>(reply->reply())->size(), static_cast<uint32_t>(count));
    }
}

TEST_F(LocdLists, connectionsBeyondTheLimitWaitForOneToClose) {
    std::vector<std::unique_ptr<NCtcpstream>> idle;
    for (size_t i = 0; i < locd::Lists::mostConnections; ++i)
        idle.push_back(connection());
    const auto waiting = connection();
    askForNames(*waiting);
    turnUntil([end = locd::nowMilliseconds() + 100] { return locd::nowMilliseconds() >= end; });
    EXPECT_EQ(waiting->receive(), nullptr);
    EXPECT_EQ(waiting->status(), NCtcpstream::noData);
    idle.pop_back();
    EXPECT_TRUE(receive(*waiting));
}

TEST_F(LocdLists, whoClaimsALongRequestIsCutOff) {
    for (const char* claim : {"\x7f\xff\xff\xff", "\x00\x01\x00\x00", "\x00\x00\x00\x00"}) {
        const auto stream = connection();
        ASSERT_EQ(write(stream->fd(), claim, 4), 4);
        EXPECT_FALSE(receive(*stream));
        EXPECT_EQ(stream->status(), NCtcpstream::broken);
    }
}
