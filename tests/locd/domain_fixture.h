#pragma once

#include "agent/dsamsg.h"
#include "agent/dslogin.h"
#include "agent/dsreply.h"
#include "agent/dsreq.h"
#include "agent/dsset.h"
#include "locd/agent.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

inline NCRef<DSName> serviceName(const char* text, int serviceType = DSServiceManual) {
    return new DSName(text, dsArgType, serviceType);
}

inline NCRef<DSProvider> providerOf(const char* name, int port = 1) {
    return new DSProvider(*serviceName(name), DSAddr(port, in_addr{htonl(INADDR_LOOPBACK)}));
}

// Turns the event loop until the condition holds, five seconds at the most.
inline bool turnUntil(const std::function<bool()>& condition) {
    const int64_t end = locd::nowMilliseconds() + 5000;
    while (!condition()) {
        if (locd::nowMilliseconds() >= end)
            return false;
        timeval limit{0, 5000};
        dpDispatcher::instance()->dispatch(&limit);
    }
    return true;
}

// A process that talks to an agent, message by message.
class TestClient {
public:
    explicit TestClient(const sockaddr_in& agent, const char* address = "127.0.0.1") : agent_(agent) {
        EXPECT_EQ(stream_.bind(0, address), 0);
        login_ = new DSLogin("test");
    }

    void send(const NCRef<DSResource>& message) { EXPECT_EQ(stream_.sendTo(agent_, message.get()), 0); }

    // The next message, other than are-you-alive from the agent; null when none comes for a while.
    NCRef<DSResource> next(int milliseconds = 5000) {
        const int64_t end = locd::nowMilliseconds() + milliseconds;
        NCRef<DSResource> found;
        turnUntil([&] {
            found = nc_cast<DSResource>(stream_.receive());
            const auto* request = nc_cast<DSRequest>(found.get());
            if (request && request->requestType() == DSRequestAreYouAlive) {
                ++probes;
                if (answersProbes)
                    send(new DSReply(DSReplyAlive, *request, DSStatusDone));
                found = nullptr;
            }
            return found || locd::nowMilliseconds() >= end;
        });
        return found;
    }

    // The answer to this request; other messages on the way are kept in `others`.
    NCRef<DSReply> ask(const NCRef<DSRequest>& request) {
        send(request);
        while (const NCRef<DSResource> message = next()) {
            const NCRef<DSReply> reply(nc_cast<DSReply>(message.get()));
            if (reply && reply->answers(*request))
                return reply;
            others.push_back(message);
        }
        ADD_FAILURE() << "no answer to request " << request->requestType();
        return new DSReply(DSReplyPlain, *request, -12345);
    }
    NCRef<DSReply> ask(int type, const NCRef<DSResource>& object = nullptr) {
        return ask(new DSRequest(type, object.get()));
    }
    int statusOf(int type, const NCRef<DSResource>& object = nullptr) { return ask(type, object)->status(); }
    int login() { return statusOf(DSRequestLogin, login_); }

    // The notification that comes next, as "up name" or "down name", acknowledged; empty when none comes.
    std::string notification(int milliseconds = 5000, bool acknowledge = true) {
        if (others.empty())
            others.push_back(next(milliseconds));
        const NCRef<DSResource> message = others.front();
        others.pop_front();
        const auto* reply = nc_cast<DSReply>(message.get());
        auto* provider = reply ? nc_cast<DSProvider>(reply->reply()) : nullptr;
        if (!provider || reply->replyType() != DSReplyTrigger)
            return "";
        if (acknowledge)
            send(new DSReply(DSReplyTriggerAcknowledged, *reply, DSStatusDone));
        return (reply->status() == DSStatusProviderDown ? "down " : "up ") +
               std::string(provider->name().name());
    }

    void setVerifyPort(int port) { login_->setVerifyPort(port); }
    int port() const { return stream_.port(); }

    std::deque<NCRef<DSResource>> others;
    bool answersProbes = true;
    int probes = 0;

private:
    NCudpstream stream_;
    sockaddr_in agent_;
    NCRef<DSLogin> login_;
};

// Agents on loopback addresses, in this process. Broadcasts stay on the loopback.
class LocdDomain : public ::testing::Test {
protected:
    LocdDomain() {
        const std::string file = ::testing::TempDir() + "/locd_networks";
        std::ofstream(file) << "127.0.0.1 255.0.0.0 127.255.255.255\n";
        setenv("LOCD_LOCAL_FILE", file.c_str(), 1);
    }

    // On the port of the first agent, if there is one; null with a failed test when it does not start.
    locd::Agent* startAgent(const char* address = "127.0.0.1", double checkInterval = 60) {
        locd::Options options;
        options.address = inet_addr(address);
        options.port = agents_.empty() ? 0 : agents_.front()->port();
        options.interval = 0.1;
        options.checkInterval = checkInterval;
        agents_.push_back(std::make_unique<locd::Agent>(options));
        EXPECT_TRUE(agents_.back()->start());
        return agents_.back().get();
    }
    void stopAgent(locd::Agent* agent) {
        std::erase_if(agents_, [agent](const auto& each) { return each.get() == agent; });
    }

    sockaddr_in addressOf(const char* address = "127.0.0.1") const {
        return socketAddress(inet_addr(address), agents_.front()->port());
    }

    std::vector<std::unique_ptr<locd::Agent>> agents_;
};
