#include "agent/session/agent_queries.h"

#include "agent/records/dsamsg.h"
#include "agent/session/agent_link.h"
#include "agent/session/dsuser.h"
#include "agent/session/session_options.h"
#include "net/descriptors.h"
#include "stream/nctcpstr.h"

#include <poll.h>

#include <algorithm>
#include <iostream>

namespace harbolance {

namespace {

// Seconds for the connection and for the answer of a list query, each. An agent answers from its memory, so
// one that takes longer counts as silent.
constexpr int listTimeout = 30;

// Seconds after which a listing of the domain asks no further agents: one datagram may name hundreds of them.
constexpr int domainTimeout = 120;

// Octets of one agent's list. A name takes some 100, so this is more than a domain holds, and it bounds what
// a hostile answer can cost.
constexpr int longestList = 64 * 1024 * 1024;

constexpr uint32_t listBufferSize = 1024;
constexpr int listQueue = 50;
constexpr uint8_t listPriority = 10;

// The reply's object as a record of the caller's own, or null.
template <class T>
NCRef<T> copyOf(const DSReply& reply, const char* complaint, bool debug) {
    if (const auto* object = nc_cast<T>(reply.reply()))
        return new T(*object);
    if (debug)
        std::cout << complaint << reply;
    return nullptr;
}

} // namespace

void SilentAgents::add(const DSAddr& agent) {
    const auto now = Clock::now();
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

// Lists are asked for at the port of the domain, whatever port the session uses.
DSAddr AgentQueries::ownAgent() const { return {link_.port(), link_.agentAddr().addr()}; }

NCRef<DSSet> AgentQueries::query(int& status, DSRequest& question, bool wait) {
    status = link_.readiness();
    if (status != DSUser::done)
        return nullptr;
    bool silent = false;
    return wait ? queryDomain(status, question) : queryAgent(status, ownAgent(), question, silent);
}

NCRef<DSSet> AgentQueries::queryDomain(int& status, DSRequest& question) {
    const auto others = agents(status);
    if (status != DSUser::done)
        return nullptr;
    NCRef<DSSet> result = queryMember(status, ownAgent(), question);
    if (status != DSUser::done || !others)
        return result;
    const Deadline deadline(domainTimeout);
    for (const DSResource* element : *others) {
        if (deadline.passed())
            break;
        const auto* agent = nc_cast<DSAddr>(element);
        if (!agent) {
            if (link_.debug())
                std::cout << "Expected a DSAddr in reply: [" << *element << "]" << std::endl;
            continue;
        }
        // An agent that is silent or refuses does not spoil the listing.
        int otherStatus = DSUser::done;
        const NCRef<DSSet> more = queryMember(otherStatus, *agent, question);
        if (!more)
            continue;
        if (!result)
            result = new DSSet(more->size());
        for (DSResource* record : *more)
            result->add(record);
    }
    return result;
}

NCRef<DSSet> AgentQueries::queryMember(int& status, const DSAddr& agent, DSRequest& question) {
    status = DSUser::noAnswer;
    if (silent_.include(agent))
        return nullptr;
    bool silent = false;
    auto list = queryAgent(status, agent, question, silent);
    if (silent)
        silent_.add(agent);
    return list;
}

NCRef<DSSet> AgentQueries::queryAgent(int& status, const DSAddr& agent, DSRequest& question, bool& silent) {
    status = DSUser::noAnswer;
    const auto endpoint = tcpEndpoint(agent, silent);
    if (!endpoint)
        return nullptr;
    NCtcpstream stream(listBufferSize, listQueue);
    const int connected = stream.connect(endpoint->addr(), endpoint->port(), listTimeout);
    silent = connected == NCtcpstream::timedOut;
    if (connected != 0)
        return nullptr;
    stream.setMessageLimit(longestList);
    stream.setBlocking(true);
    if (stream.send(&question, listPriority) != 0)
        return nullptr;
    int received = 0;
    std::unique_ptr<NCTransObject> object(stream.receive(received, listTimeout));
    silent = received == NCtcpstream::timedOut;
    auto* known = nc_cast<DSReply>(object.get());
    if (received != 0 || !known || !known->isCurrentVersion())
        return nullptr;
    const NCRef<DSReply> reply = known;
    static_cast<void>(object.release());
    status = DSUser::done;
    return copyOf<DSSet>(*reply, "Reply did not contain a DSSet: \n", link_.debug());
}

// Where the agent takes list queries. The answer's own status does not matter, only that it carries an
// address.
std::optional<DSAddr> AgentQueries::tcpEndpoint(const DSAddr& agent, bool& silent) {
    constexpr int attempts = 3;
    constexpr int seconds = 1;
    NCudpstream stream;
    if (bindOwnAddress(stream) != 0 || stream.setBlocking(true) != 0 ||
        stream.connect(agent.socketAddress()) != 0)
        return std::nullopt;
    const NCRef<DSAMessage> question = new DSAMessage(DSTypeTcpEndpoint);
    bool answered = false;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (stream.send(question.get()) != 0)
            return std::nullopt;
        const int ready = pollUntil(stream.fd(), POLLIN, Deadline(seconds));
        if (ready < 0)
            return std::nullopt;
        if (ready == 0)
            continue;
        answered = true;
        int received = 0;
        const std::unique_ptr<NCTransObject> object(stream.receive(received));
        const auto* reply = nc_cast<DSAReply>(object.get());
        if (received != 0 || !reply)
            return std::nullopt;
        if (const auto* endpoint = nc_cast<DSAddr>(reply->object()))
            return *endpoint;
    }
    silent = !answered;
    return std::nullopt;
}

} // namespace harbolance
