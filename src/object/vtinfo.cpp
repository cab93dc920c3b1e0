#include "object/vtinfo.h"

#include "base/assertion.h"
#include "object/vtypeinf.h"

#include <algorithm>
#include <cstring>

using namespace harbolance;

namespace {

template <const char* (TRXTypeInfo::*key)() const>
struct ByKey : GrowAtNineTenths {
    using Entry = TRXTypeInfo*;
    static bool isFree(const TRXTypeInfo* entry) { return !entry; }
    static uint32_t hash(const char* text) { return CORBA_string_hash(text); }
    static uint32_t hash(const TRXTypeInfo* entry) { return hash((entry->*key)()); }
    static bool equal(const TRXTypeInfo* stored, const char* text) {
        return CORBA_string_compare((stored->*key)(), text) == 0;
    }
    static bool equal(const TRXTypeInfo* stored, const TRXTypeInfo* entry) {
        return equal(stored, (entry->*key)());
    }
};

struct Dictionaries {
    HashTable<ByKey<&TRXTypeInfo::name>> byName{16};
    HashTable<ByKey<&TRXTypeInfo::id>> byId{16};
};

// Made by the first registration or look-up and never destroyed: handles leave it until the process has
// ended.
Dictionaries& dictionaries() {
    static auto* const made = new Dictionaries;
    return *made;
}

} // namespace

TRXTypeInfo::~TRXTypeInfo() {
    dictionaries().byName.take(name());
    if (_registered)
        dictionaries().byId.take(id());
}

TRXRef<TRXTypeInfo> TRXTypeInfo::find(const char* text) {
    TRXTypeInfo** found = dictionaries().byName.find(text);
    if (!found)
        found = dictionaries().byId.find(text);
    return found ? TRXRef<TRXTypeInfo>::duplicate(*found) : TRXRef<TRXTypeInfo>();
}

TRXRef<TRXTypeInfo> TRXTypeInfo::findOrMake(const char* name) {
    TRXRef<TRXTypeInfo> entry = find(name);
    if (!entry) {
        entry = TRXRef<TRXTypeInfo>(new TRXTypeInfo(name));
        dictionaries().byName.insert(entry.get());
    }
    return entry;
}

void TRXTypeInfo::registerStub(const CORBA_TypeInfo* owner, const char* id, TRXObjectFactory factory,
                               std::vector<const CORBA_TypeInfo*> bases) {
    if (_registered || dictionaries().byId.find(id))
        throw CORBA_BAD_PARAM();
    _owner = owner;
    _id = id;
    _factory = factory;
    _registered = true;
    dictionaries().byId.insert(this);
    setBases(std::move(bases));
}

void TRXTypeInfo::withdraw(const CORBA_TypeInfo* handle) {
    if (_owner != handle && _skeleton_owner != handle)
        return;
    if (_owner == handle) {
        dictionaries().byId.take(id());
        _registered = false;
        _owner = nullptr;
        _factory = _user_factory = nullptr;
        _wrap = nullptr;
        _client_factories = {};
        _server_factories = {};
        _bases.clear();
    }
    if (_skeleton_owner == handle)
        setMethods(0, nullptr);
    _methods_by_name.clear();
    _methods_built = false;
}

bool TRXTypeInfo::hasId(const char* id) const {
    if (!_registered)
        return false;
    if (CORBA_string_compare(_id.in(), id) == 0)
        return true;
    return std::any_of(_bases.begin(), _bases.end(),
                       [id](const CORBA_TypeInfo* base) { return base->impl() && base->impl()->hasId(id); });
}

TRXSkeleton TRXTypeInfo::findMethod(const char* operation, const CORBA_TypeInfo*& out) {
    if (!_methods_built) {
        mergeMethodsInto(_methods_by_name);
        _methods_built = true;
    }
    if (const auto* found = _methods_by_name.find(operation)) {
        out = found->type->_owner;
        return found->skeleton;
    }
    if (_methods.empty() || std::strcmp(_methods.front().operation, "__dynamic") != 0)
        return nullptr;
    out = _owner;
    return _methods.front().skeleton;
}

// Depth first, and what is in the table already stays: so the nearest definition wins.
void TRXTypeInfo::mergeMethodsInto(MethodTable& table) const {
    for (const TRXMethod& method : _methods)
        table.insert({method.operation, method.skeleton, this});
    for (const CORBA_TypeInfo* base : _bases) {
        if (base->impl())
            base->impl()->mergeMethodsInto(table);
    }
}

CORBA_Object* TRXTypeInfo::createStub() const {
    if (!hasFactory())
        assertionFailed("_factory != __null", "vtinfo", __LINE__);
    return _user_factory ? _user_factory() : _factory();
}

CORBA_Object* TRXTypeInfo::createWrappedObject(CORBA_Object* object) {
    return _wrap ? _wrap(factories(!object->_is_local()), object) : object;
}
