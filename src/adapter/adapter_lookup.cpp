#include "adapter/skel_info.h"
#include "adapter/voa.h"
#include "marshal/reference/vutil.h"

// How an adapter finds an object and makes references to it.

using namespace harbolance;

CORBA_Object* TRXAdapter::find(const CORBA_OctetSequence& key) {
    TargetCache cache;
    bool fromCache = false;
    return find(key, cache, fromCache);
}

[[gnu::hot]] CORBA_Object* TRXAdapter::find(const CORBA_OctetSequence& key, TargetCache& cache,
                                            bool& fromCache) {
    fromCache = _cacheTarget && cache.object && cache.generation == _generation && cache.key == key;
    if (fromCache)
        return CORBA_Object::_duplicate(cache.object);
    const TRXRef<TRXObjectId> id(TRXUtil::id_from_key(key));
    if (!id)
        return nullptr;
    if (id->type() == TRXObjectId::ID_SERVICE)
        return find_service(static_cast<const TRXServiceId&>(*id));
    CORBA_Object* found = look_up(*id);
    if (found && _cacheTarget) {
        cache.key = key;
        cache.object = found;
        cache.generation = _generation;
    }
    return CORBA_Object::_duplicate(found);
}

CORBA_Object* TRXAdapter::look_up(const TRXObjectId& id) {
    if (id.type() == TRXObjectId::ID_PERSISTENT) {
        const auto& named = static_cast<const TRXPersistentId&>(id);
        return _types.find(named.rep_id(), named.object_name());
    }
    CORBA_Object* found = _objects.find(id);
    if (!found)
        throw CORBA_OBJECT_NOT_EXIST();
    return found;
}

TRXImplHelper* TRXAdapter::service_proxy(const char* serviceName) const {
    const TRXRef<TRXServiceId> id(new TRXServiceId(serviceName, CORBA_OctetSequence()));
    return _activators.find(*id);
}

CORBA_Object* TRXAdapter::find_service(const TRXServiceId& id) {
    TRXRef<TRXActivatorHelper> helper = _services.find(id);
    if (!helper) {
        TRXImplHelper* proxy = service_proxy(id.service_name());
        if (!proxy)
            return nullptr;
        helper = TRXRef<TRXActivatorHelper>(new TRXActivatorHelper(id, proxy, this, nullptr));
        _services.insert(helper->service_id(), helper);
    }
    try {
        return helper->servant();
    } catch (...) {
        // An id for which the activator has no servant is removed again, so that clients cannot fill the
        // table with them.
        if (helper->state() == TRXActivatorHelper::INACTIVE)
            forget(*helper);
        throw;
    }
}

CORBA_Boolean TRXAdapter::is_ready(CORBA_Object* object) {
    TRXSkelInfo* skel = TRXSkelInfo::of(object);
    if (!skel)
        throw CORBA_BAD_PARAM();
    return _objects.has(skel->full_id());
}

IOP::IOR* TRXAdapter::ior(CORBA_Object* object) {
    TRXSkelInfo* skel = TRXSkelInfo::of(object);
    if (!skel)
        throw CORBA_BAD_PARAM();
    return reference(object, skel->full_id());
}

IOP::IOR* TRXAdapter::short_ior(CORBA_Object* object) {
    TRXSkelInfo* skel = TRXSkelInfo::of(object);
    if (!skel)
        throw CORBA_BAD_PARAM();
    return reference(object, skel->id());
}

IOP::IOR* TRXAdapter::reference(CORBA_Object* object, const TRXObjectId& id) {
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(id));
    const std::unique_ptr<IOP::TaggedProfile> profile(this->profile(*key));
    auto ior = std::make_unique<IOP::IOR>();
    ior->type_id = static_cast<const char*>(object->_interface_name());
    ior->profiles.length(1);
    ior->profiles[0] = *profile;
    return ior.release();
}

TRXList<CORBA_Object*>* TRXAdapter::objects() const {
    auto list = std::make_unique<TRXList<CORBA_Object*>>();
    _objects.each([&list](CORBA_Object* object) {
        if (TRXSkelInfo::of(object)->style != SkelHalf::transient)
            list->append(CORBA_Object::_duplicate(object));
    });
    return list.release();
}
