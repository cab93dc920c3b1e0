#include "marshal/sequence/sequence.h"
#include "object/objects.h"

#include <gtest/gtest.h>

namespace {

using ObjectSeq = TRXSequence<CORBA_Object*, TRXObjectElement<CORBA_Object>>;

TEST(Object, livesUntilItsLastReferenceGoes) {
    auto* object = new PlainObject;
    EXPECT_EQ(object->_ref_count(), 1u);
    EXPECT_EQ(CORBA_Object::_duplicate(object), object);
    EXPECT_EQ(object->_ref_count(), 2u);
    CORBA_release(object);
    EXPECT_EQ(PlainObject::alive, 1);
    CORBA_release(object);
    EXPECT_EQ(PlainObject::alive, 0);
}

TEST(Object, nilIsNullEverywhere) {
    EXPECT_TRUE(CORBA_is_nil(CORBA_Object::_nil()));
    EXPECT_EQ(CORBA_Object::_duplicate(nullptr), nullptr);
    CORBA_release(static_cast<CORBA_Object*>(nullptr));
    const CORBA_Object_var empty;
    EXPECT_TRUE(CORBA_is_nil(empty.in()));
}

TEST(Object, leavesItsAdaptersOnceBeforeItIsDestroyed) {
    auto* servant = new PlainObject(TRXObjectImpl::server);
    int deactivations = 0;
    servant->role().onDeactivate = [&](CORBA_Object&) {
        ++deactivations;
        EXPECT_EQ(PlainObject::alive, 1);
    };
    CORBA_Object::_duplicate(servant);
    CORBA_release(servant);
    EXPECT_EQ(deactivations, 0);
    CORBA_release(servant);
    EXPECT_EQ(deactivations, 1);
    EXPECT_EQ(PlainObject::alive, 0);
}

TEST(Object, leavesItsAdaptersWhateverTheySay) {
    auto* servant = new PlainObject(TRXObjectImpl::server);
    servant->role().onDeactivate = [](CORBA_Object&) { throw CORBA_OBJECT_NOT_EXIST(); };
    { const CORBA_Object_var last = servant; }
    EXPECT_EQ(PlainObject::alive, 0);
    // One that is not released at all.
    int deactivations = 0;
    {
        PlainObject onTheStack(TRXObjectImpl::server);
        onTheStack.role().onDeactivate = [&](CORBA_Object&) { ++deactivations; };
    }
    EXPECT_EQ(deactivations, 1);
}

TEST(Object, survivesWhenTheServantTakesANewReferenceOnTheWayOut) {
    auto* servant = new PlainObject(TRXObjectImpl::server);
    CORBA_Object_var kept;
    servant->role().onDeactivate = [&](CORBA_Object& object) { kept = CORBA_Object::_duplicate(&object); };
    CORBA_release(servant);
    ASSERT_EQ(PlainObject::alive, 1);
    EXPECT_EQ(servant->_ref_count(), 1u);
    int deactivations = 0;
    servant->role().onDeactivate = [&](CORBA_Object&) { ++deactivations; };
    kept = static_cast<CORBA_Object*>(nullptr);
    EXPECT_EQ(PlainObject::alive, 0);
    EXPECT_EQ(deactivations, 1);
}

// Deactivation counts up and down again, as an adapter that still looks at the object does.
TEST(Object, diesOnceWhenDeactivationTakesAndGivesAReference) {
    auto* servant = new PlainObject(TRXObjectImpl::server);
    int deactivations = 0;
    servant->role().onDeactivate = [&](CORBA_Object& object) {
        ++deactivations;
        const CORBA_Object_var seen = CORBA_Object::_duplicate(&object);
    };
    CORBA_release(servant);
    EXPECT_EQ(PlainObject::alive, 0);
    EXPECT_EQ(deactivations, 1);
}

TEST(Object, isHeldAndSharedBySequences) {
    auto* object = new PlainObject;
    {
        ObjectSeq sequence;
        sequence.length(3);
        sequence[0] = object;
        sequence[1] = CORBA_Object::_duplicate(object);
        const ObjectSeq copy(sequence);
        EXPECT_EQ(copy[1], object);
        EXPECT_TRUE(CORBA_is_nil(copy[2]));
        EXPECT_EQ(object->_ref_count(), 4u);
        sequence[1] = CORBA_Object::_nil();
        EXPECT_EQ(object->_ref_count(), 3u);
    }
    EXPECT_EQ(PlainObject::alive, 0);
}

struct PlainVar : TRXVar<PlainObject> {
    using TRXVar::TRXVar;
};

TEST(Object, isSharedByHoldersAndElementsAsTheyTakeItFromEachOther) {
    {
        const PlainVar plain = new PlainObject;
        ObjectSeq sequence;
        sequence.length(2);
        sequence[0] = plain;
        CORBA_Object_var first(sequence[0]);
        CORBA_Object_var second;
        second = plain;
        second = sequence[0];
        sequence[1] = second;
        EXPECT_EQ(plain->_ref_count(), 5u);
    }
    EXPECT_EQ(PlainObject::alive, 0);
}

} // namespace
