#include "adapter/adapter_factory.h"
#include "adapters.h"
#include "marshal/reference/code_sets.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

// The hosts of the profiles, "sets" for code sets, and the name in the key of the first.
std::string told(const IOP::IOR& ior) {
    std::string text = ior.type_id.in();
    for (const IOP::TaggedProfile& profile : ior.profiles) {
        if (profile.tag == IOP::TAG_MULTIPLE_COMPONENTS) {
            text += " sets";
            continue;
        }
        const IIOP::ProfileBody body = IIOP::decoded(profile.profile_data);
        const TRXRef<TRXObjectId> id(TRXUtil::id_from_key(body.object_key));
        text += std::string(" ") + body.host.in() + " kind " + std::to_string(id->type());
    }
    return text;
}
std::string told(IOP::IOR* owned) { return told(*std::unique_ptr<IOP::IOR>(owned)); }

TEST(References, tellEveryAdapterOfTheObject) {
    PlainAdapter parent("1.1.1.1"), child("2.2.2.2");
    auto* tit = new Animal("tit");
    auto* passing = new Animal(nullptr);
    const CORBA_Object_var held(tit), other(passing);
    EXPECT_EQ(told(tit->skel().ior()), "IDL:Zoo/Animal:1.0 2.2.2.2 kind 0"); // of the adapter made last
    TRXGlobalTable::instance()->currentBOA = &parent;
    EXPECT_EQ(told(passing->skel().ior()), "IDL:Zoo/Animal:1.0 1.1.1.1 kind 1");
    TRXGlobalTable::instance()->currentBOA = nullptr;
    parent.add_child(&child);
    parent.obj_is_ready(tit);
    parent.obj_is_ready(passing);
    tit->skel().code_sets = true;
    const IOP::IOR* const kept = &tit->skel().ior();
    EXPECT_EQ(told(*kept), "IDL:Zoo/Animal:1.0 2.2.2.2 kind 0 1.1.1.1 kind 0 sets");
    EXPECT_EQ(&tit->skel().ior(), kept);
    EXPECT_EQ(told(tit->skel().ior(parent)), "IDL:Zoo/Animal:1.0 1.1.1.1 kind 0 sets");
    EXPECT_EQ(told(parent.ior(passing)), "IDL:Zoo/Animal:1.0 1.1.1.1 kind 1");
    EXPECT_EQ(told(parent.short_ior(tit)), "IDL:Zoo/Animal:1.0 1.1.1.1 kind 3");
    // Elsewhere, with this object's key; a transient object stays.
    child.put("OAfwdIOR", "IOR:01");
    child.deactivate_obj(tit);
    EXPECT_EQ(told(tit->skel().ior()), "IDL:Zoo/Animal:1.0 1.1.1.1 kind 0 sets");
    CORBA_ORB_init();
    const std::unique_ptr<IOP::IOR> elsewhere(PlainAdapter("9.9.9.9").short_ior(passing));
    const CORBA_String_var text(TRXUtil::ior_to_string(*elsewhere));
    parent.put("OAfwdIOR", text);
    tit->skel().drop_ior();
    EXPECT_EQ(told(tit->skel().ior()), "IDL:Zoo/Animal:1.0 9.9.9.9 kind 0");
    EXPECT_EQ(told(passing->skel().ior()), "IDL:Zoo/Animal:1.0 2.2.2.2 kind 1 1.1.1.1 kind 1");
}

struct Factory : TRXAdapterFactory {
    explicit Factory(PlainAdapter* only) : TRXAdapterFactory("Plain"), only_(only) {}
    CORBA_BOA* create(int&, char**) override { return only_; }
    void shutdown() override { ++shutdowns; }
    CORBA_Object* find_local(const IOP::TaggedProfile& profile, CORBA_Boolean) override {
        return only_->find(IIOP::decoded(profile.profile_data).object_key);
    }
    TRXAdapter* adapter() override { return only_; }

    int shutdowns = 0;

private:
    PlainAdapter* only_;
};

// Objects of this process by name; those of other processes are not looked for here.
TEST(References, leadToObjectsOfThisProcess) {
    PlainAdapter adapter;
    Factory factory(&adapter);
    EXPECT_EQ(raised([] { Factory again(nullptr); }), badParam);
    int argc = 0;
    CORBA_ORB* orb = CORBA_ORB_init();
    EXPECT_EQ(orb->BOA_init(argc, nullptr, "Nowhere"), nullptr);
    EXPECT_EQ(orb->BOA_init(argc, nullptr, "Plain"), &adapter);
    const CORBA_Object_var tit(new Animal("tit"));
    adapter.obj_is_ready(tit);
    CORBA_BindOptions later;
    later.deferBind = true;
    const auto isHere = [&](const char* name, const char* host) {
        const CORBA_Object_var bound(orb->bind("Zoo::Animal", name, host, &later));
        return bound.in() == tit.in();
    };
    EXPECT_TRUE(isHere("tit", nullptr) && isHere("tit", "127.0.0.1") && isHere(nullptr, nullptr));
    EXPECT_FALSE(isHere("tit", "192.0.2.1"));
    EXPECT_FALSE(isHere("owl", nullptr));
    const CORBA_String_var text(orb->object_to_string(tit));
    EXPECT_EQ(CORBA_Object_var(orb->string_to_object(text)).in(), tit.in());
    TRXSkelInfo::of(tit)->forwarded = true;
    const CORBA_Object_var stub(orb->string_to_object(text));
    EXPECT_FALSE(stub->_is_local());
    EXPECT_FALSE(stub->_non_existent()); // served in this process
    EXPECT_FALSE(isHere("tit", nullptr));
    bool ended = false;
    static bool* told = &ended;
    harbolance::AllAdapters& all = harbolance::AllAdapters::instance();
    all.endSessionBy([] { *told = !harbolance::AllAdapters::instance().shuttingDown(); });
    all.shutDown();
    EXPECT_EQ(factory.shutdowns, 1);
    EXPECT_TRUE(ended && all.shuttingDown());
    adapter.run(); // returns
}

} // namespace
