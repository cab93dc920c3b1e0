#pragma once

#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/ticker.h"

namespace locd {

// Finds clients that have vanished. One that was silent for the check interval is asked, at its verify port,
// whether it is alive, eight times in the course of another interval, the last four times at its session's
// address too; then it is gone. So a process that does not answer for less than that interval stays.
//
// The verify port is that of the process, which may have gone over to another agent. So when nothing has come
// from the session's address for four intervals, that is asked in the same way.
class Watch {
public:
    static constexpr int mostProbes = 8;
    static constexpr int sessionIntervals = 4;

    // `gone` is called for each client that has vanished and removes it.
    Watch(Endpoint& endpoint, Clients& clients, double checkInterval, std::function<void(Client&)> gone);

    // Something came from the client's session.
    static void heard(Client& client);
    // The client is said to be dead: asks at once.
    void suspect(Client& client);
    // An answer to are-you-alive came from this address. Its sender is known by the cookie; a process that
    // does not repeat cookies, by its verify port. False when it is no client, but has been asked as one.
    bool answered(const DSMessage& answer, const sockaddr_in& from);

private:
    void sweep();
    bool hasVanished(Client& client, int64_t now);
    void probe(const Client& client, const sockaddr_in& address);

    Endpoint& endpoint_;
    Clients& clients_;
    int64_t limit_;
    std::function<void(Client&)> gone_;
    Ticker ticker_;
};

} // namespace locd
