#include "locd/watch.h"

#include "agent/records/dsreq.h"

namespace locd {

Watch::Watch(Endpoint& endpoint, Clients& clients, double checkInterval, std::function<void(Client&)> gone)
    : endpoint_(endpoint), clients_(clients), limit_(static_cast<int64_t>(checkInterval * 1000)),
      gone_(std::move(gone)), ticker_([this] { sweep(); }) {
    ticker_.start(checkInterval / mostProbes);
}

void Watch::probe(Client& client) {
    ++client.probes;
    const NCRef<DSRequest> request(new DSRequest(DSRequestAreYouAlive, nullptr, client.id));
    endpoint_.send(*request, client.verifyAddress());
}

void Watch::suspect(Client& client) {
    if (client.probes == 0)
        probe(client);
}

void Watch::answered(const DSMessage& answer, const sockaddr_in& from) {
    Client* client = clients_.findById(cookieWord(answer.cookie()));
    if (!client)
        client = clients_.findByVerifyAddress(from.sin_addr.s_addr, portOf(from));
    if (client)
        heard(*client);
}

void Watch::sweep() {
    const int64_t now = nowMilliseconds();
    std::vector<Client*> vanished;
    clients_.forEach([&](Client& client) {
        if (client.probes == 0 && now - client.lastHeard < limit_)
            return;
        if (client.probes < mostProbes)
            probe(client);
        else
            vanished.push_back(&client);
    });
    for (Client* client : vanished)
        gone_(*client);
}

} // namespace locd
