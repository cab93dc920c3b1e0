#include "orb/module_registry.h"

#include "base/hash_table.h"
#include "base/list.h"

using namespace harbolance;

namespace {

struct TRXInitStruct {
    TRXInit* initializer = nullptr;
    long priority = -100;

    bool operator==(const TRXInitStruct& other) const { return initializer == other.initializer; }
};

template <class T>
using ByName = KeyedTable<T*, &T::name>;
using ByKey = KeyedTable<TRXORBFactory*, &TRXORBFactory::key>;

// Plain pointers with constant initialisation, so that static constructors and destructors of any file can
// use them in any order.
constinit TRXList<TRXInitStruct>* initializers = nullptr;
constinit ByName<TRXResolver>* TRXResolver_dict = nullptr;
constinit ByName<TRXORBFactory>* factoriesByName = nullptr;
constinit ByKey* factoriesByKey = nullptr;

template <class Traits, class T>
void enter(HashTable<Traits>*& registry, T* object) {
    if (!registry)
        registry = new HashTable<Traits>(16);
    // insert() returns the existing entry, which the later object replaces.
    *registry->insert(object).entry = object;
}

// Does nothing when a later object of the same name has replaced this one.
template <class Traits, class T>
void leave(HashTable<Traits>*& registry, T* object) {
    T** found = registry ? registry->find(object) : nullptr;
    if (!found || *found != object)
        return;
    registry->take(object);
    // A registry without members is deleted, because anyExists() tests the pointer.
    if (registry->size() > 0)
        return;
    delete registry;
    registry = nullptr;
}

template <class Traits, class Probe>
typename Traits::Entry lookUp(HashTable<Traits>* registry, const Probe& probe) {
    const auto* found = registry ? registry->find(probe) : nullptr;
    return found ? *found : nullptr;
}

} // namespace

TRXInit::TRXInit(long priority) {
    if (!initializers)
        initializers = new TRXList<TRXInitStruct>;
    uint32_t index = 0;
    // Inserted behind all of the same priority, so that these keep their order.
    while (index < initializers->count() && initializers->at(index).priority <= priority)
        ++index;
    initializers->insert(index, {this, priority});
}

TRXInit::~TRXInit() {
    // The entry is found by its address; the priority is not compared.
    initializers->remove({this, 0});
    if (initializers->count() > 0)
        return;
    delete initializers;
    initializers = nullptr;
}

void TRXInit::ORB_init(int&, char**, CORBA_ORB*) {}

void TRXInit::BOA_init(int&, char**, CORBA_BOA*) {}

void TRXInit::initializeAll(int& argc, char** argv, CORBA_ORB* orb) {
    // The registry is tested in each pass, because a hook may add or remove initialisers, for example by
    // loading a library.
    for (uint32_t i = 0; initializers && i < initializers->count(); ++i)
        initializers->at(i).initializer->ORB_init(argc, argv, orb);
}

void TRXInit::initializeAll(int& argc, char** argv, CORBA_BOA* boa) {
    for (uint32_t i = 0; initializers && i < initializers->count(); ++i)
        initializers->at(i).initializer->BOA_init(argc, argv, boa);
}

TRXResolver::TRXResolver(const char* name) : _name(name) { enter(TRXResolver_dict, this); }

TRXResolver::~TRXResolver() { leave(TRXResolver_dict, this); }

bool TRXResolver::anyExists() { return TRXResolver_dict != nullptr; }

TRXResolver* TRXResolver::find(std::string_view name) { return lookUp(TRXResolver_dict, name); }

std::vector<std::string> TRXResolver::names() {
    std::vector<std::string> result;
    if (!TRXResolver_dict)
        return result;
    const auto& registry = *TRXResolver_dict;
    for (uint32_t i = registry.next(0); i < registry.capacity(); i = registry.next(i + 1))
        result.push_back(registry.slot(i)->name());
    return result;
}

TRXORBFactory::TRXORBFactory(const char* name, CORBA_Long key) : _name(name), _key(key) {
    enter(factoriesByName, this);
    enter(factoriesByKey, this);
}

TRXORBFactory::~TRXORBFactory() {
    leave(factoriesByName, this);
    leave(factoriesByKey, this);
}

TRXORBFactory* TRXORBFactory::find(std::string_view name) { return lookUp(factoriesByName, name); }

TRXORBFactory* TRXORBFactory::find(CORBA_Long key) { return lookUp(factoriesByKey, key); }
