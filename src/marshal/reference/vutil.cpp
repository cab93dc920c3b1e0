#include "marshal/reference/vutil.h"

#include "marshal/cdr/encapsulation.h"
#include "marshal/reference/object_operations.h"
#include "marshal/reference/profile_keys.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

namespace {

constexpr std::string_view prefix = "IOR:";

int digitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    throw CORBA_INV_OBJREF();
}

CORBA_OctetSequence octetsOfDigits(std::string_view digits) {
    // An odd last digit is ignored.
    const size_t pairs = digits.size() / 2;
    if (pairs > std::numeric_limits<CORBA_ULong>::max())
        throw CORBA_INV_OBJREF();
    CORBA_OctetSequence octets(static_cast<CORBA_ULong>(pairs));
    octets.length(static_cast<CORBA_ULong>(pairs));
    CORBA_Octet* target = octets.buffer();
    for (size_t i = 0; i < pairs; ++i)
        target[i] = static_cast<CORBA_Octet>(digitValue(digits[2 * i]) * 16 + digitValue(digits[2 * i + 1]));
    return octets;
}

// The first profile that contains an address, or the end.
template <class Profiles>
auto* addressProfile(Profiles& profiles) {
    return std::find_if(profiles.begin(), profiles.end(), [](const IOP::TaggedProfile& profile) {
        return profile.tag == IOP::TAG_INTERNET_IOP || profile.tag == IOP::TAG_ALT_IIOP;
    });
}

char* newString(std::string_view text) {
    char* string = CORBA_string_alloc(static_cast<CORBA_ULong>(text.size()));
    std::copy(text.begin(), text.end(), string);
    string[text.size()] = '\0';
    return string;
}

std::string replaced(std::string_view text, std::string_view what, std::string_view with) {
    std::string result;
    size_t from = 0;
    // Searches the old text only, so that inserted text is not replaced again.
    for (size_t at = text.find(what); at != text.npos; at = text.find(what, from)) {
        result.append(text, from, at - from).append(with);
        from = at + what.size();
    }
    return result.append(text, from);
}

} // namespace

char* TRXUtil::ior_to_string(const IOP::IOR& ior) {
    TRXEncapsulationWriter writer;
    writer << ior;
    const auto octets = writer.octets();
    const size_t length = prefix.size() + 2 * octets.size();
    if (length > std::numeric_limits<CORBA_ULong>::max())
        throw CORBA_IMP_LIMIT();
    char* text = CORBA_string_alloc(static_cast<CORBA_ULong>(length));
    char* target = std::copy(prefix.begin(), prefix.end(), text);
    constexpr char digits[] = "0123456789abcdef";
    for (CORBA_Octet octet : octets) {
        *target++ = digits[octet >> 4];
        *target++ = digits[octet & 15];
    }
    *target = '\0';
    return text;
}

IOP::IOR* TRXUtil::string_to_ior(const char* text) {
    if (!text || std::strncmp(text, prefix.data(), prefix.size()) != 0)
        throw CORBA_INV_OBJREF();
    const CORBA_OctetSequence octets = octetsOfDigits(text + prefix.size());
    auto ior = std::make_unique<IOP::IOR>();
    try {
        TRXEncapsulationReader reader(octets);
        reader >> *ior;
    } catch (const CORBA_Exception&) {
        // Whatever is wrong with the octets, the caller is told that the text is no reference.
        throw CORBA_INV_OBJREF();
    }
    return ior.release();
}

void TRXUtil::parse_profile_body(const CORBA_OctetSequence& profileData, IIOP::ProfileBody& body) {
    body = IIOP::decoded(profileData);
}

void TRXUtil::iiop_body(const IOP::IOR& ior, IIOP::ProfileBody& body) {
    const IOP::TaggedProfile* profile = addressProfile(ior.profiles);
    if (profile == ior.profiles.end())
        throw CORBA_INV_OBJREF();
    try {
        parse_profile_body(profile->profile_data, body);
    } catch (const CORBA_MARSHAL&) {
        throw CORBA_INV_OBJREF();
    }
}

void TRXUtil::set_iiop_body(IOP::IOR& ior, const IIOP::ProfileBody& body) {
    // Encoded first: when this raises, the reference is unchanged.
    CORBA_OctetSequence data = IIOP::encoded(body);
    IOP::TaggedProfile* profile = addressProfile(ior.profiles);
    if (profile == ior.profiles.end()) {
        const CORBA_ULong last = ior.profiles.length();
        ior.profiles.length(last + 1);
        profile = &ior.profiles[last];
        profile->tag = IOP::TAG_INTERNET_IOP;
    }
    profile->profile_data = std::move(data);
}

void TRXUtil::object_key_of(const IOP::IOR& ior, CORBA_ULong tag, CORBA_OctetSequence& key) {
    const auto* profile = std::find_if(ior.profiles.begin(), ior.profiles.end(),
                                       [tag](const IOP::TaggedProfile& p) { return p.tag == tag; });
    const TRXProfileKeys* keys = TRXProfileKeys::find(tag);
    if (profile == ior.profiles.end() || !keys)
        throw CORBA_INV_OBJREF();
    try {
        key = keys->key(*profile);
    } catch (const CORBA_MARSHAL&) {
        throw CORBA_INV_OBJREF();
    }
}

void TRXUtil::set_object_key(IOP::IOR& ior, const CORBA_OctetSequence& key) {
    // Done on a copy: either all profiles get the new key or, when one cannot be decoded, none.
    IOP::TaggedProfileSeq profiles(ior.profiles);
    try {
        for (IOP::TaggedProfile& profile : profiles) {
            // Profiles of unknown tags are kept unchanged.
            if (const TRXProfileKeys* keys = TRXProfileKeys::find(profile.tag))
                profile = keys->rekeyed(profile, key);
        }
    } catch (const CORBA_MARSHAL&) {
        throw CORBA_INV_OBJREF();
    }
    ior.profiles = std::move(profiles);
}

CORBA_Object* TRXUtil::convert(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect,
                               CORBA_Boolean localFlag, CORBA_Boolean skipLocal) {
    // A nil reference needs no layer above.
    if (ior.profiles.length() == 0)
        return nullptr;
    return harbolance::ObjectOperations::installed().convert(ior, info, connect, localFlag, skipLocal);
}

char* TRXUtil::rep_id_to_name(const char* repositoryId) {
    constexpr std::string_view idl = "IDL:";
    if (!repositoryId)
        return nullptr;
    std::string_view text = repositoryId;
    if (!text.starts_with(idl))
        return CORBA_string_dup(repositoryId);
    text.remove_prefix(idl.size());
    // The part before the version. Without a version `find` gives npos, and the whole text is used.
    return newString(replaced(text.substr(0, text.find(':')), "/", "::"));
}

char* TRXUtil::name_to_rep_id(const char* name) {
    return name ? newString("IDL:" + replaced(name, "::", "/") + ":1.0") : nullptr;
}
