#include "agent/session/agent_search.h"

#include "agent/records/trxstring.h"
#include "agent/session/session_options.h"
#include "agent/session/word_file.h"
#include "net/descriptors.h"

#include <poll.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace harbolance {

NCRef<DSOrderedCltn> agentAddresses() {
    NCRef<DSOrderedCltn> list = new DSOrderedCltn(16);
    if (const char* host = std::getenv("LOCD_ADDR"))
        list->add(new TRXString(host));
    if (auto file = WordFile::fromEnvironment("LOCD_ADDR_FILE", "agentaddr")) {
        if (!file->isOpen()) {
            if (file->isNamedByVariable())
                std::cout << "DSUser::Unable to open agentaddr file - " << file->path() << std::endl;
            return list;
        }
        while (const auto host = file->nextWord())
            list->add(new TRXString(host->c_str()));
    }
    if (const auto host = SessionOptions::current()->option("ORBagentaddr"))
        list->add(new TRXString(host->c_str()));
    return list;
}

AgentSearch::AgentSearch(int port, NCRef<DSOrderedCltn>& listed)
    : port_(port), listed_(listed), message_(new DSAMessage(DSTypeLocateAgent)) {
    probe_.setBlocking(true);
}

void AgentSearch::open(const char* ipaddr) {
    if (probe_.isOpen())
        probe_.close();
    if (probe_.bind(0, ipaddr) == 0)
        return;
    std::perror("DSUser::connect: bind:");
    std::cout << "Unable to bind to UDP port\n";
    std::exit(1);
}

std::optional<DSAddr> AgentSearch::run() {
    const auto ipaddr = SessionOptions::current()->option("OAipaddr");
    const char* ownAddress = ipaddr ? ipaddr->c_str() : nullptr;
    open(ownAddress);
    if (const auto host = SessionOptions::current()->option("ORBagentaddr")) {
        if (auto agent = ask(host->c_str()))
            return agent;
        open(nullptr);
    }
    if (auto agent = askThisHost())
        return agent;
    open(ownAddress);
    if (!listed_)
        listed_ = agentAddresses();
    for (const DSResource* element : *listed_) {
        if (auto agent = ask(static_cast<const TRXString*>(element)->str()))
            return agent;
    }
    if (!listed_->isEmpty()) {
        std::cout << "Harbolance: Unable to contact agent "
                  << "in local node or from list "
                  << "provided. " << std::endl
                  << "Will try to locate using broadcast." << std::endl;
    }
    return ask(nullptr);
}

std::optional<DSAddr> AgentSearch::askThisHost() {
    if (probe_.connect(DSAddr(port_).socketAddress()) != 0 || probe_.send(message_.get()) != 0)
        return std::nullopt;
    return awaitAnswer();
}

// Each attempt sends again; the first good answer wins and later ones are never read. Without a host the
// question is broadcast.
std::optional<DSAddr> AgentSearch::ask(const char* host) {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const int status =
            host ? probe_.sendTo(host, port_, message_.get()) : probe_.broadcast(message_.get(), port_);
        if (status != 0)
            return std::nullopt;
        if (auto agent = awaitAnswer())
            return agent;
    }
    return std::nullopt;
}

std::optional<DSAddr> AgentSearch::awaitAnswer() {
    constexpr int seconds = 1;
    const int ready = pollUntil(probe_.fd(), POLLIN, Deadline(seconds));
    if (ready < 0) {
        std::perror("DSUser::connect: select:");
        std::cout << "DSUser:: select error\n";
        std::exit(1);
    }
    if (ready == 0)
        return std::nullopt;
    int status = 0;
    const std::unique_ptr<NCTransObject> received(probe_.receive(status));
    const auto* reply = nc_cast<DSAReply>(received.get());
    if (status != 0 || !reply || !reply->replyOk() || reply->replyType() != DSReplyAgentLocated)
        return std::nullopt;
    const auto* agent = nc_cast<DSAddr>(reply->object());
    constexpr int highestPort = 65535;
    if (!agent || agent->port() <= 0 || agent->port() > highestPort)
        return std::nullopt;
    return *agent;
}

} // namespace harbolance
