#include "locd/watch.h"

#include "agent/records/dsmsg.h"

namespace locd {

Watch::Watch(Endpoint& endpoint, Clients& clients, double checkInterval, std::function<void(Client&)> gone)
    : endpoint_(endpoint), clients_(clients), limit_(static_cast<int64_t>(checkInterval * 1000)),
      gone_(std::move(gone)), ticker_([this] { sweep(); }) {
    // A client is asked eight times in one interval, once per round.
    ticker_.start(checkInterval / mostProbes);
}

void Watch::heard(Client& client) {
    client.lastHeard = client.sessionLastHeard = nowMilliseconds();
    client.probes = client.sessionProbes = 0;
}

void Watch::probe(const Client& client, const sockaddr_in& address) {
    endpoint_.send(*NCRef<DSRequest>(new DSRequest(DSRequestAreYouAlive, nullptr, client.id)), address);
}

void Watch::suspect(Client& client) {
    // A client that is already being asked is not asked more often.
    if (client.probes == 0) {
        ++client.probes;
        probe(client, client.verifyAddress());
    }
}

bool Watch::answered(const DSMessage& answer, const sockaddr_in& from) {
    const uint32_t id = cookieWord(answer.cookie());
    Client* client = clients_.findById(id);
    // The process may have lost this agent and logged in again: an answer to the former session counts too.
    if (!client)
        client = clients_.findByVerifyAddress(from.sin_addr.s_addr, portOf(from));
    // An answer without a number belongs to a request other than are-you-alive, such as the end of session.
    if (!client)
        return id == 0;
    if (keyOf(from) == client->key()) {
        heard(*client);
    } else {
        // The process is alive, but may use another agent now, so this says nothing about its session.
        client->lastHeard = nowMilliseconds();
        client->probes = 0;
    }
    return true;
}

// One step in asking a silent client. True when all questions have been asked without an answer.
bool Watch::hasVanished(Client& client, int64_t now) {
    const bool silent = client.probes > 0 || now - client.lastHeard >= limit_;
    const bool sessionSilent = client.probes >= mostProbes / 2 || client.sessionProbes > 0 ||
                               now - client.sessionLastHeard >= sessionIntervals * limit_;
    // Waits one round after the last question for its answer.
    if (client.probes == mostProbes || client.sessionProbes == mostProbes)
        return true;
    if (silent) {
        ++client.probes;
        probe(client, client.verifyAddress());
    }
    // Without a verify port the question has already been sent to this address.
    if (sessionSilent && client.verifyPort != 0) {
        ++client.sessionProbes;
        probe(client, client.address);
    }
    return false;
}

void Watch::sweep() {
    const int64_t now = nowMilliseconds();
    std::vector<Client*> vanished; // collected, because removing one changes the table
    clients_.forEach([&](Client& client) {
        if (hasVanished(client, now))
            vanished.push_back(&client);
    });
    for (Client* client : vanished)
        gone_(*client);
}

} // namespace locd
