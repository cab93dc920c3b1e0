#include "marshal/marshal_settings.h"
#include "marshal/support.h"

#include <chrono>

using namespace harbolance;
using Access = TypeCodeAccess;

namespace {

// Made before the ORB starts, as generated code makes its types.
CORBA_TypeCode constantKids(TRXRecursion{0, 1}, true);
const TRXStructMember constantMembers[] = {{"v", _tc_long}, {"kids", &constantKids}};
CORBA_TypeCode constantNode(tk_struct, "IDL:Node:1.0", "Node", constantMembers, true);
const bool wasResolvedEarly = Access::content(constantKids) != nullptr;
CORBA_TypeCode* const early = new CORBA_TypeCode("IDL:Early:1.0", "Early", false);
const bool started = (CORBA_TypeCode::_duplicate(early), Access::startUp(), true);

Type typeFrom(std::string_view listing, CORBA_Octet order = 1) { return readFrom<Type>(listing, order); }

Type twice(CORBA_TypeCode* a, CORBA_TypeCode* b) { return structOf("S", {{"a", a}, {"b", b}}); }

// struct S { E a; E b; } with enum E { red, green }. The enum's kind stands at 48, behind two octets of
// padding that the writer counts with it. The second offset stands at 112 of the contents, which begin at 8:
// 46 - 112 - 8 = -74.
const std::string sharedEnum = "0f000000 74000000" + head("S") + "2020 02000000 02000000 'a' 00 2020 " +
                               redGreenOctets + "02000000 'b' 00 2020 ffffffff b6ffffff";

// struct O { N n; sequence<N> l; } with struct N { sequence<N> k; }: the sequence outside of N equals the one
// inside.
Type outerType() {
    const Type node = structOf("N", {{"k", recursiveSequence(1)}});
    return structOf("O", {{"n", node}, {"l", sequenceOf(node)}});
}

// A type with its octets, encapsulated and flat.
void expectForms(const Type& type, const std::string& octets, const std::string& flat) {
    SCOPED_TRACE(octets);
    for (const bool isFlat : {false, true}) {
        const Setting mode(marshalSettings.backDII, isFlat);
        const std::string octetsOfIt = written(type);
        if (const std::string& expected = isFlat ? flat : octets; !expected.empty()) {
            EXPECT_EQ(octetsOfIt, digits(expected));
            EXPECT_EQ(written(typeFrom(expected, 0)), octetsOfIt);
        }
        const Type again = typeFrom(octetsOfIt);
        EXPECT_EQ(again->kind(), type->kind());
        EXPECT_TRUE(again->equal(type));
        EXPECT_EQ(written(again), octetsOfIt);
        std::stringstream text;
        text << type.in();
        Type read;
        fromText(text, read);
        EXPECT_TRUE(read->equal(type)) << text.str();
        // Positions count from the beginning of the buffer, and the second knows nothing of the first.
        CORBA_MarshalOutBuffer out(16);
        out << CORBA_Long{7} << type << type;
        CORBA_MarshalInBuffer in(out.data(), out.offset());
        in.seek(4);
        in >> read >> read;
        EXPECT_TRUE(read->equal(type));
    }
}

TEST(TypeCodeWire, carriesEachTypeInEveryForm) {
    // A type whose contents are `length` octets and begin with `fields`.
    const auto named = [](const Type& type, const std::string& kind, const std::string& length,
                          const std::string& fields) {
        const size_t order = fields.starts_with(" @") ? 9 : 0;
        expectForms(type, kind + length + (order ? fields : "@ 202020 " + fields),
                    kind + fields.substr(order));
    };
    const auto unionFields = [&](const std::string& defaultIndex, const std::string& secondLabel) {
        return head("U") + "2020 03000000 " + defaultIndex +
               "02000000 01000000 02000000 'a' 00 2020 02000000 " + secondLabel +
               "02000000 'b' 00 2020 12000000 00000000";
    };
    const std::string node = "0d000000 'IDL:Node:1.0' 00 202020 05000000 'Node' 00 202020 "
                             "02000000 02000000 'v' 00 2020 03000000 05000000 'kids' 00 202020 13000000 ";
    const std::string two = head("S") + "2020 02000000 02000000 'a' 00 2020 ";
    expectForms(_tc_long, "03000000", "03000000");
    expectForms(_tc_wchar, "1a000000", "1a000000");
    expectForms(new CORBA_TypeCode(10, TRXStringWidth::narrow, false), "12000000 0a000000",
                "12000000 0a000000");
    expectForms(new CORBA_TypeCode(0, TRXStringWidth::wide, false), "1b000000 00000000", "1b000000 00000000");
    named(sequenceOf(_tc_string), "13000000 ", "10000000 ", "12000000 00000000 00000000");
    named(arrayOf(_tc_double, 3), "14000000 ", "0c000000 ", "07000000 03000000");
    named(objectOf("A"), "0e000000 ", "1a000000 ", head("A"));
    named(redGreen(), "11000000 ", "32000000 ",
          head("E") + "2020 02000000 04000000 'red' 00 06000000 'green' 00");
    named(aliasOf("L", _tc_long), "15000000 ", "20000000 ", head("L") + "2020 03000000");
    named(structOf("X", {{"why", _tc_long}}, tk_except), "16000000 ", "2c000000 ",
          head("X") + "2020 01000000 04000000 'why' 00 03000000");
    named(unionType(true), "10000000 ", "4c000000 ", unionFields("01000000 ", "00 202020 "));
    named(unionType(false), "10000000 ", "4c000000 ", unionFields("ffffffff ", "02000000 "));
    // An equal type is the distance to the first, as is an alias of it; a long is written again. Flat,
    // the second long is the one at 34: 34 - 52 - 4 = -22.
    expectForms(twice(redGreen(), redGreen()), sharedEnum, "");
    expectForms(twice(redGreen(), aliasOf("F", redGreen())), sharedEnum, "");
    expectForms(twice(_tc_long, _tc_long),
                "0f000000 38000000" + two + "03000000 02000000 'b' 00 2020 03000000",
                "0f000000 " + two.substr(9) + "03000000 02000000 'b' 00 2020 ffffffff eaffffff");
    // The first any is at 46 with its padding, the offset word at 56 of the contents: 46 - 56 - 8 = -18.
    expectForms(twice(_tc_any, _tc_any),
                "0f000000 3c000000" + two + "0b000000 02000000 'b' 00 2020 ffffffff eeffffff", "");
    // The offset stands at 8 of contents that begin at 80: 0 - 8 - 80 = -88. Flat it stands at 72.
    expectForms(nodeType(),
                "0f000000 58000000 @ 202020 " + node + "10000000 @ 202020 ffffffff a8ffffff 00000000",
                "0f000000 " + node + "ffffffff b4ffffff 00000000");
    // N stands at 46 and its sequence at 94, both with padding. The offset words are at 8 of contents
    // that begin at 104 and at 124 of contents that begin at 8: 46 - 112 = -66, 94 - 132 = -38.
    expectForms(
        outerType(),
        "0f000000 80000000" + head("O") + "2020 02000000 02000000 'n' 00 2020 0f000000 40000000" + head("N") +
            "2020 01000000 02000000 'k' 00 2020 13000000 10000000 @ 202020 ffffffff beffffff 00000000 "
            "02000000 'l' 00 2020 ffffffff daffffff",
        "");
}

TEST(TypeCodeWire, readsWhatOthersWrite) {
    EXPECT_EQ(written(static_cast<CORBA_TypeCode*>(nullptr)), "00000000");
    Source unknown("28000000 03000000"); // what follows is not consumed
    Type type;
    unknown.in() >> type;
    EXPECT_EQ(type->kind(), 40u);
    EXPECT_EQ(unknown.in().offset(), 4u);
    const Type fixed = new CORBA_TypeCode(TRXFixed{9, 2}, false);
    EXPECT_EQ(written(fixed), "1c000000");
    EXPECT_FALSE(typeFrom("1c000000")->equal(fixed));
    // A big-endian stream with a little-endian encapsulation, of which any flag other than 0 tells.
    EXPECT_STREQ(
        typeFrom("0e000000 1a000000 02 202020 0000000a 'IDL:A:1.0' 00 2020 00000002 'A' 00", 0)->name(), "A");
    // A writer that counts from the kind itself and not from the padding in front of it.
    std::string exact = sharedEnum;
    EXPECT_TRUE(typeFrom(exact.replace(exact.size() - 8, 2, "b8"))->equal(typeFrom(sharedEnum)));
}

TEST(TypeCodeWire, givesOneObjectForWhatIsPointedAt) {
    const auto member = [](const Type& type, CORBA_ULong i) { return Access::memberType(*type, i); };
    const Type shared = typeFrom(sharedEnum);
    EXPECT_EQ(member(shared, 0), member(shared, 1));
    // An alias is no target, and the enum inside it is.
    const Type reversed = typeFrom(written(twice(aliasOf("F", redGreen()), redGreen())));
    EXPECT_EQ(member(reversed, 1), Access::content(*member(reversed, 0)));
    // A part alone: its member's type is the part itself.
    const Type kids = typeFrom(written(nodeType()))->member_type(1);
    const Type alone = typeFrom(written(kids));
    EXPECT_EQ(Access::memberType(*Access::content(*alone), 1), alone.in());
    EXPECT_EQ(written(alone), written(kids));
    // Equal types that are not the same object, in a ring and behind an alias outside of it.
    const Type rows = sequenceOf(recursiveSequence(1));
    const Type deep = structOf("N", {{"k", rows}});
    const Type apart = aliasOf("A", sequenceOf(sequenceOf(deep)));
    EXPECT_EQ(written(twice(deep, apart)), written(twice(deep, rows)));
    // All object references are equal, and are written apart all the same.
    EXPECT_STREQ(Access::name(*member(typeFrom(written(twice(objectOf("A"), objectOf("B")))), 1)), "B");
}

TEST(TypeCodeWire, withoutIndirectionsWritesEverythingAndRefusesRings) {
    const Setting off(marshalSettings.tcIndirection, false);
    Type tower = redGreen();
    for (int i = 0; i < 40; ++i) {
        tower = twice(tower, tower);
        if (i == 0) {
            EXPECT_EQ(written(tower).find("ffffffff"), std::string::npos);
            EXPECT_TRUE(typeFrom(written(tower))->equal(tower));
        }
    }
    EXPECT_THROW(written(tower), CORBA_MARSHAL);
    EXPECT_THROW(written(nodeType()), CORBA_MARSHAL);
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
    const Type one = redGreen(), type = twice(one, one);
    CORBA_MarshalOutBuffer out(255);
    out.cleanup(giveBack);
    out << type;
    EXPECT_EQ(given, 2);
    EXPECT_EQ(type->_refcount(), 1);
    CORBA_MarshalInBuffer in(out.data(), out.offset() - 1);
    in.cleanup(giveBack);
    Type read;
    EXPECT_THROW(in >> read, CORBA_MARSHAL);
    EXPECT_EQ(given, 4);
}

TEST(TypeCode, refusesWhatAConstructorDoesNotMake) {
    EXPECT_THROW(CORBA_TypeCode(tk_longdouble, false), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_TypeCode(tk_objref, false), CORBA_BAD_PARAM);
    EXPECT_THROW(structOf("S", {}, tk_union), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_TypeCode(tk_alias, 0, _tc_long, false), CORBA_BAD_PARAM);
    EXPECT_THROW(sequenceOf(nullptr), CORBA_BAD_PARAM);
    const CORBA_Any label = anyOf("text");
    const TRXUnionMember members[] = {{&label, "a", _tc_short}};
    EXPECT_THROW(CORBA_TypeCode("IDL:U:1.0", "U", _tc_long, members, false), CORBA_BAD_PARAM);
}

TEST(TypeCode, tellsWhatItIsMadeOf) {
    using Bounds = CORBA_TypeCode::Bounds;
    using BadKind = CORBA_TypeCode::BadKind;
    const Type type = structOf("S", {{"a", _tc_short}, {"b", _tc_string}});
    EXPECT_STREQ(_tc_Object->id(), "IDL:omg.org/CORBA/Object:1.0");
    EXPECT_STREQ(_tc_NamedValue->name(), "NamedValue");
    CORBA_release(CORBA_TypeCode::_duplicate(_tc_Object)); // a constant is not counted
    EXPECT_EQ(_tc_Object->_refcount(), 1);
    EXPECT_EQ(type->member_count(), 2u);
    EXPECT_STREQ(type->member_name(1), "b");
    EXPECT_EQ(Type(type->member_type(1)).in(), _tc_string);
    EXPECT_THROW(type->member_name(2), Bounds);
    EXPECT_THROW(type->member_type(0x80000000), Bounds);
    EXPECT_THROW(type->parameter(5), Bounds);
    EXPECT_THROW(type->length(), BadKind);
    EXPECT_THROW(type->content_type(), BadKind);
    EXPECT_THROW(type->default_index(), BadKind);
    EXPECT_THROW(_tc_long->id(), BadKind);
    EXPECT_THROW(_tc_string->member_count(), BadKind);
    EXPECT_THROW(enumOf("E", {"red"})->member_type(0), BadKind);
    const Type fixed = new CORBA_TypeCode(TRXFixed{9, -2}, false);
    EXPECT_EQ(fixed->fixed_scale(), -2);
    EXPECT_THROW(typeFrom("1c000000")->fixed_digits(), Bounds);
    const Type choice = unionType(false);
    EXPECT_EQ(choice->default_index(), -1);
    EXPECT_EQ(unionType(true)->default_index(), 1);
    EXPECT_EQ(Type(choice->discriminator_type()).in(), _tc_long);
    EXPECT_TRUE(*CORBA_Any_var(choice->member_label(1)) == anyOf(CORBA_Long{2}));
    EXPECT_THROW(choice->member_label(2), Bounds);
    for (const char* id : {"IDL:omg.org/CORBA/TypeCode/Bounds:1.0", "IDL:omg.org/CORBA/TypeCode/BadKind:1.0"})
        EXPECT_NE(CORBA_ExceptionDesc::lookup(id), nullptr);
}

// The parameters of each kind in order, as the hash of the type puts them together.
TEST(TypeCode, hashesItsKindAndParameters) {
    const std::pair<Type, const char*> rows[] = {
        {structOf("S", {{"a", _tc_short}, {"b", _tc_long}}),
         "S|a|CORBA::TCKind:tk_short\n|b|CORBA::TCKind:tk_long\n|"},
        {unionType(false), "U|CORBA::TCKind:tk_long\n|1 |a|CORBA::TCKind:tk_short\n|2 |b|0 \n|"},
        {redGreen(), "E|red|green|"},
        {sequenceOf(_tc_long, 7), "CORBA::TCKind:tk_long\n|7 |"},
        {aliasOf("L", _tc_long), "L|CORBA::TCKind:tk_long\n|"},
        {recursiveSequence(3), "3 |0 |"},
        {new CORBA_TypeCode(TRXFixed{9, -2}, false), "9 |-2 |"},
    };
    for (const auto& [type, expected] : rows) {
        std::string text;
        for (CORBA_ULong i = 0; i < type->param_count(); ++i) {
            const std::string shown = printed(*CORBA_Any_var(type->parameter(i)));
            text += shown.substr(shown.rfind("Value: ") + 8) + "|";
        }
        EXPECT_EQ(text, expected);
    }
    // 18, 1 parameter, and the ulong 0 of length 4.
    EXPECT_EQ(_tc_string->hash(), 18u ^ 1u ^ 4u);
    EXPECT_EQ(_tc_string->hash(8), (18u ^ 1u ^ 4u) % 8);
    EXPECT_EQ(_tc_long->hash(0), 3u);
    EXPECT_EQ(CORBA_TypeCode::hash_of(nullptr), 0u);
    // The name "\x80" with its NUL: length 2, and the octet counts as -128.
    EXPECT_EQ(Type(new CORBA_TypeCode("", "\x80", false))->hash(), 14u ^ 1u ^ 2u ^ 0xffffff80u);
}

TEST(TypeCode, findsTheFirstMemberOfAnEqualLabel) {
    std::vector<CORBA_Any> labels(40);
    std::vector<TRXUnionMember> members;
    for (CORBA_Short i = 0; CORBA_Any & label : labels) {
        label <<= static_cast<CORBA_Short>(i == 30 ? -5 : 20 - i);
        members.push_back({&label, "m", i++ == 25 ? _tc_double : _tc_octet});
    }
    labels[39] <<= CORBA_Long{100}; // of another type than the discriminator
    const Type type = new CORBA_TypeCode("IDL:U:1.0", "U", _tc_short, members, false);
    EXPECT_EQ(Access::memberFor(*type, Access::labelOf(CORBA_Short{-5})), _tc_double);
    EXPECT_THROW(Access::memberFor(*type, Access::labelOf(CORBA_Short{100})), CORBA_BAD_PARAM);
}

TEST(TypeCode, isResolvedAgainstTheTypeThatEnclosesIt) {
    EXPECT_FALSE(wasResolvedEarly);
    EXPECT_EQ(Access::content(constantKids), &constantNode);
    EXPECT_TRUE(constantNode.equal(nodeType()));
    static CORBA_TypeCode late(TRXRecursion{0, 1}, true);
    const TRXStructMember members[] = {{"kids", &late}};
    static CORBA_TypeCode lateNode(tk_struct, "IDL:Late:1.0", "Late", members, true);
    EXPECT_EQ(Access::content(late), &lateNode);
    // Two levels below Outer, and inside a sequence of its own.
    const Type inner = recursiveSequence(2);
    const Type middle = structOf("Middle", {{"rows", sequenceOf(inner)}});
    EXPECT_EQ(inner->content_type(), nullptr);
    const Type outer = structOf("Outer", {{"middle", middle}});
    EXPECT_EQ(Type(inner->content_type()).in(), outer.in());
    // None is looked for behind an array or an alias.
    const Type behind = recursiveSequence(1);
    twice(arrayOf(behind, 2), aliasOf("A", behind));
    EXPECT_EQ(behind->content_type(), nullptr);
}

// The address sanitizer sees what is not freed, and what is freed too soon.
TEST(TypeCode, ofAFamilyLivesAsLongAsAnyOfItIsHeld) {
    for (int i = 0; i < 4; ++i)
        CORBA_release(early); // made before the start, and never freed
    EXPECT_EQ(early->_refcount(), 1);
    Type node = nodeType();
    Type kids = node->member_type(1);
    node = Type();
    EXPECT_EQ(kids->_refcount(), 1);
    EXPECT_STREQ(Type(kids->content_type())->name(), "Node");
    const CORBA_Any_var held = kids->parameter(0);
    kids = Type();
    EXPECT_STREQ(AnyAccess::heldType(*held)->name(), "Node");
    // Cycles through types that refer to the sequence before it is closed, whatever the order of the members,
    // and through a level that is resolved by another path only.
    const Type open = recursiveSequence(1);
    structOf("N", {{"a", aliasOf("A", open)}, {"k", open}, {"r", arrayOf(open, 2)}});
    const Type lower = structOf("X", {{"up", recursiveSequence(2)}});
    structOf("T", {{"deep", structOf("P", {{"x", lower}})}, {"x", lower}});
    // Types that were read together.
    Type part = typeFrom(sharedEnum)->member_type(1);
    EXPECT_STREQ(part->member_name(1), "green");
    // Many references to one large family, and a chain that is longer than the stack is deep.
    const Type large = structOf("Node", std::vector<TRXStructMember>(20000, {"k", recursiveSequence(1)}));
    const auto begin = std::chrono::steady_clock::now();
    structOf("Outer", std::vector<TRXStructMember>(60000, {"n", large}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    Type chain = CORBA_TypeCode::_duplicate(_tc_long);
    for (int i = 0; i < 200000; ++i)
        chain = sequenceOf(chain);
    EXPECT_THROW(written(chain), CORBA_MARSHAL);
    EXPECT_THROW(CORBA_TypeCode::compare(chain, sequenceOf(chain)), CORBA_MARSHAL);
}

TEST(TypeCode, nestsDeeperThanWhatAPeerSends) {
    Type own = CORBA_TypeCode::_duplicate(_tc_long), equal = own;
    for (int levels = 1; levels <= 998; ++levels) {
        own = structOf("S", {{"s", own}});
        equal = structOf("S", {{"s", equal}});
        if (levels == 255) {
            EXPECT_TRUE(typeFrom(written(own))->equal(equal));
        }
        if (levels == 256) {
            EXPECT_THROW(typeFrom(written(own)), CORBA_MARSHAL);
        }
    }
    EXPECT_TRUE(own->equal(equal));
    EXPECT_NO_THROW(written(own));
}

TEST(TypeCode, comparesByStructureAndSeesThroughAliases) {
    const Type a = structOf("S", {{"a", _tc_short}});
    const Type otherId = new CORBA_TypeCode(tk_struct, "IDL:Other:1.0", "S",
                                            std::vector<TRXStructMember>{{"a", _tc_short}}, false);
    for (const Type& equal :
         {otherId, aliasOf("B", aliasOf("A", a)), structOf("S", {{"a", aliasOf("Small", _tc_short)}})})
        EXPECT_EQ(CORBA_TypeCode::compare(a, equal), 0);
    const std::pair<Type, Type> different[] = {
        {a, structOf("T", {{"a", _tc_short}})},
        {a, structOf("S", {{"b", _tc_short}})},
        {a, structOf("S", {{"a", _tc_long}})},
        {sequenceOf(_tc_long), sequenceOf(_tc_long, 4)},
        {unionType(true), unionType(false)},
        {recursiveSequence(1), recursiveSequence(2)},
        {nodeType(), structOf("Node", {{"v", _tc_short}, {"kids", recursiveSequence(1)}})},
    };
    for (const auto& [left, right] : different)
        EXPECT_FALSE(left->equal(right));
    const std::tuple<Type, Type, int> orders[] = {
        {Type(), Type(), 0},
        {Type(), a, -1},
        {a, Type(), 1},
        {CORBA_TypeCode::_duplicate(_tc_long), CORBA_TypeCode::_duplicate(_tc_short), 1},
        {a, structOf("S", {}), 2},
        {objectOf("A"), objectOf("B"), 0},
        {structOf("X", {{"a", _tc_long}}, tk_except), structOf("Y", {{"b", _tc_any}}, tk_except), 0},
        {nodeType(), nodeType(), 0},
    };
    for (const auto& [left, right, order] : orders)
        EXPECT_EQ(CORBA_TypeCode::compare(left, right), order);
    // Recursion that passes through an alias: struct R { sequence<A> }, with an alias A of R.
    const std::string throughAlias = "0f000000 64000000" + head("R") +
                                     "2020 01000000 02000000 'k' 00 2020 13000000 34000000 @ 202020 "
                                     "15000000 24000000" +
                                     head("A") + "2020 ffffffff 9cffffff 00000000";
    EXPECT_TRUE(typeFrom(throughAlias)->equal(typeFrom(throughAlias)));
    // Types that are used twice on every level, 2^60 times in all.
    const auto tower = [](CORBA_TypeCode* ground) {
        Type type = structOf("S", {{"g", ground}});
        for (int i = 0; i < 60; ++i)
            type = twice(type, type);
        return type;
    };
    EXPECT_TRUE(tower(_tc_long)->equal(tower(_tc_long)));
    EXPECT_FALSE(tower(_tc_long)->equal(tower(_tc_short)));
}

TEST(TypeCode, dumpsItsParametersAndEndsARecursiveTypeInItsId) {
    const auto parameter = [](int i, const std::string& type, const std::string& value) {
        return "Parameter Number: " + std::to_string(i) + " \nTypeCode: \n" + type + "Value: \n" + value +
               "\n";
    };
    const std::string number = "CORBA::TCKind:tk_ulong\n", type = "CORBA::TCKind:tk_TypeCode\n";
    const std::string string = "CORBA::TCKind:tk_string\n" + parameter(0, number, "0 ");
    EXPECT_EQ(printed(static_cast<CORBA_TypeCode*>(nullptr)), "(nil)");
    EXPECT_EQ(printed(typeFrom("28000000").in()), "CORBA::TCKind:");
    const std::string id = "Repository id: IDL:Node:1.0\n";
    EXPECT_EQ(
        printed(nodeType().in()),
        id + "CORBA::TCKind:tk_struct\n" + parameter(0, string, "Node") + parameter(1, string, "v") +
            parameter(2, type, "CORBA::TCKind:tk_long\n") + parameter(3, string, "kids") +
            parameter(4, type,
                      "CORBA::TCKind:tk_sequence\n" + parameter(0, type, id) + parameter(1, number, "0 ")));
    // An exception that comes again is dumped again, and a tower of them is not dumped for ever.
    const Type why = structOf("X", {}, tk_except);
    const std::string exception = "CORBA::TCKind:tk_except\n" + parameter(0, string, "X");
    const std::string both = printed(twice(why, why).in());
    EXPECT_NE(both.find(exception, both.find(exception) + 1), std::string::npos);
    Type tower = why;
    for (int i = 0; i < 60; ++i)
        tower = structOf("X", {{"a", tower}, {"b", tower}}, tk_except);
    std::ostringstream nowhere;
    TRXostream text(nowhere);
    EXPECT_THROW(CORBA_TypeCode::dump(text, tower), CORBA_MARSHAL);
}

} // namespace
