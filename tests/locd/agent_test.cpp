#include "domain_fixture.h"

#include "locd/statuses.h"

namespace {

class LocdAgent : public LocdDomain {
protected:
    LocdAgent() { startAgent(); }

    std::unique_ptr<TestClient> loggedIn(const char* address = "127.0.0.1") {
        auto client = std::make_unique<TestClient>(addressOf(), address);
        EXPECT_EQ(client->login(), DSStatusDone);
        return client;
    }
};

} // namespace

TEST_F(LocdAgent, answersTheSearchWithItsAddress) {
    TestClient client(addressOf());
    const NCRef<DSAMessage> question(new DSAMessage(DSTypeLocateAgent, nullptr, 77));
    client.send(question);
    const auto answer = client.next();
    const auto* reply = nc_cast<DSAReply>(answer.get());
    ASSERT_NE(reply, nullptr);
    EXPECT_TRUE(reply->replyOk() && reply->answers(*question));
    EXPECT_EQ(reply->replyType(), DSReplyAgentLocated);
    EXPECT_EQ(locd::cookieWord(reply->cookie()), 77U);
    const auto* address = nc_cast<DSAddr>(reply->object());
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(locd::keyOf(address->socketAddress()), locd::keyOf(addressOf()));
}

TEST_F(LocdAgent, knowsItsClientsAndSendsStrangersToTheLogin) {
    TestClient client(addressOf());
    EXPECT_EQ(client.statusOf(DSRequestLocate, serviceName("a")), DSStatusReconnect);
    const auto alive = client.ask(DSRequestAreYouAlive);
    EXPECT_EQ(alive->replyType(), DSReplyAlive);
    EXPECT_EQ(alive->status(), DSStatusReconnect);
    EXPECT_EQ(client.statusOf(DSRequestLogin, serviceName("no login")), DSStatusRefused);
    EXPECT_EQ(client.login(), DSStatusDone);
    EXPECT_EQ(client.login(), DSStatusKnownClient);
    EXPECT_EQ(client.statusOf(DSRequestAreYouAlive), DSStatusDone);
    EXPECT_EQ(client.statusOf(99), locd::badRequest);
    EXPECT_EQ(client.statusOf(DSRequestRegisterProvider), locd::badRequest);
}

TEST_F(LocdAgent, executesARepeatOnceAndAnswersItAgain) {
    const auto client = loggedIn();
    const auto provider = providerOf("a");
    const NCRef<DSRequest> add(new DSRequest(DSRequestRegisterProvider, provider.get()));
    const NCRef<DSRequest> remove(new DSRequest(DSRequestUnregisterProvider, provider.get()));
    EXPECT_EQ(client->ask(add)->status(), DSStatusDone);
    const auto first = client->ask(remove);
    const auto again = client->ask(remove);
    EXPECT_EQ(first->status(), DSStatusDone);
    EXPECT_EQ(again->status(), DSStatusDone);
    EXPECT_EQ(first->msgNum(), again->msgNum());
    // A copy of the registration that was under way for long must not bring the provider back.
    client->send(add);
    EXPECT_EQ(client->statusOf(DSRequestLocate, serviceName("a")), locd::noSuchService);
    EXPECT_TRUE(client->others.empty());
}

TEST_F(LocdAgent, givesOutAProviderWithItsOwnAddress) {
    const auto server = loggedIn();
    const auto client = loggedIn();
    server->ask(DSRequestRegisterProvider, providerOf("a", 4711));
    const auto reply = client->ask(DSRequestLocate, serviceName("a"));
    const auto* found = nc_cast<DSProvider>(reply->reply());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->addr().port(), 4711);
    EXPECT_EQ(locd::keyOf(found->agentAddr().socketAddress()), locd::keyOf(addressOf()));
}

TEST_F(LocdAgent, notifiesOneByOneAsTheyAreAcknowledged) {
    const auto server = loggedIn();
    const auto watcher = loggedIn();
    EXPECT_EQ(watcher->ask(DSRequestRegisterTrigger, serviceName("a"))->replyType(), DSReplyPlain);
    server->ask(DSRequestRegisterProvider, providerOf("a"));
    server->ask(DSRequestUnregisterProvider, providerOf("a"));
    const auto up = watcher->next();
    EXPECT_FALSE(watcher->next(100));
    watcher->others.push_back(up);
    EXPECT_EQ(watcher->notification(), "up a");
    EXPECT_EQ(watcher->notification(), "down a");
    EXPECT_FALSE(watcher->next(100));

    server->ask(DSRequestRegisterProvider, providerOf("b"));
    const auto present = watcher->ask(DSRequestRegisterTrigger, serviceName("b"));
    EXPECT_EQ(present->replyType(), DSReplyTrigger);
    EXPECT_NE(nc_cast<DSProvider>(present->reply()), nullptr);
    watcher->ask(DSRequestUnregisterTrigger, serviceName("a"));
    server->ask(DSRequestRegisterProvider, providerOf("a"));
    EXPECT_FALSE(watcher->next(100));
}

TEST_F(LocdAgent, endOfSessionWithdrawsEverything) {
    const auto server = loggedIn();
    const auto watcher = loggedIn();
    watcher->ask(DSRequestRegisterTrigger, serviceName("a"));
    server->ask(DSRequestRegisterProvider, providerOf("a"));
    EXPECT_EQ(watcher->notification(), "up a");
    server->ask(DSRequestEndOfSession);
    EXPECT_EQ(watcher->notification(), "down a");
    EXPECT_EQ(server->statusOf(DSRequestAreYouAlive), DSStatusReconnect);
}

TEST_F(LocdAgent, processThatComesBackFromAnotherPortReplacesItsSession) {
    TestClient former(addressOf());
    TestClient anew(addressOf());
    TestClient elsewhere(addressOf(), "127.0.0.2");
    for (TestClient* client : {&former, &anew, &elsewhere})
        client->setVerifyPort(4711);
    former.login();
    former.ask(DSRequestRegisterProvider, providerOf("a"));
    EXPECT_EQ(elsewhere.login(), DSStatusDone);
    EXPECT_EQ(elsewhere.statusOf(DSRequestLocate, serviceName("a")), DSStatusDone);
    EXPECT_EQ(anew.login(), DSStatusDone);
    EXPECT_EQ(anew.statusOf(DSRequestLocate, serviceName("a")), locd::noSuchService);
    EXPECT_EQ(former.statusOf(DSRequestAreYouAlive), DSStatusReconnect);
}

TEST_F(LocdAgent, neverTakesWhatItCouldNotTellAnybody) {
    const auto server = loggedIn();
    // Of growing length, until the request itself is too long to be heard.
    std::string name(7800, 'n');
    int accepted = 0;
    int refused = 0;
    for (;; name += "nnnn") {
        const NCRef<DSRequest> request(
            new DSRequest(DSRequestRegisterProvider, providerOf(name.c_str()).get()));
        locd::Encoder encoder;
        if (encoder.encode(*request).empty())
            break;
        const int status = server->ask(request)->status();
        (status == DSStatusDone ? accepted : refused) += 1;
        const auto found = server->ask(DSRequestLocate, serviceName(name.c_str()));
        EXPECT_EQ(found->status(), status == DSStatusDone ? status : static_cast<int>(locd::noSuchService));
    }
    EXPECT_GT(accepted, 0);
    EXPECT_GT(refused, 0);
}

TEST_F(LocdDomain, silentClientIsProbedAndGoesWithItsProviders) {
    startAgent("127.0.0.1", 0.2);
    TestClient silent(addressOf());
    TestClient lively(addressOf());
    silent.answersProbes = false;
    lively.login();
    silent.login();
    lively.ask(DSRequestRegisterTrigger, serviceName("a"));
    silent.ask(DSRequestRegisterProvider, providerOf("a"));
    EXPECT_EQ(lively.notification(), "up a");
    EXPECT_EQ(lively.notification(), "down a");
    for (int read = -1; read != silent.probes;) {
        read = silent.probes;
        silent.next(100);
    }
    EXPECT_EQ(silent.probes, locd::Watch::mostProbes);
    EXPECT_GT(lively.probes, 0);
    EXPECT_EQ(lively.statusOf(DSRequestAreYouAlive), DSStatusDone);
}

TEST_F(LocdAgent, providerSaidToBeDeadIsAskedAtItsVerifyPort) {
    NCudpstream verify;
    ASSERT_EQ(verify.bind(0, "127.0.0.1"), 0);
    TestClient server(addressOf());
    server.setVerifyPort(verify.port());
    server.login();
    server.ask(DSRequestRegisterProvider, providerOf("a"));
    server.send(new DSAMessage(DSTypeProviderUnreachable, providerOf("other").get()));
    server.send(new DSAMessage(DSTypeProviderUnreachable, providerOf("a").get()));
    NCRef<DSRequest> question;
    ASSERT_TRUE(
        turnUntil([&] { return (question = nc_cast<DSRequest>(verify.receive())).get() != nullptr; }));
    EXPECT_EQ(question->requestType(), DSRequestAreYouAlive);
    EXPECT_EQ(verify.receive(), nullptr);
}
