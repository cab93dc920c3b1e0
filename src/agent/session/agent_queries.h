#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsprovid.h"

#include <chrono>
#include <optional>
#include <vector>

class DSRequest;

namespace harbolance {

class AgentLink;

// Agents that have let a query for a list of the domain time out. For a while they are left out of such
// lists, so that a silent agent costs one wait and not one for each list.
class SilentAgents {
public:
    void add(const DSAddr& agent);
    bool include(const DSAddr& agent) const;

private:
    using Clock = std::chrono::steady_clock;
    static constexpr auto period = std::chrono::seconds(60);
    static constexpr size_t most = 256; // an answer may name any number of agents

    struct Entry {
        DSAddr agent;
        Clock::time_point until;
    };
    std::vector<Entry> entries_;
};

// Questions to agents: short ones over the session, lists over a TCP connection for each. The operations are
// those of DSUser and give its statuses.
class AgentQueries {
public:
    explicit AgentQueries(AgentLink& link) : link_(link) {}

    NCRef<DSProvider> locate(DSName* name, int& status, int seconds);
    NCRef<DSSet> agents(int& status);
    NCRef<DSSet> names(int& status, bool wait);
    NCRef<DSSet> providers(DSName* name, int& status, bool wait);

private:
    NCRef<DSSet> query(int& status, DSRequest& question, bool wait);
    NCRef<DSSet> queryDomain(int& status, DSRequest& question);
    // One agent of the domain, unless it is known to be silent.
    NCRef<DSSet> queryMember(int& status, const DSAddr& agent, DSRequest& question);
    // `silent` tells whether a wait has ended without an answer.
    NCRef<DSSet> queryAgent(int& status, const DSAddr& agent, DSRequest& question, bool& silent);
    std::optional<DSAddr> tcpEndpoint(const DSAddr& agent, bool& silent);
    DSAddr ownAgent() const;

    AgentLink& link_;
    SilentAgents silent_;
};

} // namespace harbolance
