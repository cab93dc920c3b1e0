#include "adapters.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using harbolance::ObjectAnnouncer;

const char* const animalId = "IDL:Zoo/Animal:1.0";
const char* const birdId = "IDL:Zoo/Bird:1.0";

TEST(ObjectTables, leadFromKeysToObjects) {
    PlainAdapter adapter;
    auto* tit = new Animal("tit", derivedType);
    auto* other = new Animal("tit", derivedType); // the first of one name is found
    auto* passing = new Animal(nullptr);
    const CORBA_Object_var held[] = {tit, other, passing};
    for (const CORBA_Object_var& object : held) {
        adapter.obj_is_ready(object.in());
        adapter.obj_is_ready(object.in()); // changes nothing
    }
    tit->_object_name("titmouse"); // shows in what is found, and not in the tables
    const struct {
        CORBA_OctetSequence key;
        const char* found;
    } rows[] = {
        {named(birdId, "tit"), "titmouse"},
        {named(animalId, "tit"), "titmouse"},
        {named(animalId, ""), "titmouse"},
        {named(animalId, "titmouse"), notThere},
        {named("Zoo::Bird", "tit"), "nil"},
        {named("IDL:Zoo/Fish:1.0", ""), "nil"},
        {named(CORBA_Object_type.id(), ""), "nil"},
        {keyOf(other->skel().id()), "tit"},
        {keyOf(passing->skel().id()), "unnamed"},
        {keyOf(passing->skel().full_id()), "unnamed"},
        {keyOf(new TRXTransientId(animalId, 0, 0)), notThere},
        {keyOf(new TRXKeyId(1u << 31)), notThere},
        {serviced("Zoo", "7"), "nil"},
        {octets("no key of ours"), "nil"},
        {octets(std::string_view("\1QMC\3\0\0\0\0\0", 10)), "nil"},
        {octets(std::string_view("\1QMC\0\0\0\0\144\0\0\0", 12)), "CORBA::MARSHAL"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(found(adapter, row.key), row.found) << &row - rows;
    EXPECT_TRUE(adapter.is_ready(passing));
    const std::unique_ptr<TRXList<CORBA_Object*>> objects(adapter.objects());
    EXPECT_EQ(objects->count(), 2u);
    std::for_each(objects->begin(), objects->end(), [](CORBA_Object* object) { CORBA_release(object); });
}

TEST(ObjectTables, rememberWhatAConnectionAskedForLast) {
    PlainAdapter adapter;
    const CORBA_Object_var tit(new Animal("tit"));
    adapter.obj_is_ready(tit);
    harbolance::TargetCache cache;
    const auto ask = [&] {
        bool fromCache = false;
        try {
            const CORBA_Object_var object(adapter.find(named(animalId, "tit"), cache, fromCache));
            return std::string(fromCache ? "cached" : "") + (object.in() == tit.in() ? "+" : "nil");
        } catch (const CORBA_OBJECT_NOT_EXIST&) {
            return std::string("gone");
        }
    };
    EXPECT_EQ(ask(), "+");
    EXPECT_EQ(ask(), "cached+");
    const CORBA_Object_var other(new Animal("other"));
    adapter.obj_is_ready(other);
    adapter.deactivate_obj(tit);
    EXPECT_EQ(ask(), "gone");
    adapter.obj_is_ready(tit);
    EXPECT_EQ(ask(), "+");
    EXPECT_EQ(ask(), "cached+");
    adapter.options({"-OAcacheTarget", "0"});
    EXPECT_EQ(ask(), "+");
}

// Whatever has happened to it meanwhile, nothing leads to an object that has gone.
TEST(ObjectTables, forgetObjectsThatGo) {
    TRXGlobalTable& table = *TRXGlobalTable::instance();
    using Step = void (*)(PlainAdapter&, Animal&);
    const Step steps[] = {
        [](PlainAdapter&, Animal&) {},
        [](PlainAdapter&, Animal& animal) { animal._object_name("other"); },
        [](PlainAdapter&, Animal& animal) { animal.skel().style = harbolance::SkelHalf::transient; },
        [](PlainAdapter&, Animal& animal) { animal._service("Zoo", octets("7")); },
        [](PlainAdapter&, Animal&) { TRXGlobalTable::instance()->backCompat = false; },
        [](PlainAdapter& adapter, Animal&) { adapter.activate(), adapter.deactivate(); },
    };
    for (const Step step : steps) {
        for (const char* name : {"tit", static_cast<const char*>(nullptr)}) {
            PlainAdapter adapter;
            table.backCompat = true;
            auto* animal = new Animal(name, derivedType);
            const std::string given = animal->_object_name(); // nameless ones have numbers for older peers
            const CORBA_OctetSequence number = keyOf(animal->skel().id());
            adapter.obj_is_ready(animal);
            EXPECT_EQ(found(adapter, named("Zoo::Animal", given.c_str())), given);
            step(adapter, *animal);
            CORBA_release(animal);
            EXPECT_EQ(Animal::alive, 0);
            for (const char* id : {"Zoo::Animal", "Zoo::Bird", animalId, birdId})
                EXPECT_EQ(found(adapter, named(id, "")), "nil") << id;
            EXPECT_EQ(found(adapter, number), notThere);
            table.backCompat = false;
        }
    }
}

TEST(Adapter, tellsWhatItCannotDo) {
    PlainAdapter adapter, never;
    const CORBA_Object_var tit(new Animal("tit"));
    TRXEXT_ActivationImplDef definition("*", "Zoo", {}, nullptr);
    EXPECT_EQ(raised([&] { adapter.obj_is_ready(nullptr); }), badParam);
    EXPECT_EQ(raised([&] { adapter.deactivate_obj(nullptr); }), badParam);
    EXPECT_EQ(raised([&] { adapter.deactivate_impl(nullptr); }), badParam);
    EXPECT_EQ(raised([&] { adapter.deactivate_obj(tit); }), std::string(notThere) + " 0 1");
    EXPECT_EQ(raised([&] { adapter.deactivate_impl(&definition); }), std::string(notThere) + " 0 1");
    never.activate(), never.deactivate();
    EXPECT_EQ(raised([&] { never.deactivate_obj(tit); }), "nothing");
    EXPECT_EQ(raised([&] { adapter.get_id(nullptr); }), badParam);
    EXPECT_EQ(adapter.get_id(tit), nullptr);
}

// Announces into a text; "bad" cannot be taken back.
std::string announced;
struct Announcer : ObjectAnnouncer {
    void register_object(CORBA_Object* object) override {
        announced += std::string("+") + object->_object_name();
    }
    void unregister_object(CORBA_Object* object) override {
        announced += std::string("-") + object->_object_name();
        if (std::string(object->_object_name()) == "bad")
            throw CORBA_COMM_FAILURE();
    }
};

TEST(Adapter, announcesNamedObjectsOfItsOwn) {
    ObjectAnnouncer::install(
        [](CORBA_BOA*) -> std::unique_ptr<ObjectAnnouncer> { return std::make_unique<Announcer>(); });
    {
        PlainAdapter parent("1.1.1.1", true), child("2.2.2.2", true);
        parent.add_child(&child);
        EXPECT_TRUE(child.nested() && child.root() == &parent && parent.child() == &child);
        auto* tit = new Animal("tit");
        auto* bad = new Animal("bad");
        const CORBA_Object_var passing(new Animal(nullptr)), late(new Animal("late"));
        for (CORBA_Object* object :
             {static_cast<CORBA_Object*>(tit), static_cast<CORBA_Object*>(bad), passing.in()})
            parent.obj_is_ready(object);
        EXPECT_EQ(announced, "+tit+bad");
        EXPECT_EQ(tit->skel().adapters.at(0), &child);
        announced.clear();
        CORBA_release(tit);
        CORBA_release(bad);
        EXPECT_EQ(announced, "-tit-tit-bad-bad");
        EXPECT_EQ(found(parent, named(animalId, "")) + found(child, named(animalId, "")), "nilnil");
        announced.clear();
        parent.options({"-OAagent", "0"});
        parent.remove_child(&child);
        parent.obj_is_ready(late);
        parent.options({"-OAagent", "1"});
        parent.deactivate_obj(late);
        EXPECT_EQ(announced, "-late");
    }
    ObjectAnnouncer::install(nullptr);
}

TEST(Adapter, leavesNothingThatLeadsBackToIt) {
    const CORBA_Object_var tit(new Animal("tit"));
    PlainAdapter first;
    {
        PlainAdapter second;
        first.add_child(&second);
        first.obj_is_ready(tit);
        TRXGlobalTable::instance()->currentBOA = &second;
        EXPECT_EQ(TRXAdapter::default_adapter(), &second);
        second.activate();
        EXPECT_EQ(TRXAdapter::active_count(), 1u);
    }
    EXPECT_EQ(TRXAdapter::active_count(), 0u);
    EXPECT_EQ(TRXAdapter::default_adapter(), &first);
    EXPECT_EQ(TRXGlobalTable::instance()->currentBOA, nullptr);
    EXPECT_EQ(first.child(), nullptr);
    EXPECT_EQ(static_cast<Animal*>(tit.in())->skel().adapters.count(), 1u);
    first.deactivate_obj(tit);
    EXPECT_FALSE(static_cast<Animal*>(tit.in())->skel().ready);
}

} // namespace
