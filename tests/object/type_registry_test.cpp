#include "object/objects.h"
#include "object/root_types.h"
#include "object/vtypeinf.h"

#include <gtest/gtest.h>

#include <deque>

namespace {

void skeleton(void*, CORBA_MarshalInBuffer&, CORBA_OctetSequence*, const char*, void*) {}
const TRXMethod table[] = {{"op", skeleton}};

CORBA_Object* makeStub() { return new PlainObject; }
CORBA_Object* makeOther() { return new PlainObject(TRXObjectImpl::server); }

bool knows(const char* text) { return static_cast<bool>(TRXTypeInfo::find(text)); }

TEST(TypeRegistry, joinsTheHalvesInEitherOrder) {
    for (bool stubFirst : {true, false}) {
        std::optional<CORBA_TypeInfo> stub, skeletonHalf;
        if (stubFirst)
            stub.emplace("M::A", "IDL:M/A:1.0", makeStub, nullptr);
        skeletonHalf.emplace("M::A", 1u, table);
        if (!stubFirst)
            stub.emplace("M::A", "IDL:M/A:1.0", makeStub, nullptr);

        EXPECT_EQ(stub->impl(), skeletonHalf->impl());
        EXPECT_EQ(stub->impl()->_refcount(), 2u);
        EXPECT_EQ(TRXTypeInfo::find("M::A").get(), stub->impl());
        EXPECT_EQ(TRXTypeInfo::find("IDL:M/A:1.0").get(), stub->impl());
        EXPECT_EQ(CORBA_TypeInfo::lookup("M::A"), &*stub);
        EXPECT_EQ(CORBA_TypeInfo::lookup("IDL:M/A:1.0"), &*stub);
        EXPECT_STREQ(skeletonHalf->id(), "IDL:M/A:1.0");
        EXPECT_TRUE(skeletonHalf->impl()->hasFactory());
        const CORBA_TypeInfo* owner = nullptr;
        EXPECT_EQ(stub->impl()->findMethod("op", owner), skeleton);
        EXPECT_EQ(owner, &*stub);
        EXPECT_TRUE(*stub == *skeletonHalf);
    }
    EXPECT_FALSE(knows("M::A"));
    EXPECT_FALSE(knows("IDL:M/A:1.0"));
}

TEST(TypeRegistry, skeletonHalfAloneHasANameOnly) {
    const CORBA_TypeInfo type("M::A", 1, table);
    EXPECT_TRUE(knows("M::A"));
    EXPECT_FALSE(knows("IDL:M/A:1.0"));
    EXPECT_FALSE(knows(""));
    EXPECT_EQ(type.id(), nullptr);
    EXPECT_EQ(CORBA_TypeInfo::lookup("M::A"), nullptr);
    EXPECT_FALSE(type.impl()->hasFactory());
    EXPECT_FALSE(type.impl()->hasId(""));
}

TEST(TypeRegistry, refusesAnIdThatIsTakenAndASecondStubHalf) {
    const CORBA_TypeInfo type("M::A", "IDL:M/A:1.0", makeStub, nullptr);
    EXPECT_THROW(CORBA_TypeInfo("M::B", "IDL:M/A:1.0", makeOther, nullptr), CORBA_BAD_PARAM);
    EXPECT_FALSE(knows("M::B"));
    EXPECT_THROW(CORBA_TypeInfo("M::A", "IDL:M/A:1.0", makeOther, nullptr), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_TypeInfo("M::A", "IDL:M/C:1.0", makeOther, nullptr), CORBA_BAD_PARAM);
    EXPECT_EQ(CORBA_TypeInfo::lookup("IDL:M/A:1.0"), &type);
    EXPECT_EQ(type.impl()->_refcount(), 1u);
}

// As when a library goes that brought it.
TEST(TypeRegistry, forgetsAStubHalfThatGoes) {
    const CORBA_TypeInfo skeleton("Gone", 0, nullptr);
    {
        const TRXObjectFactory client[] = {makeOther};
        const auto wrap = [](TRXObjectFactoryList& factories, CORBA_Object*) { return factories.at(0)(); };
        const CORBA_TypeInfo stub("Gone", "IDL:Gone:1.0", wrap, makeStub, 1, client, nullptr);
        EXPECT_EQ(CORBA_TypeInfo::lookup("IDL:Gone:1.0"), &stub);
    }
    const CORBA_Object_var object = makeStub();
    EXPECT_EQ(skeleton.createWrappedObject(object), object.in());
    EXPECT_EQ(CORBA_TypeInfo::lookup("Gone"), nullptr);
    EXPECT_EQ(CORBA_TypeInfo::lookup("IDL:Gone:1.0"), nullptr);
    const CORBA_TypeInfo again("Gone", "IDL:Gone:1.0", makeStub, nullptr);
    EXPECT_EQ(CORBA_TypeInfo::lookup("Gone"), &again);
    // And a skeleton half, with operations that have been looked up.
    const CORBA_TypeInfo* owner = nullptr;
    {
        const CORBA_TypeInfo operations("Gone", 1, table);
        EXPECT_NE(again.impl()->findMethod("op", owner), nullptr);
    }
    EXPECT_EQ(again.impl()->findMethod("op", owner), nullptr);
}

TEST(TypeRegistry, findsEveryTypeAcrossGrowthAndRemoval) {
    std::deque<CORBA_TypeInfo> types;
    const auto name = [](int i) { return "Many::T" + std::to_string(i); };
    const auto id = [](int i) { return "IDL:Many/T" + std::to_string(i) + ":1.0"; };
    for (int i = 0; i < 150; ++i)
        types.emplace_back(name(i).c_str(), id(i).c_str(), makeStub, nullptr);
    for (int i = 0; i < 150; ++i) {
        EXPECT_EQ(CORBA_TypeInfo::lookup(name(i).c_str()), &types[static_cast<size_t>(i)]);
        EXPECT_EQ(CORBA_TypeInfo::lookup(id(i).c_str()), &types[static_cast<size_t>(i)]);
    }
    for (int i = 0; i < 75; ++i)
        types.pop_front();
    for (int i = 0; i < 150; ++i) {
        EXPECT_EQ(knows(name(i).c_str()), i >= 75) << i;
        EXPECT_EQ(knows(id(i).c_str()), i >= 75) << i;
    }
}

TEST(TypeRegistry, rootsOfTheCorbaModuleAreThere) {
    EXPECT_EQ(CORBA_TypeInfo::lookup("IDL:omg.org/CORBA/Object:1.0"), &CORBA_Object_type);
    EXPECT_EQ(CORBA_TypeInfo::lookup("CORBA::Current"), &CORBA_Current_type);
}

TEST(TypeInfo, derivesFromItsBasesButNotFromItself) {
    const CORBA_TypeInfo top("Top", "IDL:Top:1.0", makeStub, nullptr);
    const CORBA_TypeInfo left("Left", "IDL:Left:1.0", makeStub, &top, nullptr);
    const CORBA_TypeInfo right("Right", "IDL:Right:1.0", makeStub, nullptr);
    const CORBA_TypeInfo bottom("Bottom", "IDL:Bottom:1.0", makeStub, &left, &right, nullptr);
    const CORBA_TypeInfo topSkeleton("Top", 1, table);
    EXPECT_TRUE(bottom.is_a(&left, false));
    EXPECT_TRUE(bottom.is_a(&right, false));
    EXPECT_TRUE(bottom.is_a(&top, false));
    EXPECT_TRUE(bottom.is_a(&topSkeleton, false));
    EXPECT_FALSE(bottom.is_a(&bottom, false));
    EXPECT_FALSE(left.is_a(&right, false));
    EXPECT_FALSE(top.is_a(&bottom, false));
    EXPECT_TRUE(bottom.is_a(&left, true));
    EXPECT_FALSE(bottom.is_a(&right, true));
    EXPECT_FALSE(bottom.is_a(&top, true));
    EXPECT_FALSE(right.is_a(&top, true));

    EXPECT_TRUE(bottom.impl()->hasId("IDL:Top:1.0"));
    EXPECT_TRUE(bottom.impl()->hasId("IDL:Bottom:1.0"));
    EXPECT_FALSE(bottom.impl()->hasId("IDL:Other:1.0"));
    ASSERT_EQ(bottom.impl()->bases().size(), 2u);
    EXPECT_EQ(bottom.impl()->bases()[1], &right);
}

// A list ends at its first null.
TEST(TypeInfo, baseListEndsAtTheNull) {
    const CORBA_TypeInfo base("Base", "IDL:Base:1.0", makeStub, nullptr);
    const CORBA_TypeInfo none("None", "IDL:None:1.0", makeStub);
    const CORBA_TypeInfo cut("Cut", "IDL:Cut:1.0", makeStub, nullptr, &base, nullptr);
    EXPECT_TRUE(none.impl()->bases().empty());
    EXPECT_TRUE(cut.impl()->bases().empty());
}

TEST(TypeInfo, makesStubsByTheUsersFactoryFirst) {
    const CORBA_TypeInfo type("M::A", "IDL:M/A:1.0", makeStub, nullptr);
    CORBA_Object_var stub = type.impl()->createStub();
    EXPECT_FALSE(stub->_is_local());
    type.impl()->setUserFactory(makeOther);
    stub = type.impl()->createStub();
    EXPECT_TRUE(stub->_is_local());
    type.impl()->setUserFactory(nullptr);
    stub = type.createWrappedStub();
    EXPECT_FALSE(stub->_is_local());
    EXPECT_EQ(stub->_ref_count(), 1u);
}

TEST(TypeInfo, withoutFactoryMakesNoStub) {
    const CORBA_TypeInfo type("M::A", 1, table);
    EXPECT_DEATH(type.impl()->createStub(), "\"_factory != __null\" failed in vtinfo");
    type.impl()->setUserFactory(makeStub);
    EXPECT_TRUE(type.impl()->hasFactory());
}

// Makes an object with each factory of the list and returns the last of them, or the object.
std::vector<TRXObjectFactory> seenFactories;
CORBA_Object* wrapAll(TRXObjectFactoryList& factories, CORBA_Object* object) {
    seenFactories.assign(factories.begin(), factories.end());
    return factories.count() == 0 ? object : factories.at(factories.count() - 1)();
}

TEST(Wrappers, comeFromTheListOfTheObjectsSide) {
    const TRXObjectFactory client[] = {makeStub, makeOther};
    const TRXObjectFactory server[] = {makeOther};
    const CORBA_TypeInfo type("M::A", "IDL:M/A:1.0", wrapAll, makeStub, client, 2, server, 1, nullptr);
    const CORBA_Object_var stub = makeStub();
    const CORBA_Object_var servant = makeOther();
    CORBA_Object_var wrapped = type.createWrappedObject(stub);
    EXPECT_EQ(seenFactories, (std::vector<TRXObjectFactory>{makeStub, makeOther}));
    wrapped = type.createWrappedObject(servant);
    EXPECT_EQ(seenFactories, (std::vector<TRXObjectFactory>{makeOther}));
}

TEST(Wrappers, ofAClientListAloneLeaveServantsAsTheyAre) {
    const TRXObjectFactory client[] = {makeOther};
    const CORBA_TypeInfo type("M::A", "IDL:M/A:1.0", wrapAll, makeStub, 1, client, nullptr);
    const CORBA_Object_var servant = makeOther();
    EXPECT_EQ(type.createWrappedObject(servant), servant.in());
    {
        // The wrapper replaces the stub, which is released.
        const CORBA_Object_var wrapped = type.createWrappedStub();
        EXPECT_TRUE(wrapped->_is_local());
        EXPECT_EQ(PlainObject::alive, 2);
    }
    type.impl()->setWrapper(nullptr);
    const CORBA_Object_var plain = type.createWrappedStub();
    EXPECT_FALSE(plain->_is_local());
    EXPECT_EQ(plain->_ref_count(), 1u);
}

TEST(Wrappers, areRemovedOneAtATimeInOrder) {
    const CORBA_TypeInfo type("M::A", "IDL:M/A:1.0", wrapAll, makeStub, nullptr, 0, nullptr, 0, nullptr);
    TRXTypeInfo& entry = *type.impl();
    const CORBA_Object_var stub = makeStub();
    for (TRXObjectFactory factory : {makeStub, makeOther, makeStub})
        entry.addFactory(factory, true);
    entry.removeFactory(makeStub, false); // not in that list
    entry.removeFactory(makeStub, true);
    CORBA_Object_var wrapped = type.createWrappedObject(stub);
    EXPECT_EQ(seenFactories, (std::vector<TRXObjectFactory>{makeOther, makeStub}));
}

} // namespace
