#include "locd/links.h"

#include "agent/records/dslogin.h"

#include <algorithm>
#include <cstring>

namespace locd {

namespace {

// The resolution of the time-outs, which are whole seconds.
constexpr double tickSeconds = 0.25;
// An agent announces itself in several ways at once; its list of agents is not requested each time.
constexpr int64_t listMilliseconds = 5'000;
// Size of a name's fields other than its text.
constexpr size_t fieldOctets = 32;

// With its value a name may be as long as a datagram. Names are compared without the value.
NCRef<DSName> withoutValue(DSName& name) {
    return name.value() ? new DSName(name.name(), name.argType(), name.serviceType()) : &name;
}

} // namespace

Links::Links(Log& log, Endpoint& endpoint, Peers& peers, const Registry& registry, Notifier& notifier)
    : log_(log), endpoint_(endpoint), peers_(peers), registry_(registry), notifier_(notifier), remote_(*this),
      ticker_([this] { repeat(); }) {}

Links::Link* Links::find(const sockaddr_in& address) const {
    for (const auto& link : links_) {
        if (keyOf(link->address) == keyOf(address))
            return link.get();
    }
    return nullptr;
}

// An agent of another implementation has no number and does not support agents as clients.
void Links::heard(const Peer& peer) {
    if (peer.id == 0)
        return;
    Link* link = find(peer.address);
    if (!link) {
        links_.push_back(std::make_unique<Link>());
        link = links_.back().get();
        link->address = peer.address;
    }
    if (!link->working)
        begin(*link);
    // While a request is pending, the list of agents is requested another time; it is not urgent.
    else if (!link->request && nowMilliseconds() - link->listed >= listMilliseconds)
        add(*link, DSRequestListAgents);
}

void Links::left(const Peer& peer) {
    // The providers that this agent reported are removed from `remote_` before the link, their holder, is
    // destroyed.
    if (Link* link = find(peer.address))
        stop(*link);
    std::erase_if(links_, [&](const auto& link) { return keyOf(link->address) == keyOf(peer.address); });
    if (links_.empty())
        ticker_.stop();
}

// The link is stopped until the agent announces itself again. Its reports are no longer known to be true, but
// clients are not notified: processes that lose their agent register with another one.
void Links::stop(Link& link) {
    remote_.removeAll(link);
    link.tasks.clear();
    link.octets = 0;
    link.request = nullptr;
    link.working = false;
}

// Logs in, asks for the agents, and sends all names that clients wait for.
void Links::begin(Link& link) {
    stop(link);
    link.working = true;
    link.overrun = false;
    link.notified = false;
    // Entered directly and not by add(), which would send the first before the second is queued. The order
    // matters: without a session the other requests are refused.
    link.tasks.push_back({DSRequestLogin, new DSLogin(agentLoginName), 0});
    link.tasks.push_back({DSRequestListAgents, nullptr, 0});
    sendNext(link);
    registry_.forEachService([&](const ServiceName& service) {
        // Triggers of other agents are not passed on: these agents have links to all agents themselves.
        if (service.watchers > 0)
            add(link, DSRequestRegisterTrigger, withoutValue(*service.name).get());
    });
    if (!ticker_.running())
        ticker_.start(tickSeconds);
}

void Links::watch(DSName& name) {
    const NCRef<DSName> told = withoutValue(name);
    for (const auto& link : links_)
        add(*link, DSRequestRegisterTrigger, told.get());
}

void Links::unwatch(DSName& name) {
    // Removed one by one with a new look-up each time, because the service is destroyed with its last
    // registration.
    for (const ServiceName* service = remote_.service(name); service; service = remote_.service(name)) {
        const Registration& first = *service->registrations.front();
        // Held during the call, because the argument is part of what is removed.
        remote_.remove(*first.holder, *NCRef<DSProvider>(first.provider));
    }
    const NCRef<DSName> told = withoutValue(name);
    for (const auto& link : links_)
        add(*link, DSRequestUnregisterTrigger, told.get());
}

void Links::add(Link& link, int type, DSName* name) {
    // The names that clients wait for will be sent when the link begins again.
    if (!link.working)
        return;
    const size_t octets = name ? std::strlen(name->name()) + fieldOctets : 0;
    // Limits the memory for an agent that does not answer.
    if (link.octets + octets > mostOctets) {
        link.overrun = true;
        return;
    }
    link.tasks.push_back({type, name, octets});
    link.octets += octets;
    if (!link.request)
        sendNext(link);
}

void Links::sendNext(Link& link) {
    link.request = nullptr;
    if (link.tasks.empty()) {
        if (link.overrun) // names that could not be queued are sent now
            begin(link);
        return;
    }
    const Task task = link.tasks.front();
    link.tasks.pop_front();
    link.octets -= task.octets;
    if (task.type == DSRequestListAgents)
        link.listed = nowMilliseconds();
    link.request = new DSRequest(task.type, task.object.get(), peers_.id());
    // The round-trip estimate is kept over requests; it is reset only after the link has failed.
    if (!link.rtt.valid)
        link.rtt.reset();
    link.rtt.nrexmt = 0;
    link.due = nowMilliseconds() + int64_t{1000} * link.rtt.start();
    endpoint_.send(*link.request, link.address);
}

bool Links::take(DSReply& reply, const sockaddr_in& from) {
    Link* link = find(from);
    if (!link)
        return false;
    if (link->request && reply.answers(*link->request)) {
        answered(*link, reply);
        return true;
    }
    if (reply.replyType() != DSReplyTrigger)
        return false;
    // Copies are acknowledged too, because the first acknowledgement may have been lost.
    endpoint_.send(*NCRef<DSReply>(new DSReply(DSReplyTriggerAcknowledged, reply, DSStatusDone)), from);
    // The other agent sends notifications one by one with growing numbers: one that is not newer is a copy.
    const bool isNewer = !link->notified || static_cast<int32_t>(reply.msgNum() - link->lastNotification) > 0;
    if (isNewer) {
        link->notified = true;
        link->lastNotification = reply.msgNum();
        notify(*link, reply);
    }
    return true;
}

void Links::answered(Link& link, DSReply& reply) {
    link.rtt.stop();
    const int type = link.request->requestType();
    // "Known client" is a success too: the other agent has kept the session.
    const bool loggedIn = reply.replyOk() || reply.status() == DSStatusKnownClient;
    if (type == DSRequestLogin && !loggedIn) {
        stop(link);
        return;
    }
    if (reply.status() == DSStatusReconnect) {
        begin(link); // the agent has restarted or dropped this one
        return;
    }
    // The answer to a trigger may contain an existing provider, in the form of a notification.
    if (reply.replyType() == DSReplyTrigger)
        notify(link, reply);
    const auto* agents = type == DSRequestListAgents ? nc_cast<DSSet>(reply.reply()) : nullptr;
    if (agents) {
        for (const DSResource* element : *agents) {
            if (const auto* address = nc_cast<DSAddr>(element))
                peers_.mentioned(address->socketAddress(), link.address);
        }
    }
    sendNext(link);
}

// Passes on a report of another agent. A provider may be reported twice: by a notification, and by the answer
// to a trigger that was sent at the same time.
void Links::notify(Link& link, DSReply& reply) {
    auto* provider = nc_cast<DSProvider>(reply.reply());
    const ServiceName* service = provider ? registry_.service(provider->name()) : nullptr;
    const uint32_t octets = service ? notifier_.octetsOf(provider) : 0;
    // No client waits for it any more, or its notification would not fit in a datagram.
    if (octets == 0)
        return;
    const bool isDown = reply.status() == DSStatusProviderDown;
    if (isDown)
        remote_.remove(link, *provider);
    else if (remote_.add(link, provider, octets) == Registry::Result::already)
        return;
    notifier_.tell(*service, {provider, reply.status(), octets}, true);
}

void Links::repeat() {
    const int64_t now = nowMilliseconds();
    for (const auto& link : links_) {
        if (link->request && link->due <= now)
            repeat(*link);
    }
}

void Links::repeat(Link& link) {
    if (++link.rtt.nrexmt > NCrtt::maxRetransmissions) {
        log_(LogLevel::info, "agent %s does not answer", textOf(link.address).c_str());
        link.rtt.valid = 0;
        stop(link);
        return;
    }
    endpoint_.send(*link.request, link.address);
    link.due = nowMilliseconds() + int64_t{1000} * link.rtt.start();
}

} // namespace locd
