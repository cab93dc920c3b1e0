#pragma once

// A location agent: one or more of them make a domain, all on one UDP port.
//
// Agent (this file) reads the datagrams and hands each message to whom it concerns. Endpoint holds the
// sockets, wire.h turns datagrams into messages. Sessions answers the requests of clients, which Clients
// keeps; Registry knows their providers and triggers, Notifier tells of changes, Watch finds clients that
// have vanished. Lists serves whole lists over TCP. Peers knows the other agents; Inquiries asks them for
// what is not registered here, Links has triggers there.

#include "locd/inquiries.h"
#include "locd/links.h"
#include "locd/lists.h"
#include "locd/options.h"
#include "locd/peers.h"
#include "locd/sessions.h"

namespace locd {

class Agent : public dpIOHandler, private RegistryObserver {
public:
    explicit Agent(const Options& options);
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;
    ~Agent() override;

    // Opens the sockets and serves from the global dispatcher from then on. False with errno set.
    bool start();
    int port() const { return endpoint_.port(); }

    // Withdraws this agent: the clients and the other agents are told, and nothing but their farewells is
    // taken from then on.
    void beginLeaving();
    // Tells those clients again that have not answered.
    void repeatFarewell();
    // All clients have answered.
    bool hasLeft() const;

    int inputReady(int fd) override;

private:
    void receive(size_t size, const sockaddr_in& from);
    void receive(const DSAMessage& message, const sockaddr_in& from);
    void dropOverrun();

    void providerUp(const ServiceName& service, DSProvider* provider) override;
    void providerDown(const ServiceName& service, DSProvider* provider) override;
    void watchEnds(const ServiceName& service) override;

    Options options_;
    Log log_;
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
    uint64_t malformed_ = 0;           // datagrams dropped
    std::vector<sockaddr_in> overrun_; // clients to be dropped when the work in hand is done
};

} // namespace locd
