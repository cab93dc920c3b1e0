#include "object/interface.h"
#include "object/objects.h"
#include "object/vtypeinf.h"

#include <gtest/gtest.h>

#include <deque>
#include <optional>

namespace {

// Skeletons that differ in nothing but their address.
template <int>
void skeleton(void*, CORBA_MarshalInBuffer&, CORBA_OctetSequence*, const char*, void*) {}

CORBA_Object* makeStub() { return new PlainStub; }
CORBA_Object* makeServant() { return new PlainServant; }

constexpr TRXSkeleton sk[] = {skeleton<0>, skeleton<1>, skeleton<2>, skeleton<3>, skeleton<4>};

// What `findMethod` finds: the name of the type that owns it and the skeleton's number, or "-".
std::string found(TRXTypeInfo& entry, const char* operation) {
    const CORBA_TypeInfo* owner = nullptr;
    const TRXSkeleton method = entry.findMethod(operation, owner);
    if (!method)
        return owner ? "- and an owner" : "-";
    const auto number = std::find(std::begin(sk), std::end(sk), method) - std::begin(sk);
    return (owner ? owner->name() : "") + std::to_string(number);
}

// What the type does with an object: "w" when it has a wrap function, then the factories that the function is
// given, stub s and servant S; "=" in front when the object is left as it is.
std::string seen;
CORBA_Object* wrapAll(TRXObjectFactoryList& factories, CORBA_Object* object) {
    seen = "w";
    for (const TRXObjectFactory factory : factories)
        seen += factory == makeStub ? "s" : "S";
    return factories.count() == 0 ? object : factories.at(factories.count() - 1)();
}
std::string wrapped(TRXTypeInfo& entry, TRXObjectFactory make) {
    seen.clear();
    const CORBA_Object_var object = make();
    CORBA_Object_var result = entry.createWrappedObject(object);
    return (result.in() == object.in() && result._retn() ? "=" : "") + seen;
}

// The two halves of M::A, entered and withdrawn by the letters of a row: s the stub half, k the skeleton
// half, S and K withdraw them, ? asks the registry.
struct Halves {
    static constexpr const char* id = "IDL:M/A:1.0";
    const TRXMethod table[1] = {{"op", sk[1]}};
    const TRXObjectFactory client[1] = {makeServant};
    std::optional<CORBA_TypeInfo> stub, operations;

    std::string after(std::string_view steps) {
        for (const char step : steps) {
            switch (step) {
            case 's': stub.emplace("M::A", id, wrapAll, makeStub, 1u, client, nullptr); break;
            case 'S': stub.reset(); break;
            case 'k': operations.emplace("M::A", 1u, table); break;
            case 'K': operations.reset(); break;
            default: now();
            }
        }
        return now();
    }

    std::string now() const {
        const auto entry = TRXTypeInfo::find("M::A");
        EXPECT_EQ(TRXTypeInfo::find(id).get(), stub ? entry.get() : nullptr);
        EXPECT_EQ(CORBA_TypeInfo::lookup("M::A"), stub ? &*stub : nullptr);
        EXPECT_EQ(CORBA_TypeInfo::lookup(id), stub ? &*stub : nullptr);
        if (!entry)
            return "unknown";
        EXPECT_EQ(entry->_refcount(), 1u + stub.has_value() + operations.has_value());
        return std::string(entry->id() ? entry->id() : "no-id") + (entry->hasId(id) ? " hasId " : " ") +
               (entry->hasFactory() ? "factory " : "") + wrapped(*entry, makeStub) + " " +
               found(*entry, "op");
    }
};

TEST(Registry, knowsTheHalvesThatAreThere) {
    const char* const stubOnly = "IDL:M/A:1.0 hasId factory wS -";
    const char* const skeletonOnly = "no-id = 1";
    const char* const both = "IDL:M/A:1.0 hasId factory wS M::A1";
    const struct {
        const char* steps;
        const char* state;
    } rows[] = {
        {"", "unknown"},     {"s", stubOnly},        {"k", skeletonOnly}, {"sk", both},   {"ks", both},
        {"sS", "unknown"},   {"ks?S", skeletonOnly}, {"sk?K", stubOnly},  {"skSs", both}, {"skSK", "unknown"},
        {"ksKS", "unknown"}, {"s?k", stubOnly}}; // the operations were merged before the skeleton half came
    for (const auto& row : rows)
        EXPECT_EQ(Halves().after(row.steps), row.state) << row.steps;

    Halves halves;
    halves.after("s");
    EXPECT_THROW(CORBA_TypeInfo("M::A", "IDL:M/C:1.0", makeServant, nullptr), CORBA_BAD_PARAM);
    EXPECT_THROW(CORBA_TypeInfo("M::B", Halves::id, makeServant, nullptr), CORBA_BAD_PARAM);
    EXPECT_FALSE(TRXTypeInfo::find("M::B"));
    EXPECT_EQ(halves.now(), stubOnly);
}

TEST(Registry, searchesBasesDepthFirstAndTheNearestDefinitionWins) {
    const struct {
        const char* name;
        std::vector<TRXMethod> table;
        const char* bases[2]; // a list ends at its first null
        const char* methods;  // found for own, shared, both, known and any, which is in no table
        const char* ancestors;
    } rows[] = {
        {"Top", {{"own", sk[0]}, {"shared", sk[0]}}, {}, "Top0 Top0 - - -", ""},
        {"Left", {{"shared", sk[1]}, {"both", sk[1]}}, {"Top"}, "Top0 Left1 Left1 - -", "Top "},
        {"Right", {{"own", sk[2]}, {"both", sk[2]}, {"known", sk[2]}}, {}, "Right2 - Right2 Right2 -", ""},
        {"Low", {{"shared", sk[3]}}, {"Left", "Right"}, "Top0 Low3 Left1 Right2 -", "Top Left Right "},
        // A first entry of this name takes every operation, of its own type only.
        {"Any", {{"__dynamic", sk[0]}, {"known", sk[1]}}, {nullptr, "Top"}, "Any0 Any0 Any0 Any1 Any0", ""},
        {"Plain", {}, {"Any"}, "- - - Any1 -", "Any "},
        {"Second", {{"known", sk[2]}, {"__dynamic", sk[3]}}, {}, "- - - Second2 -", ""},
        {"Longer", {{"__dynamics", sk[4]}}, {}, "- - - - -", ""},
    };
    std::deque<CORBA_TypeInfo> types, skeletons;
    const auto find = [](const char* name) { return name ? CORBA_TypeInfo::lookup(name) : nullptr; };
    for (const auto& row : rows) {
        types.emplace_back(row.name, (std::string(row.name) + "-id").c_str(), makeStub, find(row.bases[0]),
                           find(row.bases[1]), nullptr);
        skeletons.emplace_back(row.name, static_cast<CORBA_ULong>(row.table.size()), row.table.data());
    }
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const CORBA_TypeInfo& type = *find(row.name);
        std::string methods, ancestors, ids;
        for (const char* operation : {"own", "shared", "both", "known", "any"})
            methods += (methods.empty() ? "" : " ") + found(*type.impl(), operation);
        for (const CORBA_TypeInfo& other : types) {
            const std::string name = std::string(other.name()) + " ";
            ancestors += type.is_a(&other, false) ? name : "";
            ids += &other != &type && type.impl()->hasId(other.id()) ? name : "";
            EXPECT_EQ(type.is_a(&other, true), &other == find(row.bases[0]));
        }
        EXPECT_EQ(methods, row.methods);
        EXPECT_EQ(ancestors, row.ancestors);
        EXPECT_EQ(ids, row.ancestors);
    }
    EXPECT_TRUE(find("Low")->is_a(&skeletons.front(), false)); // either handle is the type
}

TEST(Registry, makesStubsByTheFactoryOfTheUserFirst) {
    const CORBA_TypeInfo type("T", "IDL:T:1.0", makeStub), noFactory("N", 0, nullptr);
    type.impl()->setUserFactory(makeServant);
    EXPECT_TRUE(CORBA_Object_var(type.impl()->createStub())->_is_local());
    type.impl()->setUserFactory(nullptr);
    EXPECT_FALSE(CORBA_Object_var(type.impl()->createStub())->_is_local());
    EXPECT_DEATH(noFactory.impl()->createStub(), "\"_factory != __null\" failed in vtinfo");
    noFactory.impl()->setUserFactory(makeServant);
    EXPECT_TRUE(noFactory.impl()->hasFactory());
}

TEST(Wrappers, comeFromTheListOfTheObjectsSide) {
    const TRXObjectFactory factories[] = {makeStub, makeServant};
    const CORBA_TypeInfo both("B", "IDL:B:1.0", wrapAll, makeStub, factories, 2, factories + 1, 1, nullptr);
    const CORBA_TypeInfo client("C", "IDL:C:1.0", wrapAll, makeStub, 1, factories + 1, nullptr);
    const CORBA_TypeInfo edited("E", "IDL:E:1.0", wrapAll, makeStub, nullptr, 0, nullptr, 0, nullptr);
    for (const TRXObjectFactory factory : {makeStub, makeServant, makeStub})
        edited.impl()->addFactory(factory, true);
    edited.impl()->removeFactory(makeStub, false); // not in that list
    edited.impl()->removeFactory(makeStub, true);  // one of two
    const auto bothSides = [](const CORBA_TypeInfo& type) {
        return wrapped(*type.impl(), makeStub) + " " + wrapped(*type.impl(), makeServant);
    };
    EXPECT_EQ(bothSides(both), "wsS wS");
    EXPECT_EQ(bothSides(client), "wS =w");
    EXPECT_EQ(bothSides(edited), "wSs =w");

    EXPECT_TRUE(CORBA_Object_var(client.createWrappedStub())->_is_local()); // in place of the stub
    client.impl()->setWrapper(nullptr);
    EXPECT_EQ(CORBA_Object_var(client.createWrappedStub())->_ref_count(), 1u);
    EXPECT_EQ(PlainServant::alive + PlainStub::alive, 0);
}

class Wrapped : public virtual CORBA_Object {
public:
    TRX_INTERFACE(Wrapped, CORBA_Object)
    ~Wrapped() override { --alive; }

    static inline int alive = 0;
    static const CORBA_TypeInfo _type;

private:
    const int number_ = ++alive;
};
CORBA_Object* wrapInOther(TRXObjectFactoryList&, CORBA_Object*) { return harbolance::makeStub<Wrapped>(); }
const CORBA_TypeInfo Wrapped::_type("W", "IDL:W:1.0", wrapInOther, harbolance::makeStub<Wrapped>, nullptr, 0,
                                    nullptr, 0);

TEST(Wrappers, takeThePlaceOfTheStubThatNarrowingMakes) {
    const CORBA_Object_var plain = new PlainStub;
    IOP::IOR reference;
    reference.type_id = "IDL:W:1.0";
    plain->_object_impl()->stub->bind(reference, false);
    {
        const TRXVar<Wrapped> narrowed = Wrapped::_narrow(plain);
        ASSERT_TRUE(narrowed.in());
        EXPECT_EQ(Wrapped::alive, 1);
    }
    EXPECT_EQ(Wrapped::alive, 0);
}

} // namespace
