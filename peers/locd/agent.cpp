#include "locd/agent.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace locd {

namespace {

// Limit of datagrams read per call, so that timers and connections are served under load.
constexpr int datagramsAtOnce = 64;

// Resident memory of this process, -1 when the system does not tell.
long residentKiB() {
    long all = 0;
    long resident = 0;
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    const bool known = file && std::fscanf(file, "%ld %ld", &all, &resident) == 2;
    if (file)
        std::fclose(file);
    return known ? resident * (sysconf(_SC_PAGESIZE) / 1024) : -1;
}

} // namespace

Agent::Agent(const Options& options, Log& log)
    : options_(options), log_(log), registry_(*this),
      notifier_(endpoint_, {[this](Client& client) { watch_.suspect(client); },
                            [this](Client& client) { overrun_.push_back(client.address); }}),
      watch_(endpoint_, clients_, options.checkInterval,
             [this](Client& client) { sessions_.dropAndTell(client, "has vanished"); }),
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
    // From here on, changes are not notified to clients.
    leaving_ = true;
    // The registry and the clients refer to each other, so these links are removed before either is
    // destroyed.
    clients_.forEach([this](Client& client) {
        registry_.removeAll(client);
        notifier_.forget(client);
    });
}

std::optional<int> Agent::start() {
    // The UDP port is opened first, because it tells whether another agent already runs here. A second agent
    // must not take a list port.
    if (!endpoint_.open(options_.address, options_.port))
        return options_.port;
    if (!lists_.open(options_.address, options_.listPort))
        return options_.listPort;
    for (const UdpSocket& socket : endpoint_.sockets())
        dpDispatcher::instance()->link(socket.fd(), dpDispatcher::readMask, this);
    // Started last, because the announcement causes questions at once.
    peers_.start();
    return std::nullopt;
}

int Agent::inputReady(int fd) {
    const auto& sockets = endpoint_.sockets();
    const auto socket =
        std::find_if(sockets.begin(), sockets.end(), [fd](const UdpSocket& each) { return each.fd() == fd; });
    // Datagrams that are not read keep the socket readable, so the dispatcher calls again.
    for (int i = 0; i < datagramsAtOnce; ++i) {
        sockaddr_in from{};
        const ssize_t size = socket->receive(decoder_.area(), from);
        if (size < 0)
            break;
        receive(static_cast<size_t>(size), from);
    }
    // No message is being processed here, so no part of the agent has a pointer to a client.
    dropOverrun();
    return 0;
}

void Agent::receive(size_t size, const sockaddr_in& from) {
    // Null for a datagram that contains no record; then every cast below gives null too, and the datagram
    // counts as malformed.
    const NCRef<DSResource> record = decoder_.decode(size);
    const auto* request = nc_cast<DSRequest>(record.get());
    auto* reply = nc_cast<DSReply>(record.get());
    const auto* message = nc_cast<DSAMessage>(record.get());
    if (reply && reply->isCurrentVersion()) {
        // Another agent may also be a client, so the reply may belong to a request of this agent; that is
        // tested first.
        if (leaving_ || (!inquiries_.take(*reply, from) && !links_.take(*reply, from)))
            sessions_.receive(*reply, from);
    } else if (leaving_) {
        // While this agent ends, clients that search for an agent must not find it, but they may end their
        // sessions.
        if (request && request->isCurrentVersion() && request->requestType() == DSRequestEndOfSession)
            sessions_.receive(*request, from, size);
    } else if (request && request->isCurrentVersion()) {
        sessions_.receive(*request, from, size);
    } else if (request) {
        // A client of another version gets an answer, because otherwise it would wait and ask again.
        const NCRef<DSMessage> header = decoder_.foreignHeader(size);
        if (header)
            sessions_.refuseVersion(*header, from);
    } else if (message && message->isCurrentVersion()) {
        receive(*message, from);
    } else {
        ++malformed_;
        log_(LogLevel::info, "dropped %zu octets from %s, %llu datagrams so far", size, textOf(from).c_str(),
             static_cast<unsigned long long>(malformed_));
    }
}

void Agent::receive(const DSAMessage& message, const sockaddr_in& from) {
    NCRef<DSAReply> reply;
    if (message.msgType() == DSTypeLocateAgent) {
        if (peers_.take(message, from)) {
            // The address at which this sender can reach the agent, which has several when it is not bound to
            // one.
            const NCRef<DSAddr> address(endpoint_.addressFor(from, endpoint_.port()));
            reply = new DSAReply(DSReplyAgentLocated, message, DSStatusDone, address.get());
        }
    } else if (message.msgType() == DSTypeTcpEndpoint) {
        const NCRef<DSAddr> address(endpoint_.addressFor(from, lists_.port()));
        reply = new DSAReply(DSReplyPlain, message, DSStatusDone, address.get());
    } else if (message.msgType() == DSTypeProviderUnreachable) {
        if (const auto* provider = nc_cast<DSProvider>(message.object()))
            // Any process can send this, so nothing is withdrawn: the provider's client is asked, and
            // meanwhile other providers of the name are found first.
            sessions_.unreachable(*provider);
    }
    if (reply)
        endpoint_.send(*reply, from);
}

void Agent::dropOverrun() {
    while (!overrun_.empty()) {
        // Dropping one client notifies others of its providers, which may overrun them too; the list may grow
        // here.
        const sockaddr_in address = overrun_.back();
        overrun_.pop_back();
        // Found by address, because the client may have been removed meanwhile.
        if (Client* client = clients_.find(address))
            sessions_.dropAndTell(*client, "does not keep up with its notifications");
    }
}

void Agent::providerUp(const Registration& registration) {
    notifier_.tell(*registration.service, {registration.provider, DSStatusDone, registration.octets});
}

void Agent::providerDown(const Registration& registration) {
    // While this agent ends, leaving clients register elsewhere, so for the others nothing has disappeared.
    if (!leaving_)
        notifier_.tell(*registration.service,
                       {registration.provider, DSStatusProviderDown, registration.octets});
}

void Agent::watchEnds(const ServiceName& service) {
    if (!leaving_)
        links_.unwatch(*service.name);
}

void Agent::beginLeaving() {
    leaving_ = true;
    log_(LogLevel::info, "going down with %u clients", clients_.size());
    // The other agents are told first, because they must not send clients here any more.
    peers_.leave();
    farewell_ = new DSRequest(DSRequestEndOfSession);
    sendFarewell();
}

void Agent::sendFarewell() {
    clients_.forEach([this](Client& client) {
        if (!client.leaving)
            // The same message is sent each time, so that a client that gets it twice sees one request.
            endpoint_.send(*farewell_, client.address);
    });
}

bool Agent::hasLeft() const {
    bool all = true;
    clients_.forEach([&all](const Client& client) { all = all && client.leaving; });
    return all;
}

void Agent::reportStatus() {
    const int64_t now = nowMilliseconds();
    log_.status("up %lld s, port %d, lists at port %d, %u clients, %zu list connections",
                static_cast<long long>((now - started_) / 1000), port(), lists_.port(), clients_.size(),
                lists_.connections());
    log_.status("%u names of %u providers in %zu octets, %u triggers in %zu octets", registry_.names(),
                registry_.registrations(), registry_.registrationOctets(), registry_.triggers(),
                registry_.triggerOctets());
    log_.status("%zu notifications wait, %u services are looked for, %llu datagrams were malformed",
                notifier_.waiting(), inquiries_.size(), static_cast<unsigned long long>(malformed_));
    log_.status("memory %ld KiB, %zu other agents", residentKiB(), peers_.all().size());
    for (const Peer& peer : peers_.all())
        log_.status("agent %s, last heard %lld s ago", textOf(peer.address).c_str(),
                    static_cast<long long>((now - peer.lastHeard) / 1000));
}

} // namespace locd
