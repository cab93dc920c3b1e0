#pragma once

// A location agent: one or more of them make a domain, all on one UDP port.
//
// Agent (this file) reads the datagrams and passes each message to the part that it concerns. Endpoint holds
// the sockets, wire.h turns datagrams into messages. Sessions answers the requests of clients, which Clients
// keeps; Registry knows their providers and triggers, Notifier tells of changes, Watch finds clients that
// have vanished. Lists serves whole lists over TCP. Peers knows the other agents, HostLookup the addresses of
// those that are named; Inquiries asks them for what is not registered here, Links has triggers there.
// Signals and Log face the operator.

#include "locd/inquiries.h"
#include "locd/links.h"
#include "locd/lists.h"
#include "locd/options.h"
#include "locd/peers.h"
#include "locd/sessions.h"

#include <optional>

namespace locd {

class Agent : public dpIOHandler, private RegistryObserver {
public:
    Agent(const Options& options, Log& log);
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;
    ~Agent() override;

    // Opens the sockets, and serves from the global dispatcher from then on. The result is the port that
    // could not be bound, with errno set; nothing when all is well.
    std::optional<int> start();
    int port() const { return endpoint_.port(); }

    // Withdraws this agent: the clients and the other agents are told, and only their answers are taken from
    // then on.
    void beginLeaving();
    // Tells those clients that have not answered, by the same message each time.
    void sendFarewell();
    // All clients have answered.
    bool hasLeft() const;
    // Writes to the log how many clients, names and agents there are, and what memory they take.
    void reportStatus();

    int inputReady(int fd) override;

private:
    void receive(size_t size, const sockaddr_in& from);
    void receive(const DSAMessage& message, const sockaddr_in& from);
    void dropOverrun();

    void providerUp(const Registration& registration) override;
    void providerDown(const Registration& registration) override;
    void watchEnds(const ServiceName& service) override;

    const Options options_;
    Log& log_;
    Endpoint endpoint_;
    Decoder decoder_;
    Clients clients_;
    Registry registry_;
    Notifier notifier_;
    Watch watch_;
    Peers peers_;
    Inquiries inquiries_;
    Links links_;
    Sessions sessions_;
    Lists lists_;
    bool leaving_ = false;
    NCRef<DSRequest> farewell_; // made when the agent leaves
    uint64_t malformed_ = 0;    // datagrams dropped
    const int64_t started_ = nowMilliseconds();
    std::vector<sockaddr_in> overrun_; // clients that are dropped when the work in hand is done
};

} // namespace locd
