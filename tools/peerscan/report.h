#pragma once

#include "peerscan/listings.h"

#include <memory>

// Prints listings, each at most once. Control characters in texts from agents are replaced or escaped, so
// that they cannot affect the user's terminal.
class Report {
public:
    virtual ~Report() = default;

    virtual void agents(const AgentListing& listing) = 0;
    virtual void oads(const OADListing& listing) = 0;
    // The implementations whose repository id the expression matches. False for an invalid expression: the
    // report says so, and nothing may follow but `end`.
    virtual bool implementations(const ImplementationListing& listing, const char* expression,
                                 bool hostNames) = 0;
    // There is no agent to ask. Nothing may follow but `end`.
    virtual void noAgent() = 0;
    // Completes the output. False when not all of the report could be written.
    virtual bool end() = 0;
};

// Text, flushed after each line.
std::unique_ptr<Report> textReport(std::ostream& out);

// One JSON document, written by `end`, with a member for each wanted listing; null for a failed one. It is
// UTF-8: an octet that belongs to no character becomes U+FFFD, and control characters are escaped.
struct Wanted {
    bool agents;
    bool oads;
    bool implementations;
};
std::unique_ptr<Report> jsonReport(std::ostream& out, const Wanted& wanted);
