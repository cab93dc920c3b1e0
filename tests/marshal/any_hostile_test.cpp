#include "typecodes.h"

#include <gtest/gtest.h>

#include <chrono>

// What a peer may send to make a reader work, or wait, or fall.

using namespace harbolance;

namespace {

CORBA_Any readAs(CORBA_TypeCode* type, const std::string& data) {
    CORBA_MarshalInBuffer in(data.data(), static_cast<CORBA_ULong>(data.size()));
    CORBA_Any any;
    any.read_value(in, type);
    return any;
}

std::string count(CORBA_ULong elements) {
    return {reinterpret_cast<const char*>(&elements), sizeof elements};
}

TEST(HostileAny, hasNoElementsThatTakeNoOctets) {
    const Type empty = structOf("Empty", {});
    for (CORBA_TypeCode* nothing : {empty.in(), _tc_void, _tc_null}) {
        EXPECT_THROW(readAs(sequenceOf(nothing), count(1000000000)), CORBA_MARSHAL);
        EXPECT_THROW(readAs(sequenceOf(nothing), count(2) + "behind"), CORBA_MARSHAL);
        EXPECT_THROW(readAs(arrayOf(nothing, 0xffffffff), ""), CORBA_MARSHAL);
        EXPECT_EQ(readAs(sequenceOf(nothing), count(0)).length(), 4);
    }
    EXPECT_THROW(readAs(sequenceOf(_tc_double), count(0x20000001) + "behind"), CORBA_MARSHAL);
    EXPECT_THROW(readAs(arrayOf(_tc_long, 0xffffffff), "behind"), CORBA_MARSHAL);
    EXPECT_THROW(readAs(arrayOf(arrayOf(_tc_string, 0xffffffff), 0xffffffff), ""), CORBA_MARSHAL);
}

TEST(HostileAny, costsNoMoreThanItsOctets) {
    Type tower = structOf("S", {});
    for (int i = 0; i < 200; ++i)
        tower = structOf("S", {{"l", tower}, {"r", tower}});
    EXPECT_THROW(readAs(tower, ""), CORBA_MARSHAL);
    Type full = structOf("S", {{"o", _tc_octet}});
    for (int i = 0; i < 200; ++i)
        full = structOf("S", {{"l", full}, {"r", full}});
    EXPECT_THROW(readAs(full, std::string(100000, 'x')), CORBA_MARSHAL);
}

TEST(HostileAny, ofManyMembersWithoutOctetsIsRefused) {
    // A struct of 20,000 nulls and one octet, 100,000 times.
    std::vector<TRXStructMember> members(20000, {"n", _tc_null});
    members.push_back({"o", _tc_octet});
    const Type wide = structOf("S", members);
    EXPECT_THROW(readAs(sequenceOf(wide), count(100000) + std::string(100000, 'x')), CORBA_MARSHAL);
}

TEST(HostileAny, nestedWithoutEndIsRefused) {
    std::string anys;
    for (int i = 0; i < 100000; ++i)
        anys += count(tk_any);
    CORBA_MarshalInBuffer in(anys.data(), static_cast<CORBA_ULong>(anys.size()));
    CORBA_Any any;
    EXPECT_THROW(in >> any, CORBA_MARSHAL);
    // A value of a recursive type: every node has one child.
    std::string nodes;
    for (int i = 0; i < 100000; ++i)
        nodes += count(7) + count(1);
    EXPECT_THROW(readAs(nodeType(), nodes), CORBA_MARSHAL);
}

TEST(HostileAny, inAnAnyOnEveryLevelTakesOneStepEach) {
    // array<any, 1> that holds an Any of the same type, and so on.
    const Type box = arrayOf(_tc_any, 1);
    CORBA_Any any;
    any <<= CORBA_Long{5};
    for (int i = 0; i < 50; ++i) {
        CORBA_MarshalOutBuffer value(255);
        value << any;
        any.replace(box, value);
    }
    EXPECT_TRUE(anyFrom(written(any)) == any);
}

TEST(HostileAny, aLongEnumAsLabelOfManyMembersIsReadInTime) {
    std::vector<std::string> names;
    std::vector<const char*> enumerators;
    for (int i = 0; i < 20000; ++i)
        names.push_back("e" + std::to_string(i));
    for (const std::string& name : names)
        enumerators.push_back(name.c_str());
    const Type colours = enumOf("E", enumerators);
    std::vector<CORBA_Any> labels;
    for (CORBA_ULong i = 0; i < 20000; ++i)
        labels.emplace_back(colours, new CORBA_ULong(i), CORBA_Boolean{1});
    std::vector<TRXUnionMember> members;
    for (const CORBA_Any& label : labels)
        members.push_back({&label, "m", _tc_octet});
    const Type choice = new CORBA_TypeCode("IDL:U:1.0", "U", colours, members, false);
    const Type many = sequenceOf(choice);
    std::string values = count(20000);
    for (CORBA_ULong i = 0; i < 20000; ++i)
        values += count(19999 - i) + std::string(4, '\1');
    const auto begin = std::chrono::steady_clock::now();
    const CORBA_Any any = readAs(many, values);
    EXPECT_TRUE(anyFrom(written(any)) == any);
    // Twenty thousand times twenty thousand steps would take far longer, on any machine.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

// A struct whose members all point back at the alias of the first, which is written out for each.
TEST(HostileTypeCode, doesNotRepeatLongAliasesForEveryMember) {
    const auto octetsWith = [](size_t length, CORBA_ULong repetitions, int levels = 1) {
        const std::string name(length, 'n');
        CORBA_MarshalOutBuffer alias(255);
        alias << hostByteOrder << "" << name.c_str() << CORBA_ULong{tk_long};
        for (int level = 1; level < levels; ++level) {
            const std::string inner(alias.data(), alias.offset());
            alias.rewind();
            alias << hostByteOrder << "" << name.c_str() << CORBA_ULong{tk_alias}
                  << static_cast<CORBA_ULong>(inner.size());
            alias.write_raw(inner.data(), static_cast<CORBA_ULong>(inner.size()));
        }
        CORBA_MarshalOutBuffer contents(255);
        contents << hostByteOrder << ""
                 << "S" << repetitions + 1 << "a" << CORBA_ULong{tk_alias};
        const CORBA_ULong target = contents.offset() - 4;
        contents << alias.offset();
        contents.write_raw(alias.data(), alias.offset());
        for (CORBA_ULong i = 0; i < repetitions; ++i) {
            contents << "m" << CORBA_ULong{0xffffffff};
            contents << static_cast<CORBA_Long>(target - contents.offset());
        }
        CORBA_MarshalOutBuffer all(255);
        all << CORBA_ULong{tk_struct} << contents.offset();
        all.write_raw(contents.data(), contents.offset());
        return hex(all);
    };
    const Type few = typeFrom(octetsWith(1000, 20));
    EXPECT_EQ(few->member_count(), 21u);
    EXPECT_EQ(TypeCodeAccess::memberType(*few, 0), TypeCodeAccess::memberType(*few, 20));
    EXPECT_THROW(typeFrom(octetsWith(1000, 200)), CORBA_MARSHAL);
    EXPECT_THROW(typeFrom(octetsWith(0, 200, 50)), CORBA_MARSHAL);
    EXPECT_EQ(typeFrom(octetsWith(100, 5000))->member_count(), 5001u);
}

TEST(HostileTypeCode, chainsOfSequencesAreWrittenInTime) {
    // 250 chains of up to 200 sequences, all alike but for their depth.
    std::vector<TRXStructMember> members;
    std::vector<Type> kept;
    for (int i = 0; i < 250; ++i) {
        kept.push_back(sequenceOf(_tc_long, static_cast<CORBA_ULong>(i)));
        for (int depth = 0; depth < 200; ++depth) {
            kept.push_back(sequenceOf(kept.back()));
            members.push_back({"m", kept.back()});
        }
    }
    const Type all = structOf("S", members);
    const auto begin = std::chrono::steady_clock::now();
    const std::string octetsOfIt = written(all);
    EXPECT_TRUE(typeFrom(octetsOfIt)->equal(all));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

} // namespace
