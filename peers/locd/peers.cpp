#include "locd/peers.h"

#include "locd/wire.h"

#include <algorithm>
#include <random>

namespace locd {

namespace {

// An agent that has just started announces itself more often, since any datagram may get lost.
constexpr int hastyRounds = 3;
constexpr double hastySeconds = 1;
// A peer is dropped when that many intervals pass without a word from it.
constexpr double silentIntervals = 3.5;
// Answers read in one go.
constexpr int answersAtOnce = 64;

uint32_t drawId() {
    std::random_device source;
    uint32_t id = 0;
    while (id == 0)
        id = source();
    return id;
}

} // namespace

Peers::Peers(const Log& log, Endpoint& endpoint, const std::vector<sockaddr_in>& known, double interval,
             Hooks hooks)
    : log_(log), endpoint_(endpoint), known_(known), interval_(interval), hooks_(std::move(hooks)),
      id_(drawId()), ticker_([this] { announce(); }) {}

Peers::~Peers() { close(); }

void Peers::start() { announce(); }

void Peers::leave() {
    ticker_.stop();
    for (const Peer& peer : peers_)
        announceTo(peer.address, true);
}

bool Peers::isPeer(const DSCookie& cookie) const {
    const uint32_t id = cookieWord(cookie);
    return id != 0 &&
           std::any_of(peers_.begin(), peers_.end(), [id](const Peer& peer) { return peer.id == id; });
}

DSSet* Peers::addresses() const {
    auto* set = new DSSet(static_cast<uint32_t>(peers_.size()));
    for (const Peer& peer : peers_)
        set->add(NCRef<DSAddr>(new DSAddr(peer.address)).get());
    return set;
}

NCRef<DSAMessage> Peers::announcement(bool leaving) const {
    const NCRef<DSAddr> own(new DSAddr(leaving ? 0 : endpoint_.port(), in_addr{endpoint_.address()}));
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
    dropSilent();
    reopen();
    const NCRef<DSAMessage> message = announcement(false);
    if (broadcaster_)
        broadcaster_->broadcast(message.get(), endpoint_.port());
    // Agents of another make answer where they were asked from.
    for (const sockaddr_in& address : known_) {
        if (broadcaster_ && !isOwn(address))
            broadcaster_->sendTo(address, message.get());
    }
    for (const Peer& peer : peers_) {
        if (broadcaster_)
            broadcaster_->sendTo(peer.address, message.get());
    }
    if (rounds_ < hastyRounds)
        ticker_.start(std::min(hastySeconds, interval_));
    else if (rounds_ == hastyRounds)
        ticker_.start(interval_);
    rounds_ = std::min(rounds_ + 1, hastyRounds + 1);
}

// A new stream for each round, because a stream keeps the networks that it found first.
void Peers::reopen() {
    close();
    auto stream = std::make_unique<NCudpstream>();
    const std::string address = textOf(endpoint_.address());
    if (stream->bind(0, address.c_str()) != 0 || stream->fd() >= dpDispatcher::maxDescriptors)
        return;
    broadcaster_ = std::move(stream);
    dpDispatcher::instance()->link(broadcaster_->fd(), dpDispatcher::readMask, this);
}

void Peers::close() {
    if (broadcaster_)
        dpDispatcher::instance()->unlink(broadcaster_->fd());
    broadcaster_.reset();
}

int Peers::inputReady(int) {
    for (int i = 0; i < answersAtOnce; ++i) {
        int status = 0;
        NCTransObject* object = broadcaster_->receive(status);
        if (status == NCudpstream::noData)
            break;
        const NCRef<DSResource> record(nc_cast<DSResource>(object));
        const auto* reply = nc_cast<DSAReply>(record.get());
        const auto* address = reply ? nc_cast<DSAddr>(reply->object()) : nullptr;
        if (!record)
            delete object;
        else if (address && reply->replyOk() && reply->replyType() == DSReplyAgentLocated)
            hear(0, address->socketAddress());
    }
    return 0;
}

bool Peers::takeAnnouncement(const DSAMessage& message, const sockaddr_in& from) {
    const auto* address = nc_cast<DSAddr>(message.object());
    const uint32_t id = cookieWord(message.cookie());
    if (!address || id == 0)
        return false;
    if (id == id_)
        return true;
    sockaddr_in place = address->socketAddress();
    if (place.sin_addr.s_addr == INADDR_ANY)
        place.sin_addr = from.sin_addr;
    if (place.sin_port == 0) {
        const auto leaving =
            std::find_if(peers_.begin(), peers_.end(), [id](const Peer& peer) { return peer.id == id; });
        if (leaving != peers_.end())
            drop(leaving, "goes down");
    } else if (hear(id, place)) {
        announceTo(place);
    }
    return true;
}

// True for an agent that was not known.
bool Peers::hear(uint32_t id, const sockaddr_in& address) {
    if (isOwn(address))
        return false;
    const auto known = std::find_if(peers_.begin(), peers_.end(), [&](const Peer& peer) {
        // One agent may be heard from several of its addresses; the first one stays.
        return id != 0 && peer.id != 0 ? peer.id == id : keyOf(peer.address) == keyOf(address);
    });
    if (known != peers_.end()) {
        known->lastHeard = nowMilliseconds();
        if (id != 0)
            known->id = id;
        hooks_.heard(*known);
        return false;
    }
    const auto former = std::find_if(peers_.begin(), peers_.end(),
                                     [&](const Peer& peer) { return keyOf(peer.address) == keyOf(address); });
    if (former != peers_.end())
        drop(former, "was started anew");
    if (peers_.size() >= most)
        return false;
    log_("agent %s joins", textOf(address).c_str());
    peers_.push_back({id, address, nowMilliseconds()});
    hooks_.heard(peers_.back());
    return true;
}

void Peers::drop(Place peer, const char* why) {
    const Peer dropped = *peer;
    peers_.erase(peer);
    log_("agent %s %s", textOf(dropped.address).c_str(), why);
    hooks_.left(dropped);
}

void Peers::dropSilent() {
    const auto limit = nowMilliseconds() - static_cast<int64_t>(silentIntervals * 1000 * interval_);
    for (size_t i = peers_.size(); i-- > 0;) {
        if (peers_[i].lastHeard < limit)
            drop(peers_.begin() + static_cast<ptrdiff_t>(i), "has fallen silent");
    }
}

} // namespace locd
