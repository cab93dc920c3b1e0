#pragma once

// peerscan works in two steps: the functions below ask the agents and collect a complete listing, and a
// Report (report.h) prints it as text or JSON. main.cpp reads the options and does both for each listing;
// implementation_table.h groups the names of objects.
//
// A function returns nothing when there is no agent. When a list fails for any reason, it prints a message on
// the standard error stream and returns what it has. Each blocks until the agents have answered or timed out,
// and for each host name as long as the resolver takes.

#include "agent/session/dsuser.h"
#include "peerscan/implementation_table.h"

struct AgentListing {
    int port;
    std::vector<std::string> hosts; // first the agent that the session is connected to
};
std::optional<AgentListing> listAgents(bool hostNames);

struct OADListing {
    bool isKnown; // the list was received
    std::vector<std::string> hosts;
};
std::optional<OADListing> listOADs(bool hostNames);

struct ImplementationListing {
    bool isKnown;                   // the names were received
    ImplementationTable registered; // with activation daemons
    ImplementationTable started;    // by hand
};
// With `backCompat` the agents are asked even if the location service answers.
std::optional<ImplementationListing> listImplementations(bool backCompat);

// The host's name by reverse look-up, or the dotted address when the name is unknown or not wanted.
std::string hostText(const DSAddr& address, bool hostNames);

// The records of class T in a list query's result, which may be empty. An agent may put any records into its
// set; those of other classes are left out.
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
