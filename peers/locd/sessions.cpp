#include "locd/sessions.h"

#include "agent/collections/dsset.h"
#include "agent/records/dslogin.h"
#include "locd/inquiries.h"
#include "locd/links.h"
#include "locd/peers.h"
#include "locd/statuses.h"

#include <cstring>

namespace locd {

namespace {

// What a notification holds beside the provider is never longer.
constexpr size_t roomForNotice = 256;

int statusOf(Registry::Result result) {
    switch (result) {
    case Registry::Result::done:
    case Registry::Result::already: return DSStatusDone;
    case Registry::Result::missing: return notRegistered;
    case Registry::Result::full: break;
    }
    return limitReached;
}

} // namespace

void Sessions::answer(Client& client, const DSMessage& request, int replyType, int status,
                      DSResource* object) {
    auto octets = rooms_.endpoint.send(*NCRef<DSReply>(new DSReply(replyType, request, status, object)),
                                       client.address);
    if (octets.empty())
        octets =
            rooms_.endpoint.send(*NCRef<DSReply>(new DSReply(replyType, request, tooLarge)), client.address);
    client.repeats.answered(octets);
}

void Sessions::refuseVersion(const DSMessage& header, const sockaddr_in& from) {
    rooms_.log("%s speaks another protocol version", textOf(from).c_str());
    rooms_.endpoint.send(*NCRef<DSReply>(new DSReply(DSReplyLogin, header, DSStatusVersionMismatch)), from);
}

void Sessions::receive(const DSRequest& request, const sockaddr_in& from, size_t size) {
    if (request.requestType() == DSRequestLocate && rooms_.peers.isPeer(request.cookie())) {
        answerPeer(request, from);
        return;
    }
    Client* client = rooms_.clients.find(from);
    if (!client) {
        if (request.requestType() == DSRequestLogin)
            login(request, from);
        else
            answerStranger(request, from);
        return;
    }
    Watch::heard(*client);
    switch (client->repeats.kindOf(request.msgNum())) {
    case Repeats::Kind::old: return;
    case Repeats::Kind::last: rooms_.endpoint.sendOctets(client->repeats.answer(), from); return;
    case Repeats::Kind::fresh: break;
    }
    if (request.requestType() == DSRequestLogin) {
        login(request, from);
    } else if (request.requestType() == DSRequestEndOfSession) {
        drop(*client, "has ended its session");
        answerStranger(request, from);
    } else {
        client->repeats.begin(request.msgNum());
        execute(*client, request, size);
    }
}

// Another agent asks for one of its clients. It asks many things at once, and what it asks changes nothing:
// no session is needed and repeats need no care.
void Sessions::answerPeer(const DSRequest& request, const sockaddr_in& from) {
    const auto* name = nc_cast<DSName>(request.request());
    DSProvider* found = name ? rooms_.registry.find(*name) : nullptr;
    const int status = found ? static_cast<int>(DSStatusDone) : noSuchService;
    rooms_.endpoint.send(*NCRef<DSReply>(new DSReply(DSReplyPlain, request, status, found)), from);
}

// A client that this agent does not know, because it was started anew or has given the client up, has to log
// in again.
void Sessions::answerStranger(const DSRequest& request, const sockaddr_in& from) {
    int type = DSReplyPlain;
    int status = DSStatusReconnect;
    if (request.requestType() == DSRequestAreYouAlive) {
        type = DSReplyAlive;
    } else if (request.requestType() == DSRequestEndOfSession) {
        type = DSReplyEndOfSession;
        status = DSStatusDone;
    }
    rooms_.endpoint.send(*NCRef<DSReply>(new DSReply(type, request, status)), from);
}

void Sessions::login(const DSRequest& request, const sockaddr_in& from) {
    int status = DSStatusDone;
    Client* client = admit(request, from, status);
    if (!client) {
        rooms_.log("%s is refused with status %d", textOf(from).c_str(), status);
        rooms_.endpoint.send(*NCRef<DSReply>(new DSReply(DSReplyLogin, request, status)), from);
        return;
    }
    client->repeats.begin(request.msgNum());
    answer(*client, request, DSReplyLogin, status);
}

// The client that logs in, new or known; or null with the status of the refusal.
Client* Sessions::admit(const DSRequest& request, const sockaddr_in& from, int& status) {
    const auto* login = nc_cast<DSLogin>(request.request());
    if (!login) {
        status = DSStatusRefused;
        return nullptr;
    }
    if (Client* known = rooms_.clients.find(from)) {
        if (known->processId == login->processId() && known->verifyPort == login->verifyPort()) {
            status = DSStatusKnownClient;
            return known;
        }
        drop(*known, "has given its port to another process");
    }
    const int verifyPort = login->verifyPort() > 0 && login->verifyPort() <= 65535 ? login->verifyPort() : 0;
    // A process that lost this agent comes back from another port, with the verify port that it had.
    if (Client* former = rooms_.clients.findByVerifyAddress(from.sin_addr.s_addr, verifyPort))
        drop(*former, "logs in anew");
    if (rooms_.clients.full()) {
        status = DSStatusRefused;
        return nullptr;
    }
    auto client = std::make_unique<Client>();
    client->address = from;
    client->processId = login->processId();
    client->verifyPort = verifyPort;
    client->isAgent = std::strcmp(login->loginName(), agentLoginName) == 0;
    client->agentAddress = rooms_.endpoint.publicAddress(from);
    Watch::heard(*client);
    rooms_.log("%s logs in, process %d, verify port %d", textOf(from).c_str(), client->processId, verifyPort);
    return &rooms_.clients.add(std::move(client));
}

void Sessions::drop(Client& client, const char* why) {
    rooms_.log("%s %s: %u providers and %u triggers go", textOf(client.address).c_str(), why,
               client.registrationCount, client.triggerCount);
    rooms_.registry.removeAll(client);
    rooms_.notifier.forget(client);
    rooms_.clients.remove(client);
}

void Sessions::execute(Client& client, const DSRequest& request, size_t size) {
    switch (request.requestType()) {
    case DSRequestAreYouAlive: answer(client, request, DSReplyAlive, DSStatusDone); break;
    case DSRequestLocate: locate(client, request); break;
    case DSRequestRegisterTrigger: registerTrigger(client, request); break;
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
    else if (DSProvider* found = rooms_.registry.find(*name))
        answerLocate(client, request, found);
    else if (client.isAgent || !rooms_.inquiries.ask(client, request, *name))
        answerLocate(client, request, nullptr);
}

void Sessions::answerLocate(Client& client, const DSRequest& request, DSProvider* found) {
    answer(client, request, DSReplyPlain, found ? static_cast<int>(DSStatusDone) : noSuchService, found);
}

void Sessions::registerProvider(Client& client, const DSRequest& request, size_t size) {
    auto* provider = nc_cast<DSProvider>(request.request());
    if (!provider) {
        answer(client, request, DSReplyPlain, badRequest);
        return;
    }
    provider->setAgentAddr(DSAddr(rooms_.endpoint.port(), in_addr{client.agentAddress}));
    int status = tooLarge;
    if (size + roomForNotice <= longestDatagram || rooms_.notifier.fits(provider))
        status = statusOf(rooms_.registry.add(client, provider));
    answer(client, request, DSReplyPlain, status);
}

void Sessions::unregisterProvider(Client& client, const DSRequest& request) {
    const auto* provider = nc_cast<DSProvider>(request.request());
    answer(client, request, DSReplyPlain,
           provider ? statusOf(rooms_.registry.remove(client, *provider)) : static_cast<int>(badRequest));
}

void Sessions::registerTrigger(Client& client, const DSRequest& request) {
    auto* name = nc_cast<DSName>(request.request());
    const int status = name ? statusOf(rooms_.registry.addTrigger(client, name)) : badRequest;
    DSProvider* present = status == DSStatusDone ? rooms_.registry.find(*name) : nullptr;
    answer(client, request, present ? DSReplyTrigger : DSReplyPlain, status, present);
    if (status == DSStatusDone && !present && !client.isAgent)
        rooms_.links.watch(*name);
}

void Sessions::unregisterTrigger(Client& client, const DSRequest& request) {
    const auto* name = nc_cast<DSName>(request.request());
    answer(client, request, DSReplyPlain,
           name ? statusOf(rooms_.registry.removeTrigger(client, *name)) : static_cast<int>(badRequest));
}

void Sessions::listAgents(Client& client, const DSRequest& request) {
    answer(client, request, DSReplyPlain, DSStatusDone, NCRef<DSSet>(rooms_.peers.addresses()).get());
}

void Sessions::receive(const DSReply& reply, const sockaddr_in& from) {
    if (reply.replyType() == DSReplyAlive) {
        rooms_.watch.answered(reply, from);
    } else if (Client* client = rooms_.clients.find(from)) {
        Watch::heard(*client);
        if (reply.replyType() == DSReplyTriggerAcknowledged)
            rooms_.notifier.acknowledged(*client, reply.requestNum());
        else if (reply.replyType() == DSReplyEndOfSession)
            client->leaving = true;
    }
}

void Sessions::unreachable(const DSProvider& provider) {
    if (Holder* holder = rooms_.registry.holderOf(provider))
        rooms_.watch.suspect(*static_cast<Client*>(holder));
}

} // namespace locd
