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
    uint32_t id; // 0 for one that does not announce itself
    sockaddr_in address;
    int64_t lastHeard;               // milliseconds
    std::vector<uint64_t> otherKeys; // of further addresses from which it announces itself

    bool isAt(const sockaddr_in& place) const;
};

// The other agents of the domain.
//
// An agent announces itself with a locate message that carries its own address and, as the cookie, a number
// that it draws when it starts; that tells it from a client, which sends no object, and an agent from itself.
// An address of 0.0.0.0 stands for the sender's, port 0 says that the agent goes down. It announces itself to
// every network by broadcast, to the peers of the command line and to those it knows; an agent that hears of
// a new one announces itself to it at once. An agent that answers an announcement as it would answer a client
// is a peer too, for as long as it answers. One that is silent for three and a half intervals is dropped.
class Peers : public dpIOHandler {
public:
    static constexpr size_t most = 256;

    struct Hooks {
        std::function<void(const Peer&)> heard; // for the first time, or again
        std::function<void(const Peer&)> left;
    };

    Peers(Log& log, Endpoint& endpoint, const std::vector<PeerName>& named, double interval, Hooks hooks);
    ~Peers() override;

    // The first announcement.
    void start();
    // Tells the others that this agent goes down.
    void leave();

    // The number of this agent, for the cookies of what it sends to others.
    uint32_t id() const { return id_; }
    // Whether the cookie is that of an agent which is known here.
    bool isPeer(const harbolance::MessageCookie& cookie) const;
    bool isPeer(const sockaddr_in& address) const;
    // Takes a locate message, which may be an announcement. Whether it is to be answered: all but this
    // agent's own are.
    bool take(const DSAMessage& message, const sockaddr_in& from);
    // The agent at `source` knows of another one: this agent announces itself to it, and knows it once it
    // answers.
    void mentioned(const sockaddr_in& address, const sockaddr_in& source);

    const std::vector<Peer>& all() const { return peers_; }
    // A new DSSet of DSAddr.
    DSSet* addresses() const;

    // Answers to announcements.
    int inputReady(int fd) override;

private:
    using Place = std::vector<Peer>::iterator;
    // An agent of the command line.
    struct Named {
        PeerName name;
        std::optional<sockaddr_in> address; // the one found last
        bool unknown = false;               // by the last look-up
    };
    struct Former {
        uint32_t id;
        uint64_t key; // of its address
        int64_t left; // milliseconds
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
    NCudpstream sender_; // of announcements; the answers come to it
    HostLookup lookup_;  // of `named_`
    std::vector<Former> former_;
    bool warnedOfNetworks_ = false;
    int rounds_ = 0;
    Ticker ticker_;
};

} // namespace locd
