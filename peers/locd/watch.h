#pragma once

#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/ticker.h"

namespace locd {

// Finds clients that have vanished. A client that was silent for the check interval is asked at its verify
// port whether it is alive, eight times during the next interval, the last four times also at its session's
// address; then it is removed. So a process that does not answer for less than that interval is kept.
//
// The verify port belongs to the process, which may use another agent now. So when nothing has come from the
// session's address for four intervals, that address is asked in the same way.
class Watch {
public:
    static constexpr int mostProbes = 8;
    static constexpr int sessionIntervals = 4;

    // `gone` is called for each vanished client and must remove it.
    Watch(Endpoint& endpoint, Clients& clients, double checkInterval, std::function<void(Client&)> gone);

    // Call when a message has come from the client's session.
    static void heard(Client& client);
    // Call when the client is reported dead: it is asked at once.
    void suspect(Client& client);
    // Call for an answer to are-you-alive from this address. The client is found by the cookie, or by its
    // verify port if the process does not repeat cookies. False when the sender was asked as a client but is
    // none any more.
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
