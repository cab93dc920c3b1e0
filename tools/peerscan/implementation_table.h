#pragma once

#include "agent/collections/dsdict.h"

// Implementations by host and repository id, each with the names of its objects; a name that is added twice
// is there twice. Hosts are compared as texts.
class ImplementationTable {
public:
    bool isEmpty() const { return hosts_.isEmpty(); }

    // `objectName` is null for an object without a name.
    void add(const char* repositoryId, const char* objectName, const char* host);

    // Prints what has a repository id that matches the expression, in the order of the collections, and
    // `heading` before the first such. Nothing at all when none matches. An invalid expression ends the
    // process with a message and status 0.
    void print(const char* expression, const char* heading, bool hostNames) const;

private:
    DSDictionary hosts_{16}; // from host to DSDictionary, from repository id to DSOrderedCltn of TRXString
};
