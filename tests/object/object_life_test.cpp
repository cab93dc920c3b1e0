#include "marshal/sequence/sequence.h"
#include "object/objects.h"

#include <gtest/gtest.h>

namespace {

using ObjectSeq = TRXSequence<CORBA_Object*, TRXObjectElement<CORBA_Object>>;

// A servant leaves its adapters once, before it is destroyed, whatever happens on the way.
TEST(Object, livesUntilItsLastReferenceGoes) {
    CORBA_Object_var kept;
    const std::function<void(CORBA_Object&)> rows[] = {
        [](CORBA_Object&) {},
        [](CORBA_Object&) { throw CORBA_OBJECT_NOT_EXIST(); },
        // Counted up and down again, as by an adapter that still looks at the object.
        [](CORBA_Object& object) { const CORBA_Object_var seen = CORBA_Object::_duplicate(&object); },
        // A new reference saves the object, until that one goes.
        [&kept](CORBA_Object& object) { kept = CORBA_Object::_duplicate(&object); },
    };
    for (const auto& row : rows) {
        auto* servant = new PlainServant;
        int deactivations = 0;
        servant->skel().onDeactivate = [&](CORBA_Object& object) {
            ++deactivations;
            EXPECT_EQ(PlainServant::alive, 1);
            row(object);
        };
        EXPECT_EQ(CORBA_Object::_duplicate(servant), servant);
        EXPECT_EQ(servant->_ref_count(), 2u);
        CORBA_release(servant);
        EXPECT_EQ(deactivations, 0);
        CORBA_release(servant);
        EXPECT_EQ(deactivations, 1);
        EXPECT_EQ(PlainServant::alive, kept.in() ? 1 : 0);
        if (!kept.in())
            continue;
        EXPECT_EQ(servant->_ref_count(), 1u);
        servant->skel().onDeactivate = [&](CORBA_Object&) { ++deactivations; };
        kept = static_cast<CORBA_Object*>(nullptr);
        EXPECT_EQ(PlainServant::alive, 0);
        EXPECT_EQ(deactivations, 2);
    }
    // One that is not released at all.
    int deactivations = 0;
    {
        PlainServant onTheStack;
        onTheStack.skel().onDeactivate = [&](CORBA_Object&) { ++deactivations; };
    }
    EXPECT_EQ(deactivations, 1);
}

struct PlainVar : TRXVar<PlainServant> {
    using TRXVar::TRXVar;
};

TEST(Object, isSharedByHoldersAndElementsAsTheyTakeItFromEachOther) {
    {
        const PlainVar plain = new PlainServant;
        ObjectSeq sequence;
        sequence.length(3);
        sequence[0] = plain;
        CORBA_Object_var first(sequence[0]);
        CORBA_Object_var second;
        second = plain;
        second = sequence[0];
        sequence[1] = second;
        EXPECT_EQ(plain->_ref_count(), 5u);
        const ObjectSeq copy(sequence);
        EXPECT_EQ(copy[1], plain.in());
        EXPECT_TRUE(CORBA_is_nil(copy[2]));
        EXPECT_EQ(plain->_ref_count(), 7u);
        sequence[1] = CORBA_Object::_nil();
        EXPECT_EQ(plain->_ref_count(), 6u);
    }
    EXPECT_EQ(PlainServant::alive, 0);
}

} // namespace
