#include "object/vtypeinf.h"

#include "base/assertion.h"
#include "base/standard_streams.h"
#include "marshal/exception/vexcept.h"
#include "object/vobject.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace harbolance;

namespace {

struct Dictionaries {
    KeyedTable<TRXTypeInfo*, &TRXTypeInfo::name> byName{16};
    KeyedTable<TRXTypeInfo*, &TRXTypeInfo::id> byId{16};
};

// Made by the first registration or look-up and never destroyed, because static handles of any file are
// removed from the dictionaries while the process ends.
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
    const std::string_view key = text ? text : "";
    TRXTypeInfo** found = dictionaries().byName.find(key);
    if (!found)
        found = dictionaries().byId.find(key);
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
    // Checked before any change: static objects of two libraries may register the same interface.
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
    // The handle's half was refused or has been replaced.
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
        // Cleared, since the handles of the bases may be in libraries that are unloaded next.
        _bases.clear();
    }
    if (_skeleton_owner == handle)
        setMethods(0, nullptr);
    // The merged table refers to the half being removed; it is built again when needed.
    _methods_by_name.reset();
}

bool TRXTypeInfo::hasId(const char* id) const {
    if (!_registered)
        return false;
    if (CORBA_string_compare(_id.in(), id) == 0)
        return true;
    return std::any_of(_bases.begin(), _bases.end(),
                       [id](const CORBA_TypeInfo* base) { return base->impl() && base->impl()->hasId(id); });
}

[[gnu::hot]] TRXSkeleton TRXTypeInfo::findMethod(const char* operation, const CORBA_TypeInfo*& out) {
    // Built at the first request, when all static objects exist, whatever the order of the files.
    if (!_methods_by_name)
        mergeMethodsInto(_methods_by_name.emplace(16));
    if (const auto* found = _methods_by_name->find(operation)) {
        out = found->type->_owner;
        return found->skeleton;
    }
    if (_methods.empty() || std::strcmp(_methods.front().operation, "__dynamic") != 0)
        return nullptr;
    out = _owner;
    return _methods.front().skeleton;
}

// Adds the operations depth first. `insert` keeps an existing entry, so the first definition found hides
// later ones.
void TRXTypeInfo::mergeMethodsInto(MethodTable& table) const {
    for (const TRXMethod& method : _methods)
        table.insert({method.operation, method.skeleton, this});
    for (const CORBA_TypeInfo* base : _bases) {
        // Null for a base whose static object has not been constructed.
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

namespace {

bool tracing() {
    // Read once, because the program may change its environment later.
    static const bool on = std::getenv("DEBUG_STATIC") != nullptr;
    return on;
}

void traceName(const char* name) {
    // Registrations run in static constructors, possibly before those of the standard streams.
    standardOutput() << "Static initializating class: " << (name ? name : "(null)") << "\n";
}

void traceBases(std::span<const CORBA_TypeInfo* const> bases) {
    if (bases.empty())
        return;
    standardOutput() << "The class has the following base:\n";
    for (const CORBA_TypeInfo* base : bases) {
        if (base->name())
            standardOutput() << "'" << base->name() << "'\n";
        else
            standardOutput() << "(null)\n";
    }
    standardOutput() << "\n";
}

} // namespace

CORBA_TypeInfo::CORBA_TypeInfo(const char* name, CORBA_ULong methodCount, const TRXMethod* methods) {
    tracing(); // the first registration of the process reads the variable; skeleton halves are not traced
    _impl = TRXTypeInfo::findOrMake(name);
    _impl->setMethods(methodCount, methods, this);
}

void CORBA_TypeInfo::registerStub(const char* name, const char* id, TRXObjectFactory stubFactory,
                                  BaseList bases) {
    if (tracing()) {
        traceName(name);
        traceBases(bases);
    }
    _impl = TRXTypeInfo::findOrMake(name);
    _impl->registerStub(this, id, stubFactory, std::move(bases));
}

CORBA_TypeInfo::~CORBA_TypeInfo() {
    if (_impl)
        _impl->withdraw(this);
}

CORBA_TypeInfo::BaseList CORBA_TypeInfo::list(std::initializer_list<const CORBA_TypeInfo*> bases) {
    // Generated code may end its list of bases with a null.
    return {bases.begin(), std::find(bases.begin(), bases.end(), nullptr)};
}

void CORBA_TypeInfo::_init(const char* name, const char* id, TRXWrapFunction wrap,
                           TRXObjectFactory stubFactory, CORBA_ULong clientCount,
                           const TRXObjectFactory* clientList, CORBA_ULong serverCount,
                           const TRXObjectFactory* serverList, CORBA_ULong baseCount,
                           const CORBA_TypeInfo* const* bases) {
    registerStub(name, id, stubFactory, {bases, bases + baseCount});
    _impl->setWrapper(wrap);
    for (TRXObjectFactory factory : std::span(serverList, serverCount))
        _impl->addFactory(factory, false);
    for (TRXObjectFactory factory : std::span(clientList, clientCount))
        _impl->addFactory(factory, true);
}

const CORBA_TypeInfo* CORBA_TypeInfo::lookup(const char* text) {
    const TRXRef<TRXTypeInfo> found = TRXTypeInfo::find(text);
    return found ? found->owner() : nullptr;
}

bool CORBA_TypeInfo::is_a(const CORBA_TypeInfo* base, bool firstOnly) const {
    if (!_impl || _impl->bases().empty())
        return false;
    const auto bases = _impl->bases();
    if (firstOnly)
        return *bases.front() == *base;
    return std::any_of(bases.begin(), bases.end(), [base](const CORBA_TypeInfo* direct) {
        return *direct == *base || direct->is_a(base, false);
    });
}

CORBA_Object* CORBA_TypeInfo::createWrappedObject(CORBA_Object* object) const {
    if (!_impl)
        assertionFailed("_impl != __null", "vtypeinf", __LINE__);
    return _impl->createWrappedObject(object);
}

CORBA_Object* CORBA_TypeInfo::createWrappedStub() const {
    if (!_impl)
        assertionFailed("_impl != __null", "vtypeinf", __LINE__);
    const CORBA_Object_var stub = _impl->createStub();
    CORBA_Object* wrapped = createWrappedObject(stub);
    // `stub` releases its reference on return, so the caller gets another one.
    return wrapped == stub.in() ? CORBA_Object::_duplicate(wrapped) : wrapped;
}

const CORBA_TypeInfo CORBA_Current_type("CORBA::Current", "IDL:omg.org/CORBA/Current:1.0", nullptr);
