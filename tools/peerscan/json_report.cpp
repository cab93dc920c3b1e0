#include "base/printable.h"
#include "peerscan/report.h"

#include <cstdio>
#include <iostream>

using namespace harbolance;

namespace {

std::string quoted(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const size_t size = utf8Size(text);
        const std::string_view character = text.substr(0, size > 0 ? size : 1);
        text.remove_prefix(character.size());
        char escape[8];
        if (size == 0) {
            result += "\\ufffd";
        } else if (isControl(character)) {
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(character.back()));
            result += escape;
        } else {
            if (character == "\"" || character == "\\")
                result += '\\';
            result += character;
        }
    }
    return result + "\"";
}

template <class Texts>
std::string listed(const Texts& texts) {
    std::string result = "[";
    for (const auto& text : texts)
        result += (result.size() > 1 ? ", " : "") + quoted(text);
    return result + "]";
}

class JsonReport : public Report {
public:
    JsonReport(std::ostream& out, const Wanted& wanted) : out_(out), wanted_(wanted) {}

    void agents(const AgentListing& listing) override {
        agents_ =
            "{\"port\": " + std::to_string(listing.port) + ", \"hosts\": " + listed(listing.hosts) + "}";
    }

    void oads(const OADListing& listing) override {
        if (listing.isKnown)
            oads_ = listed(listing.hosts);
    }

    bool implementations(const ImplementationListing& listing, const char* expression,
                         bool hostNames) override {
        if (!listing.isKnown)
            return true;
        const auto registered = listing.registered.rows(expression);
        const auto started = listing.started.rows(expression);
        if (!registered || !started) {
            std::cerr << "peerscan: Invalid regular expression: " << withoutControls(expression) << std::endl;
            return false;
        }
        implementations_ = "{\n    \"registered\": " + group(*registered, hostNames) +
                           ",\n    \"started\": " + group(*started, hostNames) + "\n  }";
        return true;
    }

    void noAgent() override {
        std::cerr << "peerscan: There are no agents running in your domain." << std::endl;
    }

    bool end() override {
        out_ << "{";
        const char* separator = "\n";
        for (const auto& [wanted, name, value] :
             {std::tuple(wanted_.agents, "agents", &agents_), std::tuple(wanted_.oads, "oads", &oads_),
              std::tuple(wanted_.implementations, "implementations", &implementations_)}) {
            if (wanted)
                out_ << std::exchange(separator, ",\n") << "  \"" << name << "\": " << *value;
        }
        out_ << "\n}\n";
        return static_cast<bool>(out_.flush());
    }

private:
    static std::string group(const std::vector<ImplementationRow>& rows, bool hostNames) {
        std::string result = "[";
        std::string host;
        const char* lastHost = nullptr;
        for (const ImplementationRow& row : rows) {
            if (row.host != lastHost)
                host = quoted(hostText(DSAddr(0, row.host), hostNames));
            lastHost = row.host;
            result += result.size() > 1 ? ",\n" : "\n";
            result += "      {\"host\": " + host + ", \"repository_id\": " + quoted(row.repositoryId) +
                      ", \"objects\": " + listed(row.objectNames) + "}";
        }
        return result + (rows.empty() ? "]" : "\n    ]");
    }

    std::ostream& out_;
    Wanted wanted_;
    // null for a listing that failed.
    std::string agents_ = "null";
    std::string oads_ = "null";
    std::string implementations_ = "null";
};

} // namespace

std::unique_ptr<Report> jsonReport(std::ostream& out, const Wanted& wanted) {
    return std::make_unique<JsonReport>(out, wanted);
}
