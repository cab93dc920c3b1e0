#include "object/vtypeinf.h"

#include "base/assertion.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

using namespace harbolance;

namespace {

bool tracing() {
    static const bool on = std::getenv("DEBUG_STATIC") != nullptr;
    return on;
}

void traceName(const char* name) {
    // The first registrations run before the standard streams of this unit are set up.
    static const std::ios_base::Init streams;
    std::cout << "Static initializating class: " << (name ? name : "(null)") << "\n";
}

void traceBases(std::span<const CORBA_TypeInfo* const> bases) {
    if (bases.empty())
        return;
    std::cout << "The class has the following base:\n";
    for (const CORBA_TypeInfo* base : bases) {
        if (base->name())
            std::cout << "'" << base->name() << "'\n";
        else
            std::cout << "(null)\n";
    }
    std::cout << "\n";
}

} // namespace

CORBA_TypeInfo::CORBA_TypeInfo(const char* name, CORBA_ULong methodCount, const TRXMethod* methods) {
    tracing(); // whichever half comes first reads the variable, and this one is never traced
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
    return wrapped == stub.in() ? CORBA_Object::_duplicate(wrapped) : wrapped;
}
