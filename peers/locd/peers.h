#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsamsg.h"
#include "locd/endpoint.h"
#include "locd/log.h"
#include "locd/ticker.h"
#include "stream/ncudpstr.h"

#include <memory>
#include <vector>

namespace locd {

// Another agent of the domain.
struct Peer {
    uint32_t id; // 0 for one that does not announce itself
    sockaddr_in address;
    int64_t lastHeard; // milliseconds
};

// The other agents of the domain.
//
// An agent announces itself with a locate message that carries its own address and, as the cookie, a number
// that it draws when it starts; that tells it from a client, which sends no object, and an agent from itself.
// An address of 0.0.0.0 stands for the sender's, port 0 says that the agent goes down. It announces itself to
// every network by broadcast, to the peers of the command line and to those it knows; whoever hears a new
// agent announces itself to it at once. An agent that answers an announcement like a client's question is a
// peer too, for as long as it answers. One that falls silent is dropped.
class Peers : public dpIOHandler {
public:
    static constexpr size_t most = 256;

    struct Hooks {
        std::function<void(const Peer&)> heard; // anew, or again
        std::function<void(const Peer&)> left;
    };

    Peers(const Log& log, Endpoint& endpoint, const std::vector<sockaddr_in>& known, double interval,
          Hooks hooks);
    ~Peers() override;

    // The first announcement.
    void start();
    // Tells the others that this agent goes down.
    void leave();

    // The number of this agent, for the cookies of what it sends to others.
    uint32_t id() const { return id_; }
    // Whether the message comes from an agent that is known here.
    bool isPeer(const DSCookie& cookie) const;
    // False when the message is no announcement but the question of a client.
    bool takeAnnouncement(const DSAMessage& message, const sockaddr_in& from);

    const std::vector<Peer>& all() const { return peers_; }
    // A new DSSet of DSAddr.
    DSSet* addresses() const;

    // Answers of agents of another make.
    int inputReady(int fd) override;

private:
    using Place = std::vector<Peer>::iterator;

    void announce();
    void announceTo(const sockaddr_in& address, bool leaving = false);
    NCRef<DSAMessage> announcement(bool leaving) const;
    void reopen();
    void close();
    bool hear(uint32_t id, const sockaddr_in& address);
    void drop(Place peer, const char* why);
    void dropSilent();
    bool isOwn(const sockaddr_in& address) const;

    const Log& log_;
    Endpoint& endpoint_;
    std::vector<sockaddr_in> known_;
    double interval_;
    Hooks hooks_;
    uint32_t id_;
    std::vector<Peer> peers_;
    std::unique_ptr<NCudpstream> broadcaster_;
    int rounds_ = 0;
    Ticker ticker_;
};

} // namespace locd
