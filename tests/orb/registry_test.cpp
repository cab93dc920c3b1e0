#include "marshal/exception/orb_exceptions.h"
#include "orb/vorb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

using testing::IsSupersetOf;

class Recorder : public TRXInit {
public:
    Recorder(std::string& record, const char* mark, long priority)
        : TRXInit(priority), _record(record), _mark(mark) {}
    void ORB_init(int& argc, char**, CORBA_ORB*) override { _record += _mark + std::to_string(argc) + " "; }

private:
    std::string& _record;
    std::string _mark;
};

// Where an object would stand.
CORBA_Object* place(int& anything) { return reinterpret_cast<CORBA_Object*>(&anything); }

class Fixed : public TRXResolver {
public:
    Fixed(const char* name, CORBA_Object* object) : TRXResolver(name), _object(object) {}
    CORBA_Object* resolve(CORBA_ORB*) override { return _object; }

private:
    CORBA_Object* _object;
};

TEST(Initializers, runByPriorityAndThenInTheOrderOfTheirMaking) {
    std::string record;
    const Recorder late(record, "late", 5);
    const Recorder first(record, "first", -20);
    const Recorder one(record, "one", 0);
    { const Recorder gone(record, "gone", 0); }
    const Recorder two(record, "two", 0);
    int argc = 0;
    TRXInit::initializeAll(argc, nullptr, nullptr);
    EXPECT_EQ(record, "first0 one0 two0 late0 ");
}

TEST(InitialReferences, areFoundByName) {
    CORBA_ORB* orb = CORBA_ORB_init();
    EXPECT_TRUE(CORBA_is_nil(orb->resolve_initial_references("LocationService")));
    EXPECT_THROW(orb->resolve_initial_references("Nobody"), CORBA_ORB_InvalidName);
    EXPECT_THROW(orb->resolve_initial_references(nullptr), CORBA_ORB_InvalidName);
    const Fixed other("Clock", nullptr);
    const CORBA_StringSequence_var names = orb->list_initial_services();
    const std::vector<std::string> listed(names->begin(), names->end());
    EXPECT_THAT(listed, IsSupersetOf({"LocationService", "Clock"}));
}

TEST(InitialReferences, theLaterOfOneNameCounts) {
    int a = 0;
    int b = 0;
    CORBA_ORB* orb = CORBA_ORB_init();
    auto early = std::make_unique<Fixed>("Clock", place(a));
    EXPECT_EQ(orb->resolve_initial_references("Clock"), place(a));
    auto later = std::make_unique<Fixed>("Clock", place(b));
    EXPECT_EQ(orb->resolve_initial_references("Clock"), place(b));
    early.reset();
    EXPECT_EQ(orb->resolve_initial_references("Clock"), place(b));
    later.reset();
    EXPECT_THROW(orb->resolve_initial_references("Clock"), CORBA_ORB_InvalidName);
}

TEST(Factories, areFoundByNameAndByTag) {
    TRXORBFactory* factory = TRXORBFactory::find("ORB");
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(TRXORBFactory::find(CORBA_Long{0}), factory);
    EXPECT_EQ(TRXORBFactory::find(CORBA_Long{77}), nullptr);
    EXPECT_EQ(TRXORBFactory::find("Other"), nullptr);
    int argc = 0;
    EXPECT_EQ(factory->create(argc, nullptr), CORBA_ORB_init());
}

} // namespace
