#include "locd/agent.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace locd {

namespace {

// Datagrams read in one go, so that timers and connections get their turn under load.
constexpr int datagramsAtOnce = 64;

// Of this process, -1 when the system does not tell.
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
    // What is taken out below is told to no client.
    leaving_ = true;
    // The registry and the clients are linked with each other: these links go before either does.
    clients_.forEach([this](Client& client) {
        registry_.removeAll(client);
        notifier_.forget(client);
    });
}

std::optional<int> Agent::start() {
    // The UDP port first: it tells whether another agent runs here already. A second agent must not take a
    // list port.
    if (!endpoint_.open(options_.address, options_.port))
        return options_.port;
    if (!lists_.open(options_.address, options_.listPort))
        return options_.listPort;
    for (const UdpSocket& socket : endpoint_.sockets())
        dpDispatcher::instance()->link(socket.fd(), dpDispatcher::readMask, this);
    // Last, since the announcement makes others ask at once.
    peers_.start();
    return std::nullopt;
}

int Agent::inputReady(int fd) {
    const auto& sockets = endpoint_.sockets();
    const auto socket =
        std::find_if(sockets.begin(), sockets.end(), [fd](const UdpSocket& each) { return each.fd() == fd; });
    // What is left stays readable, and the dispatcher calls again.
    for (int i = 0; i < datagramsAtOnce; ++i) {
        sockaddr_in from{};
        const ssize_t size = socket->receive(decoder_.area(), from);
        if (size < 0)
            break;
        receive(static_cast<size_t>(size), from);
    }
    // Here no message is being worked on, so that no part of the agent holds a pointer to a client.
    dropOverrun();
    return 0;
}

void Agent::receive(size_t size, const sockaddr_in& from) {
    // Null for anything that is no record; then every cast below is null too, and the datagram counts as
    // malformed.
    const NCRef<DSResource> record = decoder_.decode(size);
    const auto* request = nc_cast<DSRequest>(record.get());
    auto* reply = nc_cast<DSReply>(record.get());
    const auto* message = nc_cast<DSAMessage>(record.get());
    if (reply && reply->isCurrentVersion()) {
        // Another agent may also be a client, so what this agent has asked comes first.
        if (leaving_ || (!inquiries_.take(*reply, from) && !links_.take(*reply, from)))
            sessions_.receive(*reply, from);
    } else if (leaving_) {
        // A client that looks for another agent must not find this one, but one may leave at the same time.
        if (request && request->isCurrentVersion() && request->requestType() == DSRequestEndOfSession)
            sessions_.receive(*request, from, size);
    } else if (request && request->isCurrentVersion()) {
        sessions_.receive(*request, from, size);
    } else if (request) {
        // A client of another version is told so, or it would wait for an answer and ask again.
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
            // The address by which this sender can reach the agent, which has several when it is bound to
            // none.
            const NCRef<DSAddr> address(endpoint_.addressFor(from, endpoint_.port()));
            reply = new DSAReply(DSReplyAgentLocated, message, DSStatusDone, address.get());
        }
    } else if (message.msgType() == DSTypeTcpEndpoint) {
        const NCRef<DSAddr> address(endpoint_.addressFor(from, lists_.port()));
        reply = new DSAReply(DSReplyPlain, message, DSStatusDone, address.get());
    } else if (message.msgType() == DSTypeProviderUnreachable) {
        if (const auto* provider = nc_cast<DSProvider>(message.object()))
            // Any process can say so: its client is asked, and others of the name are found before it.
            // Nothing is withdrawn.
            sessions_.unreachable(*provider);
    }
    if (reply)
        endpoint_.send(*reply, from);
}

void Agent::dropOverrun() {
    while (!overrun_.empty()) {
        // To drop one client tells others of its providers, which may overrun them too; so the list may grow
        // here.
        const sockaddr_in address = overrun_.back();
        overrun_.pop_back();
        // By address, since the client may have gone by another way meanwhile.
        if (Client* client = clients_.find(address))
            sessions_.dropAndTell(*client, "does not keep up with its notifications");
    }
}

void Agent::providerUp(const Registration& registration) {
    notifier_.tell(*registration.service, {registration.provider, DSStatusDone, registration.octets});
}

void Agent::providerDown(const Registration& registration) {
    // A client that leaves while the agent does registers elsewhere: for the others nothing has gone.
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
    // The other agents first: they must not send clients here any more.
    peers_.leave();
    farewell_ = new DSRequest(DSRequestEndOfSession);
    sendFarewell();
}

void Agent::sendFarewell() {
    clients_.forEach([this](Client& client) {
        if (!client.leaving)
            // The same message, so that a client which gets it twice sees one request.
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
