#include "domain_fixture.h"

#include "locd/statuses.h"
#include "stream/nctcpstr.h"

#include <unistd.h>

#include <set>

namespace {

using locd::Holder;
using locd::ServiceName;

struct Deaf : locd::RegistryObserver {
    void providerUp(const ServiceName&, DSProvider*) override {}
    void providerDown(const ServiceName&, DSProvider*) override {}
    void watchEnds(const ServiceName&) override {}
};

class LocdLists : public ::testing::Test {
protected:
    LocdLists() { EXPECT_TRUE(lists.open(htonl(INADDR_LOOPBACK))); }
    ~LocdLists() override { registry.removeAll(holder); }

    void add(const char* name, int port = 1) { registry.add(holder, providerOf(name, port).get()); }

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
    NCRef<DSReply> ask(NCtcpstream& stream, int type, const NCRef<DSResource>& object = nullptr) {
        EXPECT_EQ(stream.send(NCRef<DSRequest>(new DSRequest(type, object.get())).get(), 10), 0);
        return receive(stream);
    }

    locd::Log log{false};
    Deaf observer;
    locd::Registry registry{observer};
    Holder holder;
    locd::Lists lists{log, registry};
};

} // namespace

TEST_F(LocdLists, servesRequestAfterRequestOnOneConnection) {
    add("a", 1);
    add("a", 2);
    add("b");
    registry.addTrigger(holder, serviceName("only waited for").get());
    const auto stream = connection();

    std::multiset<std::string> names;
    const auto all = ask(*stream, DSRequestListNames);
    for (DSResource* element : *nc_cast<DSSet>(all->reply()))
        names.insert(nc_cast<DSName>(element)->name());
    EXPECT_EQ(names, (std::multiset<std::string>{"a", "b"}));

    std::multiset<int> ports;
    const auto some = ask(*stream, DSRequestListProviders, serviceName("a"));
    for (DSResource* element : *nc_cast<DSSet>(some->reply()))
        ports.insert(nc_cast<DSProvider>(element)->addr().port());
    EXPECT_EQ(ports, (std::multiset<int>{1, 2}));

    EXPECT_EQ(nc_cast<DSSet>(ask(*stream, DSRequestListProviders, serviceName("c"))->reply())->size(), 0U);
    EXPECT_EQ(ask(*stream, DSRequestListProviders)->status(), locd::badRequest);
    EXPECT_EQ(ask(*stream, DSRequestListAgents)->status(), locd::badRequest);
}

TEST_F(LocdLists, slowReaderHoldsNobodyUp) {
    for (int i = 0; i < 30'000; ++i)
        add(("a name that makes the list longer " + std::to_string(i)).c_str());
    const auto slow = connection();
    slow->send(NCRef<DSRequest>(new DSRequest(DSRequestListNames)).get(), 10);
    const auto quick = connection();
    EXPECT_EQ(nc_cast<DSSet>(ask(*quick, DSRequestListNames)->reply())->size(), 30'000U);
    const auto late = receive(*slow);
    ASSERT_TRUE(late);
    EXPECT_EQ(nc_cast<DSSet>(late->reply())->size(), 30'000U);
}

TEST_F(LocdLists, connectionsBeyondTheLimitWaitForOneToClose) {
    std::vector<std::unique_ptr<NCtcpstream>> idle;
    for (size_t i = 0; i < locd::Lists::mostConnections; ++i)
        idle.push_back(connection());
    const auto waiting = connection();
    waiting->send(NCRef<DSRequest>(new DSRequest(DSRequestListNames)).get(), 10);
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
