#include "agent/session/dsuser.h"

#include "agent/session/dsoptions.h"
#include "base/exit_list.h"

#include <cstdlib>
#include <iostream>

using namespace harbolance;

// The session's life: search, login, keep-alive, reconnect, end.

namespace {

DSUser* theSession = nullptr;
int keepAlive = 120;

std::optional<std::string> option(const char* key) { return DSOptions::current()->option(key); }

} // namespace

bool DSUser::exiting_ = false;

DSUser* DSUser::instance(bool create) {
    if (!theSession && create && !exiting_)
        return DSUser::create(nullptr, nullptr, dsDefaultPort);
    return theSession;
}

DSUser* DSUser::create(const char* loginName, const char* loginExtra, int port) {
    auto* session = new DSUser(loginName, loginExtra);
    DSOptions* options = DSOptions::current();
    const int given = options->agentPort();
    if (port == dsDefaultPort && given != 0)
        port = given;
    const char* fromEnvironment = std::getenv("LOCD_PORT");
    if (port == dsDefaultPort && fromEnvironment)
        port = static_cast<int>(std::strtol(fromEnvironment, nullptr, 10));
    if (given != 0)
        options->setAgentPort(port);
    session->port_ = port;
    session->tryConnect(searchTries, port);
    if (!session->hasAgent()) {
        std::cout << "DSUser:: Unable to contact agent. Make sure there "
                  << "is an agent running on this network" << std::endl;
    } else if (session->debug_) {
        std::cout << "DSUser:: Connected to agent [" << session->agentAddr_ << "]" << std::endl;
    }
    return session;
}

DSUser::DSUser(const char* loginName, const char* loginExtra) : login_(new DSLogin(loginName, loginExtra)) {
    if (const auto value = option("ORBagentDebug"))
        setDebug(std::strtol(value->c_str(), nullptr, 10) != 0);
    const auto ipaddr = option("OAipaddr");
    DSVerify::bind(0, nullptr);
    login_->setVerifyPort(DSVerify::port());
    stream_.bind(0, ipaddr ? ipaddr->c_str() : nullptr);
    theSession = this;
    static const bool registered = (registerExitFunction(endAtExit), true);
    static_cast<void>(registered);
}

void DSUser::endAtExit() {
    exiting_ = true;
    DSUser* session = std::exchange(theSession, nullptr);
    if (!session)
        return;
    session->tellAgentOfEnd();
    session->leave();
    if (session->inside_ == 0)
        delete session;
}

// Off the dispatcher and off the network, for good.
void DSUser::leave() {
    stopTimer();
    if (stream_.isOpen()) {
        dpDispatcher::instance()->unlink(stream_.fd());
        stream_.close();
    }
    state_ = lost;
}

void DSUser::tellAgentOfEnd() {
    if (!hasAgent())
        return;
    const NCRef<DSRequest> end = new DSRequest(DSRequestEndOfSession);
    stream_.send(end.get());
}

DSUser::~DSUser() {
    leave();
    if (theSession == this)
        theSession = nullptr;
}

void DSUser::setPort(int port) {
    port_ = port;
    reconnect();
}

void DSUser::setDebug(bool debug) {
    debug_ = debug;
    DSVerify::setDebug(debug);
}

int DSUser::keepAlivePeriod() { return keepAlive; }

void DSUser::setKeepAlivePeriod(int seconds) { keepAlive = seconds; }

void DSUser::startTimer(int seconds) {
    stopTimer();
    if (exiting_)
        return;
    dpDispatcher::instance()->startTimer(seconds, 0, static_cast<dpIOHandler*>(this));
    timerActive_ = true;
}

void DSUser::stopTimer() {
    if (timerActive_)
        dpDispatcher::instance()->stopTimer(this);
    timerActive_ = false;
}

void DSUser::tryConnect(int tries, int port) {
    for (int i = 0; i < tries; ++i) {
        connect(port);
        if (login())
            break;
    }
    if (!hasAgent()) {
        std::cout << "Harbolance: Unable to locate agent. Will try "
                  << "every " << searchPeriod << " seconds to locate agent" << std::endl;
    }
    startTimer(hasAgent() ? keepAlive : searchPeriod);
}

void DSUser::connect(int port) {
    const auto agent = DSAgentSearch(port, addrList_).run();
    if (!agent || !stream_.isOpen() || stream_.fd() >= dpDispatcher::maxDescriptors)
        return;
    agentAddr_ = *agent;
    stream_.connect(agentAddr_.socketAddress());
    firstMessage_ = true;
    lastMsgNum_ = 0;
    lastInput_ = {};
    for (NCrtt* rtt : {&rttLogin_, &rttQuery_, &rttUnregister_, &rttRegister_})
        rtt->reset();
    state_ = found;
    ++connections_;
    dpDispatcher::instance()->link(stream_.fd(), dpDispatcher::readMask, this);
}

bool DSUser::login() {
    if (!hasAgent())
        return false;
    if (isLoggedIn())
        return true;
    // A silent agent must not start another search from inside this one: the next try follows anyway.
    const bool outer = std::exchange(connecting_, true);
    const NCRef<DSRequest> question = new DSRequest(DSRequestLogin, login_.get());
    const int status = request(question.get(), rttLogin_, 0);
    connecting_ = outer;
    if (status != done || !hasAgent())
        return false;
    const NCRef<DSReply> reply = std::exchange(lastReply_, nullptr);
    if (reply->replyType() != DSReplyLogin) {
        std::cout << "DSUser::login: Unexpected reply while logging in\n";
        std::exit(1);
    }
    if (reply->status() == DSStatusDone || reply->status() == DSStatusKnownClient) {
        state_ = loggedIn;
        return true;
    }
    if (reply->status() == DSStatusVersionMismatch)
        std::cout << "Version mismatch with agent at " << agentAddr_.dottedAddr() << "\n";
    return false;
}

// No agent from here on, and a fresh socket: what the old one still gets is nobody's answer.
void DSUser::dropConnection() {
    state_ = lost;
    const auto ipaddr = option("OAipaddr");
    if (stream_.isOpen()) {
        dpDispatcher::instance()->unlink(stream_.fd());
        stream_.close();
    }
    stream_.bind(0, ipaddr ? ipaddr->c_str() : nullptr);
}

void DSUser::reconnect() {
    if (exiting_)
        return;
    if (connecting_) {
        dropConnection();
        return;
    }
    connecting_ = true;
    const Waiting waiting = std::exchange(waiting_, idle);
    const NCRef<DSRequest> request = currentRequest_;
    // An agent may answer the search and the login and go silent over the first registration.
    bool complete = false;
    for (int round = 0; round < searchTries && !complete; ++round) {
        dropConnection();
        tryConnect(searchTries, port_);
        if (!hasAgent())
            break;
        lastTrigger_ = nullptr;
        complete = registerAgain();
        if (hasAgent())
            break;
    }
    connecting_ = false;
    currentRequest_ = request;
    if (!hasAgent())
        startTimer(searchPeriod);
    if (complete) {
        waiting_ = waiting;
        reconnected_ = true;
    }
}

// False when a registration failed; what is registered stays known and goes to the next agent.
bool DSUser::registerAgain() {
    // Copies, since handlers of triggers may change the originals while a request waits.
    const NCRef<DSSet> providers = new DSSet(providers_);
    for (DSResource* provider : *providers) {
        if (!providers_.includes(provider))
            continue;
        const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterProvider, provider);
        if (request(question.get(), rttRegister_, 0) != done)
            return false;
    }
    const NCRef<DSDictionary> triggers = new DSDictionary(triggers_);
    for (DSResource* element : *triggers) {
        DSResource* name = static_cast<DSAssoc*>(element)->key();
        if (!triggers_.includesKey(name))
            continue;
        const NCRef<DSRequest> question = new DSRequest(DSRequestRegisterTrigger, name);
        if (request(question.get(), rttQuery_, 0) != done)
            return false;
    }
    return true;
}

void DSUser::timerExpired(long sec, long) {
    const Inside inside(*this);
    timerActive_ = false;
    if (!hasAgent()) {
        reconnect();
        if (!hasAgent() && !timerActive_)
            startTimer(searchPeriod);
        return;
    }
    const auto elapsed = static_cast<int>(sec - lastInput_.tv_sec);
    if (elapsed >= 0 && elapsed < keepAlive) {
        startTimer(keepAlive - elapsed);
        return;
    }
    if (waiting_ != idle) {
        startTimer(keepAlive); // the request in progress finds out by itself
        return;
    }
    const NCRef<DSRequest> question = new DSRequest(DSRequestAreYouAlive);
    request(question.get(), rttLogin_, 0);
    if (!timerActive_)
        startTimer(keepAlive);
}
