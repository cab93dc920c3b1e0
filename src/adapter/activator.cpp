#include "adapter/activator.h"

#include "adapter/skel_info.h"
#include "adapter/voa.h"
#include "base/assertion.h"

#include <cstring>
#include <memory>

using namespace harbolance;

Activator::~Activator() = default;

namespace {

// The type of proxies whose interface this process does not know, such as those of services, which are
// requested as "*".
const CORBA_TypeInfo unknownImplementation("*", "*", nullptr);

} // namespace

// --- The proxy ---------------------------------------------------------------------------------------------

TRXRef<TRXObjectId> TRXImplHelper::id_of(const CORBA_ImplementationDef& definition) {
    if (std::strcmp(definition.interface_name(), "*") == 0)
        return TRXRef<TRXObjectId>(new TRXServiceId(definition.object_name(), definition.id()));
    return TRXRef<TRXObjectId>(new TRXPersistentId(definition.interface_name(), definition.object_name()));
}

TRXImplHelper::TRXImplHelper(const CORBA_ImplementationDef& definition)
    : _type(CORBA_TypeInfo::lookup(definition.interface_name())), _proxy_id(id_of(definition)) {
    TRXSkelInfo& skel = *TRXSkelInfo::of(this);
    skel.impl.reset(definition._clone());
    skel.name = definition.object_name();
    if (!_type)
        _type = &unknownImplementation;
}

TRXImplHelper::~TRXImplHelper() {
    if (!_target.in())
        return;
    const std::unique_ptr<TRXEXT_ActivationImplDef> definition(
        TRXEXT_ActivationImplDef::_narrow(TRXSkelInfo::of(this)->impl.get()));
    if (!definition || !definition->activator())
        return;
    try {
        definition->activator()->deactivate(CORBA_Object::_duplicate(_target.in()), definition.get());
    } catch (...) {
        // the proxy is destroyed nevertheless
    }
}

const CORBA_TypeInfo* TRXImplHelper::_type_info() const {
    return _target.in() ? _target->_type_info() : _type;
}

void* TRXImplHelper::_cast(const CORBA_TypeInfo* target) {
    if (!_target.in()) {
        CORBA_Object_var made(activate(nullptr));
        if (made.in() && !TRXSkelInfo::of(made.in()))
            throw CORBA_BAD_PARAM(); // only an object of this process can be called here
        _target = made;
    }
    return _target.in() ? _target->_cast(target) : nullptr;
}

CORBA_Object* TRXImplHelper::activate(const CORBA_OctetSequence* id) const {
    const std::unique_ptr<TRXEXT_ActivationImplDef> definition(
        TRXEXT_ActivationImplDef::_narrow(TRXSkelInfo::of(this)->impl.get()));
    if (!definition || !definition->activator())
        return nullptr;
    if (id)
        definition->id(*id);
    return definition->activator()->activate(definition.get());
}

// --- The record of a service id ----------------------------------------------------------------------------

TRXActivatorHelper::TRXActivatorHelper(const TRXServiceId& id, TRXImplHelper* proxy, TRXAdapter* adapter,
                                       CORBA_Object* target)
    : _target(CORBA_Object::_duplicate(target)), _proxy(CORBA_Object::_duplicate(proxy)),
      _state(target ? ACTIVE : INACTIVE), _service_id(new TRXServiceId(id.service_name(), id.service_id())),
      _adapter(adapter) {}

TRXActivatorHelper::~TRXActivatorHelper() = default;

CORBA_Object* TRXActivatorHelper::servant() {
    if (_state == INACTIVE) {
        // Held, because the activator may take the record out of use.
        const auto self = TRXRef<TRXActivatorHelper>::duplicate(this);
        CORBA_Object_var made(static_cast<TRXImplHelper*>(_proxy.in())->activate(&service_id().service_id()));
        TRXSkelInfo* skel = TRXSkelInfo::of(made.in());
        if (!skel)
            throw CORBA_BAD_PARAM();
        // Skipped when the activator has requested this same object, and so has already activated it.
        if (_state == INACTIVE) {
            skel->helpers.append(self);
            _target = made;
            _state = ACTIVE;
        }
    }
    if (_state != ACTIVE)
        throw CORBA_OBJECT_NOT_EXIST();
    return CORBA_Object::_duplicate(_target.in());
}

// In all of these the target is released last, because with its last reference the servant calls its records.

void TRXActivatorHelper::taken_back() {
    _state = DEACTIVATED;
    _target = CORBA_Object::_nil();
}

void TRXActivatorHelper::adapter_gone() {
    _adapter = nullptr;
    _state = DESTROYED;
    _target = CORBA_Object::_nil();
}

void TRXActivatorHelper::going_out_of_service() {
    if (_state == DEACTIVATED || _state == DESTROYED)
        return;
    _state = DEACTIVATING;
    _target = CORBA_Object::_nil();
}

void TRXActivatorHelper::servant_destroyed() {
    if (_state == DEACTIVATED) {
        _state = DESTROYED;
        _adapter->forget(*this);
    } else if (_state != DESTROYED) {
        _state = INACTIVE;
    }
    _target = CORBA_Object::_nil();
}
