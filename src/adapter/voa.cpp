#include "adapter/voa.h"

#include "adapter/adapter_factory.h"
#include "adapter/skel_info.h"
#include "adapter/vgsrv.h"
#include "marshal/reference/vutil.h"
#include "net/dispatcher.h"
#include "object/global_table.h"

#include <utility>

// The life of an adapter, and how objects enter and leave its tables. How an object is found by its key is in
// adapter_lookup.cpp.

using namespace harbolance;

namespace {

TRXList<TRXAdapter*>& allAdapters() {
    static auto& list = *new TRXList<TRXAdapter*>; // static adapters leave it when the process ends
    return list;
}

constinit TRXAdapter* defaultAdapter = nullptr;
constinit CORBA_ULong activeAdapters = 0;
constinit ObjectAnnouncer::Make makeAnnouncer = nullptr;
constinit ActivationDaemon* activationDaemon = nullptr;

ActivationDaemon& daemon() {
    if (!activationDaemon)
        throw CORBA_NO_IMPLEMENT();
    return *activationDaemon;
}

TRXSkelInfo& skelOf(const CORBA_Object* object) {
    TRXSkelInfo* skel = TRXSkelInfo::of(object);
    if (!skel)
        throw CORBA_BAD_PARAM();
    return *skel;
}

} // namespace

void ObjectAnnouncer::install(Make make) { makeAnnouncer = make; }
std::unique_ptr<ObjectAnnouncer> ObjectAnnouncer::make(CORBA_BOA* adapter) {
    return makeAnnouncer ? makeAnnouncer(adapter) : nullptr;
}
void ActivationDaemon::install(ActivationDaemon* daemon) { activationDaemon = daemon; }

// --- Life --------------------------------------------------------------------------------------------------

TRXAdapter::TRXAdapter(const char* id, bool agent) : _id(id) {
    allAdapters().append(this);
    defaultAdapter = this;
    if (agent)
        _announcer = ObjectAnnouncer::make(this);
}

// Objects that outlive the adapter must not refer to it. Servants may be destroyed here, so the tables that
// hold references are cleared first.
TRXAdapter::~TRXAdapter() {
    _objects.each([this](CORBA_Object* object) {
        TRXSkelInfo::of(object)->adapters.remove(this);
        TRXSkelInfo::of(object)->drop_ior();
    });
    allAdapters().remove(this);
    for (TRXAdapter* other : allAdapters()) {
        other->_children.remove(this);
        if (other->_child == this)
            other->_child = nullptr;
        if (other->_parent == this)
            other->_parent = nullptr;
    }
    TRXGlobalTable& table = *TRXGlobalTable::instance();
    if (table.currentBOA == this)
        table.currentBOA = nullptr;
    const auto services = std::exchange(_services, {});
    services.each([](const TRXRef<TRXActivatorHelper>& helper) { helper->adapter_gone(); });
    const auto activators = std::exchange(_activators, {});
    activators.each([](TRXImplHelper* proxy) { CORBA_release(proxy); });
    if (defaultAdapter == this)
        defaultAdapter = allAdapters().count() > 0 ? allAdapters().at(allAdapters().count() - 1) : nullptr;
    if (_state == active)
        --activeAdapters;
}

TRXAdapter* TRXAdapter::default_adapter() { return defaultAdapter; }
CORBA_ULong TRXAdapter::active_count() { return activeAdapters; }

void TRXAdapter::activate() {
    if (_state != made)
        return;
    _state = active;
    ++activeAdapters;
}

void TRXAdapter::deactivate() {
    if (_state != active)
        return;
    _state = deactivated;
    --activeAdapters;
}

void TRXAdapter::parse(int& argc, char** argv, const char* prefix) {
    TRXPropertyList::parse(argc, argv, prefix);
    if (!flag("OAagent").value_or(true))
        _announcer.reset();
    else if (!_announcer)
        _announcer = ObjectAnnouncer::make(this);
    if (const auto cacheTarget = number("OAcacheTarget"))
        _cacheTarget = *cacheTarget != 0;
    TRXGlobalTable& table = *TRXGlobalTable::instance();
    if (const auto port = property("OAproxyPort"))
        table.put("OAproxyPort", port->c_str());
    if (const auto host = property("OAproxyIPAddr"))
        table.put("OAproxyIPaddr", host->c_str());
}

void TRXAdapter::activation_policy(CORBA_ULong policy) {
    _activation_policy = policy;
    for (TRXAdapter* child : _children)
        child->activation_policy(policy);
}

void TRXAdapter::add_child(TRXAdapter* adapter) {
    _children.append(adapter);
    adapter->_parent = this;
    adapter->_child = nullptr;
    _child = adapter;
    adapter->nested(1);
}

void TRXAdapter::remove_child(TRXAdapter* adapter) { _children.remove(adapter); }

[[gnu::hot]] void TRXAdapter::run() {
    dpDispatcher& loop = *dpDispatcher::instance();
    while (!AllAdapters::instance().shuttingDown())
        loop.dispatch();
    while (is_active())
        loop.dispatch();
}

// --- Objects enter -----------------------------------------------------------------------------------------

void TRXAdapter::obj_is_ready(CORBA_Object* object, CORBA_ImplementationDef* definition) {
    if (!object) {
        if (!definition)
            throw CORBA_BAD_PARAM();
        const CORBA_Object_var proxy(new TRXImplHelper(*definition));
        register_proxy(static_cast<TRXImplHelper*>(proxy.in()));
        return;
    }
    for (TRXAdapter* child : _children)
        child->obj_is_ready(object, definition);
    skelOf(object);
    _register_object(object);
    announce(object);
}

void TRXAdapter::announce(CORBA_Object* object) {
    if (!_nested && _announcer && skelOf(object).style == SkelHalf::persistent)
        _announcer->register_object(object);
}

void TRXAdapter::register_proxy(TRXImplHelper* proxy) {
    for (TRXAdapter* child : _children)
        child->register_proxy(proxy);
    if (_activators.has(proxy->proxy_id()))
        return;
    _activators.insert(proxy->proxy_id(), proxy);
    CORBA_Object::_duplicate(proxy);
    _register_object(proxy);
    announce(proxy);
}

void TRXAdapter::_register_object(CORBA_Object* object) {
    TRXSkelInfo& skel = skelOf(object);
    if (_objects.has(skel.id()))
        return;
    if (!skel.type)
        skel.type = object->_type_info();
    skel.fix_full_id();
    const TRXObjectId& id = skel.full_id();
    _objects.insert(skel.id(), object);
    switch (id.type()) {
    case TRXObjectId::ID_PERSISTENT:
        _types.add(*skel.type, static_cast<const TRXPersistentId&>(id).object_name(), object);
        break;
    case TRXObjectId::ID_SERVICE: register_service(skel); break;
    default: _objects.insert(id, object); break;
    }
    if (const auto synch = flag("OAsynch"))
        skel.synch = *synch;
    skel.adapters.append(this);
    skel.ready = true;
    skel.drop_ior();
}

void TRXAdapter::register_service(TRXSkelInfo& skel) {
    const auto& id = static_cast<const TRXServiceId&>(skel.full_id());
    if (_services.has(id))
        return;
    TRXImplHelper* proxy = service_proxy(id.service_name());
    if (!proxy) {
        _objects.remove(skel.id());
        throw CORBA_OBJECT_NOT_EXIST();
    }
    const TRXRef<TRXActivatorHelper> helper(new TRXActivatorHelper(id, proxy, this, skel.object()));
    _services.insert(helper->service_id(), helper);
    skel.helpers.append(helper);
}

// --- Objects leave -----------------------------------------------------------------------------------------

void TRXAdapter::deactivate_obj(CORBA_Object* object) {
    if (!object)
        throw CORBA_BAD_PARAM();
    if (_state == deactivated)
        return;
    ++_generation;
    // A service's record may hold the last reference.
    const CORBA_Object_var kept(CORBA_Object::_duplicate(object));
    TRXSkelInfo& skel = skelOf(object);
    for (TRXAdapter* child : _children) {
        // When the object is being destroyed, it may already have been removed from a child.
        if (child->_objects.has(skel.id()))
            child->deactivate_obj(object);
    }
    unregister(skel);
}

// Removes a servant from the tables, and takes it out of service when it is in no other adapter.
void TRXAdapter::unregister(TRXSkelInfo& skel) {
    _objects.remove(skel.id());
    leave_tables(skel);
    if (_announcer && skel.full_id().type() == TRXObjectId::ID_PERSISTENT)
        _announcer->unregister_object(skel.object());
    skel.adapters.remove(this);
    skel.drop_ior();
    if (!skel.is_in_adapter())
        skel.deactivate();
}

// Uses the id under which the servant entered the tables.
void TRXAdapter::leave_tables(TRXSkelInfo& skel) {
    const TRXObjectId& id = skel.full_id();
    switch (id.type()) {
    case TRXObjectId::ID_PERSISTENT:
        _types.remove(*skel.type, static_cast<const TRXPersistentId&>(id).object_name());
        break;
    case TRXObjectId::ID_SERVICE:
        // The record may belong to another servant with this id.
        if (const auto helper = _services.find(id); helper && helper->serves(skel.object()))
            helper->taken_back();
        break;
    default: _objects.discard(id); break;
    }
}

void TRXAdapter::drop(TRXSkelInfo& skel) {
    ++_generation;
    if (_objects.has(skel.id())) {
        _objects.discard(skel.id());
        leave_tables(skel);
    }
    skel.adapters.remove(this);
    skel.drop_ior();
}

void TRXAdapter::deactivate_impl(CORBA_ImplementationDef* definition) {
    if (!definition)
        throw CORBA_BAD_PARAM();
    ++_generation;
    for (TRXAdapter* child : _children)
        child->deactivate_impl(definition);
    const CORBA_Object_var proxy(_activators.remove(*TRXImplHelper::id_of(*definition)));
    unregister(skelOf(proxy.in()));
}

void TRXAdapter::forget(TRXActivatorHelper& helper) {
    if (_services.find(helper.service_id()).get() == &helper)
        _services.remove(helper.service_id());
}

// --- Implementations ---------------------------------------------------------------------------------------

void TRXAdapter::impl_is_ready(CORBA_ImplementationDef* definition) {
    if (definition)
        obj_is_ready(nullptr, definition);
    run();
}

void TRXAdapter::impl_is_ready(const char* serviceName, Activator* activator, CORBA_Boolean block) {
    TRXEXT_ActivationImplDef definition("*", serviceName, CORBA_OctetSequence(), activator);
    obj_is_ready(nullptr, &definition);
    if (block)
        impl_is_ready(nullptr);
}

CORBA_Object* TRXAdapter::create(const CORBA_OctetSequence& id, CORBA_Object*,
                                 CORBA_ImplementationDef* definition) {
    const std::unique_ptr<TRXEXT_CreationImplDef> creation(TRXEXT_CreationImplDef::_narrow(definition));
    if (!creation)
        throw CORBA_BAD_PARAM();
    creation->id(id);
    try {
        return daemon().reg_implementation(*creation);
    } catch (const CORBA_Exception&) {
        return nullptr;
    }
}

void TRXAdapter::dispose(CORBA_Object* object) {
    if (!object)
        throw CORBA_BAD_PARAM();
    if (!TRXSkelInfo::of(object))
        throw CORBA_NO_PERMISSION();
    const CORBA_Object_var kept(CORBA_Object::_duplicate(object));
    deactivate_obj(object);
    daemon().unreg_implementation(object->_interface_name(), object->_object_name());
}

void TRXAdapter::change_implementation(CORBA_Object* object, CORBA_ImplementationDef* definition) {
    const std::unique_ptr<TRXEXT_CreationImplDef> to(TRXEXT_CreationImplDef::_narrow(definition));
    if (!object || !to)
        throw CORBA_BAD_PARAM();
    TRXSkelInfo* skel = TRXSkelInfo::of(object);
    const std::unique_ptr<TRXEXT_CreationImplDef> from(
        TRXEXT_CreationImplDef::_narrow(skel ? skel->impl.get() : nullptr));
    if (!from)
        throw CORBA_NO_IMPLEMENT();
    daemon().change_implementation(*from, *to);
}

CORBA_OctetSequence* TRXAdapter::get_id(CORBA_Object* object) {
    const TRXSkelInfo& skel = skelOf(object);
    return skel.impl ? new CORBA_OctetSequence(skel.impl->id()) : nullptr;
}

CORBA_OctetSequence* TRXAdapter::get_principal() {
    const TRXGlobalTable& table = *TRXGlobalTable::instance();
    if (table.principal.in())
        return CORBA_OctetSequence::_duplicate(table.principal.in());
    return CORBA_Object::_default_principal();
}
