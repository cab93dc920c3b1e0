#include "invoke/stub/reference_connection.h"

#include "invoke/stub/profile_orb.h"
#include "invoke/transport/backoff.h"
#include "invoke/transport/loop_wait.h"
#include "invoke/transport/stopwatch.h"

namespace harbolance {

namespace {

constinit ProfileORB::Find findORB = nullptr;

// A connection for one profile. At the limit of descriptors the connection that has been idle longest is
// closed.
TRXConnection_var transportConnection(TRXConnFactory& transport, const IOP::TaggedProfile& profile,
                                      CORBA_ULong timeout) {
    try {
        return TRXConnection_var(transport.connection(profile, timeout));
    } catch (const CORBA_NO_RESOURCES&) {
        if (!TRXGIOPConnFactory::of(transport.tag()).close_oldest())
            throw;
    }
    return TRXConnection_var(transport.connection(profile, timeout));
}

GIOPUse tryProfile(const IOP::TaggedProfile& profile, IOP::IOR& ior, TimeLimit& limit) {
    ProfileORB* orb = ProfileORB::find(profile.tag);
    limit.check();
    TRXConnFactory* transport = TRXConnFactory::find(profile.tag);
    if (!transport)
        return {};
    const TRXConnection_var connection = transportConnection(*transport, profile, limit.left());
    if (!connection)
        return {};
    GIOPUse giop(TRXGIOPConnFactory::of(profile.tag).connection(connection.get()));
    if (!orb)
        return giop;
    limit.check();
    return GIOPUse(orb->locate(giop.get(), ior, limit.left()));
}

bool isLocalProfile(const IOP::TaggedProfile& profile) {
    if (profile.tag != IOP::TAG_TRX_LOCAL)
        return false;
    TRXConnFactory* transport = TRXConnFactory::find(profile.tag);
    return transport && transport->is_local(profile);
}

GIOPUse tryAll(IOP::IOR& ior, TimeLimit& limit) {
    for (const IOP::TaggedProfile& profile : ior.profiles) {
        if (!isLocalProfile(profile))
            continue;
        try {
            return tryProfile(IOP::TaggedProfile(profile), ior, limit);
        } catch (const CORBA_COMM_FAILURE&) {
            break; // other profiles may still lead to a server
        }
    }
    for (const IOP::TaggedProfile& profile : ior.profiles) {
        if (profile.tag == IOP::TAG_TRX_LOCAL || !TRXConnFactory::find(profile.tag))
            continue;
        try {
            return tryProfile(IOP::TaggedProfile(profile), ior, limit);
        } catch (const CORBA_COMM_FAILURE&) {
            return {};
        }
    }
    return {};
}

} // namespace

void ProfileORB::install(Find find) { findORB = find; }
ProfileORB* ProfileORB::find(CORBA_ULong tag) { return findORB ? findORB(tag) : nullptr; }

CORBA_OctetSequence* ProfileORB::key_of(const IOP::IOR& ior, ProfileORB** orb) {
    for (const IOP::TaggedProfile& profile : ior.profiles) {
        ProfileORB* server = find(profile.tag);
        if (!server)
            continue;
        if (orb)
            *orb = server;
        return server->object_key(profile);
    }
    throw CORBA_INV_OBJREF();
}

GIOPUse connectionFor(IOP::IOR& ior, CORBA_ULong timeout) {
    TimeLimit limit(timeout);
    Backoff backoff;
    for (;;) {
        const IOP::IOR asked = ior;
        try {
            return tryAll(ior, limit);
        } catch (const CORBA_TRANSIENT&) {
            // `ior` was replaced by a forward, or the server closes the connections that it accepts.
        }
        if (ior == asked)
            LoopWait().pause(backoff.next());
    }
}

} // namespace harbolance
