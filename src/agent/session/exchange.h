#pragma once

#include "agent/records/dsmsg.h"
#include "net/ncrtt.h"

namespace harbolance {

class AgentLink;

// One request to the agent and its reply, for as long as a call waits for it. The link knows the one that is
// under way, if any, and gives it the replies that come in.
//
// The wait turns a dispatcher of its own, which serves the connection's socket and two timers: the rest of
// the process stands still meanwhile, except for the handlers of notifications.
class Exchange {
public:
    Exchange(AgentLink& link, DSRequest& request);
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange();

    // Sends the request until the reply is there: again after each time-out and whatever else ends a wait,
    // always under the same number, and to the next agent when one is lost. A limit of 0 seconds is none.
    // Gives a status of DSUser.
    int run(NCrtt& rtt, int seconds);

    const DSRequest& request() const { return *request_; }
    bool awaits(const DSReply& reply) const { return !reply_ && reply.answers(*request_); }
    void take(DSReply& reply) { reply_ = &reply; }
    // Null until the reply has come.
    const NCRef<DSReply>& reply() const { return reply_; }

private:
    // Agents that one request is sent to before its caller hears of it: one that answers searches and logins
    // and nothing else would keep the caller for ever.
    static constexpr int mostAgents = 6;

    int waitForReply(NCrtt& rtt, int seconds);

    AgentLink& link_;
    NCRef<DSRequest> request_;
    NCRef<DSReply> reply_;
};

} // namespace harbolance
