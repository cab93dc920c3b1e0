#pragma once

#include "agent/records/dsmsg.h"
#include "locd/clients.h"
#include "locd/log.h"
#include "locd/notifier.h"
#include "locd/watch.h"

namespace locd {

class Inquiries;
class Links;
class Peers;

// Executes the requests of clients on their sessions.
class Sessions {
public:
    // The parts of the agent that requests use.
    struct Parts {
        Log& log;
        Endpoint& endpoint;
        Clients& clients;
        Registry& registry;
        Notifier& notifier;
        Watch& watch;
        Peers& peers;
        Inquiries& inquiries;
        Links& links;
    };
    explicit Sessions(const Parts& parts);

    // `size` is the size of the datagram.
    void receive(const DSRequest& request, const sockaddr_in& from, size_t size);
    // Answers a request of another protocol version, of which only `header` is known.
    void refuseVersion(const DSMessage& header, const sockaddr_in& from);
    // Processes an acknowledgement, or the answer to are-you-alive or to end of session.
    void receive(const DSReply& reply, const sockaddr_in& from);
    // Called when another process reports this provider as dead.
    void unreachable(const DSProvider& provider);

    // Answers a locate request for which other agents were asked; null when none has the service.
    void answerLocate(Client& client, const DSRequest& request, DSProvider* found);
    // Ends a session that this agent gives up and withdraws everything that the client has registered. If the
    // process still exists, it logs in again.
    void dropAndTell(Client& client, const char* why);

private:
    void answer(Client& client, const DSMessage& request, int replyType, int status,
                DSResource* object = nullptr);
    void login(const DSRequest& request, const sockaddr_in& from);
    void drop(Client& client, const char* why);
    void askToLogIn(const sockaddr_in& address);
    Client* admit(const DSRequest& request, const sockaddr_in& from, int& status);
    void answerPeer(const DSRequest& request, const sockaddr_in& from);
    void answerUnknown(const DSRequest& request, const sockaddr_in& from);
    void execute(Client& client, const DSRequest& request, size_t size);
    void locate(Client& client, const DSRequest& request);
    void registerProvider(Client& client, const DSRequest& request, size_t size);
    void unregisterProvider(Client& client, const DSRequest& request);
    void registerTrigger(Client& client, const DSRequest& request, size_t size);
    void unregisterTrigger(Client& client, const DSRequest& request);
    void listAgents(Client& client, const DSRequest& request);
    uint32_t octetsOfRecord(size_t size) const;
    int statusOf(Registry::Result result, const Client& client);

    Parts parts_;
    size_t emptyRequest_; // octets of a request without a record
};

} // namespace locd
