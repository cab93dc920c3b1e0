#include "location/object_location.h"

#include "adapter/skel_info.h"
#include "adapter/voa.h"
#include "base/assertion.h"
#include "invoke/stub/profile_orb.h"
#include "marshal/reference/vutil.h"
#include "object/global_table.h"

#include <algorithm>
#include <cstring>

using namespace harbolance;

TRXLocation::TRXLocation(CORBA_BOA* adapter) : _adapter(adapter), _oad(adapter) {}

// --- Objects of this process -------------------------------------------------------------------------------

struct TRXLocation::Registration {
    explicit Registration(CORBA_Object* servant)
        : object(servant), skel(skelOf(servant)), type(skel.type ? *skel.type : *servant->_type_info()),
          own(skel.ior()), announcement(skel.name.in(), own) {}

    CORBA_Object* object;
    TRXSkelInfo& skel;
    const CORBA_TypeInfo& type;
    const IOP::IOR own; // the object's reference in this process
    const Announcement announcement;

private:
    static TRXSkelInfo& skelOf(CORBA_Object* servant) {
        TRXSkelInfo* skel = TRXSkelInfo::of(servant);
        TRX_ASSERT(skel != nullptr, "location");
        return *skel;
    }
};

void TRXLocation::register_object(CORBA_Object* object) {
    Registration registration(object);
    registerType(registration.type, registration);
}

void TRXLocation::unregister_object(CORBA_Object* object) {
    // The agents got the object's own reference, and the daemon must get the same.
    TRXSkelInfo::of(object)->drop_ior();
    Registration registration(object);
    unregisterType(registration.type, registration);
}

void TRXLocation::registerType(const CORBA_TypeInfo& type, Registration& registration) {
    if (type == CORBA_Object_type || !type.id())
        return;
    if (const auto definition = _oad.activate(type, registration.object)) {
        takenByDaemon(*definition, registration);
    } else {
        registration.announcement.announce(type.id());
        if (TRXGlobalTable::instance()->backCompat)
            registration.announcement.announce(type.name());
    }
    for (const CORBA_TypeInfo* base : type.impl()->bases())
        registerType(*base, registration);
}

void TRXLocation::unregisterType(const CORBA_TypeInfo& type, Registration& registration) {
    if (type == CORBA_Object_type || !type.id())
        return;
    _oad.deactivate(type, registration.object);
    registration.announcement.withdraw(type.id());
    if (TRXGlobalTable::instance()->backCompat)
        registration.announcement.withdraw(type.name());
    for (const CORBA_TypeInfo* base : type.impl()->bases())
        unregisterType(*base, registration);
}

// The published reference leads to the daemon, except for a server that serves all clients: then it leads to
// the server first and to the daemon when the server is gone. This is the object's reference from now on,
// also for its further interfaces at the daemon.
void TRXLocation::takenByDaemon(const TRXEXT_CreationImplDef& definition, Registration& registration) {
    if (auto* adapter = dynamic_cast<TRXAdapter*>(_adapter))
        adapter->activation_policy(definition.activation_policy());
    if (std::strcmp(definition.interface_name(), "*") == 0)
        return;
    TRXSkelInfo& skel = registration.skel;
    if (!skel.impl)
        skel.impl.reset(definition._clone());
    skel.activation_policy = definition.activation_policy();

    IOP::IOR daemon = _oad.reference();
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(skel.full_id()));
    TRXUtil::set_object_key(daemon, *key);
    IOP::IOR published = registration.own;
    IOP::TaggedProfileSeq& profiles = published.profiles;
    if (definition.activation_policy() != SHARED_SERVER) {
        profiles = daemon.profiles;
    } else {
        const CORBA_ULong own = profiles.length();
        profiles.length(own + daemon.profiles.length());
        for (CORBA_ULong i = 0; i < daemon.profiles.length(); ++i)
            profiles[own + i] = daemon.profiles[i];
    }
    skel.replace_ior(published);
}

// --- Objects of other processes ----------------------------------------------------------------------------

namespace {

// The object that a reference asks for by a name instead of an address; null when it has no name, or a peer's
// data for it cannot be decoded.
std::unique_ptr<TRXLocationClosureData> named(const IOP::IOR& ior) {
    if (ior.profiles.length() != 1 || ior.profiles[0].tag != IOP::TAG_TRX_LOCATE)
        return nullptr;
    try {
        const IIOP::ProfileBody body = IIOP::decoded(ior.profiles[0].profile_data);
        TRXRef<TRXObjectId> id(TRXUtil::id_from_key(body.object_key));
        if (!id || id->type() != TRXObjectId::ID_PERSISTENT)
            return nullptr;
        return std::make_unique<TRXLocationClosureData>(
            TRXRef<TRXPersistentId>(static_cast<TRXPersistentId*>(id.detach())), body.host.in());
    } catch (const CORBA_MARSHAL&) {
        return nullptr;
    }
}

// The object that a reference with an address stands for; null when the reference does not tell.
std::unique_ptr<TRXLocationClosureData> addressed(const IOP::IOR& ior, bool& service) {
    if (ior.profiles.length() > 0 && ior.profiles[0].tag == IOP::TAG_TRX_LOCATE)
        return nullptr;
    TRXRef<TRXObjectId> id;
    try {
        CORBA_OctetSequence key;
        TRXUtil::object_key_of(ior, IOP::TAG_INTERNET_IOP, key);
        id = TRXRef<TRXObjectId>(TRXUtil::id_from_key(key));
    } catch (const CORBA_Exception&) {
        return nullptr; // a key of another ORB, or a damaged one
    }
    if (!id)
        return nullptr;
    service = id->type() == TRXObjectId::ID_SERVICE;
    if (service)
        id = TRXRef<TRXObjectId>(
            new TRXPersistentId("*", static_cast<const TRXServiceId&>(*id).service_name()));
    if (id->type() != TRXObjectId::ID_PERSISTENT)
        return nullptr;
    return std::make_unique<TRXLocationClosureData>(
        TRXRef<TRXPersistentId>(static_cast<TRXPersistentId*>(id.detach())), "");
}

// Whether this process can connect to the reference.
bool leadsAnywhere(const IOP::IOR& ior) {
    return std::any_of(ior.profiles.begin(), ior.profiles.end(),
                       [](const IOP::TaggedProfile& profile) { return ProfileORB::find(profile.tag); });
}

} // namespace

CORBA_Boolean TRXLocation::bind(IOP::IOR& ior, CORBA_Object*, TRXClosure& closure) {
    auto wanted = named(ior);
    if (!wanted)
        return 0;
    const auto found = _finder.find(wanted->rep_id(), wanted->object_name(), wanted->host());
    if (!found)
        return 0;
    ior = *found;
    closure.data(wanted.release());
    return 1;
}

CORBA_Boolean TRXLocation::rebind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) {
    return bind(ior, object, closure);
}

CORBA_Boolean TRXLocation::bind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) {
    const CORBA_Boolean again = findAnother(ior, object, closure);
    if (!again)
        _pace.over(object);
    return again;
}

CORBA_Boolean TRXLocation::findAnother(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) {
    bool service = false;
    if (!closure.data())
        closure.data(addressed(ior, service).release());
    if (!closure.data())
        return 0;
    const auto& wanted = static_cast<const TRXLocationClosureData&>(*closure.data());
    const std::unique_ptr<CORBA_BindOptions> options(object->_bind_options());
    if (!options || !options->enableRebind) {
        _finder.invalidate(ior, wanted.rep_id(), wanted.object_name(), wanted.host());
        return 0;
    }
    const auto fresh = _finder.refresh(ior, wanted.rep_id(), wanted.object_name(), wanted.host());
    if (!fresh)
        return 0;
    IOP::IOR failed = ior;
    if (!service)
        failed.type_id = fresh->type_id;
    const bool same = *fresh == failed;
    // A service that is found where it has just failed would fail again. An object may be restarted there, or
    // the agent has not noticed yet that its server has died, so it is tried again.
    if (same && (service || !leadsAnywhere(ior)))
        return 0;
    if (!_pace.again(object, failed, *fresh, options->connectTimeout))
        return 0;
    ior = *fresh;
    return 1;
}

CORBA_Boolean TRXLocation::rebind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) {
    return bind_failed(ior, object, closure);
}

void TRXLocation::bind_succeeded(IOP::IOR&, CORBA_Object* object, int, TRXClosure&) { _pace.over(object); }

void TRXLocation::rebind_succeeded(IOP::IOR&, CORBA_Object* object, int, TRXClosure&) { _pace.over(object); }

// --- Start-up ----------------------------------------------------------------------------------------------

BindInitializer::BindInitializer() : TRXInit(-10) {}
void BindInitializer::ORB_init(int&, char**, CORBA_ORB*) { TRXChainBindInterceptor::instance(); }

namespace {

class AdapterAnnouncer final : public ObjectAnnouncer {
public:
    explicit AdapterAnnouncer(CORBA_BOA* adapter) : _location(new TRXLocation(adapter)) {}
    void register_object(CORBA_Object* object) override { _location->register_object(object); }
    void unregister_object(CORBA_Object* object) override { _location->unregister_object(object); }

private:
    TRXRef<TRXLocation> _location;
};

} // namespace

std::unique_ptr<ObjectAnnouncer> harbolance::makeAnnouncer(CORBA_BOA* adapter) {
    return std::make_unique<AdapterAnnouncer>(adapter);
}
