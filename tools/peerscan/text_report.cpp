#include "base/printable.h"
#include "peerscan/report.h"

#include <ostream>

using namespace harbolance;

namespace {

class TextReport : public Report {
public:
    explicit TextReport(std::ostream& out) : out_(out) {}

    void agents(const AgentListing& listing) override {
        const size_t count = listing.hosts.size();
        out_ << "\npeerscan: Found " << (count == 1 ? "one" : std::to_string(count)) << " agent"
             << (count == 1 ? "" : "s") << " at port " << static_cast<unsigned int>(listing.port)
             << std::endl;
        for (const std::string& agent : listing.hosts)
            host(agent);
    }

    void oads(const OADListing& listing) override {
        if (listing.hosts.empty()) {
            out_ << "\npeerscan: There are no OADs running on in your domain." << std::endl;
            return;
        }
        out_ << "\npeerscan: Found " << listing.hosts.size() << " OADs in your domain" << std::endl;
        for (const std::string& oad : listing.hosts)
            host(oad);
    }

    bool implementations(const ImplementationListing& listing, const char* expression,
                         bool hostNames) override {
        return group(listing.registered, expression, hostNames,
                     "There are no Object Implementations registered with OADs.",
                     "Following are the list of Implementations registered with OADs.") &&
               group(listing.started, expression, hostNames,
                     "There are no manually started Object Implementations.",
                     "Following are the list of Implementations started manually.");
    }

    void noAgent() override {
        out_ << "\npeerscan: There are no agents running in your domain." << std::endl;
    }

    bool end() override { return static_cast<bool>(out_.flush()); }

private:
    // Prints nothing when the table has entries but none matches.
    bool group(const ImplementationTable& table, const char* expression, bool hostNames, const char* nothing,
               const char* heading) {
        if (table.isEmpty()) {
            out_ << "\npeerscan: " << nothing << std::endl;
            return true;
        }
        const auto rows = table.rows(expression);
        if (!rows) {
            out_ << "peerscan: Invalid regular expression: " << std::endl << expression << std::endl;
            return false;
        }
        if (!rows->empty())
            out_ << "\npeerscan: " << heading << std::endl;
        const char* lastHost = nullptr;
        for (const ImplementationRow& row : *rows) {
            if (row.host != lastHost)
                host(hostText(DSAddr(0, row.host), hostNames));
            lastHost = row.host;
            implementation(row);
        }
        return true;
    }

    void implementation(const ImplementationRow& row) {
        const bool isActivator = std::string_view(row.repositoryId) == "*";
        if (isActivator)
            out_ << "\n\t\tSERVICE ACTIVATORS: " << std::endl;
        else
            out_ << "\n\t\tREPOSITORY ID: " << withoutControls(row.repositoryId) << std::endl;
        for (const char* name : row.objectNames)
            out_ << "\t\t\t" << (isActivator ? "SERVICE" : "OBJECT") << " NAME: " << withoutControls(name)
                 << std::endl;
    }

    void host(const std::string& text) { out_ << "\tHOST: " << withoutControls(text) << std::endl; }

    std::ostream& out_;
};

} // namespace

std::unique_ptr<Report> textReport(std::ostream& out) { return std::make_unique<TextReport>(out); }
