#pragma once

#include "marshal/reference/vior.h"
#include "object/vprop.h"

class TRXGIOPConn;

namespace harbolance {

// What the calls ask of the ORB that serves the profiles of one tag. The ORB above derives it.
class ProfileORB {
public:
    // Asks the server behind `connection` whether the object of `ior` is there: a use of the connection when
    // it is. A forward changes `ior` and raises CORBA_TRANSIENT. Seconds, 0 for no limit; raises
    // CORBA_NO_RESPONSE.
    virtual TRXGIOPConn* locate(TRXGIOPConn* connection, IOP::IOR& ior, CORBA_ULong seconds) = 0;
    // A reference that names an object in place of an address. The caller's; `objectName` and `host` may be
    // null.
    virtual IOP::IOR* locate_reference(const char* repId, const char* objectName, const char* host) = 0;
    // The object key in a profile of this ORB's tag; the caller's.
    virtual CORBA_OctetSequence* object_key(const IOP::TaggedProfile& profile) = 0;
    virtual const TRXPropertyList& properties() const = 0;

    using Find = ProfileORB* (*)(CORBA_ULong tag);
    static void install(Find find);
    // Null when no ORB serves the tag, or none has been started.
    static ProfileORB* find(CORBA_ULong tag);
    // The object key in the first profile that an ORB serves, and that ORB. The key is the caller's; without
    // such a profile it raises CORBA_INV_OBJREF.
    static CORBA_OctetSequence* key_of(const IOP::IOR& ior, ProfileORB** orb = nullptr);

protected:
    ~ProfileORB() = default;
};

} // namespace harbolance
