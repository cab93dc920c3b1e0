#pragma once

// peerscan works in two steps: the functions below ask the agents and collect a listing whole, a Report
// (report.h) prints it as text or as JSON. main.cpp reads the options and calls both for each listing in
// turn; implementation_table.h sorts the names of objects.
//
// A function returns nothing when there is no agent to ask. When a list fails, whatever the cause, it says so
// on the standard error stream and returns what it has. Each blocks until the agents have answered or were
// given up, and for each name of a host as long as the resolver takes.

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
