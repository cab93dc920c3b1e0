#include "agent/session/agent_link.h"

#include "agent/session/dsuser.h"
#include "agent/session/registrations.h"
#include "base/standard_streams.h"

#include <cstdio>
#include <cstdlib>

namespace harbolance {

AgentLink::AgentLink(dpIOHandler& session, Registrations& registrations, const char* loginName,
                     const char* loginExtra)
    : session_(session), registrations_(registrations), login_(new DSLogin(loginName, loginExtra)) {}

void AgentLink::open(int port) {
    port_ = port;
    connect();
}

void AgentLink::setPort(int port) {
    port_ = port;
    reconnect();
}

void AgentLink::close() {
    if (closed_)
        return;
    // Set first, so that nothing below starts a search or a timer again.
    closed_ = true;
    if (connection_)
        // Sent once, without waiting: the process is ending, and an agent that misses this finds out by
        // itself.
        connection_->send(*NCRef<DSRequest>(new DSRequest(DSRequestEndOfSession)));
    connection_.reset();
    loopSearch_.reset();
    stopTimer();
}

void AgentLink::reconnect() {
    connection_.reset();
    areYouAlive_ = nullptr;
    loopSearch_.reset();
    // When the connection is lost during a search, the loop of that search notices it.
    if (connecting_ || closed_)
        return;
    const Connecting connecting(*this);
    // An agent may answer the search and the login and then be silent, so that it is lost during the first
    // registration.
    for (int round = 0; round < searchTries && !connection_; ++round) {
        connect();
        if (!connection_)
            break;
        registrations_.registerAgain();
    }
    if (!connection_)
        startTimer(searchPeriod);
}

void AgentLink::connect() {
    const Connecting connecting(*this);
    // A refused login starts another search, which another agent may answer.
    for (int i = 0; i < searchTries && !isLoggedIn(); ++i) {
        search();
        logIn();
    }
    reportAndAwaitTimer();
}

void AgentLink::reportAndAwaitTimer() {
    if (!connection_) {
        standardOutput() << "Harbolance: Unable to locate agent. Will try "
                         << "every " << searchPeriod << " seconds to locate agent" << std::endl;
    }
    // A connection without a login is kept: its agent answers, so an immediate search would find it again.
    startTimer(connection_ ? keepAlivePeriod : searchPeriod);
}

// When no agent answers, or no socket can be opened for it, the present connection stays.
void AgentLink::search() {
    if (const auto agent = AgentSearch(port_, listedAgents_).run())
        adopt(*agent);
}

void AgentLink::adopt(const DSAddr& agent) {
    auto connection = AgentConnection::open(agent, session_);
    if (!connection)
        return;
    agentAddr_ = agent;
    connection_ = std::move(connection);
    ++connections_;
    // Round-trip times of the previous agent do not apply to this one.
    for (NCrtt* rtt : {&rttLogin, &rttQuery, &rttUnregister, &rttRegister})
        rtt->reset();
}

// Called when the event loop finds that the agent is lost.
void AgentLink::lose() {
    // A call is waiting for the agent, so the next agent is searched at once.
    if (exchange_ || connecting_) {
        reconnect();
        return;
    }
    connection_.reset();
    areYouAlive_ = nullptr;
    loopSearches_ = 0;
    if (!closed_)
        searchInLoop();
}

void AgentLink::searchInLoop() {
    stopTimer();
    ++loopSearches_;
    loopSearch_ = std::make_unique<LoopSearch>(port_, listedAgents_,
                                               [this](const std::optional<DSAddr>& agent) { found(agent); });
    loopSearch_->start();
}

void AgentLink::found(const std::optional<DSAddr>& agent) {
    loopSearch_.reset();
    const Call call(*this);
    {
        const Connecting connecting(*this);
        if (agent)
            adopt(*agent);
        logIn();
        if (connection_ && (isLoggedIn() || loopSearches_ == searchTries))
            registrations_.registerAgain();
    }
    if (closed_)
        return;
    if (!isLoggedIn() && loopSearches_ < searchTries)
        searchInLoop();
    else
        reportAndAwaitTimer();
}

void AgentLink::logIn() {
    if (!connection_)
        return;
    const NCRef<DSRequest> question = new DSRequest(DSRequestLogin, login_.get());
    NCRef<DSReply> reply;
    if (ask(*question, rttLogin, 0, reply) != DSUser::done)
        return;
    // An agent that answers a login with another reply type uses another protocol.
    if (reply->replyType() != DSReplyLogin) {
        standardOutput() << "DSUser::login: Unexpected reply while logging in\n";
        std::exit(1);
    }
    // `connection_` is set: `ask` returns `done` only while the connection that it asked exists.
    if (reply->status() == DSStatusDone || reply->status() == DSStatusKnownClient)
        connection_->setLoggedIn();
    else if (reply->status() == DSStatusVersionMismatch)
        standardOutput() << "Version mismatch with agent at " << agentAddr_.dottedAddr() << "\n";
}

int AgentLink::readiness() const {
    if (!isLoggedIn())
        return DSUser::notLoggedIn;
    return exchange_ ? DSUser::busy : DSUser::done;
}

int AgentLink::ask(DSRequest& request, NCrtt& rtt, int seconds, NCRef<DSReply>& reply) {
    // Held before the first return, so that a request without another holder is destroyed.
    const NCRef<DSRequest> held = &request;
    reply = nullptr;
    if (closed_)
        return DSUser::noAgent;
    if (exchange_)
        return DSUser::busy;
    // A handler called inside may end the session, which must not destroy this object then.
    const Call call(*this);
    Exchange exchange(*this, request);
    const int status = exchange.run(rtt, seconds);
    reply = exchange.reply();
    return status;
}

int AgentLink::inputReady() {
    if (!connection_)
        return -1;
    const Call call(*this);
    bool lost = false;
    const NCRef<DSMessage> message = connection_->receive(lost);
    if (lost)
        lose();
    else if (const auto* request = nc_cast<DSRequest>(message.get()))
        answer(*request);
    else if (auto* reply = nc_cast<DSReply>(message.get()))
        take(*reply);
    else if (message && debug_)
        standardOutput() << "DSUser::inputReady: Unknown message type" << std::endl;
    return closed_ ? -1 : 0;
}

void AgentLink::answer(const DSRequest& request) {
    // The agent repeats a request when the answer was lost; it gets the same answer with the same number.
    if (const NCRef<DSReply> again = connection_->answerTo(request)) {
        if (!connection_->send(*again))
            lose();
    } else if (request.requestType() == DSRequestAreYouAlive) {
        if (connection_->answer(request, DSReplyAlive) == NCudpstream::refused)
            lose();
    } else if (request.requestType() == DSRequestEndOfSession) {
        // A failure is only reported: the agent ends in any case.
        if (connection_->answer(request, DSReplyEndOfSession) != 0 && debug_) {
            std::perror("DSUser: ");
            standardOutput() << "DSUser::udpstream: send :" << std::endl;
        }
        lose();
    } else if (debug_) {
        standardOutput() << "DSUser::receiveReq: Unknown request from agent\n" << std::endl;
    }
}

void AgentLink::take(DSReply& reply) {
    if (exchange_ && exchange_->awaits(reply)) {
        // After a refused login the search continues. Any other request with this status is sent again, to
        // the next agent.
        const bool isLogin = exchange_->request().requestType() == DSRequestLogin;
        if (reply.status() == DSStatusReconnect && !isLogin)
            lose();
        else
            exchange_->take(reply);
        return;
    }
    if (areYouAlive_ && reply.answers(*areYouAlive_)) {
        areYouAlive_ = nullptr;
        rttLogin.stop();
        if (reply.status() == DSStatusReconnect)
            lose();
        else
            startTimer(keepAlivePeriod);
        return;
    }
    if (reply.replyType() != DSReplyTrigger)
        return; // a late answer to an earlier request
    // Acknowledged first, because a handler may take long and the agent would send the notification again.
    const bool lost = connection_->answer(reply, DSReplyTriggerAcknowledged) == NCudpstream::refused;
    const uint32_t connection = connections_;
    notify(reply);
    if (lost && connection == connections_) // a handler may have replaced it
        lose();
}

void AgentLink::notify(DSReply& notification) {
    auto* provider = nc_cast<DSProvider>(notification.reply());
    if (!provider) {
        if (debug_)
            standardOutput() << "Reply doesn't contain a DSProvider: \n" << notification;
        return;
    }
    // A repeat was acknowledged above, but handlers are called only once.
    if (connection_ && !connection_->isRepeatedNotification(notification))
        registrations_.notify(*provider, notification.status() != DSStatusProviderDown);
}

void AgentLink::startTimer(int seconds) {
    stopTimer();
    if (closed_)
        return;
    dpDispatcher::instance()->startTimer(seconds, 0, &session_);
    timerRuns_ = true;
}

void AgentLink::stopTimer() {
    // The session is the handler of this timer and has no other timer, so this stops the right one.
    if (std::exchange(timerRuns_, false))
        dpDispatcher::instance()->stopTimer(&session_);
}

void AgentLink::stopKeepAlive() {
    areYouAlive_ = nullptr;
    stopTimer();
}

void AgentLink::startKeepAlive() {
    if (!timerRuns_)
        startTimer(keepAlivePeriod);
}

void AgentLink::timerExpired() {
    const Call call(*this);
    // A timer expires once; the code below starts the next one.
    timerRuns_ = false;
    if (!connection_ || (areYouAlive_ && ++rttLogin.nrexmt > NCrtt::maxRetransmissions)) {
        rttLogin.valid = 0;
        lose();
        return;
    }
    if (areYouAlive_) {
        askWhetherAlive();
        return;
    }
    const auto silence = connection_->silence();
    if (silence < std::chrono::seconds(keepAlivePeriod)) {
        // Waits for the rest of the period: while there is traffic the agent need not be asked.
        startTimer(keepAlivePeriod - static_cast<int>(silence.count()));
        return;
    }
    // A pending request will find out by itself whether the agent lives.
    if (exchange_) {
        startKeepAlive();
        return;
    }
    areYouAlive_ = new DSRequest(DSRequestAreYouAlive);
    if (!rttLogin.valid)
        rttLogin.reset();
    rttLogin.nrexmt = 0;
    askWhetherAlive();
}

// Sent with the time-outs of an ordinary request; the timer repeats it.
void AgentLink::askWhetherAlive() {
    if (connection_->send(*areYouAlive_))
        startTimer(rttLogin.start());
    else
        lose();
}

} // namespace harbolance
