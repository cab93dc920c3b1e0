#include "orb/vorb.h"
#include "peerscan/agents.h"
#include "peerscan/implementations.h"
#include "peerscan/oads.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <unistd.h>

namespace {

struct Choice {
    bool selected = false; // a listing was asked for by name; else all of them are wanted
    bool listAgents = false;
    bool listOADs = false;
    bool listImpls = false;
    bool backCompat = false;
    bool pause = false;
    bool hostNames = true;
    const char* pattern = "^.*";
};

// Nothing when the usage is wanted.
std::optional<Choice> readOptions(int argc, char** argv) {
    Choice choice;
    for (int option; (option = ::getopt(argc, argv, "r:hdbaoC?")) != -1;) {
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
        default: return std::nullopt;
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

void waitForReturn() {
    std::cout << "\n"
              << ">>> Press RETURN to continue <<<" << std::endl;
    std::cin.get();
}

// A full disk or a reader that went away leaves the exit status as it is, but not unsaid.
void tellOfLostOutput() {
    if (!std::cout.flush())
        std::fputs("peerscan: the report could not be written completely\n", stderr);
}

} // namespace

int main(int argc, char** argv) {
    // A reader that goes away must not keep the session from telling its agent that it ends.
    std::signal(SIGPIPE, SIG_IGN);
    std::atexit(tellOfLostOutput);
    CORBA_ORB_init(argc, argv, nullptr);
    // No adapter runs here that would take its own words out.
    if (TRXORB* orb = TRXORB::current())
        orb->parse(argc, argv, "-OA");
    const auto choice = readOptions(argc, argv);
    if (!choice) {
        printUsage();
        return 0;
    }
    if (!choice->selected || choice->listAgents)
        listAgents(choice->hostNames);
    if (!choice->selected || choice->listOADs)
        listOADs(choice->hostNames);
    if (!choice->selected || choice->listImpls)
        listImplementations(choice->pattern, choice->backCompat, choice->hostNames);
    if (choice->pause)
        waitForReturn();
    return 0;
}
