#pragma once

#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/vstr.h"

// References as they travel: what kind of object it is, and one profile for each way to reach it. A profile's
// data is opaque but for those tags whose form is known here. Where a string is null the peer sent a null
// string, which happens only where null strings are switched on.

namespace IOP {

constexpr CORBA_ULong TAG_INTERNET_IOP = 0;        // an address to connect to
constexpr CORBA_ULong TAG_MULTIPLE_COMPONENTS = 1; // an encapsulated list of components
constexpr CORBA_ULong TAG_ALT_IIOP = 10002;        // a second form of an address
constexpr CORBA_ULong TAG_TRX_LOCATE = 0x54525800; // to be found through the location service
constexpr CORBA_ULong TAG_TRX_LOCAL = 0x54525801;  // the server in this process

constexpr CORBA_ULong TAG_CODE_SETS = 1; // of a component

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

// What profiles of TAG_INTERNET_IOP, TAG_ALT_IIOP, TAG_TRX_LOCATE and TAG_TRX_LOCAL carry in an
// encapsulation.
struct ProfileBody {
    Version iiop_version;
    CORBA_String_var host; // dotted address text, or empty
    CORBA_UShort port = 0;
    CORBA_OctetSequence object_key;
    IOP::TaggedComponentSeq components; // travel only when the minor version is not 0
};

// The fields alone, without the byte order of an encapsulation.
TRXostream& operator<<(TRXostream& stream, const ProfileBody& body);
TRXistream& operator>>(TRXistream& stream, ProfileBody& body);

// The body inside profile data. What cannot be read raises CORBA_MARSHAL.
ProfileBody decoded(const CORBA_OctetSequence& profileData);
CORBA_OctetSequence encoded(const ProfileBody& body);

} // namespace IIOP
