#include "agent/session/dsuser.h"

#include "agent/records/dsamsg.h"
#include "agent/session/dsoptions.h"
#include "stream/nctcpstr.h"

#include <chrono>
#include <iostream>

// Questions to agents: short ones over the session, lists over a TCP connection for each.

namespace {

// How long an agent may take to accept and to answer a list query, each. Lists come from the agent's memory;
// one that says nothing for so long counts as silent.
constexpr int listTimeout = 30;

// How long a listing of the whole domain goes on asking further agents. One datagram can name hundreds of
// them.
constexpr auto domainTimeout = std::chrono::seconds(120);

// Some 100 octets a name: more names than a domain holds, and less than a hostile answer could cost.
constexpr int longestList = 64 * 1024 * 1024;

constexpr uint32_t listBufferSize = 1024;
constexpr int listQueue = 50;
constexpr uint8_t listPriority = 10;

} // namespace

int DSUser::readyToAsk() const {
    if (!isLoggedIn())
        return notLoggedIn;
    return waiting_ != idle ? busy : done;
}

// A request whose reply has to be a success.
int DSUser::askPlain(DSRequest* question, NCrtt& rtt, NCRef<DSReply>& reply) {
    if (const int status = request(question, rtt, 0))
        return status;
    reply = std::exchange(lastReply_, nullptr);
    return reply->replyOk() ? done : noAnswer;
}

// The reply's object as a record of the caller's own, or null.
template <class T>
T* DSUser::copyOf(const DSReply& reply, const char* complaint) const {
    if (const auto* object = nc_cast<T>(reply.reply()))
        return new T(*object);
    if (debug_)
        std::cout << complaint << reply;
    return nullptr;
}

DSProvider* DSUser::locate(DSName* name, int& status, int timeoutSeconds) {
    const NCRef<DSRequest> question = new DSRequest(DSRequestLocate, name);
    status = readyToAsk();
    if (status != done)
        return nullptr;
    status = request(question.get(), rttQuery_, timeoutSeconds);
    if (status != done)
        return nullptr;
    const NCRef<DSReply> reply = std::exchange(lastReply_, nullptr);
    if (!reply->replyOk()) {
        status = unknownProvider;
        return nullptr;
    }
    return copyOf<DSProvider>(*reply, "Reply doesn't contain a DSProvider: \n");
}

DSSet* DSUser::agents(int& status) {
    status = readyToAsk();
    if (status != done)
        return nullptr;
    const NCRef<DSRequest> question = new DSRequest(DSRequestListAgents);
    NCRef<DSReply> reply;
    status = askPlain(question.get(), rttQuery_, reply);
    return status == done ? copyOf<DSSet>(*reply, "Reply did not contain a DSSet: \n") : nullptr;
}

DSSet* DSUser::names(int& status, bool wait) {
    const NCRef<DSRequest> question = new DSRequest(DSRequestListNames);
    return query(status, question.get(), wait);
}

DSSet* DSUser::providers(DSName* name, int& status, bool wait) {
    const NCRef<DSRequest> question = new DSRequest(DSRequestListProviders, name);
    return query(status, question.get(), wait);
}

DSSet* DSUser::query(int& status, DSRequest* question, bool wait) {
    status = readyToAsk();
    if (status != done)
        return nullptr;
    if (wait)
        return queryAll(status, question);
    return queryAgent(status, DSAddr(port_, agentAddr_.addr()), question);
}

DSSet* DSUser::queryAll(int& status, DSRequest* question) {
    const NCRef<DSSet> others = agents(status);
    if (status != done)
        return nullptr;
    NCRef<DSSet> result = queryAgent(status, DSAddr(port_, agentAddr_.addr()), question);
    if (status != done || !others)
        return result.detach();
    const auto end = std::chrono::steady_clock::now() + domainTimeout;
    for (const DSResource* element : *others) {
        if (std::chrono::steady_clock::now() >= end)
            break;
        const auto* address = nc_cast<DSAddr>(element);
        if (!address) {
            if (debug_)
                std::cout << "Expected a DSAddr in reply: [" << *element << "]" << std::endl;
            continue;
        }
        // An agent that is silent or refuses does not spoil the listing.
        int otherStatus = done;
        const NCRef<DSSet> more = queryAgent(otherStatus, *address, question);
        if (!more)
            continue;
        if (!result)
            result = new DSSet(more->size());
        for (DSResource* record : *more)
            result->add(record);
    }
    return result.detach();
}

DSSet* DSUser::queryAgent(int& status, const DSAddr& address, DSRequest* question) {
    const auto endpoint = tcpEndpoint(status, address);
    if (!endpoint)
        return nullptr;
    status = noAnswer;
    NCtcpstream stream(listBufferSize, listQueue);
    if (stream.connect(endpoint->addr(), endpoint->port(), listTimeout) != 0)
        return nullptr;
    stream.setMessageLimit(longestList);
    stream.setBlocking(true);
    if (stream.send(question, listPriority) != 0)
        return nullptr;
    int received = 0;
    std::unique_ptr<NCTransObject> object(stream.receive(received, listTimeout));
    auto* known = nc_cast<DSReply>(object.get());
    if (received != 0 || !known || !known->isCurrentVersion())
        return nullptr;
    const NCRef<DSReply> reply = known;
    static_cast<void>(object.release());
    status = done;
    return copyOf<DSSet>(*reply, "Reply did not contain a DSSet: \n");
}

std::optional<DSAddr> DSUser::tcpEndpoint(int& status, const DSAddr& address) {
    constexpr int attempts = 3;
    constexpr int seconds = 1;
    status = noAnswer;
    const auto ipaddr = DSOptions::current()->option("OAipaddr");
    NCudpstream stream;
    if (stream.bind(0, ipaddr ? ipaddr->c_str() : nullptr) != 0 || stream.setBlocking(true) != 0 ||
        stream.connect(address.socketAddress()) != 0)
        return std::nullopt;
    const NCRef<DSAMessage> question = new DSAMessage(DSTypeTcpEndpoint);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (stream.send(question.get()) != 0)
            return std::nullopt;
        const int ready = dsWaitReadable(stream.fd(), seconds);
        if (ready < 0)
            return std::nullopt;
        if (ready == 0)
            continue;
        int received = 0;
        const std::unique_ptr<NCTransObject> object(stream.receive(received));
        const auto* reply = nc_cast<DSAReply>(object.get());
        if (received != 0 || !reply)
            return std::nullopt;
        if (const auto* endpoint = nc_cast<DSAddr>(reply->object())) {
            status = done;
            return *endpoint;
        }
    }
    return std::nullopt;
}
