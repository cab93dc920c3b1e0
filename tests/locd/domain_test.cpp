#include "domain_fixture.h"

#include "locd/statuses.h"

namespace {

// Two agents that know each other, with a client at each.
class LocdTwoAgents : public LocdDomain {
protected:
    LocdTwoAgents() {
        startAgent("127.0.0.1");
        second = startAgent("127.0.0.2");
        here = std::make_unique<TestClient>(addressOf("127.0.0.1"));
        there = std::make_unique<TestClient>(addressOf("127.0.0.2"));
        EXPECT_EQ(here->login(), DSStatusDone);
        EXPECT_EQ(there->login(), DSStatusDone);
        EXPECT_TRUE(seesAgents(*here, 1));
        EXPECT_TRUE(seesAgents(*there, 1));
    }

    static bool seesAgents(TestClient& client, uint32_t count) {
        return turnUntil([&] {
            const auto reply = client.ask(DSRequestListAgents);
            const auto* set = nc_cast<DSSet>(reply->reply());
            return set && set->size() == count;
        });
    }

    locd::Agent* second = nullptr;
    std::unique_ptr<TestClient> here;
    std::unique_ptr<TestClient> there;
};

} // namespace

TEST_F(LocdTwoAgents, allHearABroadcast) {
    startAgent("127.0.0.3");
    NCudpstream searcher;
    ASSERT_EQ(searcher.bind(0, "127.0.0.1"), 0);
    ASSERT_EQ(
        searcher.broadcast(NCRef<DSAMessage>(new DSAMessage(DSTypeLocateAgent)).get(), agents_[0]->port()),
        0);
    std::vector<uint64_t> answers;
    turnUntil([&] {
        while (const NCRef<DSAReply> reply = nc_cast<DSAReply>(searcher.receive()))
            answers.push_back(locd::keyOf(nc_cast<DSAddr>(reply->object())->socketAddress()));
        return answers.size() == 3;
    });
    std::sort(answers.begin(), answers.end());
    const std::vector<uint64_t> expected{locd::keyOf(addressOf("127.0.0.1")),
                                         locd::keyOf(addressOf("127.0.0.2")),
                                         locd::keyOf(addressOf("127.0.0.3"))};
    EXPECT_EQ(answers, expected);
}

TEST_F(LocdDomain, addressAndPortOfARunningAgentAreRefused) {
    locd::Options options;
    options.address = inet_addr("127.0.0.1");
    options.port = startAgent()->port();
    EXPECT_FALSE(locd::Agent(options).start());
}

TEST_F(LocdTwoAgents, serviceOfTheOtherAgentIsFound) {
    EXPECT_EQ(here->statusOf(DSRequestLocate, serviceName("a")), locd::noSuchService);
    there->ask(DSRequestRegisterProvider, providerOf("a", 7));
    const auto reply = here->ask(DSRequestLocate, serviceName("a"));
    const auto* found = nc_cast<DSProvider>(reply->reply());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(locd::keyOf(found->agentAddr().socketAddress()), locd::keyOf(addressOf("127.0.0.2")));
    // Its own comes first.
    here->ask(DSRequestRegisterProvider, providerOf("a", 8));
    EXPECT_EQ(nc_cast<DSProvider>(here->ask(DSRequestLocate, serviceName("a"))->reply())->addr().port(), 8);
}

TEST_F(LocdTwoAgents, triggerHearsOfProvidersAtTheOtherAgentOnce) {
    there->ask(DSRequestRegisterProvider, providerOf("early"));
    here->ask(DSRequestRegisterTrigger, serviceName("early"));
    EXPECT_EQ(here->notification(), "up early");
    here->ask(DSRequestRegisterTrigger, serviceName("late"));
    there->ask(DSRequestRegisterTrigger, serviceName("late"));
    TestClient more(addressOf("127.0.0.1"));
    more.login();
    more.ask(DSRequestRegisterTrigger, serviceName("late"));
    there->ask(DSRequestRegisterProvider, providerOf("late"));
    for (TestClient* client : {here.get(), there.get(), &more})
        EXPECT_EQ(client->notification(), "up late");
    there->ask(DSRequestUnregisterProvider, providerOf("late"));
    for (TestClient* client : {here.get(), there.get(), &more}) {
        EXPECT_EQ(client->notification(), "down late");
        EXPECT_FALSE(client->next(50));
    }
    here->ask(DSRequestUnregisterTrigger, serviceName("early"));
    there->ask(DSRequestUnregisterProvider, providerOf("early"));
    EXPECT_FALSE(here->next(100));
}

TEST_F(LocdTwoAgents, triggersAreToldToAnAgentThatStartsAnew) {
    here->ask(DSRequestRegisterTrigger, serviceName("a"));
    stopAgent(second);
    startAgent("127.0.0.2");
    EXPECT_EQ(there->login(), DSStatusDone);
    EXPECT_TRUE(seesAgents(*there, 1));
    there->ask(DSRequestRegisterProvider, providerOf("a"));
    EXPECT_EQ(here->notification(), "up a");
}

TEST_F(LocdTwoAgents, silentAgentIsDroppedAndLeavesNoGap) {
    stopAgent(second);
    EXPECT_TRUE(seesAgents(*here, 0));
    EXPECT_EQ(here->statusOf(DSRequestLocate, serviceName("a")), locd::noSuchService);
}

TEST_F(LocdTwoAgents, leavingAgentTellsEverybodyAndAnswersNoSearch) {
    second->beginLeaving();
    EXPECT_FALSE(second->hasLeft());
    const auto farewell = there->next();
    const NCRef<DSRequest> request(nc_cast<DSRequest>(farewell.get()));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->requestType(), DSRequestEndOfSession);
    there->send(new DSReply(DSReplyEndOfSession, *request, DSStatusDone));
    EXPECT_TRUE(turnUntil([this] { return second->hasLeft(); }));
    there->send(new DSAMessage(DSTypeLocateAgent));
    EXPECT_FALSE(there->next(100));
    EXPECT_TRUE(seesAgents(*here, 0));
}
