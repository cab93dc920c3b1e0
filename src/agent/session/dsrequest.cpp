#include "agent/session/dsuser.h"

#include "agent/records/dswrap.h"
#include "net/timer.h"
#include "net/timer_queue.h"

#include <cstdio>
#include <iostream>
#include <vector>

using namespace harbolance;

// The one place that waits for an agent, and all that comes in from it.

namespace {

// Agents that a single request wears out before its caller hears of it. An agent that answers searches and
// logins and nothing else would keep a request, and the program with it, for ever.
constexpr int agentsPerRequest = 5;

} // namespace

int DSUser::request(DSRequest* request, NCrtt& rtt, int timeoutSeconds) {
    const NCRef<DSRequest> held = request;
    if (exiting_)
        return noAgent;
    if (waiting_ != idle)
        return busy;
    const Inside inside(*this);
    if (!rtt.valid)
        rtt.reset();
    rtt.nrexmt = 0;
    lastReply_ = nullptr;
    currentRequest_ = held;
    const int result = waitForReply(request, rtt, timeoutSeconds);
    if (rtt.started.tv_sec != 0) // a new connection starts the estimate afresh
        rtt.stop();
    currentRequest_ = nullptr;
    waiting_ = idle;
    return result;
}

int DSUser::waitForReply(DSRequest* request, NCrtt& rtt, int timeoutSeconds) {
    dpDispatcher loop;
    DSTimer retransmit(&loop);
    DSTimer deadline(&loop);
    if (timeoutSeconds > 0)
        deadline.start(timeoutSeconds, 0);
    bool needTimer = true;
    int agentsLost = 0;
    while (hasAgent()) {
        if (agentsLost > agentsPerRequest)
            return noAnswer;
        if (stream_.send(request) == NCudpstream::refused) {
            ++agentsLost;
            needTimer = true;
            reconnect();
            continue;
        }
        if (needTimer)
            retransmit.start(rtt.start(), 0);
        needTimer = false;
        waiting_ = forReply;
        reconnected_ = false;

        const int fd = stream_.fd();
        loop.link(fd, dpDispatcher::readMask, this);
        loop.dispatch();
        loop.unlink(fd);

        if (!hasAgent())
            break;
        if (reconnected_) {
            ++agentsLost;
            needTimer = true;
            continue;
        }
        if (waiting_ == replied)
            return done;
        if (deadline.expired)
            return timedOut;
        if (retransmit.expired) {
            needTimer = true;
            if (++rtt.nrexmt > NCrtt::maxRetransmissions) {
                rtt.valid = 0;
                ++agentsLost;
                reconnect();
            }
        }
    }
    return noAgent;
}

// A send that finds nobody listening is how a lost agent shows.
bool DSUser::sendOrReconnect(const DSMessage* message) {
    if (stream_.send(message) != NCudpstream::refused)
        return true;
    reconnect();
    return false;
}

int DSUser::inputReady(int) {
    if (exiting_)
        return -1;
    const Inside inside(*this);
    int status = 0;
    sockaddr_in from{};
    std::unique_ptr<NCTransObject> received(stream_.receive(status, &from));
    // What was announced has been read by another loop meanwhile, or dropped by the system.
    if (status == NCudpstream::noData)
        return 0;
    auto* known = nc_cast<DSMessage>(received.get());
    if (status != 0 || !known || !known->isCurrentVersion()) {
        // Anybody can send garbage; only the agent's own means that there is something wrong with the agent.
        const bool fromAgent = from.sin_addr.s_addr == agentAddr_.addr() || from.sin_family == AF_UNSPEC;
        if (fromAgent)
            reconnect();
        return 0;
    }
    const NCRef<DSMessage> message = known;
    static_cast<void>(received.release());

    lastInput_ = timeOfDay();
    if (isRepeat(*message))
        return 0;
    lastMsgNum_ = message->msgNum(); // before the message can bring another agent, whose numbers are its own
    if (const auto* request = nc_cast<DSRequest>(message.get()))
        receiveReq(*request);
    else if (auto* reply = nc_cast<DSReply>(message.get()))
        receiveReply(reply);
    else if (debug_)
        std::cout << "DSUser::inputReady: Unknown message type" << std::endl;
    return exiting_ ? -1 : 0;
}

// Of the last message. Notifications are not dropped here: a repeat of one has to be acknowledged again.
bool DSUser::isRepeat(const DSMessage& message) {
    const auto* reply = nc_cast<DSReply>(&message);
    const bool answer = reply && reply->replyType() != DSReplyTrigger;
    if (firstMessage_) {
        lastMsgNum_ = message.msgNum();
        firstMessage_ = false;
    } else if (message.msgNum() == lastMsgNum_) {
        return answer;
    } else if (answer) {
        lastTrigger_ = nullptr;
    }
    return false;
}

void DSUser::receiveReq(const DSRequest& request) {
    if (sentReply_ && sentReply_->answers(request)) {
        const NCRef<DSReply> again = sentReply_;
        sendOrReconnect(again.get());
        return;
    }
    switch (request.requestType()) {
    case DSRequestAreYouAlive:
        sentReply_ = new DSReply(DSReplyAlive, request, DSStatusDone);
        sendOrReconnect(sentReply_.get());
        break;
    case DSRequestEndOfSession:
        sentReply_ = new DSReply(DSReplyEndOfSession, request, DSStatusDone);
        if (stream_.send(sentReply_.get()) != 0 && debug_) {
            std::perror("DSUser: ");
            std::cout << "DSUser::udpstream: send :" << std::endl;
        }
        reconnect();
        break;
    default:
        if (debug_)
            std::cout << "DSUser::receiveReq: Unknown request from agent\n";
    }
}

void DSUser::receiveReply(DSReply* reply) {
    if (waiting_ == forReply && currentRequest_ && reply->answers(*currentRequest_)) {
        // A refused login is the login's own affair.
        if (reply->status() == DSStatusReconnect && currentRequest_->requestType() != DSRequestLogin)
            reconnect();
        lastReply_ = reply;
        waiting_ = replied;
        return;
    }
    if (reply->replyType() != DSReplyTrigger)
        return; // a late answer to an earlier sending
    sentReply_ = new DSReply(DSReplyTriggerAcknowledged, *reply, DSStatusDone);
    const bool lostAgent = stream_.send(sentReply_.get()) == NCudpstream::refused;
    triggerService(reply);
    if (lostAgent)
        reconnect();
}

namespace {

bool isSameNotification(const DSReply& a, const DSReply& b) {
    const auto* first = nc_cast<DSProvider>(a.reply());
    const auto* second = nc_cast<DSProvider>(b.reply());
    if (!first || !second || a.status() != b.status())
        return false;
    const DSResource* value = first->name().value();
    const DSResource* otherValue = second->name().value();
    return value && otherValue && value->compare(otherValue) == 0;
}

} // namespace

void DSUser::triggerService(DSReply* reply) {
    auto* provider = nc_cast<DSProvider>(reply->reply());
    if (!provider) {
        if (debug_)
            std::cout << "Reply doesn't contain a DSProvider: \n" << *reply;
        return;
    }
    if (lastTrigger_ && isSameNotification(*lastTrigger_, *reply))
        return;
    lastTrigger_ = reply;
    const NCRef<DSSet> registered = static_cast<DSSet*>(triggers_.at(&provider->name()));
    if (!registered)
        return;
    // Handlers may register and unregister: the walk goes over a copy, and who has gone meanwhile is left
    // out.
    const NCRef<DSSet> called = new DSSet(*registered);
    for (DSResource* element : *called) {
        if (exiting_)
            return;
        if (!registered->includes(element))
            continue;
        auto* handler = static_cast<DSTrigWrapper*>(element)->handler();
        if (reply->status() == DSStatusProviderDown)
            handler->serviceDown(provider);
        else
            handler->serviceUp(provider);
    }
}
