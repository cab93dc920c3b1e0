#pragma once

// The session with a location agent. DSUser is what programs use; behind it AgentLink (agent_link.h) looks
// for an agent (agent_search.h), logs in and replaces an agent that is lost. What belongs to one agent dies
// with its AgentConnection; one request and its reply are an Exchange. Registrations and AgentQueries are the
// operations. DSVerify (dsverify.h) tells whether a peer is alive, BroadcastTable where a search is
// broadcast. The options come from above, through SessionOptions.

#include "agent/collections/dsset.h"
#include "agent/records/dsmsg.h"
#include "agent/records/dsprovid.h"
#include "agent/session/dsverify.h"
#include "net/dispatcher.h"

#include <memory>

// Told by the session when a provider of a watched name comes or goes. Called from the event loop or from
// inside a request; may register and unregister triggers. Hold the provider to keep it.
class DSTriggerHandler {
public:
    virtual void serviceUp(DSProvider* provider) = 0;
    virtual void serviceDown(DSProvider*) {}

protected:
    ~DSTriggerHandler() = default; // handlers are not destroyed through the session
};

// The process's one session with a location agent: it finds an agent, logs in over UDP, keeps the session
// alive and moves to another agent when this one goes away. Whoever needs an agent takes `DSUser::instance`.
//
// Searching for an agent and waiting for a reply block the caller. A request waits in an event loop of its
// own that serves nothing but the session's socket, so the global dispatcher stands still meanwhile; handlers
// of triggers may run inside that wait. A request from such a handler gives `busy`.
//
// While the global dispatcher runs, the session keeps itself alive, answers its agent, and looks for an agent
// every 15 seconds when there is none. Only the login with an agent that was found, and the registrations
// with it, block the event loop.
//
// Records that are handed in are heap objects; one without a holder is destroyed afterwards, whatever the
// result.
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
    // A new session on `port`; the default port gives way to -ORBagentport and then to LOCD_PORT. It exists
    // until the process ends.
    static DSUser* create(const char* loginName, const char* loginExtra, int port);
    ~DSUser() override;
    // Tells the agent that the process goes; there is no session from then on. Runs when the ORB shuts down
    // or the process ends, whichever comes first.
    static void endAtExit();

    bool isLoggedIn() const;
    // The last agent's; this host, port 0, before there was one.
    const DSAddr& agentAddr() const;
    // The agent port, which names the domain. Setting it looks for an agent there.
    int port() const;
    void setPort(int port);
    bool debug() const { return DSVerify::debug(); }
    void setDebug(bool debug);
    // Seconds without traffic after which the agent is asked whether it lives.
    static int keepAlivePeriod();
    static void setKeepAlivePeriod(int seconds);

    // Sends until the reply is there, which `lastReply` then holds. A limit of 0 is none. 0, or a code above.
    // The request is held for the time of the call.
    int request(DSRequest* request, NCrtt& rtt, int timeoutSeconds);
    // Null unless the last `request` gave 0.
    DSReply* lastReply() const { return lastReply_.get(); }

    // A new record, or null with the status saying why.
    NCRef<DSProvider> locate(DSName* name, int& status, int timeoutSeconds);
    // The session holds what is registered, and registers it again with the next agent; also what it could
    // not register for `noAgent`. A record that fits in no datagram is refused with `noAnswer` and a line on
    // the standard error stream.
    int registerProvider(DSProvider* provider);
    int unregisterProvider(DSProvider* provider);
    // For a provider that could not be unregistered: the next agent does not get it.
    void forgetProvider(DSProvider* provider);
    // The handler is called for each provider of that name that comes or goes, until it is unregistered. It
    // is not owned. May be called from a handler, which then gives `busy` if a request is waiting.
    int registerTrigger(DSName* name, DSTriggerHandler* handler);
    int unregisterTrigger(DSName* name, DSTriggerHandler* handler);
    // Tells the agent of a provider, without waiting for anything, that the provider does not respond.
    void providerDown(DSProvider* provider);

    // Lists: new sets, or null with the status saying why. With `wait` all agents of the domain are asked,
    // except for a minute those that have let such a question time out; else the connected agent only.
    //
    // The agents of the domain other than the connected one, of DSAddr.
    NCRef<DSSet> agents(int& status);
    // Every name registered, of DSName.
    NCRef<DSSet> names(int& status, bool wait);
    // Every DSProvider registered under a name.
    NCRef<DSSet> providers(DSName* name, int& status, bool wait);

    // Lists that belong together, such as those of one operation: while an object of this class lives, lists
    // of the domain share what they all need. The agents of the domain are asked for once and each agent once
    // for its TCP endpoint, connections to them stay open, and an agent that has failed is left out until the
    // end. May be nested.
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
