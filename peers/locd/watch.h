#pragma once

#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/ticker.h"

namespace locd {

// Finds clients that have vanished. One that was silent for the check interval is asked, at its verify port,
// whether it is alive, eight times in the course of another interval; then it is gone. So a process that is
// busy with something else for less than that interval stays.
class Watch {
public:
    static constexpr int mostProbes = 8;

    // `gone` is called for each client that has vanished and removes it.
    Watch(Endpoint& endpoint, Clients& clients, double checkInterval, std::function<void(Client&)> gone);

    // Something came from the client.
    static void heard(Client& client) {
        client.lastHeard = nowMilliseconds();
        client.probes = 0;
    }
    // The client is said to be dead: asks at once.
    void suspect(Client& client);
    // An answer to are-you-alive came from this address. Its sender is known by the cookie; a process that
    // does not repeat cookies, by its verify port.
    void answered(const DSMessage& answer, const sockaddr_in& from);

private:
    void sweep();
    void probe(Client& client);

    Endpoint& endpoint_;
    Clients& clients_;
    int64_t limit_;
    std::function<void(Client&)> gone_;
    Ticker ticker_;
};

} // namespace locd
