#pragma once

#include "marshal/reference/vior.h"
#include "marshal/reference/vobjectid.h"

#include <iosfwd>

class CORBA_Object;
class CORBA_TypeInfo;
struct sockaddr_in;
struct timeval;

// The operations on references, object keys and host addresses. The caller owns every returned pointer:
// strings come from CORBA_string_alloc, ids and sequences have one reference.
class TRXUtil {
public:
    // --- Object keys -----------------------------------------------------------------------------------

    // Whether the key is longer than 11 octets and has our magic. The body is not checked.
    static bool is_key(const CORBA_OctetSequence& key);
    // Null for a key that is not ours, or of an unknown kind; a truncated body raises CORBA_MARSHAL.
    static TRXObjectId* id_from_key(const CORBA_OctetSequence& key);
    static CORBA_OctetSequence* key_from_id(const TRXObjectId& id);
    // Tests of the kind. All are false for a key of another ORB.
    static bool is_persistent(const CORBA_OctetSequence& key);
    static bool is_service(const CORBA_OctetSequence& key);
    static bool is_key_or_service(const CORBA_OctetSequence& key);
    // Prints one readable line without a newline. Control characters are replaced by dots. A truncated body
    // raises CORBA_MARSHAL.
    static void print_key(std::ostream& stream, const CORBA_OctetSequence& key);

    // --- References ------------------------------------------------------------------------------------

    static char* ior_to_string(const IOP::IOR& ior);
    // Parses "IOR:" and hexadecimal digits of either case; an odd last digit is ignored. Any other text, and
    // null, raise CORBA_INV_OBJREF.
    static IOP::IOR* string_to_ior(const char* text);

    // Raises CORBA_MARSHAL for unreadable data, and then leaves the body unchanged.
    static void parse_profile_body(const CORBA_OctetSequence& profileData, IIOP::ProfileBody& body);
    // The body of the first profile with TAG_INTERNET_IOP or TAG_ALT_IIOP. Raises CORBA_INV_OBJREF when there
    // is none or it cannot be decoded.
    static void iiop_body(const IOP::IOR& ior, IIOP::ProfileBody& body);
    // Stores the body in the first such profile, or appends a new profile with TAG_INTERNET_IOP.
    static void set_iiop_body(IOP::IOR& ior, const IIOP::ProfileBody& body);
    // The key in the first profile of that tag. Raises CORBA_INV_OBJREF when there is none, when it cannot be
    // decoded, or when no TRXProfileKeys (profile_keys.h) is registered for the tag.
    static void object_key_of(const IOP::IOR& ior, CORBA_ULong tag, CORBA_OctetSequence& key);
    // Stores the key in every profile whose tag has a registered TRXProfileKeys. A profile that cannot be
    // decoded raises CORBA_INV_OBJREF and leaves the reference unchanged.
    static void set_object_key(IOP::IOR& ior, const CORBA_OctetSequence& key);

    // The object for a reference: a new reference owned by the caller, null for one without profiles. With
    // `connect` it is connected at once. Unless `skipLocal` is set, an object of this process is preferred;
    // `localFlag` is passed to the adapters. Implemented by the layer above (object_operations.h); without it
    // raises CORBA_INITIALIZE.
    static CORBA_Object* convert(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect = 0,
                                 CORBA_Boolean localFlag = 0, CORBA_Boolean skipLocal = 0);

    // --- Names -----------------------------------------------------------------------------------------

    // Converts "IDL:A/B/C:1.0" to "A::B::C" and back. A text without "IDL:" is not a repository id and is
    // returned unchanged.
    static char* rep_id_to_name(const char* repositoryId);
    static char* name_to_rep_id(const char* name);

    // --- Addresses and time ----------------------------------------------------------------------------

    // The address of the socket's peer as dotted text, with its port in host order; null when there is none.
    static char* peer_addr(int fd, unsigned short& port);
    // The dotted text for a host name or address, for this host when null; null when the name cannot be
    // resolved. May block in the resolver.
    static char* host_address(const char* host);
    // Sets address and port, but not the family. A null or empty host gives INADDR_ANY; this host's own
    // address becomes 127.0.0.1. A name that cannot be resolved raises CORBA_COMM_FAILURE. May block.
    static void make_addr(const char* host, unsigned short port, sockaddr_in* address);
    static void sleep_milliseconds(CORBA_ULong milliseconds); // a signal may end it early
    static void now(timeval& time);
    static timeval elapsed(const timeval& from, const timeval& to);
};
