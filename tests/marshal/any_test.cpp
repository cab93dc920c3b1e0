#include "marshal/any/unknown_user_exception.h"
#include "marshal/sequence/string_sequence.h"
#include "marshal/support.h"
#include "object/objects.h"

#include <chrono>

using namespace harbolance;

namespace {

CORBA_Any anyFrom(std::string_view listing, CORBA_Octet order = 1) {
    Source source(listing, order);
    CORBA_Any any;
    source.in() >> any;
    return any;
}

template <class T>
T as(const CORBA_Any& any) {
    return AnyAccess::as<T>(any);
}

// An Any with the value, which can be extracted from it as its own kind only.
template <class T>
CORBA_Any simple(T value) {
    const CORBA_Any any = anyOf(value);
    T out{};
    CORBA_Octet octet = 7;
    EXPECT_TRUE(any >>= out);
    EXPECT_EQ(out, value);
    EXPECT_FALSE(any >>= CORBA_Any::to_octet{octet});
    EXPECT_EQ(octet, 7);
    return any;
}

// Values of each kind: the octets of type and value, what length() says, and what is printed.
void expectForms(const CORBA_Any& any, const std::string& octets, CORBA_Long length,
                 const std::string& text) {
    SCOPED_TRACE(octets);
    EXPECT_EQ(any.length(), length);
    EXPECT_EQ(written(any), digits(octets));
    EXPECT_TRUE(anyFrom(octets) == any);
    const CORBA_Any swapped = anyFrom(octets, 0);
    EXPECT_TRUE(swapped == any);
    EXPECT_EQ(written(swapped), digits(octets)); // and is in the host's order from then on
    const CORBA_Any copy(swapped);
    EXPECT_TRUE(copy == any);
    EXPECT_EQ(copy.hash(), any.hash());
    CORBA_Any other;
    other <<= CORBA_Any::from_octet{99};
    EXPECT_FALSE(copy == other);
    const std::string shown = printed(any);
    EXPECT_EQ(shown.substr(shown.size() - text.size()), text);
    std::stringstream stream;
    stream << any;
    fromText(stream, other);
    EXPECT_TRUE(other == any) << stream.str();
    // As a value inside another, which is moved without being taken apart.
    const CORBA_Any box = valueOf(arrayOf(_tc_any, 1), any);
    EXPECT_TRUE(anyFrom(written(box)) == box);
}

TEST(Any, carriesEachKindInEveryForm) {
    const Type pair = structOf("S", {{"o", _tc_octet}, {"d", _tc_double}});
    const Type exception = structOf("X", {{"why", _tc_string}}, tk_except);
    CORBA_WChar wide[] = L"A";
    expectForms(CORBA_Any(), "00000000", 0, "Value: (null)\n");
    expectForms(simple(CORBA_Short{-2}), "02000000 feff", 2, "-2 ");
    expectForms(simple(CORBA_UShort{65535}), "04000000 ffff", 2, "65535 ");
    expectForms(simple(CORBA_Long{-3}), "03000000 fdffffff", 4, "-3 ");
    expectForms(simple(-7L), "03000000 f9ffffff", 4, "-7 ");
    expectForms(simple(CORBA_ULong{0x01020304}), "05000000 04030201", 4, "16909060 ");
    expectForms(simple(CORBA_LongLong{1}), "17000000 20202020 0100000000000000", 8, "1 ");
    expectForms(simple(1ULL << 63), "18000000 20202020 0000000000000080", 8, "9223372036854775808 ");
    expectForms(simple(0.5f), "06000000 0000003f", 4, "0.5 ");
    expectForms(simple(1.0), "07000000 20202020 000000000000f03f", 8, "1 ");
    expectForms(anyOf(CORBA_Any::from_boolean{1}), "08000000 01", 1, "1 ");
    expectForms(anyOf(CORBA_Any::from_char{'x'}), "09000000 'x'", 1, "120 ");
    expectForms(anyOf(CORBA_Any::from_octet{7}), "0a000000 07", 1, "7 ");
    expectForms(anyOf(L'A'), "1a000000 4100", 4, "65 ");
    expectForms(anyOf("ab"), "12000000 00000000 03000000 'ab' 00", 3, "ab");
    expectForms(anyOf(CORBA_Any::from_wstring{wide, 1}), "1b000000 00000000 02000000 4100 0000", 2,
                "2 65 0 ");
    expectForms(anyOf(anyOf(CORBA_Short{1})), "0b000000 02000000 0100", 0,
                "TypeCode: \nCORBA::TCKind:tk_short\nValue: \n1 ");
    expectForms(anyOf(_tc_long), "0c000000 03000000", -1, "CORBA::TCKind:tk_long\n");
    expectForms(CORBA_Any(_tc_Principal, new CORBA_OctetSequence(sequence("0908")), 1),
                "0d000000 02000000 09 08", -1, "2 9 8 ");
    expectForms(CORBA_Any(redGreen(), new CORBA_ULong(1), 1), redGreenOctets + "01000000", 4, "1 ");
    // The value begins at 64, and its double at a multiple of 8 of the whole stream.
    expectForms(valueOf(pair, CORBA_Octet{1}, 1.0),
                "0f000000 38000000" + head("S") +
                    "2020 02000000 02000000 'o' 00 2020 0a000000 02000000 'd' 00 2020 "
                    "07000000 01 20202020202020 000000000000f03f",
                16, "1 1 ");
    expectForms(valueOf(sequenceOf(_tc_double), CORBA_ULong{0}),
                "13000000 0c000000 @ 202020 07000000 00000000 00000000", 4, "0 ");
    expectForms(valueOf(sequenceOf(_tc_double), CORBA_ULong{2}, 1.0, 2.0),
                "13000000 0c000000 @ 202020 07000000 00000000 02000000 000000000000f03f 0000000000000040", 24,
                "2 1 2 ");
    expectForms(valueOf(arrayOf(_tc_wchar, 3), L'\1', L'\2', L'\3'),
                "14000000 0c000000 @ 202020 1a000000 03000000 0100 0200 0300", 6, "1 2 3 ");
    expectForms(
        valueOf(sequenceOf(_tc_string), CORBA_ULong{2}, "a", ""),
        "13000000 10000000 @ 202020 12000000 00000000 00000000 02000000 02000000 'a' 00 2020 01000000 00", 17,
        "2 a");
    // An exception has its repository id in front.
    expectForms(valueOf(exception, "IDL:X:1.0", "no"),
                "16000000 30000000" + head("X") +
                    "2020 01000000 04000000 'why' 00 12000000 00000000 "
                    "0a000000 'IDL:X:1.0' 00 2020 03000000 'no' 00",
                23, "IDL:X:1.0no");
}

TEST(Any, isExtractedByItsOwnKindOnly) {
    simple(size_t{4000000000u});
    EXPECT_THROW(anyOf(1L << 31), CORBA_BAD_PARAM);
    EXPECT_THROW(anyOf(size_t{1} << 32), CORBA_BAD_PARAM);
    CORBA_Octet octet = 0;
    CORBA_WChar wide = 0;
    EXPECT_FALSE(anyOf(CORBA_Any::from_boolean{1}) >>= CORBA_Any::to_octet{octet});
    EXPECT_TRUE(anyOf(CORBA_Any::from_boolean{1}) >>= CORBA_Any::to_boolean{octet});
    EXPECT_EQ(octet, 1);
    EXPECT_TRUE(anyOf(L'\x3b1') >>= CORBA_Any::to_wchar{wide});
    EXPECT_EQ(wide, L'\x3b1');
    // The alias stays, and nothing is extracted through it; value() of an alias of string is the text.
    CORBA_Any alias(aliasOf("L", _tc_long), nullptr);
    CORBA_Long number = 0;
    EXPECT_FALSE(alias >>= number);
    EXPECT_EQ(Type(alias.type())->kind(), tk_alias);
    const CORBA_Any text(aliasOf("T", _tc_string), CORBA_string_dup("x"), 1);
    EXPECT_STREQ(static_cast<const char*>(text.value()), "x");
    EXPECT_STREQ(*static_cast<char* const*>(anyOf("north").value()), "north");
    EXPECT_TRUE(text == anyOf("x"));
}

TEST(Any, keepsTextWithAndWithoutABound) {
    char text[] = "northern";
    CORBA_WChar wide[] = L"wide";
    // Length with the NUL, unless there is a bound. What a bound leaves is not hashed.
    const std::tuple<CORBA_Any, CORBA_Long, const char*, CORBA_ULong> rows[] = {
        {anyOf(static_cast<const char*>(nullptr)), 0, nullptr, 0},
        {anyOf(CORBA_Any::from_string{text, 5}), 5, "north", 5u ^ 'n' ^ 'o' ^ 'r' ^ 't' ^ 'h'},
        {anyOf(CORBA_Any::from_string{text, 4000}), 4000, text, 4000u ^ 'o' ^ 't' ^ 'h' ^ 'e'},
        {anyOf(CORBA_Any::from_string{text, 0}), 9, text, 9u ^ 'o' ^ 't' ^ 'h' ^ 'e'},
    };
    for (const auto& [any, length, expected, hash] : rows) {
        EXPECT_EQ(any.length(), length);
        EXPECT_STREQ(AnyAccess::text(any), expected);
        EXPECT_EQ(any.hash(), hash) << length;
    }
    CORBA_Any any = anyOf("north");
    CORBA_String_var copy;
    EXPECT_TRUE(any >>= copy.out());
    EXPECT_STREQ(copy, "north");
    char* borrowed = nullptr;
    EXPECT_TRUE((any >>= CORBA_Any::to_string{borrowed, 6}));
    EXPECT_EQ(borrowed, AnyAccess::text(any));
    EXPECT_FALSE((any >>= CORBA_Any::to_string{borrowed, 7}));
    any <<= CORBA_Any::from_string{text, 8, 1};
    EXPECT_EQ(AnyAccess::text(any), text);
    EXPECT_EQ(any.release(), 0);
    any <<= CORBA_Any::from_wstring{wide, 0};
    EXPECT_EQ(any.length(), 5);
    any <<= CORBA_Any::from_wstring{wide, 2};
    CORBA_WChar* out = nullptr;
    EXPECT_FALSE((any >>= CORBA_Any::to_wstring{out, 4}));
    EXPECT_TRUE((any >>= CORBA_Any::to_wstring{out, 3}));
    EXPECT_STREQ(out, L"wi");
    any <<= CORBA_Any::from_wstring{wide, 5, 1};
    EXPECT_EQ(AnyAccess::value(any), wide);
    EXPECT_EQ(anyOf(CORBA_Any::from_wstring{const_cast<CORBA_WChar*>(L"a"), 4000}).hash(), 4001u ^ 'a');
    EXPECT_EQ(anyOf(CORBA_Short{-2}).hash(), 2u ^ 0xfffffffeu ^ 0xffffffffu); // each octet counts as signed
    EXPECT_EQ(written(CORBA_Any(_tc_wstring, nullptr)), digits("1b000000 00000000 01000000 0000"));
}

TEST(Any, holdsAnysTypesAndSequences) {
    CORBA_Any inner = anyOf(CORBA_Long{5});
    const CORBA_Any any = anyOf(inner);
    inner <<= CORBA_Long{6};
    CORBA_Any out;
    EXPECT_TRUE(any >>= out);
    EXPECT_TRUE(out == anyOf(CORBA_Long{5}));
    const Type type = sequenceOf(_tc_long);
    const CORBA_Any ofType = anyOf(type.in());
    EXPECT_EQ(type->_refcount(), 2);
    Type taken;
    EXPECT_TRUE(ofType >>= taken);
    EXPECT_EQ(taken.in(), type.in());
    CORBA_OctetSequence_var octets = new CORBA_OctetSequence(sequence("01020304"));
    CORBA_Any ofSequence = anyOf(octets);
    EXPECT_STREQ(Type(ofSequence.type())->id(), "IDL:CORBA_OctetSequence:1.0");
    EXPECT_EQ(ofSequence.length(), 8);
    CORBA_OctetSequence again;
    CORBA_StringSequence names;
    EXPECT_TRUE(ofSequence >>= again);
    EXPECT_EQ(again, *octets);
    EXPECT_FALSE(ofSequence >>= names);
    EXPECT_THROW(ofSequence <<= CORBA_OctetSequence_var(), CORBA_BAD_PARAM);
    EXPECT_THROW(written(CORBA_Any(_tc_Principal, nullptr)), CORBA_BAD_PARAM);
    EXPECT_THROW(written(static_cast<const CORBA_Any*>(nullptr)), CORBA_BAD_PARAM);
}

TEST(Any, sharesReferencesAndPrincipals) {
    CORBA_Object* object = new PlainServant;
    CORBA_Any any(_tc_Object, object, 1);
    {
        const CORBA_Any copy(any);
        EXPECT_EQ(object->_ref_count(), 2u);
        EXPECT_TRUE(copy == any);
        CORBA_Object_var out;
        EXPECT_TRUE(copy >>= out);
        EXPECT_EQ(out.in(), object);
    }
    EXPECT_EQ(object->_ref_count(), 1u);
    EXPECT_FALSE(any == CORBA_Any(_tc_Object, static_cast<CORBA_Object*>(new PlainServant), 1));
    EXPECT_FALSE(any == CORBA_Any(_tc_Object, static_cast<CORBA_Object*>(nullptr)));
    any <<= object;
    EXPECT_EQ(object->_ref_count(), 1u);
    EXPECT_STREQ(Type(any.type())->name(), "Object");
    any <<= static_cast<CORBA_Object*>(nullptr);
    EXPECT_EQ(Type(any.type()).in(), _tc_Object);
    EXPECT_EQ(written(any), written(_tc_Object) + digits("20 01000000 00 202020 00000000"));
    EXPECT_EQ(PlainServant::alive, 0);
    auto* principal = new CORBA_OctetSequence(sequence("'me'"));
    CORBA_Any caller(_tc_Principal, principal, 1);
    const CORBA_Any copy(caller);
    EXPECT_EQ(principal->_refcount(), 2u);
    caller = CORBA_Any();
    EXPECT_EQ(static_cast<const CORBA_OctetSequence*>(copy.value()), principal);
    // One that borrows its TypeCode may outlive it.
    Type type = sequenceOf(_tc_long);
    const CORBA_Any_var borrowing = new CORBA_Any(_tc_TypeCode, type, 0);
    type = Type();
}

TEST(Any, takesValuesByPointerAndFromBuffers) {
    CORBA_Any any(_tc_long, new CORBA_Long(9), 1);
    EXPECT_EQ(as<CORBA_Long>(any), 9);
    CORBA_Double borrowed = 2.5;
    any.replace(_tc_double, &borrowed);
    EXPECT_EQ(any.value(), &borrowed);
    any.replace(_tc_string, CORBA_string_dup("own"), 1);
    EXPECT_EQ(any.length(), -1);
    any.replace(_tc_short, nullptr);
    EXPECT_EQ(as<CORBA_Short>(any), 0);
    any.replace(_tc_any, nullptr);
    EXPECT_TRUE(*static_cast<const CORBA_Any*>(any.value()) == CORBA_Any());
    any.replace(_tc_void, nullptr, 1);
    EXPECT_EQ(any.length(), 0);
    EXPECT_EQ(any.release(), 0);
    const Type type = structOf("S", {{"a", _tc_long}, {"b", _tc_octet}});
    any.replace(type, nullptr);
    EXPECT_EQ(any.length(), -1);
    EXPECT_TRUE(CORBA_Any(any) == any);
    EXPECT_THROW(written(any), CORBA_MARSHAL);
    EXPECT_THROW(any.replace(type, &borrowed), CORBA_BAD_PARAM); // of unknown length
    EXPECT_THROW(any.replace(nullptr, nullptr), CORBA_BAD_PARAM);
    const CORBA_Any copied = valueOf(type, CORBA_Long{1}, CORBA_Octet{2});
    CORBA_MarshalOutBuffer giver(255, 0);
    giver << CORBA_Long{1} << CORBA_Octet{2};
    const CORBA_Any adopted(type, giver);
    EXPECT_EQ(adopted.value(), giver.data());
    EXPECT_TRUE(copied == adopted);
    // A value that is not held as octets is taken out of them.
    CORBA_MarshalOutBuffer number(255, 0);
    number << CORBA_ULong{1};
    EXPECT_EQ(CORBA_Any(redGreen(), number).length(), 4);
}

TEST(Any, comparesAndMoves) {
    const CORBA_Any abc = anyOf("abc"), none = anyOf(static_cast<const char*>(nullptr));
    EXPECT_EQ(CORBA_Any::compare(anyOf(CORBA_Short{1}), anyOf(CORBA_Long{0})), -1); // types first
    EXPECT_LT(CORBA_Any::compare(abc, anyOf("abd")), 0);
    EXPECT_EQ(CORBA_Any::compare(abc, none), 1);
    EXPECT_EQ(CORBA_Any::compare(none, abc), -1);
    const CORBA_Any unknown = anyFrom("28000000"); // a kind that has no values
    EXPECT_THROW(CORBA_Any{unknown}, CORBA_INTERNAL);
    CORBA_Any a = anyOf(CORBA_Long{4}), b = anyOf("text");
    const CORBA_Any& same = b;
    b = same;
    std::swap(a, b);
    EXPECT_STREQ(AnyAccess::text(a), "text");
    EXPECT_EQ(as<CORBA_Long>(b), 4);
    CORBA_Any_var holder;
    CORBA_Long value = 3;
    holder <<= CORBA_Long{5}; // into nothing
    EXPECT_FALSE(holder >>= value);
    holder = new CORBA_Any;
    holder <<= CORBA_Long{5};
    EXPECT_TRUE(holder >>= value);
}

TEST(AnyValue, ofAUnionFollowsTheDiscriminator) {
    const auto tail = [](const CORBA_Any& any) { return written(any).substr(2 * (8 + 0x4c)); };
    EXPECT_EQ(tail(valueOf(unionType(true), CORBA_Long{1}, CORBA_Short{5})), digits("01000000 0500"));
    EXPECT_EQ(tail(valueOf(unionType(true), CORBA_Long{7}, "x")), digits("07000000 02000000 'x' 00"));
    EXPECT_EQ(tail(valueOf(unionType(false), CORBA_Long{2}, "x")), digits("02000000 02000000 'x' 00"));
    EXPECT_THROW(written(valueOf(unionType(false), CORBA_Long{7}, "x")), CORBA_BAD_PARAM);
    EXPECT_THROW(anyFrom(written(unionType(false)) + "07000000 02000000 'x' 00"), CORBA_BAD_PARAM);
    const std::string choice = printed(valueOf(unionType(true), CORBA_Long{9}, "other"));
    EXPECT_EQ(choice.substr(choice.rfind("Value: \n")), "Value: \nDiscriminator Value: 9 \nother");
    const CORBA_Any green(redGreen(), new CORBA_ULong(1), 1);
    const TRXUnionMember members[] = {{&green, "g", _tc_octet}};
    const auto by = [&](const Type& discriminator) {
        return Type(new CORBA_TypeCode("IDL:U:1.0", "U", discriminator, members, false));
    };
    const CORBA_Any any = valueOf(by(redGreen()), CORBA_ULong{1}, CORBA_Octet{3});
    EXPECT_TRUE(anyFrom(written(any)) == any);
    EXPECT_THROW(written(valueOf(by(CORBA_TypeCode::_duplicate(_tc_double)), 1.0)), CORBA_INTERNAL);
}

// Each node is a struct and a sequence: two levels.
TEST(AnyValue, nestsDeeperThanWhatAPeerSends) {
    const auto list = [type = nodeType()](int nodes) {
        CORBA_MarshalOutBuffer value(255);
        for (int i = 1; i < nodes; ++i)
            value << CORBA_Long{i} << CORBA_ULong{1};
        value << CORBA_Long{nodes} << CORBA_ULong{0};
        return CORBA_Any(type, value);
    };
    EXPECT_TRUE(anyFrom(written(list(128))) == list(128));
    EXPECT_THROW(anyFrom(written(list(129))), CORBA_MARSHAL);
    EXPECT_NO_THROW(written(list(498)));
    EXPECT_NE(printed(list(490)).find("489 1 490 0"), std::string::npos);
    EXPECT_THROW(written(list(501)), CORBA_MARSHAL);
    EXPECT_THROW(printed(list(501)), CORBA_MARSHAL);
}

TEST(AnyValue, thatEndsTooSoonIsRefused) {
    const Type doubles = structOf("S", {{"p", _tc_double}, {"q", _tc_double}, {"r", _tc_double}});
    EXPECT_THROW(written(valueOf(sequenceOf(_tc_double), CORBA_ULong{3}, 1.0)), CORBA_BAD_PARAM);
    EXPECT_THROW(written(valueOf(doubles, CORBA_ULong{3}, 1.0)), CORBA_MARSHAL);
    EXPECT_THROW(written(valueOf(sequenceOf(_tc_wchar), CORBA_ULong{3}, L'a')), CORBA_BAD_PARAM);
    CORBA_Any kept = anyOf(CORBA_Long{4});
    EXPECT_THROW(Source("12000000 00000000 03000000 61").in() >> kept, CORBA_MARSHAL);
    EXPECT_EQ(as<CORBA_Long>(kept), 4);
}

// A message body behind a header: its octets are counted from another place than its alignment.
TEST(AnyValue, isMovedByTheStreamsAlignment) {
    const Type type = structOf("S", {{"a", arrayOf(_tc_double, 2)}, {"o", _tc_octet}, {"l", _tc_long}});
    const std::string body = "000000000000f03f 0000000000000040 07 202020 09000000";
    for (CORBA_ULong header = 0; header <= 12; ++header) {
        Source message(std::string(2 * header, '0') + body);
        message.in().seek(header);
        message.in().reset_align();
        CORBA_Any any;
        any.read_value(message.in(), type);
        CORBA_MarshalOutBuffer out(255);
        any.write_value(out);
        EXPECT_EQ(hex(out), digits(body)) << header;
    }
    // A reference is passed on without an object, a string without its NUL gets one.
    const Type passed = structOf("S", {{"r", objectOf("A")}, {"p", _tc_Principal}, {"t", _tc_string}});
    const std::string start =
        "0a000000 'IDL:A:1.0' 00 2020 01000000 05000000 02000000 0708 2020 01000000 06 202020 ";
    Source source(start + "02000000 'xx'");
    CORBA_Any any;
    any.read_value(source.in(), passed);
    CORBA_MarshalOutBuffer out(255);
    any.write_value(out);
    EXPECT_EQ(hex(out), digits(start + "03000000 'xx' 00"));
}

// Twenty thousand times twenty thousand steps would take far longer, on any machine.
TEST(AnyValue, ofAUnionWithManyMembersIsReadInTime) {
    constexpr CORBA_Long count = 20000;
    std::vector<CORBA_Any> labels;
    CORBA_MarshalOutBuffer values(255);
    values << count;
    for (CORBA_Long i = 0; i < count; ++i) {
        labels.push_back(anyOf(i));
        values << count - 1 - i << CORBA_Octet{1};
    }
    std::vector<TRXUnionMember> members;
    for (const CORBA_Any& label : labels)
        members.push_back({&label, "m", _tc_octet});
    const Type choice = new CORBA_TypeCode("IDL:U:1.0", "U", _tc_long, members, false);
    const auto begin = std::chrono::steady_clock::now();
    const CORBA_Any any(sequenceOf(choice), values);
    EXPECT_TRUE(anyFrom(written(any)) == any);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(UnknownUserException, travelsUnderTheIdOfItsType) {
    const std::string members = "03000000 'no' 00", body = "0a000000 'IDL:X:1.0' 00 2020 " + members;
    const Type type = structOf("X", {{"why", _tc_string}}, tk_except);
    // As the reply decoder fills it, when the id has been read, and as a servant makes it.
    CORBA_UnknownUserException read;
    Source source(members);
    read.exception().read_value(source.in(), type);
    const CORBA_UnknownUserException made(valueOf(type, "IDL:X:1.0", "no"));
    EXPECT_EQ(written(read.exception()), written(made.exception()));
    EXPECT_EQ(written<CORBA_Exception>(read), digits(body));
    const std::unique_ptr<CORBA_Exception> copy(made._copy());
    EXPECT_EQ(written(*copy), digits(body));
    EXPECT_THROW(copy->_raise(), CORBA_UnknownUserException);
    EXPECT_STREQ(CORBA_UnknownUserException()._repository_id(), "IDL:omg.org/CORBA/UNKNOWN:1.0");
    const Type nameless = new CORBA_TypeCode(tk_except, "", "X", {}, false);
    EXPECT_STREQ(CORBA_UnknownUserException(CORBA_Any(nameless, nullptr))._repository_id(), "");
    // A system exception comes out as its own class, and not as another with the same members.
    const TRXStructMember two[] = {{"minor", _tc_ulong}, {"completed", _tc_ulong}};
    const Type system = new CORBA_TypeCode(tk_except, "IDL:omg.org/CORBA/MARSHAL:1.0", "MARSHAL", two, false);
    CORBA_Any any;
    insertMarshalled<CORBA_Exception>(any, system, CORBA_MARSHAL(5, COMPLETED_MAYBE));
    CORBA_BAD_PARAM other(3);
    EXPECT_FALSE(extractMarshalled(any, system, other));
    EXPECT_EQ(other.minor(), 3u);
    CORBA_MARSHAL taken;
    EXPECT_TRUE(extractMarshalled(any, system, taken));
    EXPECT_EQ(taken.completed(), COMPLETED_MAYBE);
}

} // namespace
