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

// A search for a location agent: sends a locate message to one place after another until an agent answers.
//
//     the option ORBagentaddr - this host - each listed address - broadcast
//
// This host is asked once, each other place up to five times.
class AgentSearch {
public:
    static constexpr int answerSeconds = 1; // time for the answer to each message

    // `listed` caches the result of `agentAddresses` when a search gets that far; it must outlive the search.
    AgentSearch(int port, NCRef<DSOrderedCltn>& listed);

    // Sends the next locate message. False when all places have been asked, or there is no socket.
    bool ask();
    // The socket at which the answer to the last question comes in.
    int fd() const { return probe_.fd(); }
    // Reads what has arrived. Returns the address of the agent, or nothing for any other datagram; then call
    // `ask` again.
    std::optional<DSAddr> answer();

    // Runs the whole search. It blocks and does not run the event loop. Ends the process with status 1 when
    // no socket can be opened to search from.
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
    int host_ = 0;    // index in the list, in that stage
    int attempt_ = 0; // number at this place
    int error_ = 0;   // errno, when there is no socket
    NCudpstream probe_;
    NCRef<DSAMessage> message_; // the same one for all attempts
};

// A search that waits in the global event loop, so that the process goes on serving.
class LoopSearch final : public dpIOHandler {
public:
    // Called with the address found, or nothing. It may destroy the search.
    using Done = std::function<void(const std::optional<DSAddr>&)>;

    LoopSearch(int port, NCRef<DSOrderedCltn>& listed, Done done);
    LoopSearch(const LoopSearch&) = delete;
    LoopSearch& operator=(const LoopSearch&) = delete;
    ~LoopSearch() override { stopWaiting(); }

    // Call once. When there is no place to ask, `done` is called before this returns.
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

// The hosts that may have an agent: those of LOCD_ADDR, of the file named by LOCD_ADDR_FILE or in
// HARBOLANCE_ADM ("agentaddr"), and of the option ORBagentaddr. A list of TRXString.
NCRef<DSOrderedCltn> agentAddresses();

} // namespace harbolance
