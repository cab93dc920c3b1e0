#pragma once

#include "marshal/reference/vior.h"
#include "marshal/reference/vobjectid.h"

#include <iosfwd>

class CORBA_Object;
class CORBA_TypeInfo;
struct sockaddr_in;
struct timeval;

// The operations on references, object keys and host addresses. The caller owns every pointer that is
// returned: strings come from CORBA_string_alloc, ids and sequences have one reference.
class TRXUtil {
public:
    // --- Object keys -----------------------------------------------------------------------------------

    // Longer than 11 octets, with our magic. The body is not checked.
    static bool is_key(const CORBA_OctetSequence& key);
    // Null when it is no key of ours or of a kind that does not exist; a body cut short raises CORBA_MARSHAL.
    static TRXObjectId* id_from_key(const CORBA_OctetSequence& key);
    static CORBA_OctetSequence* key_from_id(const TRXObjectId& id);
    // Tests of the kind. All are false for a key of another ORB.
    static bool is_persistent(const CORBA_OctetSequence& key);
    static bool is_service(const CORBA_OctetSequence& key);
    static bool is_key_or_service(const CORBA_OctetSequence& key);
    // One readable line without a newline. Control characters are replaced by dots. A body cut short raises
    // CORBA_MARSHAL.
    static void print_key(std::ostream& stream, const CORBA_OctetSequence& key);

    // --- References ------------------------------------------------------------------------------------

    static char* ior_to_string(const IOP::IOR& ior);
    // "IOR:" and hexadecimal digits of either case; a last odd digit is ignored. Anything else, null
    // included, raises CORBA_INV_OBJREF.
    static IOP::IOR* string_to_ior(const char* text);

    // Raises CORBA_MARSHAL for what cannot be read and then leaves the body as it was.
    static void parse_profile_body(const CORBA_OctetSequence& profileData, IIOP::ProfileBody& body);
    // The body of the first profile of tag TAG_INTERNET_IOP or TAG_ALT_IIOP. None, or one that cannot be
    // read, raises CORBA_INV_OBJREF.
    static void iiop_body(const IOP::IOR& ior, IIOP::ProfileBody& body);
    // Puts the body into the first such profile, or into a new one of tag TAG_INTERNET_IOP behind the others.
    static void set_iiop_body(IOP::IOR& ior, const IIOP::ProfileBody& body);
    // The key in the first profile of that tag. No such profile, one that cannot be read, or a tag that no
    // TRXProfileKeys (profile_keys.h) serves raises CORBA_INV_OBJREF.
    static void object_key_of(const IOP::IOR& ior, CORBA_ULong tag, CORBA_OctetSequence& key);
    // Into every profile of a tag that a TRXProfileKeys serves. One that cannot be read raises
    // CORBA_INV_OBJREF and leaves the reference as it was.
    static void set_object_key(IOP::IOR& ior, const CORBA_OctetSequence& key);

    // The object for a reference: a new reference, null for one without profiles. `connect` connects at once;
    // unless `skipLocal` is set, an object of this process is preferred, with `localFlag` passed to the
    // adapters. Implemented above (object_operations.h); without an implementation it raises
    // CORBA_INITIALIZE.
    static CORBA_Object* convert(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect = 0,
                                 CORBA_Boolean localFlag = 0, CORBA_Boolean skipLocal = 0);

    // --- Names -----------------------------------------------------------------------------------------

    // "IDL:A/B/C:1.0" to "A::B::C" and back. A text without "IDL:" is no repository id and is returned
    // unchanged.
    static char* rep_id_to_name(const char* repositoryId);
    static char* name_to_rep_id(const char* name);

    // --- Addresses and time ----------------------------------------------------------------------------

    // The address of the socket's other end as dotted text, with its port in host order; null when there is
    // none.
    static char* peer_addr(int fd, unsigned short& port);
    // The dotted text of a host name or address, that of this machine for null; null when the name cannot be
    // resolved. May block in the resolver.
    static char* host_address(const char* host);
    // Fills in address and port, not the family. A null or empty host gives INADDR_ANY; this machine's own
    // address becomes 127.0.0.1. A name that cannot be resolved raises CORBA_COMM_FAILURE. May block.
    static void make_addr(const char* host, unsigned short port, sockaddr_in* address);
    static void sleep_milliseconds(CORBA_ULong milliseconds); // a signal may end it early
    static void now(timeval& time);
    static timeval elapsed(const timeval& from, const timeval& to);
};
