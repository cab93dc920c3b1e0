#include "marshal/any/unknown_user_exception.h"
#include "marshal/sequence/octet_sequence.h"
#include "object/objects.h"
#include "typecodes.h"

#include <gtest/gtest.h>

using namespace harbolance;

namespace {

// `little` is what the Any is written as, and both forms are read as an equal one.
void expectOctets(const CORBA_Any& any, std::string_view little, std::string_view big) {
    EXPECT_EQ(written(any), digits(little));
    EXPECT_TRUE(anyFrom(little) == any);
    const CORBA_Any swapped = anyFrom(big, 0);
    EXPECT_TRUE(swapped == any);
    EXPECT_EQ(written(swapped), digits(little)); // and is in the host's order from then on
}

template <class T>
CORBA_Any anyOf(T value) {
    CORBA_Any any;
    any <<= value;
    return any;
}

TEST(AnyWire, ofBasicKindsIsTypeAndValue) {
    expectOctets(CORBA_Any(), "00000000", "00000000");
    expectOctets(anyOf(CORBA_Short{-2}), "02000000 feff", "00000002 fffe");
    expectOctets(anyOf(CORBA_ULong{0x01020304}), "05000000 04030201", "00000005 01020304");
    expectOctets(anyOf(CORBA_LongLong{1}), "17000000 20202020 0100000000000000",
                 "00000017 20202020 0000000000000001");
    expectOctets(anyOf(CORBA_Double{1}), "07000000 20202020 000000000000f03f",
                 "00000007 20202020 3ff0000000000000");
    expectOctets(anyOf(CORBA_Any::from_boolean{1}), "08000000 01", "00000008 01");
    expectOctets(anyOf(L'A'), "1a000000 4100", "0000001a 0041");
    expectOctets(anyOf("ab"), "12000000 00000000 03000000 616200", "00000012 00000000 00000003 616200");
}

TEST(AnyWire, ofWideTextCountsTheEnd) {
    CORBA_WChar text[] = L"A";
    expectOctets(anyOf(CORBA_Any::from_wstring{text, 1}), "1b000000 00000000 02000000 4100 0000",
                 "0000001b 00000000 00000002 0041 0000");
    CORBA_Any none(_tc_wstring, nullptr);
    EXPECT_EQ(written(none), digits("1b000000 00000000 01000000 0000"));
}

TEST(AnyWire, ofObjectLikeKindsUsesTheirOwnForms) {
    expectOctets(anyOf(CORBA_Any(anyOf(CORBA_Short{1}))), "0b000000 02000000 0100", "0000000b 00000002 0001");
    expectOctets(anyOf(_tc_long), "0c000000 03000000", "0000000c 00000003");
    const CORBA_Octet name[] = {9, 8};
    expectOctets(CORBA_Any(_tc_Principal, new CORBA_OctetSequence(name), 1), "0d000000 02000000 0908",
                 "0000000d 00000002 0908");
    EXPECT_THROW(written(CORBA_Any(_tc_Principal, nullptr)), CORBA_BAD_PARAM);
    EXPECT_THROW(written(static_cast<const CORBA_Any*>(nullptr)), CORBA_BAD_PARAM);
    // The nil reference: an empty id and no profiles.
    const Type type = new CORBA_TypeCode("IDL:A:1.0", "A", false);
    EXPECT_EQ(written(CORBA_Any(type, nullptr)), digits("0e000000 1a000000 01202020"
                                                        "0a000000 49444c3a413a312e3000 2020"
                                                        "02000000 4100 2020 01000000 00 202020 00000000"));
}

TEST(AnyWire, ofAnEnumIsItsOrdinal) {
    CORBA_Any green(enumOf("E", {"red", "green"}), new CORBA_ULong(1), 1);
    const std::string type = "01202020 0a000000 49444c3a453a312e3000 2020 02000000 4500 2020 02000000"
                             "04000000 72656400 06000000 677265656e00";
    expectOctets(green, "11000000 32000000" + type + "2020 01000000",
                 "00000011 00000032" + type + "2020 00000001");
}

// struct S { octet o; double d; } inside a sequence: each double at a multiple of 8 of the whole stream, and
// at another place in the Any's own octets.
TEST(AnyWire, ofConstructedKindsIsAlignedAnew) {
    const Type pair = structOf("S", {{"o", _tc_octet}, {"d", _tc_double}});
    CORBA_MarshalOutBuffer value(255);
    value << CORBA_Octet{1} << CORBA_Double{1};
    const CORBA_Any any(pair, value);
    EXPECT_EQ(any.length(), 16);
    const std::string type = "01202020 0a000000 49444c3a533a312e3000 2020 02000000 5300 2020 02000000"
                             "02000000 6f00 2020 0a000000 02000000 6400 2020 07000000";
    // The value begins at 64.
    expectOctets(any, "0f000000 38000000" + type + "01 20202020202020 000000000000f03f",
                 "0000000f 00000038" + type + "01 20202020202020 3ff0000000000000");
    CORBA_MarshalOutBuffer out(255);
    out << CORBA_Octet{9};
    any.write_value(out);
    EXPECT_EQ(hex(out), digits("09 01 202020202020 000000000000f03f"));
}

TEST(AnyWire, movesArraysWhole) {
    CORBA_MarshalOutBuffer empty(255);
    empty << CORBA_ULong{0};
    expectOctets(CORBA_Any(sequenceOf(_tc_double), empty),
                 "13000000 0c000000 01202020 07000000 00000000 00000000",
                 "00000013 0000000c 01202020 07000000 00000000 00000000");
    CORBA_MarshalOutBuffer doubles(255);
    doubles << CORBA_ULong{2} << CORBA_Double{1} << CORBA_Double{2};
    expectOctets(CORBA_Any(sequenceOf(_tc_double), doubles),
                 "13000000 0c000000 01202020 07000000 00000000 02000000"
                 "000000000000f03f 0000000000000040",
                 "00000013 0000000c 01202020 07000000 00000000 00000002"
                 "3ff0000000000000 4000000000000000");
    CORBA_MarshalOutBuffer wide(255);
    wide << CORBA_WChar{1} << CORBA_WChar{2} << CORBA_WChar{3};
    expectOctets(CORBA_Any(arrayOf(_tc_wchar, 3), wide),
                 "14000000 0c000000 01202020 1a000000 03000000 0100 0200 0300",
                 "00000014 0000000c 01202020 1a000000 03000000 0001 0002 0003");
    CORBA_MarshalOutBuffer texts(255);
    texts << CORBA_ULong{2} << "a"
          << "";
    expectOctets(CORBA_Any(sequenceOf(_tc_string), texts),
                 "13000000 10000000 01202020 12000000 00000000 00000000 02000000"
                 "02000000 6100 2020 01000000 00",
                 "00000013 00000010 01202020 12000000 00000000 00000000 00000002"
                 "00000002 6100 2020 00000001 00");
}

TEST(AnyWire, ofAUnionFollowsTheDiscriminator) {
    const auto valueOf = [](const Type& type, CORBA_Long discriminator, auto member) {
        CORBA_MarshalOutBuffer value(255);
        value << discriminator << member;
        return CORBA_Any(type, value);
    };
    const auto tail = [](const CORBA_Any& any) { return written(any).substr(2 * (8 + 0x4c)); };
    EXPECT_EQ(tail(valueOf(unionType(true), 1, CORBA_Short{5})), digits("01000000 0500"));
    EXPECT_EQ(tail(valueOf(unionType(true), 7, "x")), digits("07000000 02000000 7800"));
    EXPECT_EQ(tail(valueOf(unionType(false), 2, "x")), digits("02000000 02000000 7800"));
    EXPECT_THROW(written(valueOf(unionType(false), 7, "x")), CORBA_BAD_PARAM);
    const std::string type = written(unionType(false));
    EXPECT_THROW(anyFrom(type + "07000000 02000000 7800"), CORBA_BAD_PARAM);

    const Type colours = enumOf("E", {"red", "green"});
    const CORBA_Any green(colours, new CORBA_ULong(1), 1);
    const TRXUnionMember members[] = {{&green, "g", _tc_octet}};
    const Type byColour = new CORBA_TypeCode("IDL:U:1.0", "U", colours, members, false);
    CORBA_MarshalOutBuffer value(255);
    value << CORBA_ULong{1} << CORBA_Octet{3};
    const CORBA_Any any(byColour, value);
    EXPECT_TRUE(anyFrom(written(any)) == any);

    const Type bad = new CORBA_TypeCode("IDL:U:1.0", "U", _tc_double, members, false);
    EXPECT_THROW(written(CORBA_Any(bad, value)), CORBA_INTERNAL);
}

TEST(AnyWire, ofARecursiveTypeIsRead) {
    const Type type = nodeType();
    CORBA_MarshalOutBuffer value(255);
    value << CORBA_Long{1} << CORBA_ULong{2} << CORBA_Long{2} << CORBA_ULong{0} << CORBA_Long{3}
          << CORBA_ULong{0};
    const CORBA_Any any(type, value);
    const CORBA_Any again = anyFrom(written(any));
    EXPECT_TRUE(again == any);
    EXPECT_EQ(again.length(), 24);
}

TEST(AnyWire, refusesOctetsThatEndTooSoon) {
    CORBA_MarshalOutBuffer value(255);
    value << CORBA_ULong{3} << CORBA_Double{1};
    EXPECT_THROW(written(CORBA_Any(sequenceOf(_tc_double), value)), CORBA_BAD_PARAM);
    EXPECT_THROW(
        written(CORBA_Any(structOf("S", {{"p", _tc_double}, {"q", _tc_double}, {"r", _tc_double}}), value)),
        CORBA_MARSHAL);
    EXPECT_THROW(
        written(CORBA_Any(structOf("S", {{"p", _tc_double}, {"q", _tc_double}, {"r", _tc_double}}), nullptr)),
        CORBA_MARSHAL);
    CORBA_MarshalOutBuffer letters(255);
    letters << CORBA_ULong{3} << CORBA_WChar{L'a'};
    EXPECT_THROW(written(CORBA_Any(sequenceOf(_tc_wchar), letters)), CORBA_BAD_PARAM);
    EXPECT_THROW(anyFrom("13000000 0c000000 01202020 07000000 00000000 02000000 20202020"), CORBA_MARSHAL);
    // A second double of four octets, in both orders.
    EXPECT_THROW(anyFrom("13000000 0c000000 01202020 07000000 00000000 02000000 000000000000f03f 00000000"),
                 CORBA_MARSHAL);
    EXPECT_THROW(
        anyFrom("00000013 0000000c 01202020 07000000 00000000 00000002 3ff0000000000000 00000000", 0),
        CORBA_MARSHAL);
    CORBA_Any kept = anyOf(CORBA_Long{4});
    const std::string cut = octets("12000000 00000000 03000000 61");
    CORBA_MarshalInBuffer in(cut.data(), static_cast<CORBA_ULong>(cut.size()));
    EXPECT_THROW(in >> kept, CORBA_MARSHAL);
    EXPECT_EQ(AnyAccess::as<CORBA_Long>(kept), 4);
}

// A message body behind its header: its octets are counted from another place than its alignment.
TEST(AnyWire, movesArraysByTheStreamsAlignment) {
    const Type type = structOf("S", {{"a", arrayOf(_tc_double, 2)}, {"o", _tc_octet}, {"l", _tc_long}});
    const std::string body = "000000000000f03f 0000000000000040 07 202020 09000000";
    for (CORBA_ULong header = 0; header <= 12; ++header) {
        const std::string message = octets(std::string(2 * header, '0') + body);
        CORBA_MarshalInBuffer in(message.data(), static_cast<CORBA_ULong>(message.size()));
        in.seek(header);
        in.reset_align();
        CORBA_Any any;
        any.read_value(in, type);
        CORBA_MarshalOutBuffer out(255);
        any.write_value(out);
        EXPECT_EQ(hex(out), digits(body)) << header;
    }
}

// Whether anybody could use a reference is not asked of what only passes it on.
TEST(AnyWire, passesOnReferencesInsideOtherValues) {
    const Type reference = new CORBA_TypeCode("IDL:A:1.0", "A", false);
    const Type type = structOf("S", {{"r", reference}, {"p", _tc_Principal}, {"t", _tc_string}});
    // An id, one profile of tag 5 with two octets; a principal; a string that came without its NUL.
    const std::string head = "0a000000 49444c3a413a312e3000 2020 01000000 05000000 02000000 0708 2020"
                             "01000000 06 202020";
    const std::string value = octets(head + "02000000 7878");
    CORBA_MarshalInBuffer in(value.data(), static_cast<CORBA_ULong>(value.size()));
    CORBA_Any any;
    any.read_value(in, type);
    CORBA_MarshalOutBuffer out(255);
    any.write_value(out);
    EXPECT_EQ(hex(out), digits(head + "03000000 787800"));
}

TEST(AnyWire, survivesItsTextForm) {
    CORBA_MarshalOutBuffer value(255);
    value << CORBA_Long{9} << "other";
    const CORBA_Any any(unionType(true), value);
    std::stringstream text;
    text << any;
    TRXistream in(text);
    CORBA_Any again;
    in >> again;
    EXPECT_TRUE(again == any);
}

const std::string_view body = "0a000000 49444c3a583a312e3000 2020 03000000 6e6f00";

TEST(UnknownUserException, travelsUnderTheIdOfItsType) {
    const Type type = structOf("X", {{"why", _tc_string}}, tk_except);
    // As the reply decoder fills it: the id has been read.
    const std::string members = octets("03000000 6e6f00");
    CORBA_MarshalInBuffer in(members.data(), static_cast<CORBA_ULong>(members.size()));
    CORBA_UnknownUserException read;
    read.exception().read_value(in, type);
    EXPECT_EQ(read.exception().length(), 7);
    EXPECT_EQ(written<CORBA_Exception>(read), digits(body));
    // As a servant makes it: its class has marshalled the id as well.
    CORBA_MarshalOutBuffer marshalled(255);
    marshalled << "IDL:X:1.0"
               << "no";
    const CORBA_UnknownUserException made(CORBA_Any(type, marshalled));
    EXPECT_EQ(written<CORBA_Exception>(made), digits(body));
    EXPECT_STREQ(made._name(), "CORBA::UnknownUserException");
    EXPECT_STREQ(CORBA_UnknownUserException()._repository_id(), "IDL:omg.org/CORBA/UNKNOWN:1.0");
    const Type nameless = new CORBA_TypeCode(tk_except, "", "X", {}, false);
    EXPECT_STREQ(CORBA_UnknownUserException(CORBA_Any(nameless, nullptr))._repository_id(), "");
    EXPECT_EQ(printed<CORBA_Exception>(made), "Exception: CORBA::UnknownUserException\n");
    const std::unique_ptr<CORBA_Exception> copy(made._copy());
    EXPECT_EQ(written(*copy), digits(body));
    EXPECT_THROW(copy->_raise(), CORBA_UnknownUserException);
    EXPECT_NE(CORBA_UserException::_narrow(copy.get()), nullptr);
    EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:omg.org/CORBA/UnknownUserException:1.0"),
              &CORBA_UnknownUserException::_descriptor());
}

TEST(AnyWire, ofAnExceptionHasItsIdInFront) {
    const Type type = structOf("X", {{"why", _tc_string}}, tk_except);
    CORBA_MarshalOutBuffer marshalled(255);
    marshalled << "IDL:X:1.0"
               << "no";
    const CORBA_Any any(type, marshalled);
    const std::string all = written(type) + digits(body);
    EXPECT_EQ(written(any), all);
    EXPECT_TRUE(anyFrom(all) == any);
    const CORBA_Any again = anyFrom(all);
    EXPECT_EQ(again.length(), any.length());
    // One that was read without its id has that of its type.
    const std::string members = octets("03000000 6e6f00");
    CORBA_MarshalInBuffer in(members.data(), static_cast<CORBA_ULong>(members.size()));
    CORBA_Any bare;
    bare.read_value(in, type);
    EXPECT_EQ(written(bare), all);
    // Inside a constructed value, too.
    CORBA_MarshalOutBuffer value(255);
    value << any;
    const CORBA_Any box(arrayOf(_tc_any, 1), value);
    EXPECT_TRUE(anyFrom(written(box)) == box);
}

TEST(AnyWire, ofASystemExceptionIsItsBody) {
    const Type type = new CORBA_TypeCode(
        tk_except, "IDL:omg.org/CORBA/MARSHAL:1.0", "MARSHAL",
        std::vector<TRXStructMember>{{"minor", _tc_ulong}, {"completed", _tc_ulong}}, false);
    CORBA_Any any;
    insertMarshalled<CORBA_Exception>(any, type, CORBA_MARSHAL(5, COMPLETED_MAYBE));
    CORBA_MarshalOutBuffer out(255);
    any.write_value(out);
    EXPECT_EQ(hex(out), digits("1e000000 49444c3a6f6d672e6f72672f434f5242412f4d41525348414c3a312e3000 2020"
                               "05000000 02000000"));
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    CORBA_Exception* read = nullptr;
    in >> read;
    const std::unique_ptr<CORBA_Exception> holder(read);
    ASSERT_NE(CORBA_MARSHAL::_narrow(read), nullptr);
    EXPECT_EQ(CORBA_MARSHAL::_narrow(read)->minor(), 5u);
    // It comes out as its own class, and not as another with the same members.
    CORBA_BAD_PARAM other(3);
    EXPECT_FALSE(extractMarshalled(any, type, other));
    EXPECT_EQ(other.minor(), 3u);
    CORBA_MARSHAL taken;
    EXPECT_TRUE(extractMarshalled(any, type, taken));
    EXPECT_EQ(taken.completed(), COMPLETED_MAYBE);
}

} // namespace
