#include "locd/notifier.h"

#include "agent/records/dsmsg.h"

namespace locd {

namespace {

// The resolution of the time-outs, which are whole seconds.
constexpr double tickSeconds = 0.25;

} // namespace

// The dummy request has number 0: clients number requests from the time of day, so none waits for that
// number.
Notifier::Notifier(Endpoint& endpoint, Hooks hooks)
    : endpoint_(endpoint), hooks_(std::move(hooks)),
      noRequest_(standInRequest(0, harbolance::MessageCookie(0, 0))), ticker_([this] { repeat(); }) {}

void Notifier::tell(const ServiceName& service, const Notice& notice, bool remote) {
    for (const Trigger* trigger = service.triggers.front(); trigger;) {
        // In this registry all holders are clients. The next trigger is read first, because enqueue() may
        // change the chain.
        auto& client = *static_cast<Client*>(trigger->holder);
        trigger = decltype(service.triggers)::after(trigger);
        if (!remote || !client.isAgent)
            enqueue(client, notice);
    }
}

uint32_t Notifier::octetsOf(DSProvider* provider) {
    return endpoint_.sizeOf(
        *NCRef<DSReply>(new DSReply(DSReplyTrigger, *noRequest_, DSStatusDone, provider)));
}

void Notifier::enqueue(Client& client, const Notice& notice) {
    // Made on demand, because most clients never need one.
    if (!client.outbox)
        client.outbox = std::make_unique<Outbox>();
    Outbox& outbox = *client.outbox;
    // Reported once: a client that leaves with its providers may cause one notice each, and clients that are
    // overrun are removed only after that.
    if (outbox.overrun)
        return;
    if (!hasShare(waiting_, mostWaiting, outbox.waiting.size(), mostOfClient, 1) ||
        !hasShare(octets_, mostOctets, outbox.octets, mostOctetsOfClient, notice.octets)) {
        outbox.overrun = true;
        hooks_.overrun(client);
        return;
    }
    outbox.waiting.push_back(notice);
    outbox.octets += notice.octets;
    octets_ += notice.octets;
    ++waiting_;
    if (outbox.sent.empty())
        sendNext(client);
}

// Sends the first queued notification, if none is waiting for acknowledgement.
void Notifier::sendNext(Client& client) {
    Outbox& outbox = *client.outbox;
    // One that does not fit a datagram is skipped; such a provider cannot be registered anyway.
    while (outbox.sent.empty() && !outbox.waiting.empty()) {
        const Notice notice = outbox.waiting.front();
        outbox.waiting.pop_front();
        outbox.octets -= notice.octets;
        octets_ -= notice.octets;
        --waiting_;
        const NCRef<DSReply> reply(
            new DSReply(DSReplyTrigger, *noRequest_, notice.status, notice.provider.get()));
        const auto octets = endpoint_.send(*reply, client.address);
        outbox.sent.assign(octets.begin(), octets.end());
        outbox.number = reply->msgNum();
    }
    if (outbox.sent.empty()) {
        client.outbox.reset();
        return;
    }
    if (!outbox.rtt.valid)
        outbox.rtt.reset();
    outbox.rtt.nrexmt = 0;
    outbox.due = nowMilliseconds() + int64_t{1000} * outbox.rtt.start();
    unacknowledged_.append(&client);
    if (!ticker_.running())
        ticker_.start(tickSeconds);
}

void Notifier::settle(Client& client) {
    client.outbox->sent.clear();
    unacknowledged_.remove(&client);
    if (unacknowledged_.empty())
        ticker_.stop();
}

void Notifier::acknowledged(Client& client, uint32_t number) {
    // A late copy of an acknowledgement, or one that the client has invented.
    if (!client.outbox || client.outbox->sent.empty() || client.outbox->number != number)
        return;
    client.outbox->rtt.stop(); // the estimate is per client, because networks differ
    settle(client);
    sendNext(client);
}

void Notifier::forget(Client& client) {
    if (!client.outbox)
        return;
    if (!client.outbox->sent.empty())
        settle(client);
    waiting_ -= client.outbox->waiting.size();
    octets_ -= client.outbox->octets;
    client.outbox.reset();
}

void Notifier::repeat() {
    const int64_t now = nowMilliseconds();
    // A repeated one keeps its place in the chain.
    for (Client* client = unacknowledged_.front(); client;) {
        Client* const due = client;
        client = decltype(unacknowledged_)::after(client);
        if (due->outbox->due <= now)
            repeat(*due);
    }
}

// A client that answers are-you-alive gets its notification in the end, even after many losses.
void Notifier::repeat(Client& client) {
    Outbox& outbox = *client.outbox;
    // When the limit is reached the estimate is given up; from then on the interval stays constant.
    if (outbox.rtt.nrexmt <= NCrtt::maxRetransmissions && ++outbox.rtt.nrexmt > NCrtt::maxRetransmissions)
        outbox.rtt.valid = 0; // the next notification starts with a new estimate
    if (!outbox.rtt.valid)
        hooks_.silent(client);
    endpoint_.sendOctets(outbox.sent, client.address);
    outbox.due = nowMilliseconds() + int64_t{1000} * outbox.rtt.start();
}

} // namespace locd
