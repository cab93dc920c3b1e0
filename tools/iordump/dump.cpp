#include "iordump/dump.h"

#include "base/printable.h"
#include "marshal/cdr/encapsulation.h"
#include "marshal/reference/code_sets.h"
#include "marshal/reference/vutil.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

using namespace harbolance;

namespace {

struct Name {
    CORBA_ULong number;
    const char* name;
};

constexpr Name profileTags[] = {{IOP::TAG_INTERNET_IOP, "TAG_INTERNET_IOP"},
                                {IOP::TAG_MULTIPLE_COMPONENTS, "TAG_MULTIPLE_COMPONENTS"},
                                {IOP::TAG_ALT_IIOP, "TAG_ALT_IIOP"},
                                {IOP::TAG_TRX_LOCATE, "TAG_TRX_LOCATE"},
                                {IOP::TAG_TRX_LOCAL, "TAG_TRX_LOCAL"}};
constexpr Name componentTags[] = {{IOP::TAG_CODE_SETS, "TAG_CODE_SETS"}};
constexpr Name codeSets[] = {{0, "not stated"},     {0x00010001, "ISO 8859-1"}, {0x00010020, "ASCII"},
                             {0x00010100, "UCS-2"}, {0x00010109, "UTF-16"},     {0x05010001, "UTF-8"}};

std::string hexNumber(CORBA_ULong number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", number);
    return text;
}

const char* nameOf(CORBA_ULong number, std::span<const Name> names) {
    for (const Name& known : names) {
        if (known.number == number)
            return known.name;
    }
    return nullptr;
}

std::string withName(const std::string& shown, const char* name) {
    return name ? shown + " (" + name + ")" : shown;
}

// Small tags are assigned in decimal; large ones are four ASCII characters, which hexadecimal digits show
// better.
std::string tagText(CORBA_ULong tag, std::span<const Name> names) {
    return withName(tag < 0x10000 ? std::to_string(tag) : hexNumber(tag), nameOf(tag, names));
}

std::string codeSetText(CORBA_ULong set) { return withName(hexNumber(set), nameOf(set, codeSets)); }

std::string octetCount(const CORBA_OctetSequence& octets) {
    return std::to_string(octets.length()) + (octets.length() == 1 ? " octet" : " octets");
}

// "(empty)" shows that the text exists and is empty.
std::string orEmpty(const char* text) {
    // Texts come from the maker of the reference, so characters that a terminal would act on are replaced by
    // dots.
    const std::string shown = printable(text);
    return shown.empty() ? "(empty)" : shown;
}

// Lines of 16 octets: offset, hexadecimal digits, and the characters with dots for those that do not print.
void printHexLines(std::ostream& stream, std::span<const CORBA_Octet> octets, std::string_view indent) {
    constexpr size_t width = 16;
    for (size_t offset = 0; offset < octets.size(); offset += width) {
        const auto line = octets.subspan(offset, std::min(width, octets.size() - offset));
        char text[24];
        std::snprintf(text, sizeof text, "%04zx ", offset);
        stream << indent << text;
        for (CORBA_Octet octet : line) {
            std::snprintf(text, sizeof text, " %02x", octet);
            stream << text;
        }
        // Each missing octet of the last line is replaced by three spaces, so that the characters are
        // aligned.
        stream << std::string(3 * (width - line.size()) + 2, ' ') << printable(line) << "\n";
    }
}

class Dump {
public:
    explicit Dump(std::ostream& stream) : out_(stream) {}

    void reference(const IOP::IOR& ior) {
        out_ << "Type id: " << orEmpty(ior.type_id.in()) << "\n";
        // A reference without profiles stands for no object.
        const bool nil = ior.profiles.length() == 0;
        out_ << "Profiles: " << ior.profiles.length() << (nil ? " (nil reference)" : "") << "\n";
        for (CORBA_ULong i = 0; i < ior.profiles.length(); ++i)
            profile(i + 1, ior.profiles[i]);
    }

    std::vector<std::string> complaints;

private:
    void profile(CORBA_ULong number, const IOP::TaggedProfile& profile) {
        // Stored for error messages, which are made while the profile is decoded and printed after the
        // report.
        place_ = "profile " + std::to_string(number);
        out_ << "\nProfile " << number << ": tag " << tagText(profile.tag, profileTags) << "\n";
        try {
            content(profile);
        } catch (const CORBA_MARSHAL&) {
            unreadable("body", profile.profile_data, "  ");
        }
    }

    void content(const IOP::TaggedProfile& profile) {
        switch (profile.tag) {
        // All of these contain the body of an Internet profile.
        case IOP::TAG_INTERNET_IOP:
        case IOP::TAG_ALT_IIOP:
        case IOP::TAG_TRX_LOCATE:
        case IOP::TAG_TRX_LOCAL: body(IIOP::decoded(profile.profile_data)); break;
        case IOP::TAG_MULTIPLE_COMPONENTS: componentProfile(profile.profile_data); break;
        // Only the maker of other profiles knows their format.
        default:
            out_ << "  Data: " << octetCount(profile.profile_data) << "\n";
            printHexLines(out_, profile.profile_data.octets(), "    ");
        }
    }

    void body(const IIOP::ProfileBody& body) {
        out_ << "  Version: " << int{body.iiop_version.major} << "." << int{body.iiop_version.minor} << "\n"
             << "  Host: " << orEmpty(body.host.in()) << "\n"
             << "  Port: " << body.port << "\n";
        objectKey(body.object_key);
        // Bodies of version 1.0 end after the object key.
        if (body.iiop_version.minor != 0)
            components(body.components);
    }

    void objectKey(const CORBA_OctetSequence& key) {
        // Only the ORB that made a key can interpret it. Null for a key of another ORB; a damaged key of our
        // own raises.
        out_ << "  Object key: " << octetCount(key);
        try {
            if (const TRXRef<TRXObjectId> id{TRXUtil::id_from_key(key)}) {
                out_ << "\n";
                objectId(*id);
            } else {
                out_ << ", not of this ORB\n";
                printHexLines(out_, key.octets(), "    ");
            }
        } catch (const CORBA_MARSHAL&) {
            out_ << "\n";
            unreadable("object key", key, "    ");
        }
    }

    void objectId(const TRXObjectId& id) {
        switch (id.type()) {
        case TRXObjectId::ID_PERSISTENT: {
            // type() identifies the class, so the casts here are safe.
            const auto& named = static_cast<const TRXPersistentId&>(id);
            out_ << "    Kind: persistent\n    Repository id: " << orEmpty(named.rep_id())
                 << "\n    Object name: " << orEmpty(named.object_name()) << "\n";
            break;
        }
        case TRXObjectId::ID_TRANSIENT: {
            const auto& transient = static_cast<const TRXTransientId&>(id);
            out_ << "    Kind: transient\n    Repository id: " << orEmpty(transient.rep_id())
                 << "\n    Adapter: " << hexNumber(transient.adapter())
                 << "\n    Serial: " << transient.serial() << "\n";
            break;
        }
        case TRXObjectId::ID_KEY:
            out_ << "    Kind: key\n    Key: " << hexNumber(static_cast<const TRXKeyId&>(id).key()) << "\n";
            break;
        case TRXObjectId::ID_SERVICE: {
            const auto& service = static_cast<const TRXServiceId&>(id);
            out_ << "    Kind: service\n    Service name: " << orEmpty(service.service_name())
                 << "\n    Service id: " << octetCount(service.service_id()) << "\n";
            printHexLines(out_, service.service_id().octets(), "      ");
            break;
        }
        }
    }

    void componentProfile(const CORBA_OctetSequence& data) {
        // The data begin with a byte order octet, which the reader consumes.
        TRXEncapsulationReader reader(data);
        IOP::TaggedComponentSeq list;
        reader >> list;
        components(list);
    }

    void components(const IOP::TaggedComponentSeq& list) {
        out_ << "  Components: " << list.length() << "\n";
        for (const IOP::TaggedComponent& component : list)
            this->component(component);
    }

    void component(const IOP::TaggedComponent& component) {
        out_ << "  Component: tag " << tagText(component.tag, componentTags) << ", "
             << octetCount(component.component_data) << "\n";
        if (component.tag != IOP::TAG_CODE_SETS) {
            printHexLines(out_, component.component_data.octets(), "    ");
            return;
        }
        try {
            // Decoded completely before anything is printed, so that a damaged component is shown only as
            // octets.
            const CONV_FRAME::CodeSetComponentInfo info = CONV_FRAME::decoded(component);
            codeSet("Char", info.ForCharData);
            codeSet("Wide char", info.ForWcharData);
        } catch (const CORBA_MARSHAL&) {
            unreadable("code sets", component.component_data, "    ");
        }
    }

    void codeSet(const char* which, const CONV_FRAME::CodeSetComponent& set) {
        out_ << "    " << which << " code set: " << codeSetText(set.native_code_set) << "\n";
        for (CORBA_ULong other : set.conversion_code_sets)
            out_ << "      converts: " << codeSetText(other) << "\n";
    }

    void unreadable(const char* what, const CORBA_OctetSequence& octets, std::string_view indent) {
        // The report continues, because other parts of the reference may be valid.
        complaints.push_back(place_ + ": the " + what + " cannot be read");
        out_ << indent << "Unreadable " << what << ": " << octetCount(octets) << "\n";
        printHexLines(out_, octets.octets(), std::string(indent) + "  ");
    }

    std::ostream& out_;
    std::string place_;
};

} // namespace

std::vector<std::string> dump(std::ostream& stream, const IOP::IOR& ior) {
    Dump dump(stream);
    dump.reference(ior);
    return std::move(dump.complaints);
}
