#include "locd/options.h"

#include "agent/records/dscodes.h"
#include "net/host_address.h"

#include <charconv>
#include <cmath>
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
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<int> portNumber(std::string_view text, int lowest) {
    const auto port = number<int>(text);
    return port && *port >= lowest && *port <= 65535 ? port : std::nullopt;
}

std::optional<double> seconds(std::string_view text) {
    const auto value = number<double>(text);
    const bool fits = value && *value >= shortestInterval && *value <= longestInterval;
    return fits ? value : std::nullopt;
}

// Walks the words of a command line. Options may come as `--name value` or as `--name=value`.
class Reader {
public:
    Reader(int argc, const char* const* argv, const char* portVariable)
        : argc_(argc), argv_(argv), portVariable_(portVariable) {}

    Command read() {
        while (command_.action == Command::Action::run && next_ < argc_)
            readOption(argv_[next_++]);
        if (command_.action == Command::Action::run)
            settlePorts();
        return command_;
    }

private:
    void refuse(const std::string& complaint) {
        command_.action = Command::Action::refuse;
        command_.complaint = complaint;
    }

    void readOption(std::string_view word) {
        const size_t equals = word.starts_with("--") ? word.find('=') : std::string_view::npos;
        const std::string name(word.substr(0, equals));
        if (equals != std::string_view::npos)
            attached_ = word.substr(equals + 1);
        else
            attached_.reset();
        if (!readSwitch(name) && !readSetting(name))
            refuse((name.starts_with('-') ? "unknown option '" : "unexpected word '") + name + "'");
    }

    // The options without a value. False when the name is none of them.
    bool readSwitch(const std::string& name) {
        if (name == "--help" || name == "-h")
            command_.action = Command::Action::help;
        else if (name == "--version")
            command_.action = Command::Action::version;
        else if (name == "--verbose" || name == "-v")
            command_.options.verbose = true;
        else if (name != "--foreground")
            return false;
        if (attached_)
            refuse("option '" + name + "' takes no value");
        return true;
    }

    bool readSetting(const std::string& name) {
        void (Reader::*take)(const std::string&) = nullptr;
        if (name == "--port" || name == "-p")
            take = &Reader::takePort;
        else if (name == "--address" || name == "-a")
            take = &Reader::takeAddress;
        else if (name == "--peer")
            take = &Reader::takePeer;
        else if (name == "--interval")
            take = &Reader::takeInterval;
        else if (name == "--check-interval")
            take = &Reader::takeCheckInterval;
        else
            return false;
        if (!attached_ && next_ < argc_)
            attached_ = argv_[next_++];
        if (attached_)
            (this->*take)(std::string(*attached_));
        else
            refuse("option '" + name + "' needs a value");
        return true;
    }

    void takePort(const std::string& text) {
        port_ = portNumber(text, 0);
        if (!port_)
            refuse("--port: '" + text + "' is no port number (0 to 65535)");
    }

    void takeAddress(const std::string& text) {
        const auto address = dottedAddress(text.c_str());
        if (address)
            command_.options.address = *address;
        else
            refuse("--address: '" + text + "' is no IPv4 address in dotted form");
    }

    // Without a port it gets that of the domain, which is known only at the end.
    void takePeer(const std::string& text) {
        const size_t colon = text.find(':');
        const auto port = colon == std::string::npos
                              ? std::optional<int>(0)
                              : portNumber(std::string_view(text).substr(colon + 1), 1);
        if (!port) {
            refuse("--peer: '" + text + "' is not of the form HOST or HOST:PORT");
            return;
        }
        const std::string host = text.substr(0, colon);
        const auto address = host.empty() ? std::nullopt : addressOfHost(host.c_str());
        if (!address) {
            refuse("--peer: no host '" + host + "'");
            return;
        }
        command_.options.peers.push_back(socketAddress(*address, *port));
    }

    void takeInterval(const std::string& text) { takeSeconds("--interval", text, command_.options.interval); }

    void takeCheckInterval(const std::string& text) {
        takeSeconds("--check-interval", text, command_.options.checkInterval);
    }

    void takeSeconds(const char* name, const std::string& text, double& setting) {
        const auto value = seconds(text);
        if (value)
            setting = *value;
        else
            refuse(std::string(name) + ": '" + text + "' is no number of seconds from 0.1 to 86400");
    }

    void settlePorts() {
        const std::string variable = portVariable_ ? portVariable_ : "";
        const auto fromVariable = portNumber(variable, 1);
        if (!port_ && !variable.empty() && !fromVariable) {
            refuse("LOCD_PORT: '" + variable + "' is no port number (1 to 65535)");
            return;
        }
        const int domain = fromVariable.value_or(dsDefaultPort);
        Options& options = command_.options;
        options.port = port_.value_or(domain);
        const int ofPeers = options.port != 0 ? options.port : domain;
        for (sockaddr_in& peer : options.peers) {
            if (peer.sin_port == 0)
                peer.sin_port = htons(static_cast<uint16_t>(ofPeers));
        }
    }

    int argc_;
    const char* const* argv_;
    const char* portVariable_;
    int next_ = 1;
    std::optional<std::string_view> attached_; // the value of the option in hand
    std::optional<int> port_;
    Command command_;
};

} // namespace

Command readCommand(int argc, const char* const* argv, const char* portVariable) {
    return Reader(argc, argv, portVariable).read();
}

const char* usage() {
    return "Usage: locd [OPTION]...\n"
           "Location agent of a domain: finds services by name for the processes that log in to it.\n"
           "\n"
           "  -p, --port N               UDP port of the domain; 0 is any port\n"
           "                             (default: LOCD_PORT, else 14000)\n"
           "  -a, --address A            local IPv4 address to bind (default: every address)\n"
           "      --peer HOST[:PORT]     another agent of the domain; may be given several times\n"
           "      --interval SECONDS     between announcements to the other agents (default 30)\n"
           "      --check-interval SECONDS\n"
           "                             of silence until a client is checked (default 60)\n"
           "  -v, --verbose              tell on standard error what happens\n"
           "      --foreground           accepted and without effect: locd never leaves the foreground\n"
           "  -h, --help                 print this and exit\n"
           "      --version              print the version and exit\n";
}

} // namespace locd
