#pragma once

#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/ticker.h"

namespace locd {

// Tells clients what becomes of the providers that they wait for. Each notification is repeated at growing
// intervals until its client acknowledges it, five sendings in all; one client has one on its way at a time.
class Notifier {
public:
    // Notifications that may wait, for one client and in all. A client that has more coming is beyond
    // catching up: it is given to `overrun`.
    static constexpr size_t mostOfClient = 250'000;
    static constexpr size_t mostWaiting = 1'000'000;

    // Told of a client that does not acknowledge, and of one that has too much waiting. Called in the midst
    // of other work: the client must stay for the moment.
    struct Troubles {
        std::function<void(Client&)> silent;
        std::function<void(Client&)> overrun;
    };

    Notifier(Endpoint& endpoint, Troubles troubles);

    // To every client with a trigger on the name; with `remote`, what another agent has told, not to agents.
    void tell(const ServiceName& service, DSProvider* provider, int status, bool remote = false);
    // Whether a notification of this provider fits a datagram.
    bool fits(DSProvider* provider);
    // The client has acknowledged the notification with this number.
    void acknowledged(Client& client, uint32_t number);
    // The client is leaving.
    void forget(Client& client);

private:
    void enqueue(Client& client, DSProvider* provider, int status);
    void sendNext(Client& client);
    void settle(Client& client);
    void repeat();
    void repeat(Client& client);

    Endpoint& endpoint_;
    Troubles troubles_;
    NCRef<DSMessage> nothing_; // stands for the request that a notification does not answer
    Chain<Client, &Client::unacknowledged> unacknowledged_;
    size_t waiting_ = 0;
    Ticker ticker_;
};

} // namespace locd
