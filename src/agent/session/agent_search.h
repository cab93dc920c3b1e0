#pragma once

#include "agent/collections/dsordclt.h"
#include "agent/records/dsaddr.h"
#include "agent/records/dsamsg.h"
#include "net/dispatcher.h"
#include "stream/ncudpstr.h"

#include <functional>
#include <optional>
#include <string>

namespace harbolance {

// One search for a location agent: a locate message is sent to one place after another until an agent
// answers.
//
//     the option ORBagentaddr - this host - each listed address - broadcast
//
// This host is asked once, each other place up to five times.
class AgentSearch {
public:
    static constexpr int answerSeconds = 1; // that an agent has for each question

    // `listed` takes the result of `agentAddresses` when a search comes that far; it outlives the search.
    AgentSearch(int port, NCRef<DSOrderedCltn>& listed);

    // Sends the next locate message. False when all places have been asked, or there is no socket.
    bool ask();
    // The socket at which the answer to the last question comes in.
    int fd() const { return probe_.fd(); }
    // Reads what has come in: where the agent is to be asked from now on. Nothing for any other datagram;
    // then `ask` is to be called.
    std::optional<DSAddr> answer();

    // The whole search. It blocks, outside the event loop. Ends the process with status 1 when there is no
    // address to search from.
    std::optional<DSAddr> run();

private:
    enum class Stage { configured, thisHost, listed, broadcast, over };

    void open(const char* ipaddr);
    bool send();
    void advance();

    int port_;
    NCRef<DSOrderedCltn>& listed_;
    const std::optional<std::string> configured_; // ORBagentaddr
    const std::optional<std::string> ownAddress_; // OAipaddr
    Stage stage_ = Stage::configured;
    int host_ = 0;    // of the list, in its stage
    int attempt_ = 0; // at this place
    int error_ = 0;   // why there is no socket
    NCudpstream probe_;
    NCRef<DSAMessage> message_; // the same one for all attempts
};

// A search that waits in the global event loop, while the process serves what it has to serve.
class LoopSearch final : public dpIOHandler {
public:
    // What was found, or nothing. May destroy the search.
    using Done = std::function<void(const std::optional<DSAddr>&)>;

    LoopSearch(int port, NCRef<DSOrderedCltn>& listed, Done done);
    LoopSearch(const LoopSearch&) = delete;
    LoopSearch& operator=(const LoopSearch&) = delete;
    ~LoopSearch() override { stopWaiting(); }

    // Once. When there is no place to ask, `done` is called in it.
    void start() { askNext(); }

    int inputReady(int fd) override;
    void timerExpired(long sec, long usec) override;

private:
    void askNext();
    void stopWaiting();
    void finish(const std::optional<DSAddr>& agent);

    AgentSearch search_;
    Done done_;
    int fd_ = -1; // linked, and the timer runs
};

// Hosts at which an agent may be: those of LOCD_ADDR, of the file of LOCD_ADDR_FILE or HARBOLANCE_ADM
// ("agentaddr"), of the option ORBagentaddr. A list of TRXString.
NCRef<DSOrderedCltn> agentAddresses();

} // namespace harbolance
