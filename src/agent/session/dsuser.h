#pragma once

#include "agent/collections/dsdict.h"
#include "agent/records/dslogin.h"
#include "agent/records/dsmsg.h"
#include "agent/records/dsprovid.h"
#include "agent/session/dssearch.h"
#include "agent/session/dstrigger.h"
#include "agent/session/dsverify.h"

#include <functional>

// The process's one session with a location agent: it finds an agent, logs in over UDP, keeps the session
// alive and moves to another agent when this one goes away. Whoever needs an agent takes `DSUser::instance`.
//
// Searching for an agent and waiting for a reply block the caller. A request waits in an event loop of its
// own that serves nothing but the session's socket, so the global dispatcher stands still meanwhile; handlers
// of triggers may run inside that wait. A request from such a handler gives `busy`.
//
// While the global dispatcher runs, the session keeps itself alive, answers its agent, and looks for an agent
// every 15 seconds when there is none.
class DSUser : public dpIOHandler, public DSVerify {
public:
    // What operations give to their callers, 0 apart.
    static constexpr int done = 0;
    static constexpr int timedOut = 3; // the caller's time limit ran out
    static constexpr int unknownTrigger = -992;
    static constexpr int unknownProvider = -993; // not registered here, or the agent has no such service
    static constexpr int knownProvider = -994;   // registered already
    static constexpr int busy = -997;            // another request is waiting for its reply
    static constexpr int notLoggedIn = -998;
    static constexpr int noAnswer = -999; // the agent did not answer, or refused
    static constexpr int noAgent = -1000; // at the moment, or the process is exiting

    // The session, in whatever state it is: callers ask `isLoggedIn`. Without one and with `create` it is
    // made, on the default port, which searches for an agent. Null without `create` and while the process
    // ends.
    static DSUser* instance(bool create);
    // A new session on `port`; the default port gives way to -ORBagentport and then to LOCD_PORT.
    static DSUser* create(const char* loginName, const char* loginExtra, int port);
    ~DSUser() override;

    bool isLoggedIn() const { return state_ == loggedIn; }
    const DSAddr& agentAddr() const { return agentAddr_; }
    // The agent port, which names the domain. Setting it looks for an agent there.
    int port() const { return port_; }
    void setPort(int port);
    bool debug() const { return debug_; }
    void setDebug(bool debug);
    // Seconds without traffic after which the agent is asked whether it lives.
    static int keepAlivePeriod();
    static void setKeepAlivePeriod(int seconds);

    // Sends until the reply is there, which `lastReply` then holds. A limit of 0 is none. 0, or a code above.
    // The request is held for the time of the call.
    int request(DSRequest* request, NCrtt& rtt, int timeoutSeconds);
    DSReply* lastReply() const { return lastReply_.get(); }

    // A new record for the caller to hold, or null with the status saying why.
    DSProvider* locate(DSName* name, int& status, int timeoutSeconds);
    // Records are heap objects; one that nobody holds is gone afterwards, whatever the result.
    // The session holds what is registered, and registers it again with the next agent.
    int registerProvider(DSProvider* provider);
    int unregisterProvider(DSProvider* provider);
    // The handler is called for each provider of that name that comes or goes, until it is unregistered. It
    // is not owned. May be called from a handler, which then gives `busy` if a request is waiting.
    int registerTrigger(DSName* name, DSTriggerHandler* handler);
    int unregisterTrigger(DSName* name, DSTriggerHandler* handler);
    // Tells the agent of a provider, without waiting for anything, that the provider does not respond.
    void providerDown(DSProvider* provider);

    // Lists: new sets for the caller to hold, or null with the status saying why.
    // The agents of the domain other than the connected one, of DSAddr.
    DSSet* agents(int& status);
    // Every name registered, of DSName. With `wait` in the whole domain, else at the connected agent.
    DSSet* names(int& status, bool wait);
    // Every DSProvider registered under a name; `wait` as above.
    DSSet* providers(DSName* name, int& status, bool wait);

    int inputReady(int fd) override;
    void timerExpired(long sec, long usec) override;

private:
    enum State { searching = 0, lost = 1, found = 2, loggedIn = 4 };
    enum Waiting { idle = 0, forReply = 1, replied = 2 };

    static constexpr int searchTries = 5;
    static constexpr int searchPeriod = 15; // seconds between searches without an agent

    DSUser(const char* loginName, const char* loginExtra);

    bool hasAgent() const { return state_ > lost; }

    // The session's life: dsuser.cpp.
    static void endAtExit();
    void leave();
    void tryConnect(int tries, int port);
    void connect(int port);
    bool login();
    void reconnect();
    void dropConnection();
    bool registerAgain();
    void tellAgentOfEnd();
    void startTimer(int seconds);
    void stopTimer();

    // A call of the session is on the stack: who ends the session meanwhile leaves the object alone.
    class Inside {
    public:
        explicit Inside(DSUser& session) : session_(session) { ++session_.inside_; }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
        ~Inside() { --session_.inside_; }

    private:
        DSUser& session_;
    };

    // Requests and what comes in: dsrequest.cpp.
    int waitForReply(DSRequest* request, NCrtt& rtt, int timeoutSeconds);
    bool sendOrReconnect(const DSMessage* message);
    bool isRepeat(const DSMessage& message);
    void receiveReq(const DSRequest& request);
    void receiveReply(DSReply* reply);
    void triggerService(DSReply* reply);

    // Queries and registrations: dsquery.cpp, dsregister.cpp.
    int readyToAsk() const;
    int askPlain(DSRequest* request, NCrtt& rtt, NCRef<DSReply>& reply);
    DSSet* query(int& status, DSRequest* request, bool wait);
    DSSet* queryAll(int& status, DSRequest* request);
    DSSet* queryAgent(int& status, const DSAddr& address, DSRequest* request);
    std::optional<DSAddr> tcpEndpoint(int& status, const DSAddr& address);
    template <class T>
    T* copyOf(const DSReply& reply, const char* complaint) const;

    static bool exiting_;

    DSAddr agentAddr_{0};
    NCRef<DSLogin> login_;
    NCudpstream stream_;
    int port_ = dsDefaultPort;
    bool debug_ = false;
    DSSet providers_{16};           // of DSProvider: what this process has registered
    DSDictionary triggers_{16};     // from DSName to DSSet of DSTrigWrapper
    NCRef<DSOrderedCltn> addrList_; // made by the first search

    // May change while a call waits.
    NCRef<DSRequest> currentRequest_;
    NCRef<DSReply> lastReply_;
    NCRef<DSReply> sentReply_;   // the last one sent to the agent, for repeats
    NCRef<DSReply> lastTrigger_; // the last notification, to drop repeats
    State state_ = searching;
    Waiting waiting_ = idle;
    timeval lastInput_{};
    uint32_t lastMsgNum_ = 0;
    bool firstMessage_ = true; // none yet on this connection
    bool reconnected_ = false; // set at the end of each reconnect
    bool connecting_ = false;  // a loss is left to whoever is connecting
    bool timerActive_ = false;
    int inside_ = 0;           // calls on the stack
    uint32_t connections_ = 0; // made so far
    NCrtt rttLogin_;           // login and keep-alive
    NCrtt rttQuery_;           // locate, triggers, lists
    NCrtt rttUnregister_;
    NCrtt rttRegister_;
};
