#pragma once

#include "agent/collections/dsordclt.h"
#include "agent/records/dslogin.h"
#include "agent/session/agent_connection.h"
#include "agent/session/agent_search.h"
#include "agent/session/exchange.h"

namespace harbolance {

class Registrations;

// The session's link to an agent: it searches for an agent, logs in, keeps the connection alive, and replaces
// it when the agent is lost. All requests to the agent are sent by `ask`, and all messages of the agent are
// received here.
//
// Searching for an agent and asking it block the caller. The connection may be replaced while a call waits,
// so `connection()` must be called again after each wait. Work that no caller waits for, namely the search
// after a loss that the event loop has detected and the keep-alive request, runs in that loop; only the login
// and the registrations with an agent that has just answered block it.
class AgentLink {
public:
    static inline int keepAlivePeriod = 120; // seconds

    // The dispatcher calls `session` for input and timers, and `session` forwards both to this object.
    AgentLink(dpIOHandler& session, Registrations& registrations, const char* loginName,
              const char* loginExtra);
    AgentLink(const AgentLink&) = delete;
    AgentLink& operator=(const AgentLink&) = delete;
    ~AgentLink() { close(); }

    // Starts the first search, for an agent of the domain at `port`.
    void open(int port);
    // Drops the connection and searches for an agent, which gets all registrations. While a search is already
    // running, only drops the connection.
    void reconnect();
    // Closes the connection for good, after telling the agent.
    void close();
    bool isClosed() const { return closed_; }

    // Null without an agent.
    const AgentConnection* connection() const { return connection_.get(); }
    bool isLoggedIn() const { return connection_ && connection_->isLoggedIn(); }
    // The number of connections made so far; it changes when the connection is replaced.
    uint32_t connections() const { return connections_; }
    // The address of the last agent; at first this host, port 0.
    const DSAddr& agentAddr() const { return agentAddr_; }
    int port() const { return port_; }
    void setPort(int port);
    DSLogin& login() { return *login_; }
    bool debug() const { return debug_; }
    void setDebug(bool debug) { debug_ = debug; }

    // Sends the request until the reply has come; see Exchange. Gives DSUser::busy while another request is
    // waiting.
    int ask(DSRequest& request, NCrtt& rtt, int seconds, NCRef<DSReply>& reply);
    // The status that `ask` would give without sending: DSUser::done, notLoggedIn or busy.
    int readiness() const;
    bool isAsking() const { return exchange_ != nullptr; }
    // Whether a call of this object is on the stack, so that it must not be destroyed.
    bool isInUse() const { return calls_ > 0; }

    // A trigger notification, which may also be the reply to the registration of a trigger.
    void notify(DSReply& notification);

    // Starts the keep-alive timer. A session without registrations need not check whether its agent lives.
    void startKeepAlive();
    void stopKeepAlive();

    int inputReady();
    void timerExpired();

    NCrtt rttLogin; // also for keep-alive
    NCrtt rttQuery; // locate, triggers, lists
    NCrtt rttUnregister;
    NCrtt rttRegister;

private:
    friend class Exchange;
    static constexpr int searchTries = 5;
    static constexpr int searchPeriod = 15; // seconds between searches without an agent

    // Counts the calls of the link that are on the stack.
    class Call {
    public:
        explicit Call(AgentLink& link) : link_(link) { ++link_.calls_; }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        ~Call() { --link_.calls_; }

    private:
        AgentLink& link_;
    };

    // While the link connects it sends requests of its own: the caller's exchange is suspended, and a loss
    // does not start a search inside the search.
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

    // These may change while a call waits.
    std::unique_ptr<AgentConnection> connection_;
    DSAddr agentAddr_{0};
    Exchange* exchange_ = nullptr; // the one under way
    std::unique_ptr<LoopSearch> loopSearch_;
    int loopSearches_ = 0;         // since the loss
    NCRef<DSRequest> areYouAlive_; // the keep-alive request, until it is answered
    uint32_t connections_ = 0;
    int calls_ = 0;
    bool connecting_ = false;
    bool timerRuns_ = false;
    bool closed_ = false;
};

} // namespace harbolance
