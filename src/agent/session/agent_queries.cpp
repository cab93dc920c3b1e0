#include "agent/session/agent_queries.h"

#include "agent/session/agent_link.h"
#include "agent/session/dsuser.h"
#include "base/standard_streams.h"
#include "net/descriptors.h"

#include <algorithm>

namespace harbolance {

namespace {

// Time limit for a listing of the domain, in seconds: one datagram may name hundreds of agents.
constexpr int domainTimeout = 120;

// Limit of the connections kept open between the queries of a batch: the event loop needs descriptors too,
// and an answer may name any number of agents.
constexpr int mostConnections = 16;

// A copy of the reply's object for the caller, or null.
template <class T>
NCRef<T> copyOf(const DSReply& reply, const char* complaint, bool debug) {
    if (const auto* object = nc_cast<T>(reply.reply()))
        return new T(*object);
    if (debug)
        standardOutput() << complaint << reply;
    return nullptr;
}

} // namespace

void SilentAgents::add(const DSAddr& agent) {
    const auto now = Clock::now();
    // Old entries are removed when one is added, so that the list needs no timer.
    std::erase_if(entries_, [&](const Entry& entry) { return entry.until <= now || entry.agent == agent; });
    if (entries_.size() < most)
        entries_.push_back({agent, now + period});
}

bool SilentAgents::include(const DSAddr& agent) const {
    const auto now = Clock::now();
    return std::ranges::any_of(entries_,
                               [&](const Entry& entry) { return entry.agent == agent && entry.until > now; });
}

NCRef<DSProvider> AgentQueries::locate(DSName* name, int& status, int seconds) {
    const NCRef<DSRequest> question = new DSRequest(DSRequestLocate, name);
    NCRef<DSReply> reply;
    status = link_.readiness();
    if (status == DSUser::done)
        status = link_.ask(*question, link_.rttQuery, seconds, reply);
    if (status == DSUser::done && !reply->replyOk())
        status = DSUser::unknownProvider;
    if (status != DSUser::done)
        return nullptr;
    return copyOf<DSProvider>(*reply, "Reply doesn't contain a DSProvider: \n", link_.debug());
}

NCRef<DSSet> AgentQueries::agents(int& status) {
    const NCRef<DSRequest> question = new DSRequest(DSRequestListAgents);
    NCRef<DSReply> reply;
    status = link_.readiness();
    if (status == DSUser::done)
        status = link_.ask(*question, link_.rttQuery, 0, reply);
    if (status == DSUser::done && !reply->replyOk())
        status = DSUser::noAnswer;
    if (status != DSUser::done)
        return nullptr;
    return copyOf<DSSet>(*reply, "Reply did not contain a DSSet: \n", link_.debug());
}

NCRef<DSSet> AgentQueries::names(int& status, bool wait) {
    const NCRef<DSRequest> question = new DSRequest(DSRequestListNames);
    return query(status, *question, wait);
}

NCRef<DSSet> AgentQueries::providers(DSName* name, int& status, bool wait) {
    const NCRef<DSRequest> question = new DSRequest(DSRequestListProviders, name);
    return query(status, *question, wait);
}

// Lists are requested at the port of the domain, whatever port the session uses.
DSAddr AgentQueries::ownAgent() const { return {link_.port(), link_.agentAddr().addr()}; }

NCRef<DSSet> AgentQueries::query(int& status, DSRequest& question, bool wait) {
    status = link_.readiness();
    if (status != DSUser::done)
        return nullptr;
    return wait ? queryDomain(status, question)
                : ListSource(ownAgent()).query(status, question, link_.debug());
}

void AgentQueries::endBatch() {
    if (--batches_ == 0)
        domain_.reset();
}

NCRef<DSSet> AgentQueries::queryDomain(int& status, DSRequest& question) {
    beginBatch();
    NCRef<DSSet> result = findDomain(status) ? queryAll(status, question) : nullptr;
    endBatch();
    return result;
}

// Asks for the agents of the domain, unless the batch has them already. When the session has another agent,
// it asks again, since that agent may know others.
bool AgentQueries::findDomain(int& status) {
    if (domain_ && domain_->connection == link_.connections())
        return true;
    domain_.reset();
    // Asked first: without this list the result would look complete but lack the rest of the domain.
    const auto others = agents(status);
    if (status != DSUser::done)
        return false;
    domain_.emplace();
    domain_->connection = link_.connections();
    // First in the list, because its answer decides whether the whole query fails.
    domain_->sources.push_back(std::make_unique<ListSource>(ownAgent()));
    if (!others)
        return true;
    for (const DSResource* element : *others) {
        if (const auto* agent = nc_cast<DSAddr>(element))
            domain_->sources.push_back(std::make_unique<ListSource>(*agent));
        else if (link_.debug())
            standardOutput() << "Expected a DSAddr in reply: [" << *element << "]" << std::endl;
    }
    return true;
}

NCRef<DSSet> AgentQueries::queryAll(int& status, DSRequest& question) {
    const auto& sources = domain_->sources;
    NCRef<DSSet> result = querySource(status, *sources.front(), question);
    if (status != DSUser::done)
        return result;
    const Deadline deadline(domainTimeout);
    int connections = sources.front()->isConnected() ? 1 : 0;
    for (size_t i = 1; i < sources.size(); ++i) {
        ListSource& source = *sources[i];
        // After the limit the result consists of what has arrived.
        if (deadline.passed()) {
            source.giveUp();
            continue;
        }
        // A silent or refusing agent does not make the listing fail.
        int otherStatus = DSUser::done;
        const NCRef<DSSet> more = querySource(otherStatus, source, question);
        // Beyond the limit the agent is still asked, but its connection is closed after the query.
        if (source.isConnected() && ++connections > mostConnections)
            source.disconnect();
        if (!more)
            continue;
        if (!result)
            // The own agent may have given no set. Sets of other agents are merged into one; equal names
            // appear once.
            result = new DSSet(more->size());
        for (DSResource* record : *more)
            result->add(record);
    }
    return result;
}

NCRef<DSSet> AgentQueries::querySource(int& status, ListSource& source, DSRequest& question) {
    status = DSUser::noAnswer;
    if (source.isGivenUp() || silent_.include(source.agent()))
        return nullptr;
    auto list = source.query(status, question, link_.debug());
    if (source.wasSilent())
        silent_.add(source.agent());
    return list;
}

} // namespace harbolance
