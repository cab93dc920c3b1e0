#include "locd/links.h"

#include "agent/records/dslogin.h"

#include <algorithm>

namespace locd {

namespace {

// How finely the time-outs, whole seconds, are watched.
constexpr double tickSeconds = 0.25;

} // namespace

Links::Links(const Log& log, Endpoint& endpoint, const Peers& peers, const Registry& registry,
             Notifier& notifier)
    : log_(log), endpoint_(endpoint), peers_(peers), registry_(registry), notifier_(notifier),
      ticker_([this] { repeat(); }) {}

Links::Link* Links::find(const sockaddr_in& address) const {
    for (const auto& link : links_) {
        if (keyOf(link->address) == keyOf(address))
            return link.get();
    }
    return nullptr;
}

// An agent of another make has no number and knows nothing of agents as clients.
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
    else if (!link->request)
        addErrand(*link, DSRequestAreYouAlive, nullptr);
}

void Links::left(const Peer& peer) {
    std::erase_if(links_, [&](const auto& link) { return keyOf(link->address) == keyOf(peer.address); });
    if (links_.empty())
        ticker_.stop();
}

// Logs in and tells all that is waited for.
void Links::begin(Link& link) {
    link.errands.clear();
    link.request = nullptr;
    link.working = true;
    link.noticed = false;
    const NCRef<DSLogin> login(new DSLogin(agentLoginName));
    link.errands.push_back({DSRequestLogin, login.get()});
    registry_.forEachService([&](const ServiceName& service) {
        if (service.watchers > 0 && link.errands.size() < mostErrands)
            link.errands.push_back({DSRequestRegisterTrigger, service.name.get()});
    });
    sendNext(link);
    if (!ticker_.running())
        ticker_.start(tickSeconds);
}

void Links::watch(DSName& name) {
    for (const auto& link : links_)
        addErrand(*link, DSRequestRegisterTrigger, &name);
}

void Links::unwatch(DSName& name) {
    for (const auto& link : links_)
        addErrand(*link, DSRequestUnregisterTrigger, &name);
}

void Links::addErrand(Link& link, int type, DSResource* object) {
    if (!link.working || link.errands.size() >= mostErrands)
        return;
    link.errands.push_back({type, object});
    if (!link.request)
        sendNext(link);
}

void Links::sendNext(Link& link) {
    link.request = nullptr;
    if (link.errands.empty())
        return;
    const Errand errand = link.errands.front();
    link.errands.pop_front();
    link.request = new DSRequest(errand.type, errand.object.get(), peers_.id());
    if (!link.rtt.valid)
        link.rtt.reset();
    link.rtt.nrexmt = 0;
    link.due = nowMilliseconds() + 1000 * link.rtt.start();
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
    endpoint_.send(*NCRef<DSReply>(new DSReply(DSReplyTriggerAcknowledged, reply, DSStatusDone)), from);
    const bool repeated = link->noticed && link->lastNotice == reply.msgNum();
    link->noticed = true;
    link->lastNotice = reply.msgNum();
    if (!repeated)
        handOn(reply.reply(), reply.status());
    return true;
}

void Links::answered(Link& link, const DSReply& reply) {
    link.rtt.stop();
    if (reply.status() == DSStatusReconnect) {
        // The agent was started anew or has given this one up. When it refuses the login too, that is for
        // later.
        const bool refused = link.request->requestType() == DSRequestLogin;
        link.request = nullptr;
        link.working = false;
        if (!refused)
            begin(link);
        return;
    }
    if (reply.replyType() == DSReplyTrigger)
        handOn(reply.reply(), reply.status());
    sendNext(link);
}

void Links::handOn(DSResource* object, int status) {
    auto* provider = nc_cast<DSProvider>(object);
    const ServiceName* service = provider ? registry_.service(provider->name()) : nullptr;
    if (service && notifier_.fits(provider))
        notifier_.tell(*service, provider, status, true);
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
        log_("agent %s does not answer", textOf(link.address).c_str());
        link.rtt.valid = 0;
        link.working = false;
        link.request = nullptr;
        link.errands.clear();
        return;
    }
    endpoint_.send(*link.request, link.address);
    link.due = nowMilliseconds() + 1000 * link.rtt.start();
}

} // namespace locd
