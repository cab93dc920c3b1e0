#pragma once

#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/vstr.h"

// Object references on the wire: the type id of the object, and one profile for each way to reach it. A
// profile's data is opaque except for the tags below. A null string means that the peer sent a null string,
// which is only accepted when null strings are switched on.

namespace IOP {

constexpr CORBA_ULong TAG_INTERNET_IOP = 0;        // an address to connect to
constexpr CORBA_ULong TAG_MULTIPLE_COMPONENTS = 1; // an encapsulated list of components
constexpr CORBA_ULong TAG_ALT_IIOP = 10002;        // a second form of an address
constexpr CORBA_ULong TAG_TRX_LOCATE = 0x54525800; // found through the location service
constexpr CORBA_ULong TAG_TRX_LOCAL = 0x54525801;  // the server in this process

constexpr CORBA_ULong TAG_CODE_SETS = 1; // tag of a component

struct TaggedProfile {
    static constexpr CORBA_ULong _minimum_octets = 8;

    CORBA_ULong tag = 0;
    CORBA_OctetSequence profile_data;
};

struct TaggedComponent {
    static constexpr CORBA_ULong _minimum_octets = 8;

    CORBA_ULong tag = 0;
    CORBA_OctetSequence component_data;
};

using TaggedProfileSeq = TRXSequence<TaggedProfile>;
using TaggedComponentSeq = TRXSequence<TaggedComponent>;

// The nil reference has an empty type id and no profiles.
struct IOR {
    CORBA_String_var type_id;
    TaggedProfileSeq profiles;
};

bool operator==(const IOR& a, const IOR& b);

TRXostream& operator<<(TRXostream& stream, const TaggedProfile& profile);
TRXistream& operator>>(TRXistream& stream, TaggedProfile& profile);
TRXostream& operator<<(TRXostream& stream, const TaggedComponent& component);
TRXistream& operator>>(TRXistream& stream, TaggedComponent& component);
TRXostream& operator<<(TRXostream& stream, const IOR& ior);
TRXistream& operator>>(TRXistream& stream, IOR& ior);

} // namespace IOP

namespace IIOP {

struct Version {
    CORBA_Octet major = 1;
    CORBA_Octet minor = 0;
};

// The contents of profiles with TAG_INTERNET_IOP, TAG_ALT_IIOP, TAG_TRX_LOCATE and TAG_TRX_LOCAL, in an
// encapsulation.
struct ProfileBody {
    Version iiop_version;
    CORBA_String_var host; // dotted address text, or empty
    CORBA_UShort port = 0;
    CORBA_OctetSequence object_key;
    IOP::TaggedComponentSeq components; // on the wire only when the minor version is not 0
};

// The fields only, without the byte order octet of an encapsulation.
TRXostream& operator<<(TRXostream& stream, const ProfileBody& body);
TRXistream& operator>>(TRXistream& stream, ProfileBody& body);

// Decodes profile data. Unreadable data raises CORBA_MARSHAL.
ProfileBody decoded(const CORBA_OctetSequence& profileData);
CORBA_OctetSequence encoded(const ProfileBody& body);

} // namespace IIOP
