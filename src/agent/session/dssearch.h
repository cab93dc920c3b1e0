#pragma once

#include "agent/collections/dsordclt.h"
#include "agent/records/dsaddr.h"
#include "agent/records/dsamsg.h"
#include "stream/ncudpstr.h"

#include <optional>

// One search for a location agent: a locate message is sent to one place after another until an agent
// answers.
//
//     the option ORBagentaddr - this host - each listed address - broadcast
//
// It blocks, outside the event loop: up to 1 second for this host and 5 seconds for each other place.
class DSAgentSearch {
public:
    // `listed` takes the texts of `dsAgentAddresses` when a search comes that far; it outlives the search.
    // Ends the process with status 1 when there is no socket to search with.
    DSAgentSearch(int port, NCRef<DSOrderedCltn>& listed);

    // Where the first agent that answered wants to be talked to, or nothing.
    std::optional<DSAddr> run();

private:
    static constexpr int attempts = 5;

    void open(const char* ipaddr);
    std::optional<DSAddr> askThisHost();
    std::optional<DSAddr> ask(const char* host);
    std::optional<DSAddr> awaitAnswer();

    int port_;
    NCRef<DSOrderedCltn>& listed_;
    NCudpstream probe_;
    NCRef<DSAMessage> message_; // the same one for all attempts
};

// Hosts at which an agent may be: those of LOCD_ADDR, of the file of LOCD_ADDR_FILE or HARBOLANCE_ADM
// ("agentaddr"), of the option ORBagentaddr. A list of TRXString, for the caller to hold.
DSOrderedCltn* dsAgentAddresses();

// Waits until the descriptor can be read: 1, 0 when the time ran out, -1 for an error. Signals do not end it.
int dsWaitReadable(int fd, int seconds);
