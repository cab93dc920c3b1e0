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

// It is cut at the first two bars, needs a dotted host, and is not that of an activation daemon.
TEST(AgentName, isThatOfAnObject) {
    const std::pair<const char*, const char*> rows[] = {
        {"10.0.0.1_IDL:Bank/Account:1.0_Alice", "[10.0.0.1][IDL:Bank/Account:1.0][Alice]"},
        {"10.0.0.1_IDL:a:1.0_of_my_own", "[10.0.0.1][IDL:a:1.0][of_my_own]"},
        {"10.0.0.1_IDL:a:1.0", "[10.0.0.1][IDL:a:1.0][-]"},
        {"10.0.0.1__", "[10.0.0.1][][]"},
        {"10.0.0.1", ""},
        {"_IDL:a:1.0_x", ""},
        {"northgate_IDL:a:1.0_x", ""},
        {"255.255.255.255_IDL:a:1.0_x", ""},
        {"256.0.0.1_IDL:a:1.0_x", ""},
        {"127.1_IDL:a:1.0_x", "[127.1][IDL:a:1.0][x]"},
        {"0000000000000001_IDL:a:1.0_x", "[0000000000000001][IDL:a:1.0][x]"},
        {"00000000000000001_IDL:a:1.0_x", ""},
        {"10.0.0.1_IDL:tarnwicknet/Activation/OAD:1.0_x", ""},
        {"10.0.0.1_OAD for Activation", ""},
        {"10.0.0.1_IDL:Activation:1.0_OAD", "[10.0.0.1][IDL:Activation:1.0][OAD]"},
    };
    for (const auto& [name, expected] : rows)
        EXPECT_EQ(parts(name), expected) << name;
}

} // namespace
