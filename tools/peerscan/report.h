#pragma once

#include "peerscan/listings.h"

#include <memory>

// Prints listings as they come, each at most once. Control characters in what the network tells don't reach a
// terminal.
class Report {
public:
    virtual ~Report() = default;

    virtual void agents(const AgentListing& listing) = 0;
    virtual void oads(const OADListing& listing) = 0;
    // What has a repository id that the expression matches. False for an expression that is not valid: the
    // report says so, and is over.
    virtual bool implementations(const ImplementationListing& listing, const char* expression,
                                 bool hostNames) = 0;
    // There is no agent to ask, and the report is over.
    virtual void noAgent() = 0;
    // Prints what has not been printed yet. False when the report could not be written completely.
    virtual bool end() = 0;
};

// Text for people, in lines that leave at once.
std::unique_ptr<Report> textReport(std::ostream& out);

// One JSON document that leaves at the end, with a member for each listing that is `wanted`. Its text is
// UTF-8: an octet that belongs to no character becomes U+FFFD, and control characters are escaped.
struct Wanted {
    bool agents;
    bool oads;
    bool implementations;
};
std::unique_ptr<Report> jsonReport(std::ostream& out, const Wanted& wanted);
