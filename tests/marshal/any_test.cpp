#include "marshal/any/unknown_user_exception.h"
#include "marshal/sequence/octet_sequence.h"
#include "object/objects.h"
#include "typecodes.h"

#include <gtest/gtest.h>

using namespace harbolance;

namespace {

// Inserts `value`, takes it out again, and finds that it is of no other type.
template <class T>
void expectRoundTrip(T value, CORBA_TypeCode* type, CORBA_Long length) {
    CORBA_Any any;
    any <<= value;
    EXPECT_EQ(AnyAccess::type(any), type);
    EXPECT_EQ(any.length(), length);
    T out{};
    EXPECT_TRUE(any >>= out);
    EXPECT_EQ(out, value);
    CORBA_Octet octet = 7;
    EXPECT_FALSE(any >>= CORBA_Any::to_octet{octet});
    EXPECT_EQ(octet, 7);
    const CORBA_Any copy(any);
    EXPECT_TRUE(copy == any);
    any <<= T{};
    EXPECT_FALSE(copy == any);
}

TEST(Any, keepsNumbersOfEverySize) {
    expectRoundTrip<CORBA_Short>(-2, _tc_short, 2);
    expectRoundTrip<CORBA_UShort>(65535, _tc_ushort, 2);
    expectRoundTrip<CORBA_Long>(-3, _tc_long, 4);
    expectRoundTrip<CORBA_ULong>(4000000000u, _tc_ulong, 4);
    expectRoundTrip<CORBA_LongLong>(-5, _tc_longlong, 8);
    expectRoundTrip<CORBA_ULongLong>(1ull << 63, _tc_ulonglong, 8);
    expectRoundTrip<CORBA_Float>(0.5f, _tc_float, 4);
    expectRoundTrip<CORBA_Double>(-1e100, _tc_double, 8);
}

TEST(Any, tellsApartWhatIsOneTypeInCpp) {
    CORBA_Any any;
    CORBA_Boolean boolean = 0;
    CORBA_Char character = 0;
    CORBA_WChar wide = 0;
    any <<= CORBA_Any::from_boolean{1};
    EXPECT_FALSE(any >>= CORBA_Any::to_octet{boolean});
    EXPECT_TRUE(any >>= CORBA_Any::to_boolean{boolean});
    EXPECT_EQ(boolean, 1);
    any <<= CORBA_Any::from_char{'x'};
    EXPECT_FALSE(any >>= CORBA_Any::to_boolean{boolean});
    EXPECT_TRUE(any >>= CORBA_Any::to_char{character});
    EXPECT_EQ(character, 'x');
    any <<= L'\x3b1';
    EXPECT_EQ(any.length(), 4);
    EXPECT_TRUE(any >>= CORBA_Any::to_wchar{wide});
    EXPECT_EQ(wide, L'\x3b1');
}

TEST(Any, copiesTextAndHandsItOut) {
    CORBA_Any any;
    any <<= "north";
    EXPECT_EQ(any.length(), 6);
    EXPECT_STREQ(*static_cast<char* const*>(any.value()), "north");
    CORBA_String_var copy;
    EXPECT_TRUE(any >>= copy.out());
    EXPECT_STREQ(copy, "north");
    char* borrowed = nullptr;
    EXPECT_TRUE((any >>= CORBA_Any::to_string{borrowed, 6}));
    EXPECT_EQ(borrowed, AnyAccess::text(any));
    EXPECT_FALSE((any >>= CORBA_Any::to_string{borrowed, 7}));
    any <<= static_cast<const char*>(nullptr);
    EXPECT_EQ(any.length(), 0);
    EXPECT_EQ(AnyAccess::value(any), nullptr);
}

TEST(Any, keepsBoundedTextOrRefersToIt) {
    char text[] = "northern";
    CORBA_Any any;
    any <<= CORBA_Any::from_string{text, 5};
    EXPECT_EQ(any.length(), 5);
    EXPECT_STREQ(AnyAccess::text(any), "north");
    any <<= CORBA_Any::from_string{text, 8, 1};
    EXPECT_EQ(AnyAccess::text(any), text);
    EXPECT_EQ(any.release(), 0);

    CORBA_WChar wide[] = L"wide";
    any <<= CORBA_Any::from_wstring{wide, 2};
    EXPECT_EQ(any.length(), 3);
    CORBA_WChar* out = nullptr;
    EXPECT_FALSE((any >>= CORBA_Any::to_wstring{out, 4}));
    EXPECT_TRUE((any >>= CORBA_Any::to_wstring{out, 3}));
    EXPECT_STREQ(out, L"wi");
    any <<= CORBA_Any::from_wstring{wide, 5, 1};
    EXPECT_EQ(AnyAccess::value(any), wide);
}

TEST(Any, hashesATextButNotWhatItsBoundLeaves) {
    CORBA_Any any;
    any <<= CORBA_Any::from_string{const_cast<char*>("ab"), 4000};
    EXPECT_EQ(any.hash(), 4000u ^ 'a' ^ 'b');
    EXPECT_EQ(CORBA_Any(any).hash(), any.hash());
    any <<= CORBA_Any::from_wstring{const_cast<CORBA_WChar*>(L"a"), 4000};
    EXPECT_EQ(any.hash(), 4001u ^ 'a');
    EXPECT_EQ(CORBA_Any(any).hash(), any.hash());
    any <<= CORBA_Short{-2}; // each octet counts as signed
    EXPECT_EQ(any.hash(), 2u ^ 0xfffffffeu ^ 0xffffffffu);
}

TEST(Any, holdsAnysTypeCodesAndOctets) {
    CORBA_Any inner;
    inner <<= CORBA_Long{5};
    CORBA_Any any;
    any <<= inner;
    inner <<= CORBA_Long{6};
    CORBA_Any out;
    EXPECT_TRUE(any >>= out);
    EXPECT_EQ(AnyAccess::as<CORBA_Long>(out), 5);
    EXPECT_TRUE(CORBA_Any(any) == any);

    const Type type = sequenceOf(_tc_long);
    any <<= type.in();
    EXPECT_EQ(type->_refcount(), 2);
    Type taken;
    EXPECT_TRUE(any >>= taken.inout());
    EXPECT_EQ(taken.in(), type.in());

    const CORBA_Octet four[] = {1, 2, 3, 4};
    any <<= CORBA_OctetSequence(four);
    EXPECT_STREQ(AnyAccess::type(any)->id(), "IDL:CORBA_OctetSequence:1.0");
    EXPECT_EQ(any.length(), 8);
    CORBA_OctetSequence octets;
    EXPECT_TRUE(any >>= octets);
    EXPECT_EQ(octets, CORBA_OctetSequence(four));
}

TEST(Any, thatBorrowsItsTypeCodeMayOutliveIt) {
    Type type = sequenceOf(_tc_long);
    const CORBA_Any_var any = new CORBA_Any(_tc_TypeCode, type, 0);
    const CORBA_Any_var shared = any;
    type = Type();
    EXPECT_EQ(any->_refcount(), 2u);
}

TEST(Any, sharesReferencesAndPrincipals) {
    CORBA_Object* object = new PlainObject;
    CORBA_Any any(_tc_Object, object, 1);
    {
        const CORBA_Any copy(any);
        EXPECT_EQ(object->_ref_count(), 2u);
        EXPECT_TRUE(copy == any);
        CORBA_Object* out = nullptr;
        EXPECT_TRUE(copy >>= out);
        EXPECT_EQ(out, object);
        CORBA_release(out);
    }
    EXPECT_EQ(object->_ref_count(), 1u);
    auto* other = new PlainObject;
    EXPECT_TRUE(any == CORBA_Any(_tc_Object, static_cast<CORBA_Object*>(other), 1));
    any <<= object;
    EXPECT_EQ(object->_ref_count(), 1u);
    EXPECT_STREQ(AnyAccess::type(any)->name(), "Plain");
    any <<= static_cast<CORBA_Object*>(nullptr);
    EXPECT_EQ(AnyAccess::type(any), _tc_Object);
    EXPECT_EQ(PlainObject::alive, 0);

    const CORBA_Octet name[] = {'m', 'e'};
    auto* principal = new CORBA_OctetSequence(name);
    CORBA_Any caller(_tc_Principal, principal, 1);
    CORBA_Any copy(caller);
    EXPECT_EQ(principal->_refcount(), 2u);
    caller = CORBA_Any();
    EXPECT_EQ(static_cast<const CORBA_OctetSequence*>(copy.value()), principal);
}

TEST(Any, takesValuesByPointer) {
    CORBA_Any any(_tc_long, new CORBA_Long(9), 1);
    EXPECT_EQ(AnyAccess::as<CORBA_Long>(any), 9);
    CORBA_Double borrowed = 2.5;
    any.replace(_tc_double, &borrowed);
    EXPECT_EQ(any.value(), &borrowed);
    any.replace(_tc_string, CORBA_string_dup("own"), 1);
    EXPECT_EQ(any.length(), -1);
    any.replace(_tc_short, nullptr);
    EXPECT_EQ(AnyAccess::as<CORBA_Short>(any), 0);
    any.replace(_tc_any, nullptr);
    EXPECT_EQ(AnyAccess::type(*static_cast<const CORBA_Any*>(any.value())), _tc_null);
    any.replace(_tc_void, nullptr, 1);
    EXPECT_EQ(any.length(), 0);
    EXPECT_EQ(any.release(), 0);
    const Type type = structOf("S", {{"a", _tc_long}});
    any.replace(type, nullptr);
    EXPECT_EQ(any.length(), -1);
    EXPECT_TRUE(CORBA_Any(any) == any);
    EXPECT_THROW(any.replace(type, &borrowed), CORBA_BAD_PARAM); // nobody knows how long it is
    EXPECT_THROW(any.replace(nullptr, nullptr), CORBA_BAD_PARAM);
}

TEST(Any, takesOctetsFromABuffer) {
    const Type type = structOf("S", {{"a", _tc_long}, {"b", _tc_octet}});
    CORBA_MarshalOutBuffer owner(255);
    owner << CORBA_Long{1} << CORBA_Octet{2};
    const CORBA_Any copied(type, owner);
    EXPECT_EQ(copied.length(), 5);
    EXPECT_NE(copied.value(), owner.data());
    CORBA_MarshalOutBuffer giver(255, 0);
    giver << CORBA_Long{1} << CORBA_Octet{2};
    const CORBA_Any adopted(type, giver);
    EXPECT_EQ(adopted.value(), giver.data());
    EXPECT_TRUE(copied == adopted);
    // A value that is not held as octets is taken out of them.
    const Type colours = enumOf("E", {"red", "green"});
    CORBA_MarshalOutBuffer number(255, 0);
    number << CORBA_ULong{1};
    const CORBA_Any green(colours, number);
    EXPECT_EQ(AnyAccess::as<CORBA_ULong>(green), 1u);
    EXPECT_EQ(green.length(), 4);
}

TEST(Any, keepsItsAliasAndIsNotExtractedThroughIt) {
    CORBA_Any any(aliasOf("L", _tc_long), nullptr);
    CORBA_Long value = 0;
    EXPECT_FALSE(any >>= value);
    EXPECT_EQ(AnyAccess::type(any)->kind(), tk_alias);
    CORBA_Any text(aliasOf("T", _tc_string), CORBA_string_dup("x"), 1);
    EXPECT_STREQ(static_cast<const char*>(text.value()), "x");
    CORBA_Any plain;
    plain <<= "x";
    EXPECT_TRUE(text == plain);
}

TEST(Any, comparesTypesFirst) {
    CORBA_Any a;
    CORBA_Any b;
    a <<= CORBA_Short{1};
    b <<= CORBA_Long{0};
    EXPECT_EQ(CORBA_Any::compare(a, b), -1);
    a <<= "abc";
    b <<= "abd";
    EXPECT_LT(CORBA_Any::compare(a, b), 0);
    b <<= static_cast<const char*>(nullptr);
    EXPECT_EQ(CORBA_Any::compare(a, b), 1);
    EXPECT_EQ(CORBA_Any::compare(b, a), -1);
    EXPECT_EQ(b.hash(), 0u);
    a <<= CORBA_Short{-1};
    EXPECT_EQ(a.hash(), 2u ^ 0xffffffffu ^ 0xffffffffu);
}

TEST(Any, cannotBeCopiedWhenItsKindHasNoValues) {
    const CORBA_Any any = anyFrom("28000000");
    EXPECT_THROW(CORBA_Any{any}, CORBA_INTERNAL);
}

TEST(Any, survivesBeingMovedAndAssignedToItself) {
    CORBA_Any a;
    a <<= CORBA_Long{4};
    CORBA_Any b(std::move(a));
    EXPECT_EQ(AnyAccess::as<CORBA_Long>(b), 4);
    CORBA_Any& same = b;
    b = same;
    EXPECT_EQ(AnyAccess::as<CORBA_Long>(b), 4);
    a <<= "text";
    b = std::move(a);
    EXPECT_STREQ(AnyAccess::text(b), "text");
    EXPECT_EQ(AnyAccess::as<CORBA_Long>(a), 4);
}

TEST(AnyVar, passesInsertionAndExtractionOn) {
    CORBA_Any_var holder;
    CORBA_Long value = 3;
    holder <<= CORBA_Long{5};
    EXPECT_FALSE(holder >>= value);
    EXPECT_EQ(value, 3);
    holder = new CORBA_Any;
    holder <<= CORBA_Long{5};
    EXPECT_TRUE(holder >>= value);
    EXPECT_EQ(value, 5);
    holder <<= "text";
    CORBA_String_var text;
    EXPECT_TRUE(holder >>= text.out());
}

TEST(Any, printsTypeAndValue) {
    CORBA_Any any;
    EXPECT_EQ(printed(any), "TypeCode: \nCORBA::TCKind:tk_null\nValue: (null)\n");
    any <<= CORBA_Long{-7};
    EXPECT_EQ(printed(any), "TypeCode: \nCORBA::TCKind:tk_long\nValue: \n-7 ");
    CORBA_MarshalOutBuffer octets(255);
    octets << CORBA_ULong{2} << CORBA_Short{1} << CORBA_Short{-1};
    const std::string numbers = printed(CORBA_Any(sequenceOf(_tc_short), octets));
    EXPECT_EQ(numbers.substr(numbers.rfind("Value: \n")), "Value: \n2 1 -1 ");
    CORBA_MarshalOutBuffer chosen(255);
    chosen << CORBA_Long{9} << "other";
    const std::string choice = printed(CORBA_Any(unionType(true), chosen));
    EXPECT_EQ(choice.substr(choice.rfind("Value: \n")), "Value: \nDiscriminator Value: 9 \nother");
    const std::string nobody = printed(CORBA_Any(_tc_Object, static_cast<CORBA_Object*>(nullptr)));
    EXPECT_EQ(nobody.substr(nobody.rfind("Value: ")), "Value: (null)\n");
}

} // namespace
