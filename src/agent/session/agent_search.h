#pragma once

#include "agent/collections/dsordclt.h"
#include "agent/records/dsaddr.h"
#include "agent/records/dsamsg.h"
#include "stream/ncudpstr.h"

#include <functional>
#include <optional>

namespace harbolance {

// One search for a location agent: a locate message is sent to one place after another until an agent
// answers.
//
//     the option ORBagentaddr - this host - each listed address - broadcast
//
// It takes up to 1 second for this host and 5 seconds for each other place.
class AgentSearch {
public:
    // Ends a search before its time.
    using Ended = std::function<bool()>;

    // `listed` takes the result of `agentAddresses` when a search comes that far; it outlives the search.
    // Without `ended` the search blocks. With it the search waits in the global event loop, so that the
    // process serves what it has to serve meanwhile, until that gives true. Ends the process with status 1
    // when there is no socket to search with.
    AgentSearch(int port, NCRef<DSOrderedCltn>& listed, Ended ended = nullptr);

    // Where the first agent that answered is to be asked from now on, or nothing.
    std::optional<DSAddr> run();

private:
    static constexpr int attempts = 5;

    void open(const char* ipaddr);
    std::optional<DSAddr> askThisHost();
    std::optional<DSAddr> ask(const char* host);
    std::optional<DSAddr> awaitAnswer();
    int awaitDatagram();
    bool isEnded() const { return ended_ && ended_(); }

    int port_;
    NCRef<DSOrderedCltn>& listed_;
    Ended ended_;
    NCudpstream probe_;
    NCRef<DSAMessage> message_; // the same one for all attempts
};

// Hosts at which an agent may be: those of LOCD_ADDR, of the file of LOCD_ADDR_FILE or HARBOLANCE_ADM
// ("agentaddr"), of the option ORBagentaddr. A list of TRXString.
NCRef<DSOrderedCltn> agentAddresses();

} // namespace harbolance
