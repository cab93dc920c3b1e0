#pragma once

#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/ticker.h"

namespace locd {

// Notifies clients of providers that appear or disappear under the names that they wait for. Each
// notification is repeated, at growing intervals, until its client acknowledges it; after the fifth sending
// the client is reported as silent. Each client has one notification outstanding at a time.
class Notifier {
public:
    // Limits of the queued notifications and of the octets of their providers, for one client and in total
    // (see `hasShare`). A client that exceeds its share is passed to `overrun`.
    static constexpr size_t mostOfClient = 250'000;
    static constexpr size_t mostWaiting = 1'000'000;
    static constexpr size_t mostOctetsOfClient = size_t{16} * 1024 * 1024;
    static constexpr size_t mostOctets = size_t{64} * 1024 * 1024;

    // Called for a client that does not acknowledge, and once for one that is overrun. They are called while
    // other work is in progress, so the client must not be removed before that is done.
    struct Hooks {
        std::function<void(Client&)> silent;
        std::function<void(Client&)> overrun;
    };

    Notifier(Endpoint& endpoint, Hooks hooks);

    // Notifies every client with a trigger on the name. With `remote`, for reports of another agent, clients
    // that are agents are left out.
    void tell(const ServiceName& service, const Notice& notice, bool remote = false);
    // The size of a notification with this provider in octets; 0 when it does not fit a datagram.
    uint32_t octetsOf(DSProvider* provider);
    // Called when the client has acknowledged the notification with this number.
    void acknowledged(Client& client, uint32_t number);
    // Call when the client is leaving.
    void forget(Client& client);
    // The total number of queued notifications.
    size_t waiting() const { return waiting_; }

private:
    void enqueue(Client& client, const Notice& notice);
    void sendNext(Client& client);
    void settle(Client& client);
    void repeat();
    void repeat(Client& client);

    Endpoint& endpoint_;
    Hooks hooks_;
    NCRef<DSMessage> noRequest_; // the request that a notification formally answers
    Chain<Client, &Client::unacknowledged> unacknowledged_;
    size_t waiting_ = 0; // number of queued notices, and their octets
    size_t octets_ = 0;
    Ticker ticker_;
};

} // namespace locd
