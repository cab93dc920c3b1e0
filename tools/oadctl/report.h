#pragma once

#include <harbolance/activation_stub.h>

#include <iosfwd>
#include <string>

// Prints the daemon's data for people or as one JSON document. A listing has the registrations, a status the
// states of the servers.

struct ReportForm {
    bool json = false;
    bool states = false; // a status
};

void report(std::ostream& out, const Activation::ImplementationStatusSeq& implementations, ReportForm form);

// Interface and name in quotes, for messages.
std::string objectText(const std::string& interface, const std::string& name);

// The word without characters that a terminal would act on, quoted for a shell if needed.
std::string wordText(const std::string& word);
