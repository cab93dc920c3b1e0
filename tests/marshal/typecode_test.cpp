#include "typecodes.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace harbolance;

namespace {

// Made before the ORB starts, as generated code makes its types.
CORBA_TypeCode constantKids(TRXRecursion{0, 1}, true);
const TRXStructMember constantMembers[] = {{"v", _tc_long}, {"kids", &constantKids}};
CORBA_TypeCode constantNode(tk_struct, "IDL:Node:1.0", "Node", constantMembers, true);
const bool wasResolvedEarly = TypeCodeAccess::content(constantKids) != nullptr;
CORBA_TypeCode* const early = new CORBA_TypeCode("IDL:Early:1.0", "Early", false);
const bool started = (CORBA_TypeCode::_duplicate(early), TypeCodeAccess::startUp(), true);

TEST(TypeCode, hasConstantsOfEveryBasicKind) {
    const std::pair<CORBA_TypeCode*, CORBA_TCKind> constants[] = {
        {_tc_null, tk_null},           {_tc_void, tk_void},           {_tc_short, tk_short},
        {_tc_long, tk_long},           {_tc_ushort, tk_ushort},       {_tc_ulong, tk_ulong},
        {_tc_float, tk_float},         {_tc_double, tk_double},       {_tc_boolean, tk_boolean},
        {_tc_char, tk_char},           {_tc_octet, tk_octet},         {_tc_any, tk_any},
        {_tc_TypeCode, tk_TypeCode},   {_tc_Principal, tk_Principal}, {_tc_longlong, tk_longlong},
        {_tc_ulonglong, tk_ulonglong}, {_tc_wchar, tk_wchar},         {_tc_string, tk_string},
        {_tc_wstring, tk_wstring},     {_tc_Object, tk_objref},       {_tc_NamedValue, tk_struct},
    };
    for (const auto& [type, kind] : constants) {
        EXPECT_EQ(type->kind(), kind);
        CORBA_release(CORBA_TypeCode::_duplicate(type));
        EXPECT_EQ(type->_refcount(), 1);
        if (type->param_count() == 0) {
            EXPECT_TRUE(Type(new CORBA_TypeCode(kind, false))->equal(type));
        }
    }
    EXPECT_EQ(_tc_string->length(), 0u);
    EXPECT_STREQ(_tc_Object->id(), "IDL:omg.org/CORBA/Object:1.0");
    EXPECT_STREQ(_tc_Object->name(), "Object");
    EXPECT_STREQ(_tc_NamedValue->name(), "NamedValue");
    EXPECT_EQ(_tc_NamedValue->member_count(), 0u);
}

TEST(TypeCode, refusesKindsThatAConstructorDoesNotMake) {
    EXPECT_THROW(CORBA_TypeCode(tk_longdouble, false), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_TypeCode(tk_objref, false), CORBA_BAD_PARAM);
    EXPECT_THROW(structOf("S", {}, tk_union), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_TypeCode(tk_alias, 0, _tc_long, false), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_TypeCode(tk_sequence, 0, nullptr, false), CORBA_BAD_PARAM);
}

TEST(TypeCode, tellsWhatItIsMadeOf) {
    const Type type = structOf("S", {{"a", _tc_short}, {"b", _tc_string}});
    EXPECT_EQ(type->param_count(), 5u);
    EXPECT_STREQ(type->id(), "IDL:S:1.0");
    EXPECT_STREQ(type->name(), "S");
    EXPECT_EQ(type->member_count(), 2u);
    EXPECT_STREQ(type->member_name(1), "b");
    EXPECT_EQ(Type(type->member_type(1)).in(), _tc_string);
    EXPECT_THROW(type->member_name(2), CORBA_TypeCode::Bounds);
    EXPECT_THROW(type->member_type(2), CORBA_TypeCode::Bounds);
    EXPECT_THROW(type->member_type(0x80000000), CORBA_TypeCode::Bounds);
    EXPECT_THROW(type->parameter(5), CORBA_TypeCode::Bounds);
    EXPECT_THROW(type->length(), CORBA_TypeCode::BadKind);
    EXPECT_THROW(type->content_type(), CORBA_TypeCode::BadKind);
    EXPECT_THROW(type->default_index(), CORBA_TypeCode::BadKind);
    EXPECT_THROW(_tc_long->id(), CORBA_TypeCode::BadKind);
    EXPECT_THROW(_tc_long->name(), CORBA_TypeCode::BadKind);
    EXPECT_THROW(_tc_string->member_count(), CORBA_TypeCode::BadKind);

    const Type colours = enumOf("E", {"red", "green"});
    EXPECT_EQ(colours->member_count(), 2u);
    EXPECT_STREQ(colours->member_name(1), "green");
    EXPECT_THROW(colours->member_type(0), CORBA_TypeCode::BadKind);

    const Type fixed = new CORBA_TypeCode(TRXFixed{9, -2}, false);
    EXPECT_EQ(fixed->fixed_digits(), 9u);
    EXPECT_EQ(fixed->fixed_scale(), -2);
    EXPECT_THROW(typeFrom("1c000000")->fixed_digits(), CORBA_TypeCode::Bounds);
}

TEST(TypeCode, knowsLabelsAndDefaultOfAUnion) {
    const Type plain = unionType(false);
    EXPECT_EQ(plain->default_index(), -1);
    EXPECT_EQ(plain->member_count(), 2u);
    EXPECT_STREQ(plain->member_name(1), "b");
    EXPECT_EQ(Type(plain->discriminator_type()).in(), _tc_long);
    const CORBA_Any_var label = plain->member_label(1);
    CORBA_Long value = 0;
    EXPECT_TRUE(label >>= value);
    EXPECT_EQ(value, 2);
    EXPECT_THROW(plain->member_label(2), CORBA_TypeCode::Bounds);
    EXPECT_EQ(unionType(true)->default_index(), 1);

    CORBA_Any discriminator;
    discriminator <<= CORBA_Long{1};
    EXPECT_EQ(TypeCodeAccess::memberFor(*plain, AnyAccess::basicOctets(discriminator)), _tc_short);
    discriminator <<= CORBA_Long{3};
    EXPECT_THROW(TypeCodeAccess::memberFor(*plain, AnyAccess::basicOctets(discriminator)), CORBA_BAD_PARAM);
    EXPECT_EQ(TypeCodeAccess::memberFor(*unionType(true), AnyAccess::basicOctets(discriminator)), _tc_string);
}

TEST(TypeCode, findsTheFirstOfManyEqualLabels) {
    std::vector<CORBA_Any> labels(40);
    std::vector<TRXUnionMember> members;
    for (CORBA_Short i = 0; i < 40; ++i) {
        labels[static_cast<size_t>(i)] <<= static_cast<CORBA_Short>(i == 30 ? -5 : 20 - i);
        members.push_back({&labels[static_cast<size_t>(i)], "m", i == 25 ? _tc_double : _tc_octet});
    }
    labels[39] <<= CORBA_Long{100}; // of another type than the discriminator
    const Type type = new CORBA_TypeCode("IDL:U:1.0", "U", _tc_short, members, false);
    CORBA_Any discriminator;
    discriminator <<= CORBA_Short{-5};
    EXPECT_EQ(TypeCodeAccess::memberFor(*type, AnyAccess::basicOctets(discriminator)), _tc_double);
    discriminator <<= CORBA_Short{20};
    EXPECT_EQ(TypeCodeAccess::memberFor(*type, AnyAccess::basicOctets(discriminator)), _tc_octet);
    discriminator <<= CORBA_Short{100};
    EXPECT_THROW(TypeCodeAccess::memberFor(*type, AnyAccess::basicOctets(discriminator)), CORBA_BAD_PARAM);
}

TEST(TypeCode, isResolvedAgainstTheTypeThatEnclosesIt) {
    const Type node = nodeType();
    const Type kids = node->member_type(1);
    EXPECT_EQ(Type(kids->content_type()).in(), node.in());

    // The sequence is two levels below Outer, and inside a sequence of its own.
    const Type inner = recursiveSequence(2);
    const Type rows = sequenceOf(inner);
    const Type middle = structOf("Middle", {{"rows", rows}});
    EXPECT_EQ(inner->content_type(), nullptr);
    const Type outer = structOf("Outer", {{"middle", middle}});
    EXPECT_EQ(Type(inner->content_type()).in(), outer.in());

    // Nothing looks for one behind an array or an alias.
    const Type behind = recursiveSequence(1);
    structOf("S", {{"a", arrayOf(behind, 2)}, {"b", aliasOf("A", behind)}});
    EXPECT_EQ(behind->content_type(), nullptr);
}

TEST(TypeCode, exceptionsAreFoundByTheirIds) {
    const auto* bounds = CORBA_ExceptionDesc::lookup("IDL:omg.org/CORBA/TypeCode/Bounds:1.0");
    const auto* badKind = CORBA_ExceptionDesc::lookup("IDL:omg.org/CORBA/TypeCode/BadKind:1.0");
    ASSERT_TRUE(bounds && badKind);
    EXPECT_STREQ(bounds->name(), "CORBA::TypeCode::Bounds");
    EXPECT_STREQ(badKind->name(), "CORBA::TypeCode::BadKind");
}

TEST(TypeCode, ofConstantsIsResolvedAtStartUp) {
    EXPECT_FALSE(wasResolvedEarly);
    EXPECT_EQ(TypeCodeAccess::content(constantKids), &constantNode);
    EXPECT_TRUE(constantNode.equal(nodeType()));
    static CORBA_TypeCode late(TRXRecursion{0, 1}, true);
    const TRXStructMember members[] = {{"kids", &late}};
    static CORBA_TypeCode lateNode(tk_struct, "IDL:Late:1.0", "Late", members, true);
    EXPECT_EQ(TypeCodeAccess::content(late), &lateNode);
}

TEST(TypeCode, madeBeforeStartUpIsNeverFreed) {
    for (int i = 0; i < 4; ++i)
        CORBA_release(early);
    EXPECT_STREQ(early->name(), "Early");
    EXPECT_EQ(early->_refcount(), 1);
}

// The address sanitizer sees what is not freed, and what is freed too soon.
TEST(TypeCode, ofARingLivesAsLongAsAnyOfItIsHeld) {
    Type node = nodeType();
    Type kids = node->member_type(1);
    node = Type();
    EXPECT_STREQ(Type(kids->content_type())->name(), "Node");
    CORBA_Any_var name = Type(kids->content_type())->parameter(0);
    kids = Type();
    char* text = nullptr;
    EXPECT_TRUE((name >>= CORBA_Any::to_string{text, 0}));
    EXPECT_STREQ(text, "Node");
    // A parameter that holds one of the ring's types.
    node = nodeType();
    const CORBA_Any_var member = node->parameter(4);
    node = Type();
    EXPECT_EQ(Type(AnyAccess::heldType(*member)->content_type())->param_count(), 5u);
    // A ring through a type that refers to the sequence before it is closed.
    const Type open = recursiveSequence(1);
    structOf("N", {{"k", open}, {"a", aliasOf("A", open)}, {"r", arrayOf(open, 2)}});
}

TEST(TypeCode, ofALargeRingThatManyReferToIsFreedInTime) {
    const Type node = structOf("Node", std::vector<TRXStructMember>(20000, {"k", recursiveSequence(1)}));
    const auto begin = std::chrono::steady_clock::now();
    structOf("Outer", std::vector<TRXStructMember>(60000, {"n", node}));
    // Sixty thousand times twenty thousand steps would take far longer, on any machine.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(TypeCode, chainIsFreedHoweverLong) {
    Type chain = CORBA_TypeCode::_duplicate(_tc_long);
    for (int i = 0; i < 200000; ++i)
        chain = sequenceOf(chain);
    EXPECT_THROW(written(chain), CORBA_MARSHAL);
    EXPECT_THROW(CORBA_TypeCode::compare(chain, sequenceOf(chain)), CORBA_MARSHAL);
}

TEST(TypeCode, comparesByStructureAndSeesThroughAliases) {
    const Type a = structOf("S", {{"a", _tc_short}});
    const Type other = new CORBA_TypeCode(tk_struct, "IDL:Other:1.0", "S",
                                          std::vector<TRXStructMember>{{"a", _tc_short}}, false);
    EXPECT_TRUE(a->equal(other)); // ids do not count
    EXPECT_FALSE(a->equal(structOf("T", {{"a", _tc_short}})));
    EXPECT_FALSE(a->equal(structOf("S", {{"b", _tc_short}})));
    EXPECT_FALSE(a->equal(structOf("S", {{"a", _tc_long}})));
    EXPECT_TRUE(a->equal(aliasOf("B", aliasOf("A", a))));
    EXPECT_TRUE(structOf("S", {{"a", aliasOf("Small", _tc_short)}})->equal(a));
    EXPECT_FALSE(a->equal(nullptr));
    EXPECT_EQ(CORBA_TypeCode::compare(nullptr, nullptr), 0);
    EXPECT_EQ(CORBA_TypeCode::compare(nullptr, a), -1);
    EXPECT_EQ(CORBA_TypeCode::compare(a, nullptr), 1);
    EXPECT_EQ(CORBA_TypeCode::compare(_tc_long, _tc_short), 1);
    EXPECT_EQ(CORBA_TypeCode::compare(a, structOf("S", {})), 2);
    EXPECT_FALSE(sequenceOf(_tc_long)->equal(sequenceOf(_tc_long, 4)));
    EXPECT_FALSE(unionType(true)->equal(unionType(false)));
    EXPECT_TRUE(unionType(true)->equal(unionType(true)));
}

TEST(TypeCode, takesAllReferencesForOneTypeAndAllExceptions) {
    const Type one = new CORBA_TypeCode("IDL:A:1.0", "A", false);
    EXPECT_TRUE(one->equal(_tc_Object));
    EXPECT_TRUE(
        structOf("X", {{"a", _tc_long}}, tk_except)->equal(structOf("Y", {{"b", _tc_any}}, tk_except)));
}

TEST(TypeCode, comparesRecursiveTypes) {
    EXPECT_TRUE(nodeType()->equal(nodeType()));
    const Type kids = recursiveSequence(1);
    EXPECT_FALSE(nodeType()->equal(structOf("Node", {{"v", _tc_short}, {"kids", kids}})));
}

TEST(TypeCode, comparesTypesThatAreUsedTwiceOnEveryLevel) {
    const auto tower = [](CORBA_TypeCode* ground) {
        Type type = structOf("S", {{"g", ground}});
        for (int i = 0; i < 60; ++i)
            type = structOf("S", {{"left", type}, {"right", type}});
        return type;
    };
    EXPECT_TRUE(tower(_tc_long)->equal(tower(_tc_long)));
    EXPECT_FALSE(tower(_tc_long)->equal(tower(_tc_short)));
}

TEST(TypeCode, hashesItsKindAndParameters) {
    // 18, 1 parameter, and the ulong 0 of length 4.
    EXPECT_EQ(_tc_string->hash(), 18u ^ 1u ^ 4u);
    EXPECT_EQ(_tc_string->hash(8), (18u ^ 1u ^ 4u) % 8);
    EXPECT_EQ(_tc_long->hash(0), 3u);
    EXPECT_EQ(CORBA_TypeCode::hash_of(nullptr), 0u);
    // The name "\x80" with its NUL: length 2, and the octet counts as -128.
    EXPECT_EQ(Type(new CORBA_TypeCode("", "\x80", false))->hash(), 14u ^ 1u ^ 2u ^ 0xffffff80u);
}

TEST(TypeCode, dumpsItsParameters) {
    const std::string stringType = "CORBA::TCKind:tk_string\nParameter Number: 0 \nTypeCode: \n"
                                   "CORBA::TCKind:tk_ulong\nValue: \n0 \n";
    const std::string name = "TypeCode: \n" + stringType + "Value: \n";
    EXPECT_EQ(printed(_tc_string), stringType);
    EXPECT_EQ(printed(static_cast<CORBA_TypeCode*>(nullptr)), "(nil)");
    EXPECT_EQ(printed(typeFrom("28000000").in()), "CORBA::TCKind:");
    EXPECT_EQ(printed(aliasOf("L", _tc_long).in()), "Repository id: IDL:L:1.0\nCORBA::TCKind:tk_alias\n"
                                                    "Parameter Number: 0 \n" +
                                                        name +
                                                        "L\n"
                                                        "Parameter Number: 1 \n"
                                                        "TypeCode: \nCORBA::TCKind:tk_TypeCode\nValue: \n"
                                                        "CORBA::TCKind:tk_long\n\n");
}

TEST(TypeCode, dumpOfARecursiveTypeEndsInItsId) {
    const std::string text = printed(nodeType().in());
    const std::string id = "Repository id: IDL:Node:1.0\n";
    EXPECT_EQ(text.substr(0, id.size()), id);
    const size_t again = text.find(id, 1);
    ASSERT_NE(again, std::string::npos);
    EXPECT_EQ(text.find(id, again + 1), std::string::npos);
    // The sequence inside ends with its bound.
    EXPECT_NE(text.find(id + "\nParameter Number: 1 \nTypeCode: \nCORBA::TCKind:tk_ulong\nValue: \n0 \n"),
              std::string::npos);
}

} // namespace
