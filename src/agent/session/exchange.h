#pragma once

#include "agent/records/dsmsg.h"
#include "net/ncrtt.h"

namespace harbolance {

class AgentLink;

// One request to the agent and its reply, while a call waits for it. The link knows the present exchange, if
// any, and passes incoming replies to it.
//
// The wait runs a private dispatcher, which serves the connection's socket and two timers. Nothing else in
// the process is served meanwhile, but handlers of notifications may be called.
class Exchange {
public:
    Exchange(AgentLink& link, DSRequest& request);
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange();

    // Sends the request until the reply has come: again after each time-out and each other end of a wait,
    // always with the same number, and to the next agent when one is lost. A limit of 0 seconds means none.
    // Returns a status of DSUser.
    int run(NCrtt& rtt, int seconds);

    const DSRequest& request() const { return *request_; }
    bool awaits(const DSReply& reply) const { return !reply_ && reply.answers(*request_); }
    void take(DSReply& reply) { reply_ = &reply; }
    // Null until the reply has come.
    const NCRef<DSReply>& reply() const { return reply_; }

private:
    // Limit of the agents to which one request is sent: an agent that answers only searches and logins would
    // otherwise block the caller for ever.
    static constexpr int mostAgents = 6;

    int waitForReply(NCrtt& rtt, int seconds);

    AgentLink& link_;
    NCRef<DSRequest> request_;
    NCRef<DSReply> reply_;
};

} // namespace harbolance
