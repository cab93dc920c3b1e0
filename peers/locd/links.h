#pragma once

#include "agent/records/dsreply.h"
#include "agent/records/dsreq.h"
#include "locd/endpoint.h"
#include "locd/log.h"
#include "locd/notifier.h"
#include "locd/peers.h"
#include "locd/registry.h"
#include "locd/ticker.h"

#include <deque>

namespace locd {

// The login name by which an agent knows that a client is an agent.
inline constexpr const char* agentLoginName = "location agent";

// This agent as a client of the other agents: on each it has triggers on the names that its own clients wait
// for, and hands the notifications on. One request to an agent is under way at a time, repeated like a
// client's; an agent that does not answer is tried again when it next announces itself.
class Links {
public:
    // Requests that may wait for one agent; what comes beyond is not told to it.
    static constexpr size_t mostErrands = 250'000;

    Links(const Log& log, Endpoint& endpoint, const Peers& peers, const Registry& registry,
          Notifier& notifier);

    // A peer has announced itself.
    void heard(const Peer& peer);
    void left(const Peer& peer);

    // A client waits for a name that has no provider here.
    void watch(DSName& name);
    // No client waits for it any longer.
    void unwatch(DSName& name);

    // False when the reply does not come from a link.
    bool take(DSReply& reply, const sockaddr_in& from);

private:
    struct Errand {
        int type;
        NCRef<DSResource> object;
    };
    struct Link {
        sockaddr_in address;
        bool working = false; // false: waits for the next announcement
        std::deque<Errand> errands;
        NCRef<DSRequest> request; // the one under way
        NCrtt rtt;
        int64_t due = 0;
        bool noticed = false;
        uint32_t lastNotice = 0;
    };

    Link* find(const sockaddr_in& address) const;
    void begin(Link& link);
    void addErrand(Link& link, int type, DSResource* object);
    void sendNext(Link& link);
    void answered(Link& link, const DSReply& reply);
    void handOn(DSResource* object, int status);
    void repeat();
    void repeat(Link& link);

    const Log& log_;
    Endpoint& endpoint_;
    const Peers& peers_;
    const Registry& registry_;
    Notifier& notifier_;
    std::vector<std::unique_ptr<Link>> links_;
    Ticker ticker_;
};

} // namespace locd
