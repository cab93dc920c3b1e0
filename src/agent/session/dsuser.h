#pragma once

// The session with a location agent. Programs use DSUser. Behind it AgentLink (agent_link.h) searches for an
// agent (agent_search.h), logs in, and replaces a lost agent. AgentConnection has the state of one agent,
// Exchange handles one request and its reply, and Registrations and AgentQueries implement the operations.
// DSVerify (dsverify.h) checks whether a peer is alive, BroadcastTable has the destinations of a broadcast
// search. Options come from the ORB, through SessionOptions.

#include "agent/collections/dsset.h"
#include "agent/records/dsmsg.h"
#include "agent/records/dsprovid.h"
#include "agent/session/dsverify.h"
#include "net/dispatcher.h"

#include <memory>

// Called by the session when a provider of a watched name appears or disappears, from the event loop or
// inside a request. It may register and unregister triggers. The provider must be held to be kept.
class DSTriggerHandler {
public:
    virtual void serviceUp(DSProvider* provider) = 0;
    virtual void serviceDown(DSProvider*) {}

protected:
    ~DSTriggerHandler() = default; // handlers are not destroyed through the session
};

// The process's only session with a location agent: it finds an agent, logs in over UDP, keeps the session
// alive, and changes to another agent when this one is lost. Code that needs an agent calls
// `DSUser::instance`.
//
// Searching for an agent and waiting for a reply block the caller. A request waits in an event loop of its
// own that serves only the session's socket, so the global dispatcher does not run meanwhile; trigger
// handlers may be called inside that wait. A request from such a handler gives `busy`.
//
// While the global dispatcher runs, the session keeps itself alive, answers its agent, and searches for an
// agent every 15 seconds when it has none. Only the login with an agent that was found, and the registrations
// with it, block the event loop.
//
// Records passed in must be heap objects; one without a holder is destroyed by the call, whatever its result.
class DSUser : public dpIOHandler, public DSVerify {
public:
    // Statuses of the operations.
    static constexpr int done = 0;
    static constexpr int timedOut = 3; // the caller's time limit ran out
    static constexpr int unknownTrigger = -992;
    static constexpr int unknownProvider = -993; // not registered here, or the agent has no such service
    static constexpr int knownProvider = -994;   // registered already
    static constexpr int busy = -997;            // another request is waiting for its reply
    static constexpr int notLoggedIn = -998;
    static constexpr int noAnswer = -999; // the agent did not answer, or refused
    static constexpr int noAgent = -1000; // at the moment, or the process is exiting

    // The session, in any state: call `isLoggedIn`. When there is none and `create` is set, one is made on
    // the default port, which searches for an agent. Null without `create`, and while the process ends.
    static DSUser* instance(bool create);
    // Makes a session on `port`. If that is the default port, -ORBagentport and then LOCD_PORT take
    // precedence. The session exists until the process ends.
    static DSUser* create(const char* loginName, const char* loginExtra, int port);
    ~DSUser() override;
    // Logs out and ends the session; no other is made afterwards. Called when the ORB shuts down or the
    // process exits, whichever comes first.
    static void endAtExit();

    bool isLoggedIn() const;
    // The address of the last agent; this host with port 0 before the first one.
    const DSAddr& agentAddr() const;
    // The agent port, which identifies the domain. Setting it starts a search there.
    int port() const;
    void setPort(int port);
    bool debug() const { return DSVerify::debug(); }
    void setDebug(bool debug);
    // Seconds without traffic after which the agent is asked whether it is alive.
    static int keepAlivePeriod();
    static void setKeepAlivePeriod(int seconds);

    // Sends the request until the reply has come; `lastReply` then holds it. A limit of 0 means none. Returns
    // 0 or a code above. The request is held during the call.
    int request(DSRequest* request, NCrtt& rtt, int timeoutSeconds);
    // Null unless the last `request` returned 0.
    DSReply* lastReply() const { return lastReply_.get(); }

    // Returns a new record, or null with the status saying why.
    NCRef<DSProvider> locate(DSName* name, int& status, int timeoutSeconds);
    // The session holds registered providers and registers them again with the next agent, including those
    // that gave `noAgent`. A provider too large for a datagram is refused with `noAnswer` and a line on the
    // standard error stream.
    int registerProvider(DSProvider* provider);
    int unregisterProvider(DSProvider* provider);
    // For a provider that could not be unregistered: it will not be registered with the next agent.
    void forgetProvider(DSProvider* provider);
    // The handler is called for each provider of that name that appears or disappears, until it is
    // unregistered. It is not owned. May be called from a handler, and then gives `busy` if a request is
    // waiting.
    int registerTrigger(DSName* name, DSTriggerHandler* handler);
    int unregisterTrigger(DSName* name, DSTriggerHandler* handler);
    // Reports to the provider's agent that the provider does not respond. Does not wait.
    void providerDown(DSProvider* provider);

    // Lists: new sets, or null with the status saying why. With `wait` all agents of the domain are asked,
    // except those that have let such a query time out within the last minute; else only the connected agent.
    //
    // The agents of the domain except the connected one, as DSAddr.
    NCRef<DSSet> agents(int& status);
    // All registered names, as DSName.
    NCRef<DSSet> names(int& status, bool wait);
    // All providers registered under a name, as DSProvider.
    NCRef<DSSet> providers(DSName* name, int& status, bool wait);

    // For lists that belong together, such as those of one operation: while an object of this class exists,
    // lists of the domain share their preparation. The agents of the domain are requested once, and each
    // agent once for its TCP endpoint; connections to them stay open, and an agent that has failed is left
    // out. Objects may be nested.
    class Batch;

    int inputReady(int fd) override;
    void timerExpired(long sec, long usec) override;

private:
    struct Parts;

    DSUser(const char* loginName, const char* loginExtra);

    std::unique_ptr<Parts> parts_;
    NCRef<DSReply> lastReply_;
};

class DSUser::Batch {
public:
    explicit Batch(DSUser& user);
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
    ~Batch();

private:
    DSUser& user_;
};
