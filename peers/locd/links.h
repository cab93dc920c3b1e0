#pragma once

#include "agent/records/dsmsg.h"
#include "locd/endpoint.h"
#include "locd/log.h"
#include "locd/notifier.h"
#include "locd/peers.h"
#include "locd/registry.h"
#include "locd/ticker.h"

#include <deque>

namespace locd {

// The login name by which an agent recognises another agent as its client.
inline constexpr const char* agentLoginName = "location agent";

// This agent as a client of the other agents. At each it registers triggers for the names that its own
// clients wait for, stores the providers that it reports, and passes its notifications on. It also asks each
// agent for the agents that it knows, so that agents find each other through a third one. Each agent has one
// request outstanding at a time, which is repeated like a client's; an agent that does not answer is tried
// again when it next announces itself.
class Links : private RegistryObserver {
public:
    // Limit, in octets, of the names in requests queued for one agent. It is larger than all triggers of the
    // registry; when triggers that come and go exceed it, all names are sent again.
    static constexpr size_t mostOctets = size_t{48} * 1024 * 1024;

    Links(Log& log, Endpoint& endpoint, Peers& peers, const Registry& registry, Notifier& notifier);

    // Called when a peer has announced itself.
    void heard(const Peer& peer);
    void left(const Peer& peer);

    // Called when the first client waits for a name.
    void watch(DSName& name);
    // Called when no client waits for it any longer.
    void unwatch(DSName& name);
    // The first reported provider of a watched name at another agent, or null.
    DSProvider* find(const DSName& name) const { return remote_.find(name); }

    // False when the reply does not belong to a link.
    bool take(DSReply& reply, const sockaddr_in& from);

private:
    struct Task {
        int type; // of the request
        NCRef<DSResource> object;
        size_t octets;
    };
    struct Link : Holder { // of the providers at that agent
        sockaddr_in address;
        bool working = false; // false: waits for the next announcement
        bool overrun = false; // something was not added to `tasks`
        std::deque<Task> tasks;
        size_t octets = 0;        // of `tasks`
        NCRef<DSRequest> request; // the one under way
        NCrtt rtt;
        int64_t due = 0;
        int64_t listed = 0; // time of the last request for its agents
        bool notified = false;
        uint32_t lastNotification = 0;
    };

    // Observer of `remote_`; not needed, because its changes are notified where they are made.
    void providerUp(const Registration&) override {}
    void providerDown(const Registration&) override {}
    void watchEnds(const ServiceName&) override {}

    Link* find(const sockaddr_in& address) const;
    void begin(Link& link);
    void stop(Link& link);
    void add(Link& link, int type, DSName* name = nullptr);
    void sendNext(Link& link);
    void answered(Link& link, DSReply& reply);
    void notify(Link& link, DSReply& reply);
    void repeat();
    void repeat(Link& link);

    Log& log_;
    Endpoint& endpoint_;
    Peers& peers_;
    const Registry& registry_;
    Notifier& notifier_;
    std::vector<std::unique_ptr<Link>> links_;
    Registry remote_; // the providers of watched names at other agents
    Ticker ticker_;
};

} // namespace locd
