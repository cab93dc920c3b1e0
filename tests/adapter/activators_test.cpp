#include "adapters.h"

#include <gtest/gtest.h>

namespace {

// Makes a servant for each id and makes it ready itself; records its calls in a text.
class Keeper : public Activator {
public:
    explicit Keeper(TRXAdapter& adapter) : adapter_(adapter) {}

    CORBA_Object* activate(TRXEXT_ActivationImplDef* definition) override {
        const std::string id(reinterpret_cast<const char*>(definition->id().buffer()),
                             definition->id().length());
        acts += "+" + id;
        if (id == "none")
            return nullptr;
        if (id == "fails")
            throw CORBA_NO_PERMISSION();
        auto* servant = new Animal(id.c_str());
        if (id == "itself" && acts.find("+itself") == acts.rfind("+itself"))
            CORBA_release(adapter_.find(serviced("Zoo", "itself")));
        if (std::string(definition->interface_name()) == "*")
            servant->_service("Zoo", definition->id());
        else
            return servant;
        adapter_.obj_is_ready(servant);
        return servant;
    }
    void deactivate(CORBA_Object* servant, TRXEXT_ActivationImplDef*) override {
        acts += std::string("-") + servant->_object_name();
        CORBA_release(servant);
    }
    std::string take() { return std::exchange(acts, ""); }

    std::string acts;

private:
    TRXAdapter& adapter_;
};

TEST(Services, haveAServantForEachIdThatIsAskedFor) {
    PlainAdapter adapter;
    Keeper keeper(adapter);
    adapter.impl_is_ready("Zoo", &keeper, 0);
    EXPECT_EQ(Animal::alive, 0);
    const struct {
        const char *id, *found, *acts;
    } rows[] = {
        {"7", "7", "+7"},
        {"7", "7", ""},
        {"8", "8", "+8"},
        {"none", "CORBA::BAD_PARAM", "+none"},
        {"fails", "CORBA::NO_PERMISSION", "+fails"},
        {"itself", "itself", "+itself+itself"},
        {"itself", "itself", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(found(adapter, serviced("Zoo", row.id)), row.found);
        EXPECT_EQ(keeper.take(), row.acts);
    }
    EXPECT_EQ(found(adapter, serviced("Farm", "7")), "nil");
    // While a servant is being taken back the object does not exist; afterwards a new one is made.
    CORBA_Object_var seven(adapter.find(serviced("Zoo", "7")));
    CORBA_OctetSequence_var id(adapter.get_id(seven));
    EXPECT_EQ(*id, octets("7"));
    adapter.deactivate_obj(seven);
    EXPECT_EQ(found(adapter, serviced("Zoo", "7")), notThere);
    seven = CORBA_Object::_nil();
    EXPECT_EQ(found(adapter, serviced("Zoo", "7")), "7");
    EXPECT_EQ(keeper.take(), "+7");
    // The record of the service holds the last reference.
    const int before = Animal::alive;
    {
        CORBA_Object* eight = adapter.find(serviced("Zoo", "8"));
        CORBA_release(eight);
        adapter.deactivate_obj(eight);
    }
    EXPECT_EQ(Animal::alive, before - 1);
    TRXEXT_ActivationImplDef definition("*", "Zoo", {}, nullptr);
    adapter.deactivate_impl(&definition);
    EXPECT_EQ(found(adapter, serviced("Zoo", "9")), "nil");
    EXPECT_EQ(found(adapter, serviced("Zoo", "7")), "7");
    const CORBA_Object_var unknown(new Animal("x"));
    unknown->_service("Farm", octets("1"));
    EXPECT_EQ(raised([&] { adapter.obj_is_ready(unknown); }), std::string(notThere) + " 0 1");
    EXPECT_EQ(found(adapter, keyOf(TRXSkelInfo::of(unknown)->id())), notThere);
}

// Whatever is destroyed first.
TEST(Services, endWithTheirAdapter) {
    CORBA_Object_var held, takenBack;
    {
        PlainAdapter adapter;
        Keeper keeper(adapter);
        adapter.impl_is_ready("Zoo", &keeper, 0);
        held = adapter.find(serviced("Zoo", "1"));
        takenBack = adapter.find(serviced("Zoo", "2"));
        CORBA_release(adapter.find(serviced("Zoo", "3")));
        adapter.deactivate_obj(takenBack);
    }
    EXPECT_EQ(Animal::alive, 2);
    held = takenBack = CORBA_Object::_nil();
    EXPECT_EQ(Animal::alive, 0);
}

TEST(Implementations, haveTheirServantFromTheFirstUseToTheEnd) {
    PlainAdapter adapter;
    Keeper keeper(adapter);
    TRXEXT_ActivationImplDef definition("IDL:Zoo/Animal:1.0", "owl", octets("7"), &keeper);
    adapter.obj_is_ready(nullptr, &definition);
    adapter.obj_is_ready(nullptr, &definition); // ready already
    const CORBA_OctetSequence key = named("IDL:Zoo/Animal:1.0", "owl");
    CORBA_Object_var proxy(adapter.find(key));
    EXPECT_EQ(proxy->_type_info(), &baseType);
    EXPECT_EQ(keeper.take(), "");
    const int before = Animal::alive;
    EXPECT_NE(proxy->_cast(&CORBA_Object_type), proxy.in());
    EXPECT_NE(proxy->_cast(&CORBA_Object_type), nullptr);
    EXPECT_EQ(keeper.take(), "+7");
    EXPECT_EQ(Animal::alive, before + 1);
    adapter.deactivate_impl(&definition);
    EXPECT_EQ(found(adapter, key), "nil");
    EXPECT_EQ(keeper.take(), "");
    proxy = CORBA_Object::_nil();
    EXPECT_EQ(keeper.take(), "-7");
    EXPECT_EQ(Animal::alive, before);
}

struct Daemon : harbolance::ActivationDaemon {
    CORBA_Object* reg_implementation(const TRXEXT_CreationImplDef& definition) override {
        if (definition.id().length() == 0)
            throw CORBA_COMM_FAILURE();
        return new Animal(definition.path_name());
    }
    void unreg_implementation(const char* repId, const char* name) override {
        acts += std::string("-") + repId + " " + name;
    }
    void change_implementation(const TRXEXT_CreationImplDef& from,
                               const TRXEXT_CreationImplDef& to) override {
        acts += std::string(" ") + from.path_name() + ">" + to.path_name();
    }
    std::string acts;
};

TEST(Implementations, areRegisteredWithTheDaemon) {
    PlainAdapter adapter;
    Daemon daemon;
    CORBA_ImplementationDef plain("IDL:Zoo/Animal:1.0", "owl", {});
    TRXEXT_CreationImplDef old("IDL:Zoo/Animal:1.0", "owl", {}, "/old", {}, {}, 0), next(old);
    next.path_name("/next");
    const auto create = [&](std::string_view id) {
        const CORBA_Object_var made(adapter.create(octets(id), nullptr, &old));
        return std::string(made.in() ? made->_object_name() : "nil");
    };
    const CORBA_Object_var owl(new Animal("owl"));
    adapter.obj_is_ready(owl);
    EXPECT_EQ(create("7"), "nil"); // without a daemon
    harbolance::ActivationDaemon::install(&daemon);
    EXPECT_EQ(create("7"), "/old");
    EXPECT_EQ(create(""), "nil");
    EXPECT_EQ(raised([&] { adapter.create(octets("7"), nullptr, &plain); }), badParam);
    EXPECT_EQ(raised([&] { adapter.create(octets("7"), nullptr, nullptr); }), badParam);
    EXPECT_EQ(raised([&] { adapter.change_implementation(owl, &plain); }), badParam);
    EXPECT_EQ(raised([&] { adapter.change_implementation(owl, &next); }), "CORBA::NO_IMPLEMENT 0 1");
    TRXSkelInfo::of(owl)->impl.reset(old._clone());
    adapter.change_implementation(owl, &next);
    EXPECT_EQ(raised([&] { adapter.dispose(nullptr); }), badParam);
    adapter.dispose(owl);
    EXPECT_EQ(daemon.acts, " /old>/next-IDL:Zoo/Animal:1.0 owl");
    EXPECT_EQ(found(adapter, named("IDL:Zoo/Animal:1.0", "owl")), "nil");
    harbolance::ActivationDaemon::install(nullptr);
}

} // namespace
