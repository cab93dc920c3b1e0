#pragma once

#include <harbolance/activation_stub.h>

#include <iosfwd>
#include <string>

// What the daemon knows, for people or as one JSON document. A listing tells how servers are started, a
// status how they are.

struct ReportForm {
    bool json = false;
    bool states = false; // a status
};

void report(std::ostream& out, const Activation::ImplementationStatusSeq& implementations, ReportForm form);

// Interface and name in quotes, for messages.
std::string objectText(const std::string& interface, const std::string& name);

// Without what a terminal would take for a command, and quoted for a shell where that is needed.
std::string wordText(const std::string& word);
