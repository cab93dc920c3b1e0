#include "command_line.h"
#include "marshal/text/vstr.h"
#include "object/vprop.h"

#include <gtest/gtest.h>

namespace {

TEST(PropertyList, takesItsWordsAndKeepsTheOrderOfTheRest) {
    CommandLine line{"prog", "-a", "-ORBfoo", "bar", "-OAport", "7", "-ORBtcpdelay", "word", "-ORBX", "-y"};
    char* const last = line.argv()[9];
    TRXPropertyList list;
    list.parse(line.argc, line.argv(), "-ORB");
    EXPECT_EQ(line.left(), (Words{"prog", "-a", "-OAport", "7", "word"}));
    EXPECT_EQ(line.argv()[9], last);
    EXPECT_EQ(list.property("ORBfoo"), "bar");
    EXPECT_EQ(list.property("ORBX"), "-y");
    EXPECT_EQ(list.property("OAport"), std::nullopt);
    list.parse(line.argc, line.argv(), "-OA");
    EXPECT_EQ(line.left(), (Words{"prog", "-a", "word"}));
    EXPECT_EQ(list.property("OAport"), "7");
}

// Readers rely on the values as they stand, also where the word seems to say the opposite.
TEST(PropertyList, storesFixedValuesForWordsThatStandAlone) {
    const char* const rows[][3] = {{"-OAnoshm", "OALOCALIPC", "0"},
                                   {"-OAshm", "OALOCALIPC", "1"},
                                   {"-OAtcpdelay", "OATCPNODELAY", "1"},
                                   {"-OAnosynch", "OANOSYNCH", "1"},
                                   {"-ORBnocallback", "ORBCALLBACK", "0"},
                                   {"-ORBrecursion", "ORBRECURSION", "1"},
                                   {"-ORBnorecursion", "ORBNORECURSION", "0"},
                                   {"-ORBtcpdelay", "ORBTCPNODELAY", "1"},
                                   {"-ORBTcpDelay", "ORBTCPDELAY", "word"}};
    for (const auto& [word, key, value] : rows) {
        CommandLine line{word, "word"};
        TRXPropertyList list;
        list.parse(line.argc, line.argv(), "-O");
        EXPECT_EQ(list.property(key), value) << word;
    }
}

TEST(PropertyList, readsTextNumbersAndFlagsWhateverTheCaseOfTheKey) {
    TRXPropertyList list;
    list.put("ORBKeepAlive", "yes");
    list.put("orbkeepalive", "256x");
    TRXPropertyList other;
    other.put("own", "kept");
    other.put("OrbKeepAlive", "replaced");
    other.merge(list);
    EXPECT_STREQ(CORBA_String_var(other.get("ORBKEEPALIVE")), "256x");
    EXPECT_EQ(other.property("OWN"), "kept");
    EXPECT_EQ(other.number("ORBkeepalive"), 256);
    EXPECT_EQ(other.flag("ORBkeepalive"), false); // the low byte
    EXPECT_EQ(other.number("own"), 0);
    EXPECT_EQ(other.get("absent"), nullptr);
    EXPECT_EQ(other.number("absent"), std::nullopt);
    EXPECT_EQ(other.flag("absent"), std::nullopt);
}

} // namespace
