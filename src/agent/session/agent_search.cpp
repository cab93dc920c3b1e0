#include "agent/session/agent_search.h"

#include "agent/records/trxstring.h"
#include "agent/session/session_options.h"
#include "agent/session/word_file.h"
#include "base/standard_streams.h"
#include "net/descriptors.h"

#include <poll.h>

#include <cerrno>
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
            // A file that cannot be read ends the list here, without the option, which an earlier stage has
            // already tried.
            return list;
        }
        while (const auto host = file->nextWord())
            list->add(new TRXString(host->c_str()));
    }
    if (const auto host = SessionOptions::current()->option("ORBagentaddr"))
        list->add(new TRXString(host->c_str()));
    return list;
}

namespace {

const char* orNull(const std::optional<std::string>& text) { return text ? text->c_str() : nullptr; }

} // namespace

AgentSearch::AgentSearch(int port, NCRef<DSOrderedCltn>& listed)
    : port_(port), listed_(listed), configured_(SessionOptions::current()->option("ORBagentaddr")),
      ownAddress_(SessionOptions::current()->option("OAipaddr")),
      message_(new DSAMessage(DSTypeLocateAgent)) {
    probe_.setBlocking(true);
    open(orNull(ownAddress_));
}

void AgentSearch::open(const char* ipaddr) {
    // A new socket for each stage, so that late answers to an earlier stage reach a closed port.
    if (probe_.isOpen())
        probe_.close();
    if (probe_.bind(0, ipaddr) != 0)
        error_ = errno;
}

bool AgentSearch::ask() {
    constexpr int most = 5;
    while (stage_ != Stage::over && probe_.isOpen()) {
        // Sending again would fail in the same way: the host is unknown, or there is no network.
        if (attempt_ < (stage_ == Stage::thisHost ? 1 : most) && send()) {
            ++attempt_;
            return true;
        }
        advance();
    }
    return false;
}

bool AgentSearch::send() {
    switch (stage_) {
    // The configured agent comes first, before any agent that is nearer.
    case Stage::configured:
        return configured_ && probe_.sendTo(configured_->c_str(), port_, message_.get()) == 0;
    // On this host nothing gets lost, so silence means that there is no agent; the system may even report it.
    case Stage::thisHost:
        return probe_.connect(DSAddr(port_).socketAddress()) == 0 && probe_.tellRefusals() == 0 &&
               probe_.send(message_.get()) == 0;
    case Stage::listed:
        return host_ < static_cast<int>(listed_->size()) &&
               probe_.sendTo(static_cast<const TRXString*>(listed_->at(host_))->str(), port_,
                             message_.get()) == 0;
    case Stage::broadcast: return probe_.broadcast(message_.get(), port_) == 0;
    case Stage::over: break;
    }
    return false;
}

void AgentSearch::advance() {
    attempt_ = 0;
    switch (stage_) {
    case Stage::configured:
        if (configured_)
            open(nullptr);
        stage_ = Stage::thisHost;
        break;
    case Stage::thisHost:
        open(orNull(ownAddress_));
        // Made only at this stage, because it may read a file and most searches end earlier.
        if (!listed_)
            listed_ = agentAddresses();
        stage_ = Stage::listed;
        break;
    case Stage::listed:
        if (++host_ < static_cast<int>(listed_->size()))
            break;
        if (!listed_->isEmpty()) {
            standardOutput() << "Harbolance: Unable to contact agent "
                             << "in local node or from list "
                             << "provided. " << std::endl
                             << "Will try to locate using broadcast." << std::endl;
        }
        stage_ = Stage::broadcast;
        break;
    default: stage_ = Stage::over; break;
    }
}

std::optional<DSAddr> AgentSearch::run() {
    while (ask()) {
        const int ready = pollUntil(fd(), POLLIN, Deadline(answerSeconds));
        // No agent can be found without a working socket, and another wait would fail too.
        if (ready < 0) {
            std::perror("DSUser::connect: select:");
            standardOutput() << "DSUser:: select error\n";
            std::exit(1);
        }
        if (ready == 0)
            continue;
        if (auto agent = answer())
            return agent;
    }
    // A process at its limit of descriptors continues without an agent.
    if (!probe_.isOpen() && error_ != EMFILE && error_ != ENFILE) {
        errno = error_;
        std::perror("DSUser::connect: bind:");
        standardOutput() << "Unable to bind to UDP port\n";
        std::exit(1);
    }
    return std::nullopt;
}

// Any host may answer. A bad answer uses up the attempt, so that a flood of them cannot prolong the search;
// the later ones are not read.
std::optional<DSAddr> AgentSearch::answer() {
    int status = 0;
    const std::unique_ptr<NCTransObject> received(probe_.receive(status));
    const auto* reply = nc_cast<DSAReply>(received.get());
    if (status != 0 || !reply || !reply->replyOk() || reply->replyType() != DSReplyAgentLocated)
        return std::nullopt;
    const auto* agent = nc_cast<DSAddr>(reply->object());
    constexpr int highestPort = 65535;
    // The port is any 32-bit number of the peer's; only these can be sent to.
    if (!agent || agent->port() <= 0 || agent->port() > highestPort)
        return std::nullopt;
    return *agent;
}

// --- In the event loop -------------------------------------------------------------------------------------

LoopSearch::LoopSearch(int port, NCRef<DSOrderedCltn>& listed, Done done)
    : search_(port, listed), done_(std::move(done)) {}

void LoopSearch::askNext() {
    stopWaiting();
    // The dispatcher cannot watch such a descriptor, so no answer would be received.
    if (!search_.ask() || search_.fd() >= dpDispatcher::maxDescriptors)
        return finish(std::nullopt);
    fd_ = search_.fd();
    dpDispatcher::instance()->link(fd_, dpDispatcher::readMask, this);
    dpDispatcher::instance()->startTimer(AgentSearch::answerSeconds, 0, this);
}

void LoopSearch::stopWaiting() {
    if (fd_ == -1)
        return;
    dpDispatcher::instance()->unlink(fd_);
    dpDispatcher::instance()->stopTimer(this);
    fd_ = -1;
}

void LoopSearch::finish(const std::optional<DSAddr>& agent) {
    const Done done = std::move(done_); // the call may destroy this object
    done(agent);
}

int LoopSearch::inputReady(int) {
    stopWaiting();
    if (const auto agent = search_.answer())
        finish(agent);
    else
        askNext();
    return 0;
}

void LoopSearch::timerExpired(long, long) { askNext(); }

} // namespace harbolance
