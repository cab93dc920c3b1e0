#include "locd/notifier.h"

#include "agent/records/dsreply.h"

namespace locd {

namespace {

// How finely the time-outs, whole seconds, are watched.
constexpr double tickSeconds = 0.25;

} // namespace

// Number 0: clients count up from the time of day, so none waits for an answer to a request of that number.
Notifier::Notifier(Endpoint& endpoint, Troubles troubles)
    : endpoint_(endpoint), troubles_(std::move(troubles)), nothing_(standInRequest(0, DSCookie(0, 0))),
      ticker_([this] { repeat(); }) {}

void Notifier::tell(const ServiceName& service, DSProvider* provider, int status, bool remote) {
    for (const Trigger* trigger = service.triggers.front(); trigger;) {
        auto& client = *static_cast<Client*>(trigger->holder);
        trigger = decltype(service.triggers)::after(trigger);
        if (!remote || !client.isAgent)
            enqueue(client, provider, status);
    }
}

bool Notifier::fits(DSProvider* provider) {
    return 0 < endpoint_.sizeOf(*NCRef<DSReply>(new DSReply(DSReplyTrigger, *nothing_, DSStatusDone, provider)));
}

void Notifier::enqueue(Client& client, DSProvider* provider, int status) {
    if (!client.outbox)
        client.outbox = std::make_unique<Outbox>();
    Outbox& outbox = *client.outbox;
    if (outbox.waiting.size() >= mostOfClient || waiting_ >= mostWaiting) {
        troubles_.overrun(client);
        return;
    }
    outbox.waiting.push_back({provider, status});
    ++waiting_;
    if (outbox.octets.empty())
        sendNext(client);
}

// Nothing is on its way: the first that waits leaves.
void Notifier::sendNext(Client& client) {
    Outbox& outbox = *client.outbox;
    while (outbox.octets.empty() && !outbox.waiting.empty()) {
        const Notice notice = outbox.waiting.front();
        outbox.waiting.pop_front();
        --waiting_;
        const NCRef<DSReply> reply(
            new DSReply(DSReplyTrigger, *nothing_, notice.status, notice.provider.get()));
        const auto octets = endpoint_.send(*reply, client.address);
        outbox.octets.assign(octets.begin(), octets.end());
        outbox.number = reply->msgNum();
    }
    if (outbox.octets.empty()) {
        client.outbox.reset();
        return;
    }
    if (!outbox.rtt.valid)
        outbox.rtt.reset();
    outbox.rtt.nrexmt = 0;
    outbox.due = nowMilliseconds() + 1000 * outbox.rtt.start();
    unacknowledged_.append(&client);
    if (!ticker_.running())
        ticker_.start(tickSeconds);
}

void Notifier::settle(Client& client) {
    client.outbox->octets.clear();
    unacknowledged_.remove(&client);
    if (unacknowledged_.empty())
        ticker_.stop();
}

void Notifier::acknowledged(Client& client, uint32_t number) {
    if (!client.outbox || client.outbox->octets.empty() || client.outbox->number != number)
        return;
    client.outbox->rtt.stop();
    settle(client);
    sendNext(client);
}

void Notifier::forget(Client& client) {
    if (!client.outbox)
        return;
    if (!client.outbox->octets.empty())
        settle(client);
    waiting_ -= client.outbox->waiting.size();
    client.outbox.reset();
}

void Notifier::repeat() {
    const int64_t now = nowMilliseconds();
    for (Client* client = unacknowledged_.front(); client;) {
        Client* const due = client;
        client = decltype(unacknowledged_)::after(client);
        if (due->outbox->due <= now)
            repeat(*due);
    }
}

void Notifier::repeat(Client& client) {
    Outbox& outbox = *client.outbox;
    if (++outbox.rtt.nrexmt > NCrtt::maxRetransmissions) {
        outbox.rtt.valid = 0;
        settle(client);
        sendNext(client);
        troubles_.silent(client);
        return;
    }
    endpoint_.sendOctets(outbox.octets, client.address);
    outbox.due = nowMilliseconds() + 1000 * outbox.rtt.start();
}

} // namespace locd
