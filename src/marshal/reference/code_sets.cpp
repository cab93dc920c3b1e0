#include "marshal/reference/code_sets.h"

#include "marshal/cdr/encapsulation.h"

namespace CONV_FRAME {

namespace {

constexpr CORBA_ULong wideCharCodeSet = 0x10109;

TRXostream& operator<<(TRXostream& stream, const CodeSetComponent& component) {
    stream << component.native_code_set;
    return stream << component.conversion_code_sets;
}

TRXistream& operator>>(TRXistream& stream, CodeSetComponent& component) {
    stream >> component.native_code_set;
    return stream >> component.conversion_code_sets;
}

IOP::TaggedProfile makeCodeSetProfile() {
    // The code set of plain characters stays 0, because none is declared for them.
    CodeSetComponentInfo info;
    info.ForWcharData.native_code_set = wideCharCodeSet;
    TRXEncapsulationWriter inner;
    inner << info;

    IOP::TaggedComponentSeq components;
    components.length(1);
    components[0].tag = IOP::TAG_CODE_SETS;
    components[0].component_data.assign(inner.octets());
    // A component's data is an encapsulation, and so is the list of components in the profile's data.
    TRXEncapsulationWriter outer;
    outer << components;

    IOP::TaggedProfile profile;
    profile.tag = IOP::TAG_MULTIPLE_COMPONENTS;
    profile.profile_data.assign(outer.octets());
    return profile;
}

} // namespace

TRXostream& operator<<(TRXostream& stream, const CodeSetComponentInfo& info) {
    return stream << info.ForCharData << info.ForWcharData;
}

TRXistream& operator>>(TRXistream& stream, CodeSetComponentInfo& info) {
    return stream >> info.ForCharData >> info.ForWcharData;
}

CodeSetComponentInfo decoded(const IOP::TaggedComponent& component) {
    TRXEncapsulationReader reader(component.component_data);
    CodeSetComponentInfo info;
    reader >> info;
    return info;
}

const IOP::TaggedProfile& codeSetProfile() {
    // Never destroyed, because references may be written until the process ends.
    static const auto* const profile = new IOP::TaggedProfile(makeCodeSetProfile());
    return *profile;
}

} // namespace CONV_FRAME
