#pragma once

#include "marshal/reference/vior.h"
#include "object/vprop.h"

class TRXGIOPConn;

namespace harbolance {

// The ORB for the profiles of one tag, as the calls use it. The ORB above derives it.
class ProfileORB {
public:
    // Asks the server behind `connection` whether the object of `ior` exists, and if so returns a use of the
    // connection, owned by the caller. A forward changes `ior` and raises CORBA_TRANSIENT. The limit is in
    // seconds, 0 for none; when it has passed, raises CORBA_NO_RESPONSE.
    virtual TRXGIOPConn* locate(TRXGIOPConn* connection, IOP::IOR& ior, CORBA_ULong seconds) = 0;
    // A reference with a name in place of an address; the caller owns it. `objectName` and `host` may be
    // null.
    virtual IOP::IOR* locate_reference(const char* repId, const char* objectName, const char* host) = 0;
    // The object key in a profile with this ORB's tag; the caller owns it.
    virtual CORBA_OctetSequence* object_key(const IOP::TaggedProfile& profile) = 0;
    virtual const TRXPropertyList& properties() const = 0;

    using Find = ProfileORB* (*)(CORBA_ULong tag);
    static void install(Find find);
    // Null when no ORB serves the tag, or none has been started.
    static ProfileORB* find(CORBA_ULong tag);
    // The object key in the first profile whose tag an ORB serves, and that ORB. The caller owns the key.
    // Raises CORBA_INV_OBJREF without such a profile.
    static CORBA_OctetSequence* key_of(const IOP::IOR& ior, ProfileORB** orb = nullptr);

protected:
    ~ProfileORB() = default;
};

} // namespace harbolance
