#include "command_line.h"
#include "console.h"
#include "marshal/text/vstr.h"
#include "object/vprop.h"

#include <gtest/gtest.h>

namespace {

std::string textOf(const TRXPropertyList& list, const char* key) {
    return list.property(key).value_or("(absent)");
}

TEST(PropertyList, takesItsWordsAndKeepsTheOrderOfTheRest) {
    CommandLine line{"prog", "-a", "-ORBfoo", "bar", "-OAport", "7", "-ORBtcpdelay", "word", "-ORBX", "-y"};
    char* const last = line.argv()[9];
    TRXPropertyList list;
    list.parse(line.argc, line.argv(), "-ORB");
    EXPECT_EQ(line.left(), (Words{"prog", "-a", "-OAport", "7", "word"}));
    EXPECT_EQ(line.argv()[9], last);
    EXPECT_EQ(textOf(list, "ORBfoo"), "bar");
    EXPECT_EQ(textOf(list, "ORBX"), "-y");
    EXPECT_EQ(textOf(list, "OAport"), "(absent)");
    list.parse(line.argc, line.argv(), "-OA");
    EXPECT_EQ(line.left(), (Words{"prog", "-a", "word"}));
    EXPECT_EQ(textOf(list, "OAport"), "7");
}

TEST(PropertyList, storesTheFixedValuesOfWordsThatStandAlone) {
    struct Row {
        const char* word;
        const char* key;
        const char* value;
    };
    for (const Row& row :
         {Row{"-OAnoshm", "OALOCALIPC", "0"}, Row{"-OAshm", "OALOCALIPC", "1"},
          Row{"-OAnonarrowcheck", "OANARROWCHECK", "0"}, Row{"-OAnarrowcheck", "OANARROWCHECK", "1"},
          Row{"-OAtcpnodelay", "OATCPNODELAY", "0"}, Row{"-OAtcpdelay", "OATCPNODELAY", "1"},
          Row{"-OAnosynch", "OANOSYNCH", "1"}, Row{"-ORBcallback", "ORBCALLBACK", "1"},
          Row{"-ORBnocallback", "ORBCALLBACK", "0"}, Row{"-ORBrecursion", "ORBRECURSION", "1"},
          Row{"-ORBnorecursion", "ORBNORECURSION", "0"}, Row{"-ORBtcpnodelay", "ORBTCPNODELAY", "0"},
          Row{"-ORBtcpdelay", "ORBTCPNODELAY", "1"}, Row{"-ORBcallbindunbind", "ORBBINDUNBIND", "1"},
          Row{"-ORBnobindunbind", "ORBNOBINDUNBIND", "0"}}) {
        CommandLine line{"prog", row.word};
        TRXPropertyList list;
        list.parse(line.argc, line.argv(), "-O");
        EXPECT_EQ(line.argc, 1) << row.word;
        EXPECT_EQ(textOf(list, row.key), row.value) << row.word;
    }
    // A row counts for its exact word only.
    CommandLine line{"-ORBTcpDelay", "5"};
    TRXPropertyList list;
    list.parse(line.argc, line.argv(), "-ORB");
    EXPECT_EQ(textOf(list, "ORBtcpdelay"), "5");
}

TEST(PropertyListDeathTest, wordWithoutItsValueEndsTheProcess) {
    const auto parse = [](CommandLine line) {
        joinOutputs();
        TRXPropertyList().parse(line.argc, line.argv(), "-ORB");
    };
    EXPECT_EXIT(parse({"prog", "-ORBfoo"}), testing::ExitedWithCode(0),
                "^Harbolance:: -ORBfoo not followed by value\n$");
    EXPECT_EXIT(parse({"prog", "-ORBagentport"}), testing::ExitedWithCode(0),
                "^Harbolance:: -ORBagentport not followed by value\n$");
}

TEST(PropertyList, keysKnowNoCase) {
    TRXPropertyList list;
    list.put("ORBKeepAlive", "x");
    list.put("orbkeepalive", "y");
    const CORBA_String_var value = list.get("ORBKEEPALIVE");
    EXPECT_STREQ(value, "y");
    EXPECT_EQ(list.get("ORBother"), nullptr);
}

TEST(PropertyList, mergesAndOutgrowsItsFirstTable) {
    TRXPropertyList list;
    TRXPropertyList other;
    for (int i = 0; i < 100; ++i)
        other.put(("key" + std::to_string(i)).c_str(), std::to_string(i).c_str());
    list.put("KEY7", "old");
    list.put("own", "kept");
    list.merge(other);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(list.number(("key" + std::to_string(i)).c_str()), i);
    EXPECT_EQ(textOf(list, "own"), "kept");
}

TEST(PropertyList, readsNumbersAndFlags) {
    TRXPropertyList list;
    list.put("n", "12x");
    list.put("text", "yes");
    list.put("page", "256");
    EXPECT_EQ(list.number("n"), 12);
    EXPECT_EQ(list.number("text"), 0);
    EXPECT_EQ(list.number("absent"), std::nullopt);
    EXPECT_EQ(list.flag("n"), true);
    EXPECT_EQ(list.flag("page"), false);
    EXPECT_EQ(list.flag("absent"), std::nullopt);
}

} // namespace
