#pragma once

#include "agent/records/dsmsg.h"
#include "agent/records/dsprovid.h"
#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/peers.h"
#include "locd/tables.h"
#include "locd/ticker.h"

namespace locd {

// Services that clients look for and that are not registered here. All other agents are asked at once, and
// the first provider that one of them returns is the answer. An agent that does not answer is asked once
// more. The inquiry ends without a provider well before the client would repeat its request.
class Inquiries {
public:
    static constexpr uint32_t most = 4096;

    // `done` sends the answer to the client; null for no provider. It is not called when the client is gone.
    using Done = std::function<void(Client&, const DSRequest&, DSProvider*)>;

    Inquiries(Endpoint& endpoint, const Clients& clients, const Peers& peers, Done done);

    // False when there is no other agent, or there are too many inquiries.
    bool ask(const Client& client, const DSRequest& request, DSName& name);
    // False when the reply belongs to none of the inquiries.
    bool take(const DSReply& reply, const sockaddr_in& from);
    uint32_t size() const { return inquiries_.size(); }

private:
    struct Inquiry {
        uint32_t client; // its number
        NCRef<DSRequest> request;
        NCRef<DSRequest> question;
        std::vector<sockaddr_in> unanswered; // the agents that have not answered
        int64_t since;
        bool repeated;
    };
    struct Traits : GrowAtHalf {
        using Entry = std::unique_ptr<Inquiry>;
        static bool isFree(const Entry& entry) { return !entry; }
        static uint32_t hash(uint32_t number) { return number; }
        static uint32_t hash(const Entry& entry) { return entry->question->msgNum(); }
        static bool equal(const Entry& stored, uint32_t number) { return hash(stored) == number; }
    };

    void send(const Inquiry& inquiry);
    void finish(uint32_t number, DSProvider* found);
    void tick();

    Endpoint& endpoint_;
    const Clients& clients_;
    const Peers& peers_;
    Done done_;
    harbolance::HashTable<Traits> inquiries_;
    Ticker ticker_;
};

} // namespace locd
