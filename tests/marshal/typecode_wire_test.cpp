#include "marshal/marshal_settings.h"
#include "typecodes.h"

#include <gtest/gtest.h>

using namespace harbolance;

namespace {

// A process-wide option for the time of a test.
class Setting {
public:
    Setting(bool& option, bool value) : _option(option), _saved(option) { _option = value; }
    ~Setting() { _option = _saved; }

private:
    bool& _option;
    bool _saved;
};

void expectOctets(const Type& type, std::string_view digitsOfIt) {
    EXPECT_EQ(written(type), digits(digitsOfIt));
    const Type again = typeFrom(digitsOfIt);
    EXPECT_EQ(again->kind(), type->kind());
    EXPECT_TRUE(again->equal(type));
    EXPECT_EQ(written(again), digits(digitsOfIt));
}

TEST(TypeCodeWire, ofATypeWithoutParametersIsItsKind) {
    EXPECT_EQ(written(_tc_long), "03000000");
    EXPECT_EQ(written(static_cast<CORBA_TypeCode*>(nullptr)), "00000000");
    EXPECT_EQ(written(_tc_wchar), "1a000000");
    EXPECT_EQ(typeFrom("00000018", 0)->kind(), tk_ulonglong);
    // What follows an unknown kind is not consumed.
    const std::string data = octets("28000000 03000000");
    CORBA_MarshalInBuffer in(data.data(), 8);
    Type type;
    in >> type.inout();
    EXPECT_EQ(type->kind(), 40u);
    EXPECT_EQ(type->param_count(), 0u);
    EXPECT_EQ(in.offset(), 4u);
}

TEST(TypeCodeWire, ofFixedTravelsWithoutDigits) {
    const Type fixed = new CORBA_TypeCode(TRXFixed{9, 2}, false);
    EXPECT_EQ(written(fixed), "1c000000");
    const Type again = typeFrom("1c000000");
    EXPECT_EQ(again->param_count(), 0u);
    EXPECT_FALSE(again->equal(fixed));
}

TEST(TypeCodeWire, ofAStringHasItsBoundBehindTheKind) {
    expectOctets(new CORBA_TypeCode(10, TRXStringWidth::narrow, false), "12000000 0a000000");
    expectOctets(new CORBA_TypeCode(0, TRXStringWidth::wide, false), "1b000000 00000000");
    expectOctets(sequenceOf(_tc_string), "13000000 10000000 01202020 12000000 00000000 00000000");
}

TEST(TypeCodeWire, ofNamedTypesIsAnEncapsulation) {
    expectOctets(new CORBA_TypeCode("IDL:A:1.0", "A", false), "0e000000 1a000000 01202020"
                                                              "0a000000 49444c3a413a312e3000 2020"
                                                              "02000000 4100");
    expectOctets(enumOf("E", {"red", "green"}), "11000000 32000000 01202020"
                                                "0a000000 49444c3a453a312e3000 2020"
                                                "02000000 4500 2020 02000000"
                                                "04000000 72656400 06000000 677265656e00");
    expectOctets(structOf("X", {{"why", _tc_long}}, tk_except), "16000000 2c000000 01202020"
                                                                "0a000000 49444c3a583a312e3000 2020"
                                                                "02000000 5800 2020 01000000"
                                                                "04000000 77687900 03000000");
    EXPECT_EQ(written(aliasOf("L", _tc_long)), digits("15000000 20000000 01202020"
                                                      "0a000000 49444c3a4c3a312e3000 2020"
                                                      "02000000 4c00 2020 03000000"));
    expectOctets(arrayOf(_tc_double, 3), "14000000 0c000000 01202020 07000000 03000000");
}

TEST(TypeCodeWire, ofAUnionHasLabelsByValue) {
    expectOctets(unionType(true), "10000000 4c000000 01202020"
                                  "0a000000 49444c3a553a312e3000 2020"
                                  "02000000 5500 2020 03000000 01000000 02000000"
                                  "01000000 02000000 6100 2020 02000000"
                                  "00 202020 02000000 6200 2020 12000000 00000000");
    expectOctets(unionType(false), "10000000 4c000000 01202020"
                                   "0a000000 49444c3a553a312e3000 2020"
                                   "02000000 5500 2020 03000000 ffffffff 02000000"
                                   "01000000 02000000 6100 2020 02000000"
                                   "02000000 02000000 6200 2020 12000000 00000000");
}

TEST(TypeCodeWire, isReadInTheByteOrderOfEachEncapsulation) {
    // A big-endian stream with a little-endian encapsulation. Any flag other than 0 is little-endian.
    const Type type = typeFrom("0000000e 0000001a 02202020"
                               "0a000000 49444c3a413a312e3000 2020 02000000 4100",
                               0);
    EXPECT_STREQ(type->name(), "A");
    const Type big = typeFrom("00000010 0000004c 00202020"
                              "0000000a 49444c3a553a312e3000 2020"
                              "00000002 5500 2020 00000003 00000001 00000002"
                              "00000001 00000002 6100 2020 00000002"
                              "00 202020 00000002 6200 2020 00000012 00000000",
                              0);
    EXPECT_TRUE(big->equal(unionType(true)));
}

// struct S { E a; E b; } with enum E { red, green }. The enum's kind stands at 48, behind two octets of
// padding that the writer counts with it. The second offset stands at 112 of the contents, which begin at 8:
// 46 - 112 - 8 = -74.
constexpr std::string_view sharedEnum = "0f000000 74000000 01202020"
                                        "0a000000 49444c3a533a312e3000 2020"
                                        "02000000 5300 2020 02000000"
                                        "02000000 6100 2020"
                                        "11000000 32000000 01202020"
                                        "0a000000 49444c3a453a312e3000 2020"
                                        "02000000 4500 2020 02000000"
                                        "04000000 72656400 06000000 677265656e00 2020"
                                        "02000000 6200 2020"
                                        "ffffffff b6ffffff";

TEST(TypeCodeWire, writesAnEqualTypeAsTheDistanceToTheFirst) {
    const Type one = enumOf("E", {"red", "green"});
    const Type equal = enumOf("E", {"red", "green"});
    const Type type = structOf("S", {{"a", one}, {"b", equal}});
    EXPECT_EQ(written(type), digits(sharedEnum));
    const Type again = typeFrom(sharedEnum);
    EXPECT_EQ(TypeCodeAccess::memberType(*again, 0), TypeCodeAccess::memberType(*again, 1));
    EXPECT_TRUE(again->equal(type));
    // A writer that counts from the kind itself is understood as well.
    std::string exact = digits(sharedEnum);
    exact.replace(exact.size() - 8, 2, "b8");
    EXPECT_TRUE(typeFrom(exact)->equal(type));
}

TEST(TypeCodeWire, writesAnAliasOfAnEarlierTypeAsThatType) {
    const Type one = enumOf("E", {"red", "green"});
    const Type type = structOf("S", {{"a", one}, {"b", aliasOf("F", one)}});
    EXPECT_EQ(written(type), digits(sharedEnum));
    // The other way round the alias is no target, and the enum inside it is.
    const Type reversed = structOf("S", {{"a", aliasOf("F", one)}, {"b", one}});
    const Type again = typeFrom(written(reversed));
    EXPECT_EQ(TypeCodeAccess::memberType(*again, 0)->kind(), tk_alias);
    EXPECT_EQ(TypeCodeAccess::memberType(*again, 1),
              TypeCodeAccess::content(*TypeCodeAccess::memberType(*again, 0)));
}

TEST(TypeCodeWire, pointsBackAtAnAnyButNotAtALong) {
    const auto lastType = [](CORBA_TypeCode* type) {
        return written(structOf("S", {{"p", type}, {"q", type}})).substr(2 * 60);
    };
    EXPECT_EQ(lastType(_tc_long), "03000000");
    // The first any is at 46 with its padding, the offset word at 56 of the contents: 46 - 56 - 8 = -18.
    EXPECT_EQ(lastType(_tc_any), digits("ffffffff eeffffff"));
}

TEST(TypeCodeWire, ofARecursiveTypePointsBackAtTheStart) {
    // The offset stands at 8 of contents that begin at 80: 0 - 8 - 80 = -88.
    const std::string_view octetsOfIt = "0f000000 58000000 01202020"
                                        "0d000000 49444c3a4e6f64653a312e3000 202020"
                                        "05000000 4e6f646500 202020 02000000"
                                        "02000000 7600 2020 03000000"
                                        "05000000 6b69647300 202020"
                                        "13000000 10000000 01202020 ffffffff a8ffffff 00000000";
    expectOctets(nodeType(), octetsOfIt);
    const Type again = typeFrom(octetsOfIt);
    EXPECT_EQ(TypeCodeAccess::content(*TypeCodeAccess::memberType(*again, 1)), again.in());
}

// struct O { N n; sequence<N> l; } with struct N { sequence<N> k; }: the sequence outside of N equals the one
// inside. N stands at 46 and its sequence at 94, both with padding. The offset words are at 8 of contents
// that begin at 104 and at 124 of contents that begin at 8: 46 - 112 = -66, 94 - 132 = -38.
TEST(TypeCodeWire, pointsBackAtTheSequenceInsideARecursiveType) {
    const Type kids = recursiveSequence(1);
    const Type node = structOf("N", {{"k", kids}});
    const Type outer = structOf("O", {{"n", node}, {"l", sequenceOf(node)}});
    const std::string_view octetsOfIt = "0f000000 80000000 01202020 0a000000 49444c3a4f3a312e3000 2020"
                                        "02000000 4f00 2020 02000000 02000000 6e00 2020"
                                        "0f000000 40000000 01202020 0a000000 49444c3a4e3a312e3000 2020"
                                        "02000000 4e00 2020 01000000 02000000 6b00 2020"
                                        "13000000 10000000 01202020 ffffffff beffffff 00000000"
                                        "02000000 6c00 2020 ffffffff daffffff";
    expectOctets(outer, octetsOfIt);
    // The sequence alone: its member's type is the sequence itself.
    const Type alone = typeFrom(written(kids));
    EXPECT_EQ(TypeCodeAccess::memberType(*TypeCodeAccess::content(*alone), 0), alone.in());
    EXPECT_EQ(written(alone), written(kids));
    // Further inside the ring, and behind an alias outside.
    const Type rows = sequenceOf(recursiveSequence(1));
    const Type deep = structOf("N", {{"k", rows}});
    const Type apart = aliasOf("A", sequenceOf(sequenceOf(deep)));
    EXPECT_EQ(written(structOf("O", {{"n", deep}, {"l", apart}})),
              written(structOf("O", {{"n", deep}, {"l", rows}})));
    // Where the offsets are big-endian as well.
    EXPECT_TRUE(typeFrom("0000000f 00000040 00202020 0000000a 49444c3a4e3a312e3000 2020"
                         "00000002 4e00 2020 00000001 00000002 6b00 2020"
                         "00000013 00000010 00202020 ffffffff ffffffc0 00000000",
                         0)
                    ->equal(node));
}

TEST(TypeCodeWire, countsPositionsFromTheBeginningOfItsBuffer) {
    CORBA_MarshalOutBuffer out(16);
    const Type type = nodeType();
    out << CORBA_Long{7} << type.in() << type.in();
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    CORBA_Long seven = 0;
    Type first;
    Type second;
    in >> seven >> first.inout() >> second.inout();
    EXPECT_TRUE(first->equal(type));
    EXPECT_TRUE(second->equal(type)); // the second knows nothing of the first
}

TEST(TypeCodeWire, withoutIndirectionsWritesEverythingAndRefusesRings) {
    const Setting off(marshalSettings.tcIndirection, false);
    const Type one = enumOf("E", {"red", "green"});
    const Type type = structOf("S", {{"a", one}, {"b", one}});
    const std::string all = written(type);
    EXPECT_EQ(all.find("ffffffff"), std::string::npos);
    EXPECT_TRUE(typeFrom(all)->equal(type));
    EXPECT_THROW(written(nodeType()), CORBA_MARSHAL);
    Type tower = structOf("S", {});
    for (int i = 0; i < 40; ++i)
        tower = structOf("S", {{"l", tower}, {"r", tower}});
    EXPECT_THROW(written(tower), CORBA_MARSHAL);
}

TEST(TypeCodeWire, isFlatInTheOlderMode) {
    const Setting flat(marshalSettings.backDII, true);
    expectOctets(new CORBA_TypeCode(10, TRXStringWidth::narrow, false), "12000000 0a000000");
    expectOctets(sequenceOf(_tc_string), "13000000 12000000 00000000 00000000");
    expectOctets(unionType(true), "10000000 0a000000 49444c3a553a312e3000 2020"
                                  "02000000 5500 2020 03000000 01000000 02000000"
                                  "01000000 02000000 6100 2020 02000000"
                                  "00 202020 02000000 6200 2020 12000000 00000000");
    // The second long is the one that was there at 34: 34 - 52 - 4 = -22.
    EXPECT_EQ(written(structOf("S", {{"a", _tc_long}, {"b", _tc_long}})),
              digits("0f000000 0a000000 49444c3a533a312e3000 2020 02000000 5300 2020 02000000"
                     "02000000 6100 2020 03000000 02000000 6200 2020 ffffffff eaffffff"));
    // The offset stands at 60, and the struct at 0: 0 - 60 - 4 = -64.
    const Type kids = recursiveSequence(1);
    const Type node = structOf("Node", {{"kids", kids}});
    expectOctets(node, "0f000000 0d000000 49444c3a4e6f64653a312e3000 202020"
                       "05000000 4e6f646500 202020 01000000 05000000 6b69647300 202020"
                       "13000000 ffffffff c0ffffff 00000000");
}

// The stream's function is given references: a type is as often held afterwards as before.
TEST(TypeCodeWire, leavesEachTypeToTheStreamsCleanup) {
    const Setting flat(marshalSettings.backDII, true);
    static int given;
    given = 0;
    const auto giveBack = [](CORBA_TypeCode* type) {
        ++given;
        CORBA_release(type);
    };
    const Type one = enumOf("E", {"red", "green"});
    const Type type = structOf("S", {{"a", one}, {"b", one}});
    CORBA_MarshalOutBuffer out(255);
    out.cleanup(giveBack);
    out << type.in();
    EXPECT_EQ(given, 2);
    EXPECT_EQ(type->_refcount(), 1);
    CORBA_MarshalInBuffer in(out.data(), out.offset() - 1);
    in.cleanup(giveBack);
    Type read;
    EXPECT_THROW(in >> read.inout(), CORBA_MARSHAL);
    EXPECT_EQ(given, 4);
}

TEST(TypeCodeWire, survivesItsTextForm) {
    for (bool flat : {false, true}) {
        const Setting mode(marshalSettings.backDII, flat);
        const Type types[] = {nodeType(), unionType(true), structOf("S", {{"a", _tc_any}, {"b", _tc_any}})};
        std::stringstream text;
        for (const Type& type : types)
            text << type.in();
        TRXistream in(text);
        for (const Type& type : types) {
            Type again;
            in >> again.inout();
            EXPECT_TRUE(type->equal(again)) << text.str();
        }
    }
}

TEST(TypeCodeWire, refusesIndirectionsThatLeadNowhere) {
    for (bool flat : {false, true}) {
        const Setting mode(marshalSettings.backDII, flat);
        EXPECT_THROW(typeFrom("ffffffff fcffffff"), CORBA_MARSHAL); // at itself
        EXPECT_THROW(typeFrom("ffffffff 00000000 03000000"), CORBA_MARSHAL);
        EXPECT_THROW(typeFrom("ffffffff 00000080"), CORBA_MARSHAL);
        EXPECT_THROW(typeFrom("ffffffff ffffff7f"), CORBA_MARSHAL);
        EXPECT_THROW(typeFrom("ffffffff"), CORBA_MARSHAL);
    }
    // Into the middle of the struct, and behind its end.
    for (const char* offset : {"b4ffffff", "90ffffff", "04000000", "00000000"}) {
        std::string broken = digits(sharedEnum);
        broken.replace(broken.size() - 8, 8, offset);
        EXPECT_THROW(typeFrom(broken), CORBA_MARSHAL) << offset;
    }
}

TEST(TypeCodeWire, refusesATypeThatIsAPartOfItselfWithoutASequence) {
    // An alias of itself, an array of itself, a sequence of itself: the offset leads to 0.
    EXPECT_THROW(typeFrom("15000000 28000000 01202020 0a000000 49444c3a4c3a312e3000 2020"
                          "02000000 4c00 2020 ffffffff d8ffffff 00000000"),
                 CORBA_MARSHAL);
    EXPECT_THROW(typeFrom("14000000 10000000 01202020 ffffffff f0ffffff 01000000"), CORBA_MARSHAL);
    EXPECT_THROW(typeFrom("13000000 10000000 01202020 ffffffff f0ffffff 01000000"), CORBA_MARSHAL);
}

TEST(TypeCodeWire, refusesCountsThatTheStreamCannotHold) {
    EXPECT_THROW(typeFrom("11000000 20000000 01202020 0a000000 49444c3a453a312e3000 2020"
                          "02000000 4500 2020 ffffffff"),
                 CORBA_MARSHAL);
    EXPECT_THROW(typeFrom("0f000000 20000000 01202020 0a000000 49444c3a453a312e3000 2020"
                          "02000000 4500 2020 00000020"),
                 CORBA_MARSHAL);
    EXPECT_THROW(typeFrom("13000000 ffffffff 01202020 03000000"), CORBA_MARSHAL);
    EXPECT_THROW(typeFrom("13000000 00000000"), CORBA_MARSHAL); // no byte order
    // A default member that is not there.
    std::string broken = written(unionType(true));
    broken.replace(2 * 40, 2, "02");
    EXPECT_THROW(typeFrom(broken), CORBA_MARSHAL);
    // A discriminator that is a double.
    broken = written(unionType(true));
    broken.replace(2 * 36, 2, "07");
    EXPECT_THROW(typeFrom(broken), CORBA_MARSHAL);
}

TEST(TypeCodeWire, refusesNestingWithoutEnd) {
    const Setting flat(marshalSettings.backDII, true);
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "13000000";
    EXPECT_THROW(typeFrom(deep), CORBA_MARSHAL);
}

} // namespace
