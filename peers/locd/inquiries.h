#pragma once

#include "agent/records/dsprovid.h"
#include "agent/records/dsreply.h"
#include "agent/records/dsreq.h"
#include "locd/clients.h"
#include "locd/endpoint.h"
#include "locd/peers.h"
#include "locd/tables.h"
#include "locd/ticker.h"

namespace locd {

// Services that clients look for and that nobody has registered here: all other agents are asked at once, and
// the first that has the service is believed. An agent that does not answer is asked once more; in the end,
// well before the client would ask again, the service is not there.
class Inquiries {
public:
    static constexpr uint32_t most = 4096;

    // `done` gives the answer to the client; null for none. It is not called for a client that is gone or
    // has gone on to another request.
    using Done = std::function<void(Client&, const DSRequest&, DSProvider*)>;

    Inquiries(Endpoint& endpoint, const Clients& clients, const Peers& peers, Done done);

    // False when there is nobody to ask, or too much is being asked.
    bool ask(const Client& client, const DSRequest& request, DSName& name);
    // False when the reply answers none of the questions.
    bool take(const DSReply& reply);

private:
    struct Inquiry {
        sockaddr_in client;
        NCRef<DSRequest> request;
        NCRef<DSRequest> question;
        size_t unanswered;
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

    void askAll(const Inquiry& inquiry);
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
