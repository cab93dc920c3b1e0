#include "peerscan/implementation_table.h"

#include <gtest/gtest.h>

namespace {

// The parts in brackets, "-" for an absent one; empty when the name is passed over.
std::string parts(std::string_view text) {
    const auto name = parseAgentName(text);
    if (!name)
        return "";
    return "[" + name->host + "][" + name->repositoryId + "][" + name->objectName.value_or("-") + "]";
}

TEST(AgentName, isCutAtTheFirstTwoBars) {
    EXPECT_EQ(parts("10.0.0.1_IDL:Bank/Account:1.0_Alice"), "[10.0.0.1][IDL:Bank/Account:1.0][Alice]");
    EXPECT_EQ(parts("10.0.0.1_IDL:a:1.0_of_my_own"), "[10.0.0.1][IDL:a:1.0][of_my_own]");
    EXPECT_EQ(parts("10.0.0.1_IDL:a:1.0"), "[10.0.0.1][IDL:a:1.0][-]");
    EXPECT_EQ(parts("10.0.0.1_IDL:a:1.0_"), "[10.0.0.1][IDL:a:1.0][]");
    EXPECT_EQ(parts("10.0.0.1__"), "[10.0.0.1][][]");
}

TEST(AgentName, needsADottedHost) {
    EXPECT_EQ(parts(""), "");
    EXPECT_EQ(parts("10.0.0.1"), "");
    EXPECT_EQ(parts("_IDL:a:1.0_x"), "");
    EXPECT_EQ(parts("northgate_IDL:a:1.0_x"), "");
    EXPECT_EQ(parts("255.255.255.255_IDL:a:1.0_x"), "");
    EXPECT_EQ(parts("256.0.0.1_IDL:a:1.0_x"), "");
    EXPECT_EQ(parts("127.1_IDL:a:1.0_x"), "[127.1][IDL:a:1.0][x]");
    EXPECT_EQ(parts("0000000000000001_IDL:a:1.0_x"), "[0000000000000001][IDL:a:1.0][x]");
    EXPECT_EQ(parts("00000000000000001_IDL:a:1.0_x"), "");
}

TEST(AgentName, isNotThatOfADaemon) {
    EXPECT_EQ(parts("10.0.0.1_IDL:tarnwicknet/Activation/OAD:1.0_x"), "");
    EXPECT_EQ(parts("10.0.0.1_OAD for Activation"), "");
    EXPECT_EQ(parts("10.0.0.1_IDL:Activation:1.0_OAD"), "[10.0.0.1][IDL:Activation:1.0][OAD]");
}

} // namespace
