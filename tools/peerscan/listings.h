#pragma once

// What peerscan lists. Each function collects one listing whole, in the order in which report.h prints it, so
// that text and JSON show the same rows. Nothing is returned when there is no agent to ask. A list that fails
// is said on the standard error stream, whatever the cause, and is missing in the listing.
//
// All of them wait for the answers of agents, and for names of hosts as long as the resolver takes.

#include "agent/session/dsuser.h"
#include "peerscan/implementation_table.h"

struct AgentListing {
    int port;
    std::vector<std::string> hosts; // the one that the session is connected to is the first
};
std::optional<AgentListing> listAgents(bool hostNames);

struct OADListing {
    bool isKnown; // a list could be had
    std::vector<std::string> hosts;
};
std::optional<OADListing> listOADs(bool hostNames);

struct ImplementationListing {
    bool isKnown;                   // the names could be had
    ImplementationTable registered; // with activation daemons
    ImplementationTable started;    // by hand
};
// With `backCompat` the agents are asked also where the location service answers.
std::optional<ImplementationListing> listImplementations(bool backCompat);

// The host's name by reverse look-up, or the dotted address where no name is known, or none is wanted.
std::string hostText(const DSAddr& address, bool hostNames);

// What a list query gave, which may be nothing. An agent may put anything into its set: records of another
// class are left out.
template <class T>
std::vector<const T*> recordsOf(const NCRef<DSSet>& set) {
    std::vector<const T*> records;
    if (!set)
        return records;
    records.reserve(set->size());
    for (const DSResource* element : *set) {
        if (const auto* record = nc_cast<T>(element))
            records.push_back(record);
    }
    return records;
}
