#pragma once

#include "agent/collections/dsordclt.h"
#include "agent/records/dslogin.h"
#include "agent/session/agent_connection.h"
#include "agent/session/agent_search.h"
#include "agent/session/exchange.h"

namespace harbolance {

class Registrations;

// The session's link to an agent: it looks for an agent, logs in, keeps the connection alive, and replaces it
// when the agent is lost. Everything that is sent to the agent goes through `ask`, and all that the agent
// sends comes in here.
//
// Looking for an agent and asking it block the caller. While a call waits the connection may be replaced:
// `connection()` is asked for again after each wait. What no caller waits for, the search after a loss that
// the event loop has seen and the question whether the agent lives, goes on in that loop: only the login and
// the registrations with an agent that has just answered block it.
class AgentLink {
public:
    static inline int keepAlivePeriod = 120; // seconds

    // The dispatcher calls `session` for input and timers, which hands both on to here.
    AgentLink(dpIOHandler& session, Registrations& registrations, const char* loginName,
              const char* loginExtra);
    AgentLink(const AgentLink&) = delete;
    AgentLink& operator=(const AgentLink&) = delete;
    ~AgentLink() { close(); }

    // The first search, for an agent of the domain at `port`.
    void open(int port);
    // Drops the connection and looks for an agent, which gets all that is registered. While that is under way
    // already, only drops the connection.
    void reconnect();
    // Off the network and the dispatcher, for good. The agent is told.
    void close();
    bool isClosed() const { return closed_; }

    // Null without an agent.
    const AgentConnection* connection() const { return connection_.get(); }
    bool isLoggedIn() const { return connection_ && connection_->isLoggedIn(); }
    // How many connections there have been, which tells one from another.
    uint32_t connections() const { return connections_; }
    // The address of the last agent; at first this host, port 0.
    const DSAddr& agentAddr() const { return agentAddr_; }
    int port() const { return port_; }
    void setPort(int port);
    DSLogin& login() { return *login_; }
    bool debug() const { return debug_; }
    void setDebug(bool debug) { debug_ = debug; }

    // Sends the request until the reply is there; see Exchange. DSUser::busy while another one is under way.
    int ask(DSRequest& request, NCrtt& rtt, int seconds, NCRef<DSReply>& reply);
    // What `ask` would give at once: DSUser::done, notLoggedIn or busy.
    int readiness() const;
    bool isAsking() const { return exchange_ != nullptr; }
    // Whether a call of the link is on the stack, so that the object must not be destroyed.
    bool isInUse() const { return calls_ > 0; }

    // A trigger notification, which may also be the reply to the registration of a trigger.
    void notify(DSReply& notification);

    // With nothing registered an idle session need not ask whether its agent lives.
    void startKeepAlive();
    void stopKeepAlive();

    int inputReady();
    void timerExpired();

    NCrtt rttLogin; // and keep-alive
    NCrtt rttQuery; // locate, triggers, lists
    NCrtt rttUnregister;
    NCrtt rttRegister;

private:
    friend class Exchange;
    static constexpr int searchTries = 5;
    static constexpr int searchPeriod = 15; // seconds between searches without an agent

    // A call of the link is on the stack.
    class Call {
    public:
        explicit Call(AgentLink& link) : link_(link) { ++link_.calls_; }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        ~Call() { --link_.calls_; }

    private:
        AgentLink& link_;
    };

    // While the link connects it asks on its own account: the caller's exchange stands still, and a loss does
    // not start another search within the search.
    class Connecting {
    public:
        explicit Connecting(AgentLink& link)
            : link_(link), waiting_(std::exchange(link.exchange_, nullptr)),
              outer_(std::exchange(link.connecting_, true)) {}
        Connecting(const Connecting&) = delete;
        Connecting& operator=(const Connecting&) = delete;
        ~Connecting() {
            link_.exchange_ = waiting_;
            link_.connecting_ = outer_;
        }

    private:
        AgentLink& link_;
        Exchange* waiting_;
        bool outer_;
    };

    void connect();
    void search();
    void adopt(const DSAddr& agent);
    void logIn();
    void reportAndAwaitTimer();
    void lose();
    void searchInLoop();
    void found(const std::optional<DSAddr>& agent);
    void askWhetherAlive();
    void answer(const DSRequest& request);
    void take(DSReply& reply);
    void startTimer(int seconds);
    void stopTimer();

    dpIOHandler& session_;
    Registrations& registrations_;
    NCRef<DSLogin> login_;
    NCRef<DSOrderedCltn> listedAgents_; // made by the first search that needs it
    int port_ = dsDefaultPort;
    bool debug_ = false;

    // May change while a call waits.
    std::unique_ptr<AgentConnection> connection_;
    DSAddr agentAddr_{0};
    Exchange* exchange_ = nullptr; // the one under way
    std::unique_ptr<LoopSearch> loopSearch_;
    int loopSearches_ = 0;         // since the loss
    NCRef<DSRequest> areYouAlive_; // the question that the event loop has asked, until it is answered
    uint32_t connections_ = 0;
    int calls_ = 0;
    bool connecting_ = false;
    bool timerRuns_ = false;
    bool closed_ = false;
};

} // namespace harbolance
