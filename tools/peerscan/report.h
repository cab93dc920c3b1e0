#pragma once

// The rooms of peerscan. One file for each listing (agents, oads, implementations), the table that the last
// one prints, the names that agents hand out, the expression that selects, and here what all of them share.

#include "agent/session/dsuser.h"

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

// Text from the network on its way to a terminal: control characters come out as '?'.
struct Printable {
    std::string_view text;
};
std::ostream& operator<<(std::ostream& out, const Printable& printable);

// The host's name by reverse look-up, which may block for as long as the resolver takes, or the dotted
// address: where no name is known, or none is wanted.
std::string hostText(const DSAddr& address, bool hostNames);

// The line that names a host.
void printHost(const DSAddr& address, bool hostNames);

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

// The session, logged in. Without an agent a line says so and the process ends with status 0.
DSUser& connectedUser();
