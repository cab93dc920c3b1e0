#include "everything_stub.h"
#include "marshal/typecode/typecode_access.h"

#include "marshal/marshal_settings.h"
#include "marshal/reference/vutil.h"

#include <harbolance/ir_stub.h>
#include <harbolance/obj_location_stub.h>

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

// What a program does with generated types, and what is refused.

using namespace Everything;

namespace {

template <class T>
std::string marshalled(const T& value) {
    CORBA_MarshalOutBuffer out(255);
    out << value;
    return {out.data(), out.offset()};
}

template <class T>
void read(const std::string& octets, T& value) {
    CORBA_MarshalInBuffer in(octets.data(), static_cast<CORBA_ULong>(octets.size()));
    in >> value;
}

// The text that a value prints on a terminal.
template <class T>
std::string printed(const T& value) {
    std::ostringstream text;
    std::streambuf* const console = std::cout.rdbuf(text.rdbuf());
    std::cout << value;
    std::cout.rdbuf(console);
    return text.str();
}

// TypeCodes are used before `main`. Those made later are counted, as after the start of the ORB.
CORBA_TypeCode* const earlyBelow = Tree::_tc_Branch->member_type(1);
const std::string earlyName = _tc_Tree->name();
const bool started = (harbolance::TypeCodeAccess::startUp(), true);

TEST(GeneratedConstants, AreUsableAtCompileTime) {
    static_assert(shortMost == 32767 && least < -9223372036854775807 && most == 18446744073709551615u);
    static_assert(anOctet == 200 && truth == 1 && quote == '\'' && high == '\xe9' && euro == L'\u20ac');
    static_assert(third == 0.3333333f && huge == 1e300 && trump == hearts && Base::limit == 5);
    EXPECT_STREQ(text, "a\"b\\c\n\x01"
                       "2?"
                       "?=");
    EXPECT_STREQ(wideText, L"h\u00e9"
                           L"d");
}

TEST(GeneratedTypeCodes, HaveTheNamesOfTheirDefinition) {
    EXPECT_TRUE(started);
    EXPECT_EQ(earlyName, "Tree");
    EXPECT_STREQ(_tc_Empty->id(), "IDL:other.org/Nothing:2.0");
    EXPECT_STREQ(_tc_class->name(), "class");
    EXPECT_STREQ(_tc_class->member_name(1), "virtual");
    EXPECT_EQ(_tc_Same->kind(), tk_alias);
    EXPECT_STREQ(CORBA_TypeCode_var(_tc_Same->content_type())->name(), "Longs");
    EXPECT_STREQ(CORBA::_tc_StructMember->name(), "CORBA_StructMember");
    EXPECT_STREQ(CORBA::_tc_DefinitionKind->name(), "CORBA::DefinitionKind");
    EXPECT_STREQ(CORBA_Contained::_tc_Description->name(), "Description");
    EXPECT_STREQ(CORBA::_tc_Repository->name(), "CORBA_Repository");
    EXPECT_STREQ(CORBA_Repository::_type.name(), "CORBA::Repository");
}

// Also when an inner type is used first, and before the ORB has started.
TEST(GeneratedTypeCodes, CloseTheirRecursion) {
    EXPECT_EQ(CORBA_TypeCode_var(earlyBelow->content_type()).in(), _tc_Tree.get());
    const CORBA_TypeCode_var pairs = _tc_Tree->member_type(3);
    EXPECT_EQ(CORBA_TypeCode_var(CORBA_TypeCode_var(pairs->content_type())->content_type()).in(),
              _tc_Tree.get());
}

TEST(GeneratedValues, BeyondTheirBoundsAreRefused) {
    Texts texts;
    texts.bounded = "12345";
    texts.boundedBroad = L"12345";
    const std::string whole = marshalled(texts);
    texts.bounded = "123456";
    EXPECT_THROW(marshalled(texts), CORBA_BAD_PARAM);
    texts.bounded = "";
    texts.boundedBroad = L"123456";
    EXPECT_THROW(marshalled(texts), CORBA_BAD_PARAM);

    FourOctets four;
    four.length(4);
    EXPECT_THROW(four.length(5), CORBA_BAD_PARAM);
    EXPECT_EQ(four.maximum(), 4u);
    Longs five;
    five.length(5);
    EXPECT_THROW(read(marshalled(five), four), CORBA_MARSHAL);
    TwoShort strings;
    EXPECT_THROW(read(marshalled(CORBA_ULong{1}) + marshalled("abcd"), strings), CORBA_MARSHAL);
    Suit suit;
    EXPECT_THROW(read(marshalled(CORBA_ULong{4}), suit), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_Any(_tc_Suit, new CORBA_ULong(4), 1) >>= suit, CORBA_BAD_PARAM);
}

// A count that the octets cannot contain costs no memory.
TEST(GeneratedValues, HaveAMinimumSize) {
    static_assert(Numbers::_minimum_octets == 49 && ByShort::_minimum_octets == 2);
    TextsSeq texts;
    EXPECT_THROW(read(marshalled(CORBA_ULong{3}) + std::string(3 * Texts::_minimum_octets - 1, '\0'), texts),
                 CORBA_MARSHAL);
    EXPECT_EQ(texts.maximum(), 0u);
}

TEST(GeneratedValues, NestToTheLimitOfTheStream) {
    Tree outer;
    for (int depth = 0; depth < 300; ++depth) {
        Tree tree;
        tree.children.length(1);
        tree.children[0] = std::move(outer);
        outer = std::move(tree);
    }
    const std::string octets = marshalled(outer);
    Tree again;
    EXPECT_THROW(read(octets, again), CORBA_MARSHAL);
}

TEST(GeneratedUnions, KeepLabelAndBranchTogether) {
    ByLong value;
    EXPECT_EQ(value._d(), 1);
    EXPECT_STREQ(value.text(), "");
    value._d(-7);
    EXPECT_THROW(value._d(2), CORBA_BAD_PARAM);
    const Table table = {{1, 2, 3}, {4, 5, 6}};
    value.table(table);
    EXPECT_EQ(value._d(), 2);
    EXPECT_EQ(value.table()[1][2], 6);
    EXPECT_THROW(value.text(), CORBA_BAD_PARAM);
    value.numbers(Numbers{.d = 2.5});
    EXPECT_EQ(value.numbers().d, 2.5);
    EXPECT_NO_THROW(value._d(99));
    const ByLong copy = value;
    value.text("other");
    EXPECT_EQ(copy.numbers().d, 2.5);
    value.text(value.text());
    EXPECT_STREQ(value.text(), "other");

    ByEnum none;
    none._default();
    EXPECT_EQ(none._d(), diamonds);
    EXPECT_THROW(none.club(), CORBA_BAD_PARAM);
    EXPECT_EQ(marshalled(none), marshalled(CORBA_ULong{diamonds}));
    ByBoolean boolean;
    EXPECT_THROW(read(std::string(64, '\x02'), boolean), CORBA_BAD_PARAM);
}

TEST(GeneratedHolders, OwnWhatTheyHold) {
    Texts_var texts = new Texts;
    texts->plain = "one";
    Texts_var copy = texts;
    copy->plain = "two";
    EXPECT_STREQ(texts->plain, "one");
    const auto give = [](Texts*& result) { result = new Texts; };
    give(texts.out());
    EXPECT_STREQ(texts->plain, "");
    delete texts._retn();
    EXPECT_THROW(texts->plain.in(), CORBA_BAD_PARAM);
    Numbers_var numbers = Numbers{.l = 5};
    EXPECT_EQ(numbers->l, 5);
    numbers.out().l = 6;
    EXPECT_EQ(numbers._retn().l, 6);

    Table_var table = Table_alloc();
    table[1][2] = 7;
    Table_var other = table;
    table[1][2] = 8;
    EXPECT_EQ(other[1][2], 7);
    Table_copy(other, table);
    EXPECT_EQ(other[1][2], 8);
    Names_var names = Names_alloc();
    names[0] = "text";
    Names_free(Names_dup(names));
}

TEST(GeneratedExceptions, AreMadeOfTheirMembers) {
    const Table where = {{1, 2, 3}, {4, 5, 6}};
    Strings names;
    names.length(1);
    names[0] = static_cast<const char*>("b");
    const Full full(spades, "why", where, nullptr, names, CORBA_Any());
    EXPECT_EQ(full.reason, spades);
    EXPECT_STREQ(full.why, "why");
    EXPECT_EQ(full.where_[1][2], 6);
    EXPECT_STREQ(full.names[0], "b");
    EXPECT_EQ(printed(ObjLocation::Fail(ObjLocation::no_such_trigger)),
              "EXCEPTION ObjLocation::Fail {\n\treason:\n3 \n}\n");
    EXPECT_STREQ(_cxx_catch::_scoped_name, "Everything::catch");
    Empty other;
    EXPECT_THROW(read(marshalled(full), other), CORBA_MARSHAL);
}

TEST(GeneratedPrinting, IsReadableOnATerminal) {
    Mixed mixed;
    mixed.first.temper = Mixed::Inner::cross;
    mixed.longs.length(2);
    mixed.longs[1] = -3;
    mixed.names[0] = "a \"name\"\n";
    mixed.letters[1] = 'x';
    mixed.value <<= Suit{hearts};
    mixed.type = _tc_Numbers;
    mixed.texts.length(1);
    EXPECT_EQ(printed(mixed.first), "Inner {\n\tdepth: 0\n\ttemper: cross\n}\n");
    const std::string text = printed(mixed);
    for (const char* part :
         {"\n\tlongs: [0 -3]\n", "\n\tnames: [\n\t\t\"a \\\"name\\\"\\x0a\"\n\t\t\"\"\n\t]\n",
          "\n\tletters: ['\\x00' 'x' '\\x00' '\\x00']\n", "\n\tvalue: (tk_enum Suit) hearts\n",
          "\n\ttype: (tk_struct Numbers)\n", "\n\ttexts: [\n\t\tTexts {\n\t\t\tplain: \"\"\n",
          "\n\tthing: nil\n", "\n\tlaters: []\n"})
        EXPECT_NE(text.find(part), text.npos) << part << "in\n" << text;
    harbolance::marshalSettings.nullString = true; // so that a name may be missing
    mixed.type = new CORBA_TypeCode("IDL:nameless:1.0", nullptr, _tc_long, false);
    EXPECT_NE(printed(mixed).find("\n\ttype: (tk_alias )\n\tthing: nil\n"), text.npos);
    harbolance::marshalSettings.nullString = false;
    ByEnum club;
    club.club(5);
    EXPECT_EQ(printed(club), "ByEnum {\n\t_d: clubs\n\tclub: 5\n}\n");
    EXPECT_EQ(printed(hearts), "hearts");
}

struct LaterServant : virtual Later {};
struct PlainServant : CORBA_Object {};

TEST(GeneratedInterfaces, AreNarrowedByTheirTypes) {
    const CORBA_Object_var object = new LaterServant;
    const Base_var base = Base::_narrow(object);
    const Right_var right = Right::_narrow(base);
    const Alias_var later = Later::_narrow(right);
    ASSERT_TRUE(later.in());
    EXPECT_EQ(object->_ref_count(), 4u);
    EXPECT_EQ(later->_type_info(), &Later::_type);
    EXPECT_TRUE(Later::_type.is_a(&Base::_type, false));
    EXPECT_EQ(_cxx_register::_narrow(object), nullptr);
    EXPECT_EQ(Base::_narrow(nullptr), nullptr);
}

TEST(GeneratedInterfaces, TravelAsReferences) {
    char name[] = "test";
    char* argv[] = {name, nullptr};
    int argc = 1;
    CORBA::ORB_init(argc, argv);
    IOP::IOR reference;
    reference.type_id = Later::_type.id();
    reference.profiles.length(1);
    const CORBA_Object_var object = TRXUtil::convert(reference, nullptr, 0, 0, 1);
    Base::Held held;
    held.owner = Base::_narrow(object);
    ASSERT_TRUE(held.owner.in());
    Base::Held again;
    read(marshalled(held), again);
    EXPECT_TRUE(again.owner->_is_equivalent(object));
    EXPECT_EQ(again.owner->_type_info(), &Later::_type);

    CORBA_Any any;
    any <<= held.owner.in();
    Later_var taken;
    EXPECT_TRUE(any >>= taken.inout());
    EXPECT_EQ(static_cast<Base*>(taken.in()), held.owner.in());
    any <<= CORBA_Object_var(new PlainServant).in();
    Base_ptr untouched = held.owner;
    EXPECT_FALSE(any >>= untouched);
}

// The version of a profile's body determines which members are marshalled.
TEST(OwnInterfaces, DescIsWrittenByTheVersionInIt) {
    ObjLocation::Desc desc;
    desc.profile.components.length(1);
    desc.agent_hostname = "host";
    const size_t without = marshalled(desc).size();
    desc.profile.iiop_version.minor = 1;
    const std::string octets = marshalled(desc);
    EXPECT_EQ(octets.size(), without + 12);
    ObjLocation::Desc again;
    read(octets, again);
    EXPECT_EQ(again.profile.components.length(), 1u);
    EXPECT_STREQ(again.agent_hostname, "host");
    EXPECT_EQ(marshalled(ObjLocation::DescSeq()), std::string(4, '\0'));
    ObjLocation::Fail fail;
    EXPECT_THROW(
        read(marshalled("IDL:tarnwicknet/ObjLocation/Fail:1.0") + std::string("\0\0\0\5\0\0\0", 7), fail),
        CORBA_BAD_PARAM);
}

} // namespace
