#include "object/vtypeinf.h"

#include <gtest/gtest.h>

namespace {

// Skeletons that are told apart by their address only.
template <int>
void skeleton(void*, CORBA_MarshalInBuffer&, CORBA_OctetSequence*, const char*, void*) {}

CORBA_Object* noStub() { return nullptr; }

// What `findMethod` says, with the name of the owner in front: "A:" and the number of the skeleton.
std::string found(const CORBA_TypeInfo& type, const char* operation) {
    const CORBA_TypeInfo* owner = nullptr;
    const TRXSkeleton method = type.impl()->findMethod(operation, owner);
    if (!method)
        return owner ? "null with an owner" : "null";
    constexpr TRXSkeleton all[] = {skeleton<0>, skeleton<1>, skeleton<2>, skeleton<3>, skeleton<4>};
    for (size_t i = 0; i < std::size(all); ++i) {
        if (all[i] == method)
            return std::string(owner ? owner->name() : "-") + ":" + std::to_string(i);
    }
    return "a stranger";
}

// Top: own, shared. Left: shared, both. Right: both, right. Bottom derives from Left and Right, which derive
// from Top, and has own.
class Diamond : public testing::Test {
protected:
    const TRXMethod topTable[2] = {{"own", skeleton<0>}, {"shared", skeleton<0>}};
    const TRXMethod leftTable[2] = {{"shared", skeleton<1>}, {"both", skeleton<1>}};
    const TRXMethod rightTable[2] = {{"both", skeleton<2>}, {"right", skeleton<2>}};
    const TRXMethod bottomTable[1] = {{"own", skeleton<3>}};
    CORBA_TypeInfo topSkeleton{"Top", 2, topTable};
    CORBA_TypeInfo top{"Top", "IDL:Top:1.0", noStub, nullptr};
    CORBA_TypeInfo left{"Left", "IDL:Left:1.0", noStub, &top, nullptr};
    CORBA_TypeInfo leftSkeleton{"Left", 2, leftTable};
    CORBA_TypeInfo right{"Right", "IDL:Right:1.0", noStub, &top, nullptr};
    CORBA_TypeInfo rightSkeleton{"Right", 2, rightTable};
    CORBA_TypeInfo bottom{"Bottom", "IDL:Bottom:1.0", noStub, &left, &right, nullptr};
    CORBA_TypeInfo bottomSkeleton{"Bottom", 1, bottomTable};
};

TEST_F(Diamond, nearestDefinitionWinsAndTheFirstBaseBeforeTheSecond) {
    EXPECT_EQ(found(bottom, "own"), "Bottom:3");
    EXPECT_EQ(found(bottom, "both"), "Left:1");
    EXPECT_EQ(found(bottom, "right"), "Right:2");
    EXPECT_EQ(found(bottom, "shared"), "Left:1");
    EXPECT_EQ(found(right, "shared"), "Top:0");
    EXPECT_EQ(found(top, "own"), "Top:0");
    EXPECT_EQ(found(top, "right"), "null");
    EXPECT_EQ(found(bottom, "absent"), "null");
}

// Left's base Top is merged before Right is looked at: depth first.
TEST_F(Diamond, walksBasesDepthFirst) {
    const TRXMethod late[] = {{"own", skeleton<4>}};
    const CORBA_TypeInfo side("Side", "IDL:Side:1.0", noStub, nullptr);
    const CORBA_TypeInfo sideSkeleton("Side", 1, late);
    const CORBA_TypeInfo type("Deep", "IDL:Deep:1.0", noStub, &left, &side, nullptr);
    EXPECT_EQ(found(type, "own"), "Top:0");
}

TEST_F(Diamond, tableIsBuiltByTheFirstLookUpForGood) {
    EXPECT_EQ(found(bottom, "late"), "null");
    const TRXMethod more[] = {{"late", skeleton<4>}};
    bottom.impl()->setMethods(1, more);
    EXPECT_EQ(found(bottom, "late"), "null");
    EXPECT_EQ(found(bottom, "own"), "Bottom:3");
}

TEST(MethodTable, ofATypeWithoutStubHalfNamesNoOwner) {
    const TRXMethod table[] = {{"op", skeleton<1>}, {"op", skeleton<2>}};
    const CORBA_TypeInfo type("Alone", 2, table);
    EXPECT_EQ(found(type, "op"), "-:1");
}

TEST(MethodTable, dynamicEntryTakesEveryOperationOfItsOwnTypeOnly) {
    const TRXMethod dynamic[] = {{"__dynamic", skeleton<0>}, {"known", skeleton<1>}};
    const TRXMethod notFirst[] = {{"known", skeleton<2>}, {"__dynamic", skeleton<3>}};
    const TRXMethod longer[] = {{"__dynamics", skeleton<4>}};
    const CORBA_TypeInfo base("Dynamic", "IDL:Dynamic:1.0", noStub, nullptr);
    const CORBA_TypeInfo baseSkeleton("Dynamic", 2, dynamic);
    const CORBA_TypeInfo derived("Derived", "IDL:Derived:1.0", noStub, &base, nullptr);
    const CORBA_TypeInfo second("Second", 2, notFirst);
    const CORBA_TypeInfo third("Third", 1, longer);
    EXPECT_EQ(found(base, "anything"), "Dynamic:0");
    EXPECT_EQ(found(base, "known"), "Dynamic:1");
    EXPECT_EQ(found(derived, "known"), "Dynamic:1");
    EXPECT_EQ(found(derived, "anything"), "null");
    EXPECT_EQ(found(second, "anything"), "null");
    EXPECT_EQ(found(third, "anything"), "null");
}

TEST(MethodTable, growsWithItsOperations) {
    std::vector<std::string> names;
    std::vector<TRXMethod> table;
    for (int i = 0; i < 200; ++i)
        names.push_back("operation" + std::to_string(i));
    for (const std::string& name : names)
        table.push_back({name.c_str(), skeleton<1>});
    const CORBA_TypeInfo type("Large", static_cast<CORBA_ULong>(table.size()), table.data());
    for (const std::string& name : names)
        EXPECT_EQ(found(type, name.c_str()), "-:1") << name;
}

} // namespace
