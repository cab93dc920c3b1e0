#include "agent/session/agent_search.h"

#include "agent/records/trxstring.h"
#include "agent/session/session_options.h"
#include "agent/session/word_file.h"
#include "base/standard_streams.h"
#include "net/descriptors.h"
#include "net/timer.h"

#include <poll.h>

#include <cstdio>
#include <cstdlib>

namespace harbolance {

NCRef<DSOrderedCltn> agentAddresses() {
    NCRef<DSOrderedCltn> list = new DSOrderedCltn(16);
    if (const char* host = std::getenv("LOCD_ADDR"))
        list->add(new TRXString(host));
    if (auto file = WordFile::fromEnvironment("LOCD_ADDR_FILE", "agentaddr")) {
        if (!file->isOpen()) {
            if (file->isNamedByVariable())
                standardOutput() << "DSUser::Unable to open agentaddr file - " << file->path() << std::endl;
            // A file that cannot be read ends the list here, without the option, which was tried first
            // anyway.
            return list;
        }
        while (const auto host = file->nextWord())
            list->add(new TRXString(host->c_str()));
    }
    if (const auto host = SessionOptions::current()->option("ORBagentaddr"))
        list->add(new TRXString(host->c_str()));
    return list;
}

AgentSearch::AgentSearch(int port, NCRef<DSOrderedCltn>& listed, Ended ended)
    : port_(port), listed_(listed), ended_(std::move(ended)), message_(new DSAMessage(DSTypeLocateAgent)) {
    probe_.setBlocking(true);
}

void AgentSearch::open(const char* ipaddr) {
    // A new socket for each stage: answers to an earlier question that come late reach a closed port.
    if (probe_.isOpen())
        probe_.close();
    // Where the system says that nobody listens, nothing is waited for.
    if (probe_.bind(0, ipaddr) == 0 && probe_.tellRefusals() == 0)
        return;
    std::perror("DSUser::connect: bind:");
    standardOutput() << "Unable to bind to UDP port\n";
    std::exit(1);
}

std::optional<DSAddr> AgentSearch::run() {
    const auto ipaddr = SessionOptions::current()->option("OAipaddr");
    const char* ownAddress = ipaddr ? ipaddr->c_str() : nullptr;
    open(ownAddress);
    // The user's own choice comes first, before any agent that happens to be nearer.
    if (const auto host = SessionOptions::current()->option("ORBagentaddr")) {
        if (auto agent = ask(host->c_str()))
            return agent;
        open(nullptr);
    }
    if (auto agent = askThisHost())
        return agent;
    open(ownAddress);
    // Only now: making the list may read a file, and most searches end before.
    if (!listed_)
        listed_ = agentAddresses();
    for (const DSResource* element : *listed_) {
        if (auto agent = ask(static_cast<const TRXString*>(element)->str()))
            return agent;
    }
    if (!listed_->isEmpty()) {
        standardOutput() << "Harbolance: Unable to contact agent "
                         << "in local node or from list "
                         << "provided. " << std::endl
                         << "Will try to locate using broadcast." << std::endl;
    }
    return ask(nullptr);
}

// One attempt only: on the own host nothing gets lost, so silence means that there is no agent.
std::optional<DSAddr> AgentSearch::askThisHost() {
    if (probe_.connect(DSAddr(port_).socketAddress()) != 0 || probe_.send(message_.get()) != 0)
        return std::nullopt;
    return awaitAnswer();
}

// Each attempt sends again; the first good answer wins and later ones are never read. Without a host the
// question is broadcast.
std::optional<DSAddr> AgentSearch::ask(const char* host) {
    for (int attempt = 0; attempt < attempts && !isEnded(); ++attempt) {
        const int status =
            host ? probe_.sendTo(host, port_, message_.get()) : probe_.broadcast(message_.get(), port_);
        // Sending again would fail the same way: the host is unknown, or there is no network.
        if (status != 0)
            return std::nullopt;
        if (auto agent = awaitAnswer())
            return agent;
    }
    return std::nullopt;
}

namespace {

struct Arrival : dpIOHandler {
    int inputReady(int) override {
        arrived = true;
        return -1;
    }
    bool arrived = false;
};

} // namespace

// 1 when there is something to read, 0 when the time is over, -1 when the system refuses to wait.
int AgentSearch::awaitDatagram() {
    constexpr int seconds = 1;
    const int fd = probe_.fd();
    if (!ended_ || fd >= dpDispatcher::maxDescriptors)
        return pollUntil(fd, POLLIN, Deadline(seconds));
    dpDispatcher& loop = *dpDispatcher::instance();
    Arrival arrival;
    DSTimer limit(&loop);
    limit.start(seconds, 0);
    loop.link(fd, dpDispatcher::readMask, &arrival);
    while (!arrival.arrived && !limit.expired && !isEnded())
        loop.dispatch();
    loop.unlink(fd);
    return arrival.arrived ? 1 : 0;
}

std::optional<DSAddr> AgentSearch::awaitAnswer() {
    const int ready = awaitDatagram();
    // Nothing can be found without a socket that works; waiting again would end here again.
    if (ready < 0) {
        std::perror("DSUser::connect: select:");
        standardOutput() << "DSUser:: select error\n";
        std::exit(1);
    }
    if (ready == 0)
        return std::nullopt;
    int status = 0;
    // Any host may answer. What is no good answer uses up the attempt, so a flood of such cannot hold the
    // search.
    const std::unique_ptr<NCTransObject> received(probe_.receive(status));
    const auto* reply = nc_cast<DSAReply>(received.get());
    if (status != 0 || !reply || !reply->replyOk() || reply->replyType() != DSReplyAgentLocated)
        return std::nullopt;
    const auto* agent = nc_cast<DSAddr>(reply->object());
    constexpr int highestPort = 65535;
    // The port is a 32-bit number of the peer's; only these can be sent to.
    if (!agent || agent->port() <= 0 || agent->port() > highestPort)
        return std::nullopt;
    return *agent;
}

} // namespace harbolance
