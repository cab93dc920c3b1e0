// The input is a stringified reference. A valid one must be the same after it is converted to text and back,
// and all its contents are decoded as a receiver would do.

#include "fuzzing.h"

#include "marshal/cdr/encapsulation.h"
#include "marshal/reference/code_sets.h"
#include "marshal/reference/vutil.h"

#include <memory>
#include <sstream>
#include <string>

namespace {

void readComponents(const IOP::TaggedComponentSeq& components) {
    for (const IOP::TaggedComponent& component : components) {
        try {
            CONV_FRAME::decoded(component);
        } catch (const CORBA_MARSHAL&) {
        }
    }
}

void readProfile(const IOP::TaggedProfile& profile) {
    try {
        const IIOP::ProfileBody body = IIOP::decoded(profile.profile_data);
        const CORBA_OctetSequence first = IIOP::encoded(body);
        require(first == IIOP::encoded(IIOP::decoded(first)), "decoding a profile body keeps every field");
        readComponents(body.components);
        std::ostringstream line;
        TRXUtil::print_key(line, body.object_key);
    } catch (const CORBA_MARSHAL&) {
    }
    try {
        TRXEncapsulationReader reader(profile.profile_data);
        IOP::TaggedComponentSeq components;
        reader >> components;
        readComponents(components);
    } catch (const CORBA_MARSHAL&) {
    }
}

void rewrite(IOP::IOR ior) {
    const TRXKeyId id(7);
    const CORBA_OctetSequence_var key = TRXUtil::key_from_id(id);
    try {
        TRXUtil::set_object_key(ior, *key);
        CORBA_OctetSequence found;
        TRXUtil::object_key_of(ior, IOP::TAG_INTERNET_IOP, found);
        require(found == *key, "the key that was set is found");
        IIOP::ProfileBody body;
        TRXUtil::iiop_body(ior, body);
        TRXUtil::set_iiop_body(ior, body);
    } catch (const CORBA_INV_OBJREF&) {
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    silenceComplaints();
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::unique_ptr<IOP::IOR> ior;
    try {
        ior.reset(TRXUtil::string_to_ior(input.c_str()));
    } catch (const CORBA_INV_OBJREF&) {
        inputRefused = true;
        return 0;
    }
    const CORBA_String_var text = TRXUtil::ior_to_string(*ior);
    const std::unique_ptr<IOP::IOR> again(TRXUtil::string_to_ior(text.in()));
    require(*ior == *again, "a reference survives its text");
    for (const IOP::TaggedProfile& profile : ior->profiles)
        readProfile(profile);
    rewrite(*ior);
    return 0;
}
