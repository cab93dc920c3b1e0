#include "locd/options.h"

#include "agent/records/dscodes.h"
#include "net/host_address.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

using namespace harbolance;

namespace locd {

namespace {

constexpr double shortestInterval = 0.1;
constexpr double longestInterval = 86400;

template <class Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    // The whole text must be a number: "14000x" is refused.
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<int> portNumber(std::string_view text, int lowest) {
    const auto port = number<int>(text);
    return port && *port >= lowest && *port <= 65535 ? port : std::nullopt;
}

// Values of the options without a letter.
enum LongOnly : int { listPort = 256, peer, interval, checkInterval, logFile, logLevel, foreground, version };

constexpr option longOptions[] = {{"port", required_argument, nullptr, 'p'},
                                  {"address", required_argument, nullptr, 'a'},
                                  {"list-port", required_argument, nullptr, listPort},
                                  {"peer", required_argument, nullptr, peer},
                                  {"interval", required_argument, nullptr, interval},
                                  {"check-interval", required_argument, nullptr, checkInterval},
                                  {"log-file", required_argument, nullptr, logFile},
                                  {"log-level", required_argument, nullptr, logLevel},
                                  {"verbose", no_argument, nullptr, 'v'},
                                  {"foreground", no_argument, nullptr, foreground},
                                  {"help", no_argument, nullptr, 'h'},
                                  {"version", no_argument, nullptr, version},
                                  {nullptr, 0, nullptr, 0}};

class Reader {
public:
    Command read(std::vector<char*> words, const char* portVariable) {
        const int count = static_cast<int>(words.size());
        words.push_back(nullptr);
        opterr = 0; // errors are reported here, in the form of this program
        optind = 0; // makes the C library's reader start again
        int value = 0;
        while (command_.action == Command::Action::run && value != -1) {
            // The leading ':' makes a missing value ':' instead of '?'.
            value = getopt_long(count, words.data(), ":p:a:vh", longOptions, nullptr);
            // getopt leaves optind after the word that it has processed.
            const std::string_view word = words[static_cast<size_t>(std::max(optind - 1, 0))];
            take(value, std::string(word.substr(0, word.find('='))));
        }
        // getopt has moved words that are no options to the end.
        if (command_.action == Command::Action::run && optind < count)
            refuse("unexpected word '" + std::string(words[static_cast<size_t>(optind)]) + "'");
        if (command_.action == Command::Action::run)
            settlePorts(portVariable ? portVariable : "");
        return command_;
    }

private:
    void refuse(const std::string& complaint) {
        command_.action = Command::Action::refuse;
        command_.complaint = complaint;
    }

    // `word` is the last word processed: for a wrong long option, that option.
    void take(int value, const std::string& word) {
        Options& options = command_.options;
        const std::string text = optarg ? optarg : "";
        switch (value) {
        case 'p': port_ = takePort("--port", text); break;
        case 'a': takeAddress(text); break;
        case listPort: options.listPort = takePort("--list-port", text); break;
        case peer: takePeer(text); break;
        case interval: takeSeconds("--interval", text, options.interval); break;
        case checkInterval: takeSeconds("--check-interval", text, options.checkInterval); break;
        case logFile: options.logFile = text; break;
        case logLevel: takeLevel(text); break;
        case 'v':
            options.logLevel = options.logLevel < LogLevel::info ? LogLevel::info : LogLevel::debug;
            break;
        case foreground: break;
        case 'h': command_.action = Command::Action::help; break;
        case version: command_.action = Command::Action::version; break;
        case ':': refuse("option '" + word + "' needs a value"); break;
        case '?': refuseOption(word); break;
        default: break; // the end of the options
        }
    }

    void refuseOption(const std::string& word) {
        // For an unknown letter it is in optopt; for an unknown long option optopt is 0, for an unexpected
        // value it is the option's number.
        const bool isLetter = optopt > 0 && optopt < listPort && !word.starts_with("--");
        if (isLetter)
            refuse(std::string("unknown option '-") + static_cast<char>(optopt) + "'");
        else if (optopt != 0)
            refuse("option '" + word + "' takes no value");
        else
            refuse("unknown option '" + word + "'");
    }

    int takePort(const char* name, const std::string& text) {
        const auto port = portNumber(text, 0);
        if (!port)
            refuse(std::string(name) + ": '" + text + "' is no port number (0 to 65535)");
        return port.value_or(0);
    }

    void takeAddress(const std::string& text) {
        const auto address = dottedAddress(text.c_str());
        if (address)
            command_.options.address = *address;
        else
            refuse("--address: '" + text + "' is no IPv4 address in dotted form");
    }

    // Without a port the peer gets the domain's port, which is known only at the end.
    void takePeer(const std::string& text) {
        const size_t colon = text.find(':');
        const auto port = colon == std::string::npos
                              ? std::optional<int>(0)
                              : portNumber(std::string_view(text).substr(colon + 1), 1);
        if (port && colon != 0 && !text.empty())
            command_.options.peers.push_back({text.substr(0, colon), *port});
        else
            refuse("--peer: '" + text + "' is not of the form HOST or HOST:PORT");
    }

    void takeSeconds(const char* name, const std::string& text, double& setting) {
        const auto value = number<double>(text);
        // The comparison also refuses "nan".
        if (value && *value >= shortestInterval && *value <= longestInterval)
            setting = *value;
        else
            refuse(std::string(name) + ": '" + text + "' is no number of seconds from 0.1 to 86400");
    }

    void takeLevel(const std::string& text) {
        for (const LogLevel level : {LogLevel::error, LogLevel::warning, LogLevel::info, LogLevel::debug}) {
            if (text == nameOf(level)) {
                command_.options.logLevel = level;
                return;
            }
        }
        refuse("--log-level: '" + text + "' is none of error, warning, info, debug");
    }

    void settlePorts(const std::string& variable) {
        const auto fromVariable = portNumber(variable, 1);
        // When the command line has a port the variable is ignored, even if its value is bad.
        if (!port_ && !variable.empty() && !fromVariable) {
            refuse("LOCD_PORT: '" + variable + "' is no port number (1 to 65535)");
            return;
        }
        const int domain = fromVariable.value_or(dsDefaultPort);
        Options& options = command_.options;
        options.port = port_.value_or(domain);
        for (PeerName& each : options.peers) {
            if (each.port == 0)
                // With port 0 this agent uses any port, and the others use the domain's port.
                each.port = options.port != 0 ? options.port : domain;
        }
    }

    std::optional<int> port_;
    Command command_;
};

} // namespace

Command readCommand(int argc, const char* const* argv, const char* portVariable) {
    // getopt changes the order of words, so it gets a copy of the array.
    std::vector<char*> words;
    words.reserve(static_cast<size_t>(argc) + 1);
    for (int i = 0; i < argc; ++i)
        words.push_back(const_cast<char*>(argv[i]));
    return Reader().read(std::move(words), portVariable);
}

const char* usage() {
    return "Usage: locd [OPTION]...\n"
           "Location agent of a domain: finds services by name for the processes that log in to it.\n"
           "\n"
           "  -p, --port N               UDP port of the domain; 0 is any port\n"
           "                             (default: LOCD_PORT, else 14000)\n"
           "  -a, --address A            local IPv4 address to bind (default: every address)\n"
           "      --list-port N          TCP port for lists (default: any port)\n"
           "      --peer HOST[:PORT]     another agent of the domain; may be given several times\n"
           "      --interval SECONDS     between announcements to the other agents (default 30)\n"
           "      --check-interval SECONDS\n"
           "                             of silence until a client is checked (default 60)\n"
           "      --log-file FILE        append the log to this file (default: standard error)\n"
           "      --log-level LEVEL      error, warning, info or debug (default: warning)\n"
           "  -v, --verbose              one level more: info; given twice, debug\n"
           "      --foreground           accepted and without effect: locd never leaves the foreground\n"
           "  -h, --help                 print this and exit\n"
           "      --version              print the version and exit\n"
           "\n"
           "SIGTERM and SIGINT end it, SIGHUP opens the log file anew, SIGUSR1 writes a status to the log.\n";
}

} // namespace locd
