#include "marshal/reference/vior.h"

#include "marshal/cdr/encapsulation.h"

#include <algorithm>

namespace IOP {

bool operator==(const IOR& a, const IOR& b) {
    return CORBA_string_compare(a.type_id, b.type_id) == 0 &&
           std::equal(a.profiles.begin(), a.profiles.end(), b.profiles.begin(), b.profiles.end(),
                      [](const TaggedProfile& left, const TaggedProfile& right) {
                          return left.tag == right.tag && left.profile_data == right.profile_data;
                      });
}

TRXostream& operator<<(TRXostream& stream, const TaggedProfile& profile) {
    stream << profile.tag;
    return stream << profile.profile_data;
}

TRXistream& operator>>(TRXistream& stream, TaggedProfile& profile) {
    stream >> profile.tag;
    return stream >> profile.profile_data;
}

TRXostream& operator<<(TRXostream& stream, const TaggedComponent& component) {
    stream << component.tag;
    return stream << component.component_data;
}

TRXistream& operator>>(TRXistream& stream, TaggedComponent& component) {
    stream >> component.tag;
    return stream >> component.component_data;
}

TRXostream& operator<<(TRXostream& stream, const IOR& ior) {
    stream << ior.type_id.in();
    return stream << ior.profiles;
}

TRXistream& operator>>(TRXistream& stream, IOR& ior) {
    stream >> ior.type_id;
    return stream >> ior.profiles;
}

} // namespace IOP

namespace IIOP {

TRXostream& operator<<(TRXostream& stream, const ProfileBody& body) {
    stream << body.iiop_version.major << body.iiop_version.minor << body.host.in() << body.port;
    stream << body.object_key;
    // Version 1.0 of the body ends with the key.
    if (body.iiop_version.minor != 0)
        stream << body.components;
    return stream;
}

TRXistream& operator>>(TRXistream& stream, ProfileBody& body) {
    stream >> body.iiop_version.major >> body.iiop_version.minor;
    stream >> body.host;
    stream >> body.port;
    stream >> body.object_key;
    if (body.iiop_version.minor != 0)
        stream >> body.components;
    else
        // Cleared, because the target may have been used before.
        body.components.length(0);
    return stream;
}

ProfileBody decoded(const CORBA_OctetSequence& profileData) {
    TRXEncapsulationReader reader(profileData);
    ProfileBody body;
    reader >> body;
    return body;
}

CORBA_OctetSequence encoded(const ProfileBody& body) {
    TRXEncapsulationWriter writer;
    writer << body;
    return CORBA_OctetSequence(writer.octets());
}

} // namespace IIOP
