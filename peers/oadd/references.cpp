#include "oadd/references.h"

#include "marshal/reference/vutil.h"

#include <memory>

namespace oadd {

namespace {

constexpr const char* anyInterface = "*"; // services have no interface of their own

std::string taken(char* text) { return CORBA_String_var(text).in(); }

const char* typeOf(const ObjectName& object) {
    return object.repId == anyInterface ? "" : object.repId.c_str();
}

std::string octetsOf(const CORBA_OctetSequence& sequence) {
    std::string octets;
    for (CORBA_ULong i = 0; i < sequence.length(); ++i)
        octets += static_cast<char>(sequence[i]);
    return octets;
}

} // namespace

ObjectName nameInKey(const CORBA_OctetSequence& key) {
    try {
        const TRXRef<TRXObjectId> id(TRXUtil::id_from_key(key));
        if (const auto* persistent = dynamic_cast<const TRXPersistentId*>(id.get()))
            return {persistent->rep_id(), persistent->object_name()};
        if (const auto* service = dynamic_cast<const TRXServiceId*>(id.get()))
            return {anyInterface, service->service_name()};
    } catch (const CORBA_MARSHAL&) {
        // A truncated key has no name.
    }
    return {};
}

References::References(CORBA_ORB& orb, CORBA_Object* own) : orb_(orb) {
    text_ = taken(orb_.object_to_string(own));
    own_ = read(own);
    IIOP::ProfileBody body;
    TRXUtil::iiop_body(own_, body);
    host_ = body.host.in();
    port_ = body.port;
}

IOP::IOR References::read(CORBA_Object* object) const {
    const CORBA_String_var text(orb_.object_to_string(object));
    const std::unique_ptr<IOP::IOR> ior(TRXUtil::string_to_ior(text.in()));
    return *ior;
}

CORBA_Object* References::made(const IOP::IOR& ior) const {
    const CORBA_String_var text(TRXUtil::ior_to_string(ior));
    return orb_.string_to_object(text.in());
}

IOP::IOR References::iorToHere(const ObjectName& object) const {
    const TRXRef<TRXObjectId> id(new TRXPersistentId(object.repId.c_str(), object.name.c_str()));
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(*id));
    IOP::IOR ior = own_;
    ior.type_id = typeOf(object);
    TRXUtil::set_object_key(ior, *key);
    return ior;
}

IOP::IOR* References::iorToHere(const CORBA_OctetSequence& key) const {
    auto ior = std::make_unique<IOP::IOR>(own_);
    ior->type_id = typeOf(nameInKey(key));
    TRXUtil::set_object_key(*ior, key);
    return ior.release();
}

std::string References::textToHere(const ObjectName& object) const {
    return taken(TRXUtil::ior_to_string(iorToHere(object)));
}

CORBA_Object* References::toHere(const ObjectName& object) const { return made(iorToHere(object)); }

CORBA_Object* References::andHere(CORBA_Object* object) const {
    IOP::IOR ior = read(object);
    IIOP::ProfileBody body;
    TRXUtil::iiop_body(ior, body);
    IOP::IOR here = own_;
    TRXUtil::set_object_key(here, body.object_key);
    const CORBA_ULong count = ior.profiles.length();
    ior.profiles.length(count + here.profiles.length());
    for (CORBA_ULong i = 0; i < here.profiles.length(); ++i)
        ior.profiles[count + i] = here.profiles[i];
    return made(ior);
}

bool References::leadsHere(const IOP::TaggedProfile& profile) const {
    if (profile.tag != IOP::TAG_INTERNET_IOP && profile.tag != IOP::TAG_ALT_IIOP)
        return false;
    IIOP::ProfileBody body;
    TRXUtil::parse_profile_body(profile.profile_data, body);
    return body.host.in() == host_ && body.port == port_;
}

ServerObject References::split(CORBA_Object* object) const {
    if (!object)
        throw CORBA_BAD_PARAM();
    IOP::IOR ior = read(object);
    IIOP::ProfileBody body;
    TRXUtil::iiop_body(ior, body);
    ServerObject result;
    result.name = nameInKey(body.object_key);
    result.key = octetsOf(body.object_key);
    CORBA_ULong kept = 0;
    for (CORBA_ULong i = 0; i < ior.profiles.length(); ++i) {
        if (!leadsHere(ior.profiles[i]))
            ior.profiles[kept++] = ior.profiles[i];
    }
    ior.profiles.length(kept);
    if (kept > 0)
        result.reference = made(ior);
    return result;
}

} // namespace oadd
