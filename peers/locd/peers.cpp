#include "locd/peers.h"

#include "agent/session/broadcast_table.h"
#include "locd/wire.h"

#include <algorithm>
#include <random>

namespace locd {

namespace {

// A new agent announces itself more often at first, because datagrams may get lost.
constexpr int startupRounds = 3;
constexpr double startupSeconds = 1;
// A peer is dropped after so many intervals without a message from it.
constexpr double silentIntervals = 3.5;
// Limit of answers read per call.
constexpr int answersAtOnce = 64;
// Limit of an agent's addresses that are stored beside the one in use.
constexpr size_t mostOtherAddresses = 16;

// How long messages of an agent that has left may still arrive.
constexpr int64_t leavingMilliseconds = 5'000;

std::vector<std::string> hostsOf(const std::vector<PeerName>& named) {
    std::vector<std::string> hosts;
    hosts.reserve(named.size());
    for (const PeerName& name : named)
        hosts.push_back(name.host);
    return hosts;
}

uint32_t drawId() {
    std::random_device source;
    uint32_t id = 0;
    while (id == 0)
        id = source();
    return id;
}

} // namespace

bool Peer::isAt(const sockaddr_in& place) const {
    const uint64_t key = keyOf(place);
    return keyOf(address) == key || std::find(otherKeys.begin(), otherKeys.end(), key) != otherKeys.end();
}

Peers::Peers(Log& log, Endpoint& endpoint, const std::vector<PeerName>& named, double interval, Hooks hooks)
    : log_(log), endpoint_(endpoint), interval_(interval), hooks_(std::move(hooks)), id_(drawId()),
      lookup_(hostsOf(named),
              [this](size_t number, std::optional<in_addr_t> address) { found(number, address); }),
      ticker_([this] { announce(); }) {
    for (const PeerName& name : named)
        named_.push_back({name, {}});
}

Peers::~Peers() {
    if (sender_.isOpen())
        dpDispatcher::instance()->unlink(sender_.fd());
}

void Peers::start() { announce(); }

void Peers::leave() {
    ticker_.stop();
    for (const Peer& peer : peers_)
        announceTo(peer.address, true);
}

bool Peers::isPeer(const harbolance::MessageCookie& cookie) const {
    const uint32_t id = cookieWord(cookie);
    return id != 0 &&
           std::any_of(peers_.begin(), peers_.end(), [id](const Peer& peer) { return peer.id == id; });
}

bool Peers::isPeer(const sockaddr_in& address) const {
    return std::any_of(peers_.begin(), peers_.end(), [&](const Peer& peer) { return peer.isAt(address); });
}

DSSet* Peers::addresses() const {
    auto* set = new DSSet(static_cast<uint32_t>(peers_.size()));
    for (const Peer& peer : peers_)
        set->add(NCRef<DSAddr>(new DSAddr(peer.address)).get());
    return set;
}

NCRef<DSAMessage> Peers::announcement(bool leaving) const {
    // The address of the socket may be 0: then each receiver uses the sender's address, which is right for
    // its network.
    const NCRef<DSAddr> own(new DSAddr(leaving ? 0 : endpoint_.port(), endpoint_.address()));
    return new DSAMessage(DSTypeLocateAgent, own.get(), id_, sizeof id_);
}

void Peers::announceTo(const sockaddr_in& address, bool leaving) {
    if (!isOwn(address))
        endpoint_.send(*announcement(leaving), address);
}

bool Peers::isOwn(const sockaddr_in& address) const {
    return address.sin_addr.s_addr == endpoint_.address() && portOf(address) == endpoint_.port();
}

void Peers::announce() {
    // Done before the announcement, so that it is not sent to agents that are dropped.
    dropSilent();
    // The results come later; found() announces this agent to a new address.
    lookup_.start();
    if (openSender()) {
        const NCRef<DSAMessage> message = announcement(false);
        broadcast(*message);
        for (const Named& named : named_) {
            if (named.address && !isOwn(*named.address))
                sender_.sendTo(*named.address, message.get());
        }
        for (const Peer& peer : peers_)
            sender_.sendTo(peer.address, message.get());
    }
    if (rounds_ < startupRounds)
        ticker_.start(std::min(startupSeconds, interval_));
    else if (rounds_ == startupRounds)
        ticker_.start(interval_);
    // The ticker is restarted in the first rounds only, to set the longer period after them.
    rounds_ = std::min(rounds_ + 1, startupRounds + 1);
}

// A second socket, because an agent of another implementation answers to the socket that asked, and on the
// main socket its answer could not be told from an answer to a client's request.
bool Peers::openSender() {
    if (sender_.isOpen())
        return true;
    // Tried again at the next announcement, when a descriptor or address may be available.
    if (sender_.bind(0, harbolance::dottedText(endpoint_.address()).c_str()) != 0)
        return false;
    if (sender_.fd() >= dpDispatcher::maxDescriptors) {
        sender_.close();
        return false;
    }
    dpDispatcher::instance()->link(sender_.fd(), dpDispatcher::readMask, this);
    return true;
}

// The networks are read each time, because interfaces change.
void Peers::broadcast(const DSAMessage& message) {
    int reached = 0;
    harbolance::BroadcastTable(sender_.fd(), endpoint_.port(), false)
        .forEachTarget([&](const sockaddr_in& target) {
            reached += sender_.sendTo(target, &message) == 0 ? 1 : 0;
            return 0; // a failing network does not stop the broadcast to the others
        });
    if (reached == 0 && !warnedOfNetworks_)
        log_(LogLevel::warning,
             "there is no network to broadcast to: this agent finds no other, and no client "
             "finds it, but by address (--peer, LOCD_ADDR)");
    warnedOfNetworks_ = reached == 0;
}

// An address stays in use until another is found, because the name service may be down for a while.
void Peers::found(size_t number, std::optional<in_addr_t> address) {
    Named& named = named_[number];
    if (!address && !named.unknown)
        log_(LogLevel::warning, "--peer: there is no host '%s' at present; it is looked up again",
             named.name.host.c_str());
    named.unknown = !address;
    if (!address)
        return;
    const sockaddr_in place = harbolance::socketAddress(*address, named.name.port);
    const bool isNew = !named.address || keyOf(*named.address) != keyOf(place);
    named.address = place;
    if (isNew && openSender() && !isOwn(place))
        sender_.sendTo(place, announcement(false).get());
}

int Peers::inputReady(int) {
    for (int i = 0; i < answersAtOnce; ++i) {
        int status = 0;
        NCTransObject* object = sender_.receive(status);
        if (status == NCudpstream::noData)
            break;
        const NCRef<DSResource> record(nc_cast<DSResource>(object));
        const auto* reply = nc_cast<DSAReply>(record.get());
        const auto* address = reply ? nc_cast<DSAddr>(reply->object()) : nullptr;
        if (!record)
            delete object;
        else if (address && reply->replyOk() && reply->replyType() == DSReplyAgentLocated)
            // The answer has no number. If the agent announces itself too, it is recognised by its address.
            hear(0, address->socketAddress());
    }
    return 0;
}

bool Peers::take(const DSAMessage& message, const sockaddr_in& from) {
    const auto* address = nc_cast<DSAddr>(message.object());
    const uint32_t id = cookieWord(message.cookie());
    // A client that looks for an agent.
    if (!address || id == 0)
        return true;
    if (id == id_)
        return false; // the own broadcast; answering would make this agent its own peer
    sockaddr_in place = address->socketAddress();
    if (place.sin_addr.s_addr == INADDR_ANY)
        place.sin_addr = from.sin_addr;
    if (place.sin_port == 0)
        takeLeave(id, from);
    else if (hear(id, place))
        announceTo(place);
    return true;
}

void Peers::takeLeave(uint32_t id, const sockaddr_in& from) {
    // Any host can send such messages, even with unknown numbers.
    if (former_.size() >= most)
        former_.erase(former_.begin());
    former_.push_back({id, keyOf(from), nowMilliseconds()});
    // Found by its number, because it may leave from another address than the known one; an agent without a
    // number by its address.
    const Place known = findId(id);
    const Place leaving = known != peers_.end() ? known : findAddress(from);
    if (leaving != peers_.end())
        drop(leaving, "goes down");
}

void Peers::mentioned(const sockaddr_in& address, const sockaddr_in& source) {
    // A loopback address means the host that sent it.
    const bool isElsewhere = isLoopback(address.sin_addr.s_addr) && !isLoopback(source.sin_addr.s_addr);
    const bool isPlace = address.sin_addr.s_addr != INADDR_ANY && address.sin_port != 0;
    if (isPlace && !isElsewhere && peers_.size() < most && !isPeer(address))
        announceTo(address);
}

Peers::Place Peers::findId(uint32_t id) {
    return std::find_if(peers_.begin(), peers_.end(), [id](const Peer& peer) { return peer.id == id; });
}

Peers::Place Peers::findAddress(const sockaddr_in& address) {
    return std::find_if(peers_.begin(), peers_.end(), [&](const Peer& peer) { return peer.isAt(address); });
}

// True for an agent that was not known before.
bool Peers::hear(uint32_t id, const sockaddr_in& address) {
    if (isOwn(address))
        return false;
    const Place byId = id != 0 ? findId(id) : peers_.end();
    const Place there = findAddress(address);
    if (byId != peers_.end()) {
        hearAgain(byId, id, address);
        return false;
    }
    if (there != peers_.end() && (id == 0 || there->id == 0)) {
        hearAgain(there, id, address);
        return false;
    }
    // Another number at the same address means another process.
    if (there != peers_.end())
        drop(there, "was started anew");
    // The limit bounds the cost of a client's question, which is sent to all peers.
    if (peers_.size() >= most || hasLeft(id, address))
        return false;
    log_(LogLevel::info, "agent %s joins", textOf(address).c_str());
    peers_.push_back({id, address, nowMilliseconds(), {}});
    hooks_.heard(peers_.back());
    return true;
}

// One agent may announce itself from several addresses: the first one stays in use.
void Peers::hearAgain(Place peer, uint32_t id, const sockaddr_in& address) {
    peer->lastHeard = nowMilliseconds();
    if (id != 0)
        peer->id = id;
    if (!peer->isAt(address) && peer->otherKeys.size() < mostOtherAddresses) {
        peer->otherKeys.push_back(keyOf(address));
        // It has answered from there before it announced itself, and was entered as another agent.
        const uint32_t known = peer->id;
        std::erase_if(peers_,
                      [&](const Peer& one) { return one.id == 0 && keyOf(one.address) == keyOf(address); });
        peer = findId(known);
    }
    hooks_.heard(*peer);
}

void Peers::drop(Place peer, const char* why) {
    const Peer dropped = *peer;
    // Removed before the hook is called, which uses all peers.
    peers_.erase(peer);
    log_(LogLevel::info, "agent %s %s", textOf(dropped.address).c_str(), why);
    hooks_.left(dropped);
}

// Messages arrive on several sockets, so one that was sent before the agent left may be read afterwards.
bool Peers::hasLeft(uint32_t id, const sockaddr_in& address) {
    const int64_t limit = nowMilliseconds() - leavingMilliseconds;
    std::erase_if(former_, [limit](const Former& one) { return one.left < limit; });
    return std::any_of(former_.begin(), former_.end(),
                       [&](const Former& one) { return id != 0 ? one.id == id : one.key == keyOf(address); });
}

void Peers::dropSilent() {
    const auto limit = nowMilliseconds() - static_cast<int64_t>(silentIntervals * 1000 * interval_);
    // Backwards, because drop() removes an element.
    for (size_t i = peers_.size(); i-- > 0;) {
        if (peers_[i].lastHeard < limit)
            drop(peers_.begin() + static_cast<ptrdiff_t>(i), "is silent");
    }
}

} // namespace locd
