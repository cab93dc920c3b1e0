#include "adapter/voa.h"
#include "command_line.h"
#include "location/announcement.h"
#include "location/location_cache.h"
#include "orb/vorb.h"

#include <harbolance/activation_stub.h>

#include <gtest/gtest.h>

namespace {

using namespace harbolance;

TEST(Names, areWhatClientsAskFor) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {nullptr, nullptr, "IDL:A:1.0"},
        {"", "", "IDL:A:1.0"},
        {"x", "", "IDL:A:1.0_x"},
        {"", "10.0.0.1", "10.0.0.1_IDL:A:1.0"},
        {"x", "10.0.0.1", "10.0.0.1_IDL:A:1.0_x"},
    };
    for (const auto& [name, host, key] : rows)
        EXPECT_EQ(cacheKey("IDL:A:1.0", name, host), key);
    EXPECT_EQ(announcedNames("A", nullptr, "h"), (std::vector<std::string>{"A", "h_A"}));
    EXPECT_EQ(announcedNames("A", "x", "h"), (std::vector<std::string>{"A", "h_A", "h_A_x", "A_x"}));
}

const CORBA_TypeInfo thingType("Test::Thing", "IDL:Test/Thing:1.0", nullptr, &CORBA_Object_type);

struct Thing : CORBA_Object {
    Thing() { _object_name("one"); }
    const CORBA_TypeInfo* _type_info() const override { return &thingType; }
};

// A daemon in this process, which records the questions it gets. Every object is registered with it.
struct Daemon : Activation::OAD {
    Daemon() { _object_name("daemon"); }

    CORBA_Object* reg_implementation(const TRXEXT_CreationImplDef& impl) override {
        asked += std::string(" +") + impl.object_name() + std::to_string(impl.id().length());
        return CORBA_Object::_duplicate(this);
    }
    void unreg_implementation(const char* id, const char* name) override {
        asked += std::string(" -") + id + " " + name;
    }
    void change_implementation(const TRXEXT_CreationImplDef& from,
                               const TRXEXT_CreationImplDef& to) override {
        asked += std::string(" ") + from.path_name() + ">" + to.path_name();
    }
    TRXEXT_CreationImplDef* boa_activate_obj(CORBA_Object* object, const char* id, CORBA_Long uid) override {
        asked += std::string(" ") + id + " " + object->_object_name() + " " + std::to_string(uid);
        return new TRXEXT_CreationImplDef(id, "one", {}, "/old", {}, {}, UNSHARED_SERVER);
    }
    void boa_deactivate_obj(CORBA_Object*, const char* id, CORBA_Long) override {
        asked += std::string(" gone ") + id;
    }

    std::string take() { return std::exchange(asked, ""); }
    std::string asked;
};

TEST(Adapter, speaksWithTheDaemonOfItsHost) {
    CommandLine line{"-ORBagent", "0", "-OAipaddr", "127.0.0.1", "-OAoad_uid", "77"};
    CORBA_BOA* boa = CORBA_ORB_init(line.argc, line.argv())->BOA_init(line.argc, line.argv());
    auto* daemon = new Daemon;
    const CORBA_Object_var held(daemon), thing(new Thing);
    boa->obj_is_ready(daemon);
    EXPECT_EQ(daemon->take(), ""); // a daemon does not register its own objects
    boa->obj_is_ready(thing);
    EXPECT_EQ(daemon->take(), " IDL:Test/Thing:1.0 one 77");
    EXPECT_EQ(dynamic_cast<TRXAdapter&>(*boa).activation_policy(), UNSHARED_SERVER);

    TRXEXT_CreationImplDef next("IDL:Test/Thing:1.0", "two", {}, "/next", {}, {}, 0);
    CORBA_OctetSequence id;
    const CORBA_Octet three[3]{};
    id.assign(three);
    EXPECT_EQ(CORBA_Object_var(boa->create(id, nullptr, &next)).in(), daemon);
    boa->change_implementation(thing, &next);
    boa->dispose(thing);
    EXPECT_EQ(daemon->take(), " +two3 /old>/next gone IDL:Test/Thing:1.0 -IDL:Test/Thing:1.0 one");
}

} // namespace
