#include "agent/session/session_options.h"
#include "base/printable.h"
#include "orb/vorb.h"
#include "peerscan/report.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <iostream>

using namespace harbolance;

namespace {

struct Choice {
    bool selected = false; // a listing was requested by an option; otherwise all are printed
    bool listAgents = false;
    bool listOADs = false;
    bool listImpls = false;
    bool backCompat = false;
    bool pause = false;
    bool hostNames = true;
    bool json = false;
    bool version = false;
    bool usage = false;
    const char* pattern = "^.*";

    Wanted wanted() const { return {!selected || listAgents, !selected || listOADs, !selected || listImpls}; }
};

// Stops at the first option that asks for the usage.
Choice readOptions(int argc, char** argv) {
    constexpr int json = 256;
    constexpr int version = 257;
    const option longOptions[] = {{"json", no_argument, nullptr, json},
                                  {"version", no_argument, nullptr, version},
                                  {"help", no_argument, nullptr, 'h'},
                                  {nullptr, 0, nullptr, 0}};
    Choice choice;
    for (int option;
         !choice.usage && (option = ::getopt_long(argc, argv, "r:hdbaoC?", longOptions, nullptr)) != -1;) {
        switch (option) {
        case 'a': choice.selected = choice.listAgents = true; break;
        case 'o': choice.selected = choice.listOADs = true; break;
        case 'r':
            choice.selected = choice.listImpls = true;
            choice.pattern = optarg;
            break;
        case 'b': choice.backCompat = true; break;
        case 'd': choice.hostNames = false; break;
        case 'C': choice.pause = true; break;
        case json: choice.json = true; break;
        case version: choice.version = true; break;
        default: choice.usage = true; break;
        }
    }
    return choice;
}

void printUsage() {
    constexpr const char* lines[] = {
        "Usage: peerscan [-options]",
        "\nwhere options include:",
        "    -?  Prints usage information",
        "    -b  Use the Harbolance 2.0 backward-compatible peerscan mechanism",
        "        Note: 3.0 Activable objects are listed as \"manually started\" when set",
        "    -d  Print hostnames as dotted quad addresses",
        "    -r  <repository ID>  ",
        "        Lists all implementations of the given repository ID",
        "        Note: You can use regular expressions in repository IDs",
        "        Example: -r \"^.*\" will list all interfaces.",
        "    -a  Lists all agents in your domain",
        "    -o  Lists all Object Activation Daemons in your domain",
        "",
        "Without any options set, all agents, OADs and implementations are listed.",
    };
    for (const char* line : lines)
        std::cout << line << std::endl;
    std::cout << "\n";
}

// Whether the whole text is a port number. The session itself only reads the number at the start of a text.
bool isPort(const std::string& text) {
    int port = 0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && last == end && port > 0 && port <= 65535;
}

void complainUnlessPort(const char* source, const std::string& value) {
    if (!isPort(value))
        std::cerr << "peerscan: " << source << ": '" << withoutControls(value) << "' is no port" << std::endl;
}

// The variable matters only when the session reads it: an option other than 0 or the default port replaces
// it.
void complainOfPorts() {
    const auto given = SessionOptions::current()->option("ORBagentport");
    if (given && *given != "0")
        complainUnlessPort("-ORBagentport", *given);
    const bool variableCounts = !given || *given == "0" || *given == std::to_string(dsDefaultPort);
    if (const char* value = std::getenv("LOCD_PORT"); value && variableCounts)
        complainUnlessPort("LOCD_PORT", value);
}

// False when the report ended early: no agent, or an invalid expression.
bool list(const Choice& choice, Report& report) {
    const Wanted wanted = choice.wanted();
    bool hasAgent = true;
    if (wanted.agents) {
        const auto listing = listAgents(choice.hostNames);
        hasAgent = listing.has_value();
        if (hasAgent)
            report.agents(*listing);
    }
    if (hasAgent && wanted.oads) {
        const auto listing = listOADs(choice.hostNames);
        hasAgent = listing.has_value();
        if (hasAgent)
            report.oads(*listing);
    }
    if (hasAgent && wanted.implementations) {
        const auto listing = listImplementations(choice.backCompat);
        hasAgent = listing.has_value();
        if (hasAgent)
            return report.implementations(*listing, choice.pattern, choice.hostNames);
    }
    if (!hasAgent)
        report.noAgent();
    return hasAgent;
}

void waitForReturn() {
    std::cout << "\n"
              << ">>> Press RETURN to continue <<<" << std::endl;
    std::cin.get();
}

} // namespace

int main(int argc, char** argv) {
    // When the reader closes the pipe the session must still log out.
    std::signal(SIGPIPE, SIG_IGN);
    // The library prints some messages on the standard output. That would spoil a JSON document, so they are
    // redirected to the standard error stream.
    std::ostream out(std::cout.rdbuf());
    if (std::any_of(argv, argv + argc, [](const char* word) { return std::string_view(word) == "--json"; }))
        std::cout.rdbuf(std::cerr.rdbuf());
    CORBA_ORB_init(argc, argv, nullptr);
    // Options of an object adapter are removed here, because this program does not make one.
    if (TRXORB* orb = TRXORB::current())
        orb->parse(argc, argv, "-OA");
    const Choice choice = readOptions(argc, argv);
    if (!choice.json || choice.usage || choice.version)
        std::cout.rdbuf(out.rdbuf());
    if (choice.usage)
        printUsage();
    else if (choice.version)
        std::cout << "peerscan " PEERSCAN_VERSION << std::endl;
    if (choice.usage || choice.version)
        return 0;
    complainOfPorts();
    const auto report = choice.json ? jsonReport(out, choice.wanted()) : textReport(std::cout);
    const bool complete = list(choice, *report);
    const bool written = report->end();
    if (complete && choice.pause)
        waitForReturn();
    // The exit status is 0 all the same, as for every report.
    if (!written || !std::cout)
        std::cerr << "peerscan: the report could not be written completely" << std::endl;
    return 0;
}
