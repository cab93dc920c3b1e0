#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsamsg.h"
#include "locd/endpoint.h"
#include "locd/log.h"
#include "locd/lookup.h"
#include "locd/options.h"
#include "locd/ticker.h"
#include "stream/ncudpstr.h"

#include <vector>

namespace locd {

// Another agent of the domain.
struct Peer {
    uint32_t id; // 0 for an agent that does not announce itself
    sockaddr_in address;
    int64_t lastHeard;               // milliseconds
    std::vector<uint64_t> otherKeys; // of further addresses from which it announces itself

    bool isAt(const sockaddr_in& place) const;
};

// The other agents of the domain.
//
// An agent announces itself by a locate message with its own address as object and, as cookie, a number that
// it draws at its start. The object distinguishes it from a client, the number from this agent itself. The
// address 0.0.0.0 means the sender's address; port 0 means that the agent is leaving. It announces itself to
// every network by broadcast, to the peers of the command line, and to the agents that it knows; an agent
// that hears of a new one announces itself to it at once. An agent that only answers announcements, as it
// would answer a client, is a peer too, as long as it answers. A peer that is silent for three and a half
// intervals is dropped.
class Peers : public dpIOHandler {
public:
    static constexpr size_t most = 256;

    struct Hooks {
        std::function<void(const Peer&)> heard; // called for a new agent and for each later announcement
        std::function<void(const Peer&)> left;
    };

    Peers(Log& log, Endpoint& endpoint, const std::vector<PeerName>& named, double interval, Hooks hooks);
    ~Peers() override;

    // Sends the first announcement.
    void start();
    // Tells the other agents that this agent is leaving.
    void leave();

    // The number of this agent, for the cookies of its messages to other agents.
    uint32_t id() const { return id_; }
    // Whether the cookie is the number of a known agent.
    bool isPeer(const harbolance::MessageCookie& cookie) const;
    bool isPeer(const sockaddr_in& address) const;
    // Processes a locate message, which may be an announcement. Returns whether to answer it: all except this
    // agent's own.
    bool take(const DSAMessage& message, const sockaddr_in& from);
    // Called when the agent at `source` has named another one: this agent announces itself to it, and enters
    // it when it answers.
    void mentioned(const sockaddr_in& address, const sockaddr_in& source);

    const std::vector<Peer>& all() const { return peers_; }
    // A new DSSet of DSAddr; the caller holds it.
    DSSet* addresses() const;

    // Reads answers to announcements.
    int inputReady(int fd) override;

private:
    using Place = std::vector<Peer>::iterator;
    // An agent of the command line.
    struct Named {
        PeerName name;
        std::optional<sockaddr_in> address; // found by the last successful look-up
        bool unknown = false;               // the last look-up failed
    };
    struct Former {
        uint32_t id;
        uint64_t key; // of its address
        int64_t left; // time of leaving in milliseconds
    };

    void announce();
    void announceTo(const sockaddr_in& address, bool leaving = false);
    NCRef<DSAMessage> announcement(bool leaving) const;
    void broadcast(const DSAMessage& message);
    bool openSender();
    void found(size_t number, std::optional<in_addr_t> address);
    Place findId(uint32_t id);
    Place findAddress(const sockaddr_in& address);
    bool hear(uint32_t id, const sockaddr_in& address);
    void hearAgain(Place peer, uint32_t id, const sockaddr_in& address);
    void drop(Place peer, const char* why);
    void takeLeave(uint32_t id, const sockaddr_in& from);
    bool hasLeft(uint32_t id, const sockaddr_in& address);
    void dropSilent();
    bool isOwn(const sockaddr_in& address) const;

    Log& log_;
    Endpoint& endpoint_;
    std::vector<Named> named_;
    double interval_;
    Hooks hooks_;
    uint32_t id_;
    std::vector<Peer> peers_;
    NCudpstream sender_; // sends announcements and receives their answers
    HostLookup lookup_;  // of `named_`
    std::vector<Former> former_;
    bool warnedOfNetworks_ = false;
    int rounds_ = 0;
    Ticker ticker_;
};

} // namespace locd
