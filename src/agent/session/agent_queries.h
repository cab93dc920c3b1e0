#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsprovid.h"
#include "agent/session/list_source.h"

#include <chrono>
#include <optional>
#include <vector>

namespace harbolance {

class AgentLink;

// Agents that have let a list query time out. For some time they are left out of lists of the domain, so that
// a silent agent costs one wait and not one per list.
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

// Queries to agents: short ones over the session, lists over TCP. The operations are those of DSUser and
// return its statuses.
class AgentQueries {
public:
    explicit AgentQueries(AgentLink& link) : link_(link) {}

    NCRef<DSProvider> locate(DSName* name, int& status, int seconds);
    NCRef<DSSet> agents(int& status);
    NCRef<DSSet> names(int& status, bool wait);
    NCRef<DSSet> providers(DSName* name, int& status, bool wait);

    // Lists of the domain requested between these two calls share the list of agents and their TCP endpoints.
    // Calls may be nested.
    void beginBatch() { ++batches_; }
    void endBatch();

private:
    // The state shared by the queries of a batch.
    struct Domain {
        uint32_t connection;                              // of the link whose agent named the others
        std::vector<std::unique_ptr<ListSource>> sources; // the link's own agent first, then the others
    };

    NCRef<DSSet> query(int& status, DSRequest& question, bool wait);
    NCRef<DSSet> queryDomain(int& status, DSRequest& question);
    NCRef<DSSet> queryAll(int& status, DSRequest& question);
    // Queries one agent of the domain, unless it is known to be silent.
    NCRef<DSSet> querySource(int& status, ListSource& source, DSRequest& question);
    bool findDomain(int& status);
    DSAddr ownAgent() const;

    AgentLink& link_;
    SilentAgents silent_;
    int batches_ = 0;
    std::optional<Domain> domain_; // only within a batch
};

} // namespace harbolance
