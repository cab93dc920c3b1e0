#pragma once

#include "agent/collections/dsdict.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The host, repository id and name of an object.
struct ListedObject {
    std::string host;
    std::string repositoryId;
    std::optional<std::string> objectName;
};

// Parses the name of an object at an agent, "<host>_<repository id>_<object name>": the host is a dotted
// address, the object name all after the second '_'. Nothing for a text of another form, and for an
// activation daemon, which is not an implementation.
std::optional<ListedObject> parseAgentName(std::string_view text);

// One implementation in a listing. The texts are owned by the table of the row.
struct ImplementationRow {
    const char* host;
    const char* repositoryId;
    std::vector<const char*> objectNames; // of the objects that have a name
};

// Implementations by host and repository id, each with the names of its objects; a name added twice is listed
// twice. Hosts are compared as texts.
class ImplementationTable {
public:
    bool isEmpty() const { return hosts_.isEmpty(); }

    void add(const ListedObject& object);

    // The implementations whose repository id contains a match of the regular expression, in the order of the
    // collections, so that the rows of one host follow each other. Nothing for an invalid expression. The
    // syntax is the one that the platform's re_comp takes by default.
    std::optional<std::vector<ImplementationRow>> rows(const char* expression) const;

private:
    DSDictionary hosts_{16}; // from host to DSDictionary, from repository id to DSOrderedCltn of TRXString
};
