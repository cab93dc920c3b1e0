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

// The login name that tells an agent that its client is an agent.
inline constexpr const char* agentLoginName = "location agent";

// This agent as a client of the other agents. On each it has triggers on the names that its own clients wait
// for, remembers the providers that it is told of, and passes the notifications on; and it asks each for the
// agents that it knows, so that agents meet that only have a third one in common. One request to an agent is
// under way at a time, repeated like a client's; an agent that does not answer is tried again when it next
// announces itself.
class Links : private RegistryObserver {
public:
    // Octets of the names in requests that wait for one agent. More than all triggers of the registry: when
    // it is exceeded, by triggers that come and go, all that is waited for is told anew.
    static constexpr size_t mostOctets = size_t{48} * 1024 * 1024;

    Links(Log& log, Endpoint& endpoint, Peers& peers, const Registry& registry, Notifier& notifier);

    // A peer has announced itself.
    void heard(const Peer& peer);
    void left(const Peer& peer);

    // The first client waits for a name.
    void watch(DSName& name);
    // No client waits for it any longer.
    void unwatch(DSName& name);
    // The provider of a watched name that another agent told of first, or null.
    DSProvider* find(const DSName& name) const { return remote_.find(name); }

    // False when the reply does not come from a link.
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
        int64_t listed = 0; // when it was last asked for its agents
        bool notified = false;
        uint32_t lastNotification = 0;
    };

    // Of `remote_`, whose changes are told where they are made.
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
