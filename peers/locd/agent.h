#pragma once

// A location agent: one or more of them make a domain, all on one UDP port.
//
// Agent (this file) reads the datagrams and passes each message to the part that handles it. Endpoint has the
// sockets, wire.h decodes datagrams to messages. Sessions answers the requests of clients, Clients is the
// table of clients. Registry has their providers and triggers, Notifier sends notifications, Watch finds
// clients that have vanished. Lists serves whole lists over TCP. Peers has the other agents, HostLookup the
// addresses of those given by name; Inquiries asks other agents for services that are not registered here,
// Links registers triggers at them. Signals and Log are the interface to the operator.

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

    // Opens the sockets; from then on the agent is served by the global dispatcher. Returns the port that
    // could not be bound, with errno set, or nothing on success.
    std::optional<int> start();
    int port() const { return endpoint_.port(); }

    // Starts the end of this agent: tells the clients and the other agents; from then on only their answers
    // are processed.
    void beginLeaving();
    // Tells the clients that have not answered yet, with the same message each time.
    void sendFarewell();
    // Whether all clients have answered.
    bool hasLeft() const;
    // Logs the numbers of clients, names and agents, and the memory used.
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
    std::vector<sockaddr_in> overrun_; // to be dropped after the present message
};

} // namespace locd
