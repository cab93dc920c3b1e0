#include "locd/sessions.h"

#include "agent/collections/dsset.h"
#include "agent/records/dslogin.h"
#include "locd/inquiries.h"
#include "locd/links.h"
#include "locd/peers.h"

#include <algorithm>
#include <cstring>

namespace locd {

namespace {

// Upper bound of what a notification contains beside the provider.
constexpr size_t noticeOctets = 256;

} // namespace

Sessions::Sessions(const Parts& parts)
    : parts_(parts),
      emptyRequest_(parts.endpoint.sizeOf(*NCRef<DSRequest>(new DSRequest(DSRequestRegisterProvider)))) {}

// Answers a client's request and stores the answer for repeats. An answer that does not fit a datagram is
// replaced by the status `tooLarge`.
void Sessions::answer(Client& client, const DSMessage& request, int replyType, int status,
                      DSResource* object) {
    auto octets = parts_.endpoint.send(*NCRef<DSReply>(new DSReply(replyType, request, status, object)),
                                       client.address);
    if (octets.empty())
        octets =
            parts_.endpoint.send(*NCRef<DSReply>(new DSReply(replyType, request, tooLarge)), client.address);
    // Stored after sending: `octets` is valid until the next message is encoded.
    client.requests.answered(request.msgNum(), octets);
}

void Sessions::refuseVersion(const DSMessage& header, const sockaddr_in& from) {
    parts_.log(LogLevel::info, "%s speaks another protocol version", textOf(from).c_str());
    parts_.endpoint.send(*NCRef<DSReply>(new DSReply(DSReplyLogin, header, DSStatusVersionMismatch)), from);
}

void Sessions::receive(const DSRequest& request, const sockaddr_in& from, size_t size) {
    if (request.requestType() == DSRequestLocate && parts_.peers.isPeer(request.cookie())) {
        answerPeer(request, from);
        return;
    }
    // Tested before the search for repeats: a login may come from another process with the same address,
    // whose numbers are independent.
    if (request.requestType() == DSRequestLogin) {
        login(request, from);
        return;
    }
    Client* client = parts_.clients.find(from);
    if (!client) {
        answerUnknown(request, from);
        return;
    }
    Watch::heard(*client);
    switch (client->requests.stateOf(request.msgNum())) {
    // A copy of a request that is still being executed, or was answered so long ago that its sender no longer
    // waits.
    case RequestMemory::State::underWay:
    case RequestMemory::State::forgotten: return;
    case RequestMemory::State::answered:
        parts_.endpoint.sendOctets(client->requests.answerTo(request.msgNum()), from);
        return;
    case RequestMemory::State::fresh: break;
    }
    if (request.requestType() == DSRequestEndOfSession) {
        // The client and its stored requests are destroyed, so a repeat is answered like that of an unknown
        // sender.
        drop(*client, "has ended its session");
        answerUnknown(request, from);
    } else {
        // Entered before it is executed, since the answer is stored in this entry. When other agents must be
        // asked first, the entry stays in the state underWay.
        client->requests.begin(request.msgNum());
        execute(*client, request, size);
    }
}

// Another agent asks for one of its clients. It has many requests outstanding, and they change nothing, so no
// session and no detection of repeats is needed.
void Sessions::answerPeer(const DSRequest& request, const sockaddr_in& from) {
    const auto* name = nc_cast<DSName>(request.request());
    DSProvider* found = name ? parts_.registry.find(*name) : nullptr;
    const int status = found ? static_cast<int>(DSStatusDone) : noSuchService;
    parts_.endpoint.send(*NCRef<DSReply>(new DSReply(DSReplyPlain, request, status, found)), from);
}

// A client that this agent does not know, because the agent has restarted or has dropped the client, must log
// in again.
void Sessions::answerUnknown(const DSRequest& request, const sockaddr_in& from) {
    int type = DSReplyPlain;
    int status = DSStatusReconnect;
    if (request.requestType() == DSRequestAreYouAlive) {
        type = DSReplyAlive;
    } else if (request.requestType() == DSRequestEndOfSession) {
        type = DSReplyEndOfSession;
        status = DSStatusDone;
    }
    parts_.endpoint.send(*NCRef<DSReply>(new DSReply(type, request, status)), from);
}

// A session that gets an end of session searches for an agent and registers everything again.
void Sessions::askToLogIn(const sockaddr_in& address) {
    parts_.endpoint.send(*NCRef<DSRequest>(new DSRequest(DSRequestEndOfSession)), address);
}

void Sessions::login(const DSRequest& request, const sockaddr_in& from) {
    int status = DSStatusDone;
    Client* client = admit(request, from, status);
    if (!client) {
        parts_.log(LogLevel::info, "%s is refused with status %d", textOf(from).c_str(), status);
        parts_.endpoint.send(*NCRef<DSReply>(new DSReply(DSReplyLogin, request, status)), from);
    } else if (client->requests.stateOf(request.msgNum()) == RequestMemory::State::answered) {
        parts_.endpoint.sendOctets(client->requests.answerTo(request.msgNum()), from);
    } else {
        client->requests.begin(request.msgNum());
        answer(*client, request, DSReplyLogin, status);
    }
}

// The new or known client that logs in; or null, with the status of the refusal.
Client* Sessions::admit(const DSRequest& request, const sockaddr_in& from, int& status) {
    const auto* login = nc_cast<DSLogin>(request.request());
    if (!login) {
        status = DSStatusRefused;
        return nullptr;
    }
    // A port out of range counts as none: are-you-alive is then sent to the session's address.
    const int verifyPort = login->verifyPort() > 0 && login->verifyPort() <= 65535 ? login->verifyPort() : 0;
    const bool isAgent = std::strcmp(login->loginName(), agentLoginName) == 0;
    // In a container an agent may have the same process id after a restart.
    const uint32_t agentId = isAgent ? cookieWord(request.cookie()) : 0;
    if (Client* known = parts_.clients.find(from)) {
        if (known->processId == login->processId() && known->verifyPort == verifyPort &&
            known->agentId == agentId) {
            Watch::heard(*known);
            status = DSStatusKnownClient;
            return known;
        }
        drop(*known, "has given its port to another process");
    }
    // A process that lost this agent logs in again from another port, with the same verify port.
    if (Client* former = parts_.clients.findByVerifyAddress(from.sin_addr.s_addr, verifyPort))
        dropAndTell(*former, "logs in anew");
    // Tested after a former session is removed, so that a process that comes back always finds a place.
    if (parts_.clients.full()) {
        parts_.log(LogLevel::warning, "there are %u clients already, %s is refused", parts_.clients.size(),
                   textOf(from).c_str());
        status = DSStatusRefused;
        return nullptr;
    }
    auto client = std::make_unique<Client>();
    client->address = from;
    client->processId = login->processId();
    client->verifyPort = verifyPort;
    client->isAgent = isAgent;
    client->agentId = agentId;
    client->agentAddress = parts_.endpoint.publicAddress(from);
    Watch::heard(*client);
    parts_.log(LogLevel::info, "%s logs in, process %d, verify port %d", textOf(from).c_str(),
               client->processId, verifyPort);
    return &parts_.clients.add(std::move(client));
}

void Sessions::drop(Client& client, const char* why) {
    parts_.log(LogLevel::info, "%s %s: %u providers and %u triggers go", textOf(client.address).c_str(), why,
               client.registrations.count, client.triggers.count);
    // The client is removed last, because its registrations and notifications refer to it.
    parts_.registry.removeAll(client);
    parts_.notifier.forget(client);
    parts_.clients.remove(client);
}

void Sessions::dropAndTell(Client& client, const char* why) {
    // Copied, because drop() destroys the client.
    const sockaddr_in address = client.address;
    const bool isAgent = client.isAgent; // agents find out by themselves
    drop(client, why);
    if (!isAgent)
        askToLogIn(address);
}

void Sessions::execute(Client& client, const DSRequest& request, size_t size) {
    switch (request.requestType()) {
    case DSRequestAreYouAlive: answer(client, request, DSReplyAlive, DSStatusDone); break;
    case DSRequestLocate: locate(client, request); break;
    case DSRequestRegisterTrigger: registerTrigger(client, request, size); break;
    case DSRequestRegisterProvider: registerProvider(client, request, size); break;
    case DSRequestUnregisterProvider: unregisterProvider(client, request); break;
    case DSRequestUnregisterTrigger: unregisterTrigger(client, request); break;
    case DSRequestListAgents: listAgents(client, request); break;
    default: answer(client, request, DSReplyPlain, badRequest); break;
    }
}

void Sessions::locate(Client& client, const DSRequest& request) {
    auto* name = nc_cast<DSName>(request.request());
    if (!name)
        answer(client, request, DSReplyPlain, badRequest);
    else if (DSProvider* found = parts_.registry.find(*name))
        answerLocate(client, request, found);
    // Requests of agents are not passed on to other agents, because they could go round for ever.
    else if (client.isAgent || !parts_.inquiries.ask(client, request, *name))
        answerLocate(client, request, nullptr);
}

void Sessions::answerLocate(Client& client, const DSRequest& request, DSProvider* found) {
    answer(client, request, DSReplyPlain, found ? static_cast<int>(DSStatusDone) : noSuchService, found);
}

// The size of a record in a list, computed from the size of the request's datagram.
uint32_t Sessions::octetsOfRecord(size_t size) const {
    // The record is what the request has more than an empty one. A malformed request may be shorter.
    return static_cast<uint32_t>(size - std::min(size, emptyRequest_));
}

int Sessions::statusOf(Registry::Result result, const Client& client) {
    switch (result) {
    case Registry::Result::done:
    case Registry::Result::already: return DSStatusDone;
    case Registry::Result::missing: return notRegistered;
    case Registry::Result::full: break;
    }
    parts_.log(LogLevel::warning, "%s has reached a limit, its own or that of all: %u providers, %u triggers",
               textOf(client.address).c_str(), client.registrations.count, client.triggers.count);
    return limitReached;
}

void Sessions::registerProvider(Client& client, const DSRequest& request, size_t size) {
    auto* provider = nc_cast<DSProvider>(request.request());
    if (!provider) {
        answer(client, request, DSReplyPlain, badRequest);
        return;
    }
    // Set here, not taken from the client, because others ask this agent about the provider.
    provider->setAgentAddr(DSAddr(parts_.endpoint.port(), client.agentAddress));
    int status = tooLarge;
    // The notice is encoded to check its length only when the request is long enough to make it necessary.
    if (size + noticeOctets <= longestDatagram || parts_.notifier.octetsOf(provider) > 0)
        status = statusOf(parts_.registry.add(client, provider, octetsOfRecord(size)), client);
    answer(client, request, DSReplyPlain, status);
}

void Sessions::unregisterProvider(Client& client, const DSRequest& request) {
    const auto* provider = nc_cast<DSProvider>(request.request());
    const int status =
        provider ? statusOf(parts_.registry.remove(client, *provider), client) : static_cast<int>(badRequest);
    answer(client, request, DSReplyPlain, status);
}

void Sessions::registerTrigger(Client& client, const DSRequest& request, size_t size) {
    auto* name = nc_cast<DSName>(request.request());
    const int status = name ? statusOf(parts_.registry.addTrigger(client, name, octetsOfRecord(size)), client)
                            : static_cast<int>(badRequest);
    DSProvider* present = nullptr;
    if (status == DSStatusDone) {
        present = parts_.registry.find(*name);
        if (!present && !client.isAgent)
            present = parts_.links.find(*name);
    }
    answer(client, request, present ? DSReplyTrigger : DSReplyPlain, status, present);
    // For the first watcher only: later ones profit from what this agent has already asked for.
    if (status == DSStatusDone && !client.isAgent && parts_.registry.service(*name)->watchers == 1)
        parts_.links.watch(*name);
}

void Sessions::unregisterTrigger(Client& client, const DSRequest& request) {
    const auto* name = nc_cast<DSName>(request.request());
    const int status =
        name ? statusOf(parts_.registry.removeTrigger(client, *name), client) : static_cast<int>(badRequest);
    answer(client, request, DSReplyPlain, status);
}

void Sessions::listAgents(Client& client, const DSRequest& request) {
    answer(client, request, DSReplyPlain, DSStatusDone, NCRef<DSSet>(parts_.peers.addresses()).get());
}

void Sessions::receive(const DSReply& reply, const sockaddr_in& from) {
    if (reply.replyType() == DSReplyAlive) {
        // A process that was stopped and dropped meanwhile answers when it continues; it is asked to log in.
        // Agents find out by themselves.
        if (!parts_.watch.answered(reply, from) && !parts_.peers.isPeer(from))
            askToLogIn(from);
    } else if (Client* client = parts_.clients.find(from)) {
        Watch::heard(*client);
        if (reply.replyType() == DSReplyTriggerAcknowledged)
            parts_.notifier.acknowledged(*client, reply.requestNum());
        else if (reply.replyType() == DSReplyEndOfSession)
            client->leaving = true;
    }
}

void Sessions::unreachable(const DSProvider& provider) {
    // The holders of this registry are clients.
    if (Holder* holder = parts_.registry.holderOf(provider))
        parts_.watch.suspect(*static_cast<Client*>(holder));
    // Until the process is known to be dead, other providers of the name are found first.
    parts_.registry.putLast(provider);
}

} // namespace locd
