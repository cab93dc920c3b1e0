#include "oadd/options.h"

#include "net/host_address.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>

using namespace harbolance;

namespace oadd {

namespace {

constexpr long longestSeconds = 86400;
constexpr long mostServers = 10000;

std::optional<long> number(const std::string& text, long lowest, long highest) {
    long value = 0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || last != end || value < lowest || value > highest)
        return std::nullopt;
    return value;
}

enum Option : int {
    programs = 256,
    registrations,
    reference,
    allow,
    startLimit,
    endLimit,
    maxServers,
    asRoot,
    logLevel,
    version
};

constexpr option longOptions[] = {{"address", required_argument, nullptr, 'a'},
                                  {"port", required_argument, nullptr, 'p'},
                                  {"programs", required_argument, nullptr, programs},
                                  {"registrations", required_argument, nullptr, registrations},
                                  {"reference", required_argument, nullptr, reference},
                                  {"allow", required_argument, nullptr, allow},
                                  {"start-limit", required_argument, nullptr, startLimit},
                                  {"end-limit", required_argument, nullptr, endLimit},
                                  {"max-servers", required_argument, nullptr, maxServers},
                                  {"as-root", no_argument, nullptr, asRoot},
                                  {"log-level", required_argument, nullptr, logLevel},
                                  {"verbose", no_argument, nullptr, 'v'},
                                  {"help", no_argument, nullptr, 'h'},
                                  {"version", no_argument, nullptr, version},
                                  {nullptr, 0, nullptr, 0}};

class Reader {
public:
    Command read(int argc, const char* const* argv, const char* stateDirectory) {
        std::vector<char*> words = separate(argc, argv);
        const int count = static_cast<int>(words.size());
        words.push_back(nullptr);
        opterr = 0; // errors are reported here, in the form of this program
        optind = 0; // makes the C library's reader start again
        int value = 0;
        while (command_.action == Command::Action::run && value != -1) {
            value = getopt_long(count, words.data(), ":a:p:vh", longOptions, nullptr);
            const std::string_view word = words[static_cast<size_t>(std::max(optind - 1, 0))];
            take(value, std::string(word.substr(0, word.find('='))));
        }
        if (command_.action == Command::Action::run && optind < count)
            refuse("unexpected word '" + std::string(words[static_cast<size_t>(optind)]) + "'");
        if (command_.options.file.empty())
            command_.options.file =
                std::string(stateDirectory ? stateDirectory : "/var/lib/oadd") + "/registrations";
        return command_;
    }

private:
    void refuse(const std::string& complaint) {
        command_.action = Command::Action::refuse;
        command_.complaint = complaint;
    }

    // Moves the adapter's options with their values to a list for the adapter; returns the other words.
    std::vector<char*> separate(int argc, const char* const* argv) {
        std::vector<char*> rest;
        for (int i = 0; i < argc; ++i) {
            if (!std::string_view(argv[i]).starts_with("-OA")) {
                rest.push_back(const_cast<char*>(argv[i]));
                continue;
            }
            command_.options.adapterWords.push_back(argv[i]);
            if (i + 1 < argc)
                command_.options.adapterWords.push_back(argv[++i]);
        }
        return rest;
    }

    // `word` is the last word processed: for a wrong long option, that option.
    void take(int value, const std::string& word) {
        Options& options = command_.options;
        const std::string text = optarg ? optarg : "";
        switch (value) {
        case 'a': takeAddress(text); break;
        case 'p': takePort(text); break;
        case programs: options.programs.push_back(text); break;
        case registrations: options.file = text; break;
        case reference: options.referenceFile = text; break;
        case allow: takeNetwork(text); break;
        case startLimit: takeSeconds("--start-limit", text, options.limits.startSeconds); break;
        case endLimit: takeSeconds("--end-limit", text, options.limits.endSeconds); break;
        case maxServers: takeServers(text); break;
        case asRoot: options.asRoot = true; break;
        case logLevel: takeLevel(text); break;
        case 'v': options.logLevel = LogLevel::info; break;
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
        const bool isLetter = optopt > 0 && optopt < programs && !word.starts_with("--");
        if (isLetter)
            refuse(std::string("unknown option '-") + static_cast<char>(optopt) + "'");
        else if (optopt != 0)
            refuse("option '" + word + "' takes no value");
        else
            refuse("unknown option '" + word + "'");
    }

    void forAdapter(const char* option, const std::string& value) {
        command_.options.adapterWords.insert(command_.options.adapterWords.end(), {option, value});
    }

    void takeAddress(const std::string& text) {
        if (dottedAddress(text.c_str()))
            forAdapter("-OAipaddr", text);
        else
            refuse("--address: '" + text + "' is no IPv4 address in dotted form");
    }

    void takePort(const std::string& text) {
        if (number(text, 0, 65535))
            forAdapter("-OAport", text);
        else
            refuse("--port: '" + text + "' is no port number (0 to 65535)");
    }

    void takeNetwork(const std::string& text) {
        if (const auto network = networkOf(text))
            command_.options.allow.push_back(*network);
        else
            refuse("--allow: '" + text + "' is no network, such as 10.1.0.0/16");
    }

    void takeSeconds(const char* name, const std::string& text, long& setting) {
        if (const auto value = number(text, 1, longestSeconds))
            setting = *value;
        else
            refuse(std::string(name) + ": '" + text + "' is no number of seconds from 1 to 86400");
    }

    void takeServers(const std::string& text) {
        if (const auto value = number(text, 1, mostServers))
            command_.options.limits.most = static_cast<size_t>(*value);
        else
            refuse("--max-servers: '" + text + "' is no number from 1 to 10000");
    }

    void takeLevel(const std::string& text) {
        if (text == "error")
            command_.options.logLevel = LogLevel::error;
        else if (text == "warning")
            command_.options.logLevel = LogLevel::warning;
        else if (text == "info")
            command_.options.logLevel = LogLevel::info;
        else
            refuse("--log-level: '" + text + "' is none of error, warning, info");
    }

    Command command_;
};

} // namespace

Command readCommand(int argc, const char* const* argv, const char* stateDirectory) {
    return Reader().read(argc, argv, stateDirectory);
}

const char* usage() {
    return "Usage: oadd [OPTION]...\n"
           "The activation daemon of a host: starts registered servers when their objects are asked for.\n"
           "\n"
           "  -a, --address ADDRESS    listen at this address only (default: all of the host)\n"
           "  -p, --port PORT          listen at this port (default: any)\n"
           "      --programs FOLDER    servers below this folder may be started; may be given several times\n"
           "                           (default: none)\n"
           "      --registrations FILE keep the registrations in this file\n"
           "                           (default: /var/lib/oadd/registrations)\n"
           "      --reference FILE     write the daemon's reference to this file\n"
           "      --allow NETWORK      peers of this network may do what those of this host may, such as "
           "register\n"
           "                           servers: 10.1.0.0/16 or 10.1.2.3; may be given several times\n"
           "      --start-limit N      seconds in which a server has to make its object active (default: "
           "60)\n"
           "      --end-limit N        seconds for a server to end before it is killed (default: 10)\n"
           "      --max-servers N      at most so many servers at a time (default: 100)\n"
           "      --as-root            run although the user is root\n"
           "      --log-level LEVEL    error, warning or info (default: warning)\n"
           "  -v, --verbose            the same as --log-level info\n"
           "  -h, --help               print this and exit\n"
           "      --version            print the version and exit\n";
}

} // namespace oadd
