#pragma once

#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/ticker.h"

namespace locd {

// Tells clients of the providers that come and go under the names that they wait for. Each notification is
// repeated until its client acknowledges it, at growing intervals; after the fifth sending the client counts
// as silent, which others find out. A client has one on its way at a time.
class Notifier {
public:
    // Notifications that may wait, and the octets of their providers, for one client and in all (see
    // `hasShare`). A client whose share is used up does not keep up: it is given to `overrun`.
    static constexpr size_t mostOfClient = 250'000;
    static constexpr size_t mostWaiting = 1'000'000;
    static constexpr size_t mostOctetsOfClient = size_t{16} * 1024 * 1024;
    static constexpr size_t mostOctets = size_t{64} * 1024 * 1024;

    // Told of a client that does not acknowledge, and once of one that does not keep up. Called while other
    // work is in hand: the client must not be removed until that is done.
    struct Hooks {
        std::function<void(Client&)> silent;
        std::function<void(Client&)> overrun;
    };

    Notifier(Endpoint& endpoint, Hooks hooks);

    // To every client with a trigger on the name. With `remote`, which is for what another agent has told,
    // agents among the clients hear nothing.
    void tell(const ServiceName& service, const Notice& notice, bool remote = false);
    // Of a notification of this provider; 0 when it does not fit a datagram.
    uint32_t octetsOf(DSProvider* provider);
    // The client has acknowledged the notification with this number.
    void acknowledged(Client& client, uint32_t number);
    // The client is leaving.
    void forget(Client& client);
    // Notifications that wait, in all.
    size_t waiting() const { return waiting_; }

private:
    void enqueue(Client& client, const Notice& notice);
    void sendNext(Client& client);
    void settle(Client& client);
    void repeat();
    void repeat(Client& client);

    Endpoint& endpoint_;
    Hooks hooks_;
    NCRef<DSMessage> noRequest_; // what a notification answers: it takes the place of a request
    Chain<Client, &Client::unacknowledged> unacknowledged_;
    size_t waiting_ = 0; // notices in outboxes, and their octets
    size_t octets_ = 0;
    Ticker ticker_;
};

} // namespace locd
