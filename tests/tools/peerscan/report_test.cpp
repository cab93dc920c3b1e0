#include "peerscan/report.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

constexpr const char* names[] = {"10.0.0.1_IDL:A:1.0_\x1b[2J\xc2\x9b\x9b \"gr\xc3\xbc\xc3\x9f\\\"",
                                 "10.0.0.1_IDL:A:1.0_b", "10.0.0.2_*_", "10.0.0.2_IDL:B:1.0_b"};

// What a report prints of two agents, no activation daemon, and the names as far as they match the
// expression.
std::string printed(std::unique_ptr<Report> report, const std::ostringstream& out, const char* expression) {
    ImplementationListing implementations{true, {}, {}};
    for (const char* name : names)
        implementations.started.add(*parseAgentName(name));
    report->agents({14000, {"127.0.0.1", "127.0.0.2"}});
    report->oads({true, {}});
    EXPECT_EQ(report->implementations(implementations, expression, false), *expression != '[');
    EXPECT_TRUE(report->end());
    return out.str();
}

std::string text(const char* expression) {
    std::ostringstream out;
    return printed(textReport(out), out, expression);
}

std::string json(const char* expression, const Wanted& wanted = {true, true, true}) {
    std::ostringstream out;
    return printed(jsonReport(out, wanted), out, expression);
}

TEST(Report, controlCharactersDoNotReachTheTerminal) {
    EXPECT_THAT(text("A"), testing::HasSubstr(
                               "\t\t\tOBJECT NAME: ?[2J?? \"gr\xc3\xbc\xc3\x9f\\\"\n\t\t\tOBJECT NAME: b\n"));
}

TEST(Report, documentHasAMemberForEachListing) {
    EXPECT_EQ(json("IDL:A\\|^[*]"), R"({
  "agents": {"port": 14000, "hosts": ["127.0.0.1", "127.0.0.2"]},
  "oads": [],
  "implementations": {
    "registered": [],
    "started": [
      {"host": "10.0.0.1", "repository_id": "IDL:A:1.0", "objects": ["\u001b[2J\u009b\ufffd \"grüß\\\"", "b"]},
      {"host": "10.0.0.2", "repository_id": "*", "objects": []}
    ]
  }
}
)");
}

TEST(Report, whatIsNotKnownIsNull) {
    std::ostringstream out;
    const auto report = jsonReport(out, {false, true, true});
    report->oads({false, {}});
    report->implementations({false, {}, {}}, "A", false);
    report->end();
    EXPECT_EQ(out.str(), "{\n  \"oads\": null,\n  \"implementations\": null\n}\n");
    EXPECT_EQ(json("[", {false, false, true}), "{\n  \"implementations\": null\n}\n");
}

TEST(Listings, recordsOfAnotherClassAreLeftOut) {
    EXPECT_TRUE(recordsOf<DSName>(nullptr).empty());
    const NCRef<DSSet> set = new DSSet;
    const NCRef<DSName> name = new DSName("x", dsArgType, DSServiceManual);
    const NCRef<DSAddr> address = new DSAddr(1, in_addr_t{0});
    set->add(name.get());
    set->add(address.get());
    EXPECT_EQ(recordsOf<DSName>(set), std::vector<const DSName*>{name.get()});
    EXPECT_EQ(hostText(*address, true), "0.0.0.0"); // has no name
}

} // namespace
