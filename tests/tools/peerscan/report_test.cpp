#include "peerscan/report.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <sstream>

namespace {

TEST(Report, controlCharactersDoNotReachTheTerminal) {
    std::ostringstream out;
    out << Printable{"a\x1b[2J\n\x7f"} << Printable{""} << Printable{"\tgr\xc3\xbc\xc3\x9f ~"};
    EXPECT_EQ(out.str(), "a?[2J???gr\xc3\xbc\xc3\x9f ~");
}

TEST(Report, hostWithoutANameIsDotted) {
    EXPECT_EQ(hostText(DSAddr(0, in_addr_t{0}), true), "0.0.0.0");
    EXPECT_EQ(hostText(DSAddr(0, in_addr_t{::inet_addr("10.1.2.3")}), false), "10.1.2.3");
}

TEST(Report, recordsOfAnotherClassAreLeftOut) {
    EXPECT_TRUE(recordsOf<DSName>(nullptr).empty());
    const NCRef<DSSet> set = new DSSet;
    const NCRef<DSName> name = new DSName("x", dsArgType, DSServiceManual);
    const NCRef<DSAddr> address = new DSAddr(1, in_addr_t{});
    set->add(name.get());
    set->add(address.get());
    EXPECT_EQ(recordsOf<DSName>(set), std::vector<const DSName*>{name.get()});
}

} // namespace
