#include "location/object_finder.h"

#include "agent/session/dsuser.h"
#include "location/announcement.h"
#include "location/oad_client.h"
#include "marshal/reference/vutil.h"
#include "object/global_table.h"
#include "orb/orb_settings.h"

#include <cstring>

namespace harbolance {

namespace {

constexpr int questionTimeout = 60; // seconds
constexpr const char* oadInterface = "Activation::OAD";

bool isService(const char* repId) { return std::strcmp(repId, "*") == 0; }

NCRef<DSProvider> locate(DSUser& session, const std::string& key, int serviceType) {
    const NCRef<DSName> name = new DSName(key.c_str(), dsArgType, serviceType);
    int status = DSUser::done;
    return session.locate(name.get(), status, questionTimeout);
}

void setKey(IOP::IOR& ior, const CORBA_OctetSequence& key) {
    IIOP::ProfileBody body;
    TRXUtil::iiop_body(ior, body);
    body.object_key = key;
    TRXUtil::set_iiop_body(ior, body);
}

// The reference that the server has published; null when there is none that has an address.
std::unique_ptr<IOP::IOR> publishedReference(const DSProvider& provider, const CORBA_OctetSequence& key) {
    const auto* value = nc_cast<DSName>(provider.name().value());
    if (!value)
        return nullptr;
    try {
        std::unique_ptr<IOP::IOR> ior(TRXUtil::string_to_ior(value->name()));
        if (ior->profiles.length() == 0)
            return nullptr;
        if (TRXGlobalTable::instance()->backCompat)
            setKey(*ior, key);
        return ior;
    } catch (const CORBA_Exception&) {
        return nullptr; // the text is not a reference
    }
}

std::unique_ptr<IOP::IOR> providerIOR(const DSProvider& provider, const CORBA_OctetSequence& key,
                                      const char* repId) {
    if (auto published = publishedReference(provider, key))
        return published;
    IIOP::ProfileBody body;
    body.host = provider.addr().dottedAddr();
    body.port = static_cast<CORBA_UShort>(provider.addr().port());
    body.object_key = key;
    auto ior = std::make_unique<IOP::IOR>();
    ior->type_id = isService(repId) ? "" : repId;
    TRXUtil::set_iiop_body(*ior, body);
    return ior;
}

// For an object that is not running but registered with an activation daemon, which starts it. Needed for
// older daemons, which do not announce the objects that they can start.
std::unique_ptr<IOP::IOR> oadLookup(DSUser& session, const std::string& key, const char* repId,
                                    const char* objectName) {
    if (std::strcmp(repId, oadInterface) == 0)
        return nullptr;
    const NCRef<DSProvider> provider = locate(session, key, DSServiceOad);
    return provider ? startByDaemon(provider->addr().dottedAddr(), repId, objectName) : nullptr;
}

} // namespace

std::unique_ptr<IOP::IOR> ObjectFinder::find(const char* repId, const char* objectName, const char* host) {
    if (!agentUsable())
        return nullptr;
    const std::string text = cacheKey(repId, objectName, host);
    const FoundObject* known = orbSettings.cacheDSQuery ? _cache.find(text) : nullptr;
    if (known)
        return std::make_unique<IOP::IOR>(known->reference);
    DSUser* session = DSUser::instance(true);
    if (!session)
        return nullptr;
    const NCRef<DSProvider> provider = locate(*session, text, DSServiceManual);
    if (!provider) {
        _cache.remove(text);
        return TRXGlobalTable::instance()->backCompat ? oadLookup(*session, text, repId, objectName)
                                                      : nullptr;
    }
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(TRXPersistentId(repId, objectName)));
    auto ior = providerIOR(*provider, *key, repId);
    _cache.put({text, provider, *ior});
    return ior;
}

std::unique_ptr<IOP::IOR> ObjectFinder::refresh(const IOP::IOR& failed, const char* repId,
                                                const char* objectName, const char* host) {
    if (!agentUsable())
        return nullptr;
    invalidate(failed, repId, objectName, host);
    auto found = find(repId, objectName, host);
    if (!found || !isService(repId))
        return found;
    try {
        IIOP::ProfileBody body;
        TRXUtil::iiop_body(failed, body);
        setKey(*found, body.object_key);
    } catch (const CORBA_INV_OBJREF&) {
        // it has no address
    }
    return found;
}

namespace {

// Whether `reference` leads to the same server as `found`; their keys may differ.
bool sameServer(const IOP::IOR& found, IOP::IOR reference) {
    try {
        IIOP::ProfileBody body;
        TRXUtil::iiop_body(found, body);
        TRXUtil::set_object_key(reference, body.object_key);
    } catch (const CORBA_INV_OBJREF&) {
        return false;
    }
    reference.type_id = found.type_id;
    return found == reference;
}

} // namespace

void ObjectFinder::invalidate(const IOP::IOR& failed, const char* repId, const char* objectName,
                              const char* host) {
    if (!agentUsable())
        return;
    const std::string text = cacheKey(repId, objectName, host);
    const FoundObject* known = _cache.find(text);
    // For a service, the reference that failed may be another one than the one cached.
    if (!known || (isService(repId) && !sameServer(known->reference, failed)))
        return;
    const NCRef<DSProvider> provider = known->provider;
    if (orbSettings.cacheDSQuery)
        _cache.remove(text);
    if (DSUser* session = DSUser::instance(true))
        session->providerDown(provider.get());
}

} // namespace harbolance
