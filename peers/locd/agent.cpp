#include "locd/agent.h"

#include <algorithm>

namespace locd {

namespace {

// Datagrams read in one go, so that timers and connections get their turn under load.
constexpr int datagramsAtOnce = 64;

} // namespace

Agent::Agent(const Options& options)
    : options_(options), log_(options.verbose), registry_(*this),
      notifier_(endpoint_, {[this](Client& client) { watch_.suspect(client); },
                            [this](Client& client) { overrun_.push_back(client.address); }}),
      watch_(endpoint_, clients_, options.checkInterval,
             [this](Client& client) { sessions_.drop(client, "has vanished"); }),
      peers_(log_, endpoint_, options.peers, options.interval,
             {[this](const Peer& peer) { links_.heard(peer); },
              [this](const Peer& peer) { links_.left(peer); }}),
      inquiries_(endpoint_, clients_, peers_,
                 [this](Client& client, const DSRequest& request, DSProvider* found) {
                     sessions_.answerLocate(client, request, found);
                 }),
      links_(log_, endpoint_, peers_, registry_, notifier_),
      sessions_({log_, endpoint_, clients_, registry_, notifier_, watch_, peers_, inquiries_, links_}),
      lists_(log_, registry_) {}

Agent::~Agent() {
    for (const UdpSocket& socket : endpoint_.sockets())
        dpDispatcher::instance()->unlink(socket.fd());
    leaving_ = true;
    clients_.forEach([this](Client& client) {
        registry_.removeAll(client);
        notifier_.forget(client);
    });
}

bool Agent::start() {
    if (!endpoint_.open(options_.address, options_.port) || !lists_.open(options_.address))
        return false;
    for (const UdpSocket& socket : endpoint_.sockets())
        dpDispatcher::instance()->link(socket.fd(), dpDispatcher::readMask, this);
    peers_.start();
    return true;
}

int Agent::inputReady(int fd) {
    const auto& sockets = endpoint_.sockets();
    const auto socket =
        std::find_if(sockets.begin(), sockets.end(), [fd](const UdpSocket& each) { return each.fd() == fd; });
    for (int i = 0; i < datagramsAtOnce; ++i) {
        sockaddr_in from{};
        const ssize_t size = socket->receive(decoder_.area(), from);
        if (size < 0)
            break;
        receive(static_cast<size_t>(size), from);
    }
    dropOverrun();
    return 0;
}

void Agent::receive(size_t size, const sockaddr_in& from) {
    const NCRef<DSResource> record = decoder_.decode(size);
    const auto* request = nc_cast<DSRequest>(record.get());
    auto* reply = nc_cast<DSReply>(record.get());
    const auto* message = nc_cast<DSAMessage>(record.get());
    if (reply && reply->isCurrentVersion()) {
        if (leaving_ || (!inquiries_.take(*reply) && !links_.take(*reply, from)))
            sessions_.receive(*reply, from);
    } else if (leaving_) {
        // A client that looks for another agent must not find this one.
    } else if (request && request->isCurrentVersion()) {
        sessions_.receive(*request, from, size);
    } else if (request) {
        const NCRef<DSMessage> header = decoder_.foreignHeader(size);
        if (header)
            sessions_.refuseVersion(*header, from);
    } else if (message && message->isCurrentVersion()) {
        receive(*message, from);
    } else {
        ++malformed_;
        log_("dropped %zu octets from %s, %llu datagrams so far", size, textOf(from).c_str(),
             static_cast<unsigned long long>(malformed_));
    }
}

void Agent::receive(const DSAMessage& message, const sockaddr_in& from) {
    NCRef<DSAReply> reply;
    if (message.msgType() == DSTypeLocateAgent) {
        if (!peers_.takeAnnouncement(message, from)) {
            const NCRef<DSAddr> address(endpoint_.addressFor(from, endpoint_.port()));
            reply = new DSAReply(DSReplyAgentLocated, message, DSStatusDone, address.get());
        }
    } else if (message.msgType() == DSTypeTcpEndpoint) {
        const NCRef<DSAddr> address(endpoint_.addressFor(from, lists_.port()));
        reply = new DSAReply(DSReplyPlain, message, DSStatusDone, address.get());
    } else if (message.msgType() == DSTypeProviderUnreachable) {
        if (const auto* provider = nc_cast<DSProvider>(message.object()))
            sessions_.unreachable(*provider);
    }
    if (reply)
        endpoint_.send(*reply, from);
}

void Agent::dropOverrun() {
    while (!overrun_.empty()) {
        const sockaddr_in address = overrun_.back();
        overrun_.pop_back();
        if (Client* client = clients_.find(address))
            sessions_.drop(*client, "does not keep up with its notifications");
    }
}

void Agent::providerUp(const ServiceName& service, DSProvider* provider) {
    notifier_.tell(service, provider, DSStatusDone);
}

void Agent::providerDown(const ServiceName& service, DSProvider* provider) {
    if (!leaving_)
        notifier_.tell(service, provider, DSStatusProviderDown);
}

void Agent::watchEnds(const ServiceName& service) {
    if (!leaving_)
        links_.unwatch(*service.name);
}

void Agent::beginLeaving() {
    leaving_ = true;
    log_("going down with %u clients", clients_.size());
    peers_.leave();
    repeatFarewell();
}

void Agent::repeatFarewell() {
    clients_.forEach([this](Client& client) {
        if (!client.leaving)
            endpoint_.send(*NCRef<DSRequest>(new DSRequest(DSRequestEndOfSession)), client.address);
    });
}

bool Agent::hasLeft() const {
    bool all = true;
    clients_.forEach([&all](const Client& client) { all = all && client.leaving; });
    return all;
}

} // namespace locd
