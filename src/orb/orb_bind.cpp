#include "invoke/giop/giop_connections.h"
#include "invoke/stub/vstub.h"
#include "invoke/transport/stopwatch.h"
#include "marshal/reference/profile_keys.h"
#include "marshal/reference/vutil.h"
#include "object/conversion.h"
#include "object/global_table.h"
#include "orb/vorb.h"

#include <cstring>
#include <ostream>

// References in TRXORB: stringified, by name, and the contents of their profiles.

using namespace harbolance;

// --- Text --------------------------------------------------------------------------------------------------

char* TRXORB::object_to_string(CORBA_Object* object) {
    // Nil is stringified as a reference without profiles.
    return TRXUtil::ior_to_string(object ? ObjectOperations::installed().reference(object) : IOP::IOR());
}

CORBA_Object* TRXORB::string_to_object(const char* text) {
    const std::unique_ptr<IOP::IOR> ior(TRXUtil::string_to_ior(text));
    return TRXUtil::convert(*ior, nullptr, 0, 1);
}

// --- By name -----------------------------------------------------------------------------------------------

namespace {

// Whether `host` is null or this host: only then may an object of this process be meant.
bool namesThisHost(const char* host) {
    if (!host)
        return true;
    // A host name without an address is another host, which only the agents may know.
    const CORBA_String_var address(TRXUtil::host_address(host));
    const CORBA_String_var own(TRXUtil::host_address(nullptr));
    return address.in() &&
           (std::strcmp(address.in(), "127.0.0.1") == 0 || CORBA_string_compare(address.in(), own.in()) == 0);
}

CORBA_Object* localObject(const char* repId, const char* objectName) {
    ObjectAdapters* adapters = ObjectAdapters::installed();
    if (!adapters)
        return nullptr;
    // Only persistent objects can be found by name.
    const TRXRef<TRXObjectId> id(new TRXPersistentId(repId, objectName ? objectName : ""));
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(*id));
    return adapters->find(*key);
}

} // namespace

CORBA_Object* TRXORB::bind(const char* rep_id, const char* object_name, const char* host_name,
                           const CORBA_BindOptions* options) {
    const TRXGlobalTable& table = *TRXGlobalTable::instance();
    const CORBA_TypeInfo* info = CORBA_TypeInfo::lookup(rep_id);
    // A type may be given by its name or its id, but keys need one form: the id, or the name for older peers.
    if (info)
        rep_id = table.backCompat ? info->name() : info->id();
    // Without a stub class the object can still be called through CORBA::Object.
    if (!info || !info->impl()->hasFactory())
        info = &CORBA_Object_type;

    CORBA_Object_var local;
    if (namesThisHost(host_name))
        local = localObject(rep_id, object_name);
    if (local.in() && !local->_object_impl()->skel->forwarded)
        return local._retn();

    CORBA_Object_var object(info->impl()->createStub());
    // createStub() makes a stub, so this half exists.
    TRXStubInfo& stub = *TRXStubInfo::of(object.in());
    const bool defer = (options ? *options : table.defaultBindOptions).deferBind;
    if (local.in())
        stub.bind(local.in());
    else
        stub.bind(rep_id, object_name, host_name, options, !defer);
    return wrapped(*info, object);
}

IOP::IOR* TRXORB::locate_reference(const char* repId, const char* objectName, const char* host) {
    IIOP::ProfileBody body;
    body.host = host ? TRXUtil::host_address(host) : CORBA_string_dup("");
    if (!body.host.in())
        body.host = host; // a name that only the agents know
    const TRXRef<TRXObjectId> id(new TRXPersistentId(repId ? repId : "", objectName ? objectName : ""));
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(*id));
    body.object_key = *key;
    auto ior = std::make_unique<IOP::IOR>();
    // "*" stands for any interface, as in the ids of services; it is not a type id.
    ior->type_id = repId && std::strcmp(repId, "*") != 0 ? repId : "";
    ior->profiles.length(1);
    ior->profiles[0].tag = IOP::TAG_TRX_LOCATE;
    ior->profiles[0].profile_data = IIOP::encoded(body);
    return ior.release();
}

// Whether the server is asked if it has the object with this key, before the first call. An id that
// identifies one exact object needs no such request.
static bool isAskedFor(const CORBA_OctetSequence& key) {
    try {
        const TRXRef<TRXObjectId> id(TRXUtil::id_from_key(key));
        return !id || id->type() == TRXObjectId::ID_PERSISTENT;
    } catch (const CORBA_Exception&) {
        // The key has the prefix of our keys but cannot be parsed. Only its server knows what it means.
        return true;
    }
}

TRXGIOPConn* TRXORB::locate(TRXGIOPConn* connection, IOP::IOR& ior, CORBA_ULong seconds) {
    // One time limit for all steps.
    const TimeLimit limit(seconds);
    CORBA_OctetSequence key;
    TRXUtil::object_key_of(ior, connection->connection().profile_id(), key);
    // The caller always gets a use of its own, which it must give back, also when no request is made.
    if (!isAskedFor(key))
        return GIOPUse::another(connection).detach();
    limit.check();
    CORBA_ULong status = 0;
    try {
        status = connection->locate(ior, limit.left());
    } catch (const CORBA_COMM_FAILURE&) {
        // The server went away during the request. Another server may have the object, so the caller starts
        // again.
        throw CORBA_TRANSIENT();
    } catch (const CORBA_OBJECT_NOT_EXIST&) {
        // The host was reached but does not have the object. For an object sought by name this is reported as
        // CORBA_NO_IMPLEMENT.
        throw CORBA_NO_IMPLEMENT();
    }
    if (status == GIOP::OBJECT_HERE)
        return GIOPUse::another(connection).detach();
    limit.check();
    throw CORBA_TRANSIENT(); // `ior` is another reference now
}

// --- Profiles ----------------------------------------------------------------------------------------------

namespace {

const TRXProfileKeys& keysOf(const IOP::TaggedProfile& profile) {
    const TRXProfileKeys* keys = TRXProfileKeys::find(profile.tag);
    // The profile belongs to another protocol, which only another ORB can read.
    if (!keys)
        throw CORBA_INV_OBJREF();
    return *keys;
}

} // namespace

CORBA_OctetSequence* TRXORB::object_key(const IOP::TaggedProfile& profile) {
    return new CORBA_OctetSequence(keysOf(profile).key(profile));
}

IOP::TaggedProfile* TRXORB::rekeyed(const IOP::TaggedProfile& profile, const CORBA_OctetSequence& key) {
    return new IOP::TaggedProfile(keysOf(profile).rekeyed(profile, key));
}

void TRXORB::print_profile(std::ostream& stream, const IOP::TaggedProfile& profile) {
    const IIOP::ProfileBody body = IIOP::decoded(profile.profile_data);
    // A reference by name has no host; the agents know where the object is.
    const bool anywhere = !body.host.in() || !*body.host.in();
    stream << "Host: " << (anywhere ? "<BROADCAST>" : body.host.in()) << "Port: " << body.port;
}

// --- Wrappers ----------------------------------------------------------------------------------------------

namespace {

TRXTypeInfo& entryOf(const char* repId) {
    const CORBA_TypeInfo* info = CORBA_TypeInfo::lookup(repId);
    if (!info)
        throw CORBA_BAD_PARAM();
    // A handle returned by lookup() always has an entry.
    return *info->impl();
}

} // namespace

void TRXORB::set_object_factory(const char* repId, TRXObjectFactory factory) {
    entryOf(repId).setUserFactory(factory);
}

void TRXORB::clear_object_factory(const char* repId) { entryOf(repId).setUserFactory(nullptr); }

void TRXORB::add_object_wrapper(const char* repId, TRXObjectFactory factory, CORBA_Boolean client) {
    entryOf(repId).addFactory(factory, client != 0);
}

void TRXORB::remove_object_wrapper(const char* repId, TRXObjectFactory factory, CORBA_Boolean client) {
    entryOf(repId).removeFactory(factory, client != 0);
}
