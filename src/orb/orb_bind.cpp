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

// References of TRXORB: as text, by name, and what is inside their profiles.

using namespace harbolance;

// --- Text --------------------------------------------------------------------------------------------------

char* TRXORB::object_to_string(CORBA_Object* object) {
    // Nil has a text too: that of a reference without profiles.
    return TRXUtil::ior_to_string(object ? ObjectOperations::installed().reference(object) : IOP::IOR());
}

CORBA_Object* TRXORB::string_to_object(const char* text) {
    const std::unique_ptr<IOP::IOR> ior(TRXUtil::string_to_ior(text));
    return TRXUtil::convert(*ior, nullptr, 0, 1);
}

// --- By name -----------------------------------------------------------------------------------------------

namespace {

// An object of this process may be meant only where no other host is.
bool namesThisHost(const char* host) {
    if (!host)
        return true;
    // A name without an address is known to the agents at most, and so is another host.
    const CORBA_String_var address(TRXUtil::host_address(host));
    const CORBA_String_var own(TRXUtil::host_address(nullptr));
    return address.in() &&
           (std::strcmp(address.in(), "127.0.0.1") == 0 || CORBA_string_compare(address.in(), own.in()) == 0);
}

CORBA_Object* localObject(const char* repId, const char* objectName) {
    ObjectAdapters* adapters = ObjectAdapters::installed();
    if (!adapters)
        return nullptr;
    // Objects that can be found by their names are the persistent ones.
    const TRXRef<TRXObjectId> id(new TRXPersistentId(repId, objectName ? objectName : ""));
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(*id));
    return adapters->find(*key);
}

} // namespace

CORBA_Object* TRXORB::bind(const char* rep_id, const char* object_name, const char* host_name,
                           const CORBA_BindOptions* options) {
    const TRXGlobalTable& table = *TRXGlobalTable::instance();
    const CORBA_TypeInfo* info = CORBA_TypeInfo::lookup(rep_id);
    // A type may be asked for by its name or its id; in keys it has one form, which older peers take to be
    // the name.
    if (info)
        rep_id = table.backCompat ? info->name() : info->id();
    // Without a class of its own the object can still be called by way of CORBA::Object.
    if (!info || !info->impl()->hasFactory())
        info = &CORBA_Object_type;

    CORBA_Object_var local;
    if (namesThisHost(host_name))
        local = localObject(rep_id, object_name);
    if (local.in() && !local->_object_impl()->skel->forwarded)
        return local._retn();

    CORBA_Object_var object(info->impl()->createStub());
    // createStub() makes a stub, so there is this half.
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
    // "*" stands for any interface, as in the ids of services, and is no type.
    ior->type_id = repId && std::strcmp(repId, "*") != 0 ? repId : "";
    ior->profiles.length(1);
    ior->profiles[0].tag = IOP::TAG_TRX_LOCATE;
    ior->profiles[0].profile_data = IIOP::encoded(body);
    return ior.release();
}

// Whether the server is asked for an object of this key before it is called. An id that says exactly which
// object is meant needs no question.
static bool isAskedFor(const CORBA_OctetSequence& key) {
    try {
        const TRXRef<TRXObjectId> id(TRXUtil::id_from_key(key));
        return !id || id->type() == TRXObjectId::ID_PERSISTENT;
    } catch (const CORBA_Exception&) {
        // A key that begins like one of ours and cannot be read. Only its server can tell what it means.
        return true;
    }
}

TRXGIOPConn* TRXORB::locate(TRXGIOPConn* connection, IOP::IOR& ior, CORBA_ULong seconds) {
    // One limit over all steps.
    const TimeLimit limit(seconds);
    CORBA_OctetSequence key;
    TRXUtil::object_key_of(ior, connection->connection().profile_id(), key);
    // The caller gets a use of the connection, which it gives back as if it had been opened for it.
    if (!isAskedFor(key))
        return GIOPUse::another(connection).detach();
    limit.check();
    CORBA_ULong status = 0;
    try {
        status = connection->locate(ior, limit.left());
    } catch (const CORBA_COMM_FAILURE&) {
        // The server has gone while it was asked. Another one may have the object: the caller begins anew.
        throw CORBA_TRANSIENT();
    } catch (const CORBA_OBJECT_NOT_EXIST&) {
        // The host is right, but no such object is there: for one that is sought by name the answer is that
        // it has no implementation.
        throw CORBA_NO_IMPLEMENT();
    }
    if (status == GIOP::OBJECT_HERE)
        return GIOPUse::another(connection).detach();
    limit.check();
    throw CORBA_TRANSIENT(); // the reference has become another one
}

// --- Profiles ----------------------------------------------------------------------------------------------

namespace {

const TRXProfileKeys& keysOf(const IOP::TaggedProfile& profile) {
    const TRXProfileKeys* keys = TRXProfileKeys::find(profile.tag);
    // A profile of another protocol, which only another ORB can read.
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
    // A reference by name has no host; the agents are asked for it.
    const bool anywhere = !body.host.in() || !*body.host.in();
    stream << "Host: " << (anywhere ? "<BROADCAST>" : body.host.in()) << "Port: " << body.port;
}

// --- Wrappers ----------------------------------------------------------------------------------------------

namespace {

TRXTypeInfo& entryOf(const char* repId) {
    const CORBA_TypeInfo* info = CORBA_TypeInfo::lookup(repId);
    if (!info)
        throw CORBA_BAD_PARAM();
    // A handle that lookup() gives has an entry.
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
