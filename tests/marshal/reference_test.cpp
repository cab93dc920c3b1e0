#include "marshal/octet_sequences.h"
#include "marshal/reference/code_sets.h"
#include "marshal/reference/profile_keys.h"
#include "marshal/reference/vutil.h"
#include "object/objects.h"

#include <gtest/gtest.h>

#include <memory>

using namespace harbolance;

namespace {

std::unique_ptr<IOP::IOR> parse(const std::string& text) {
    return std::unique_ptr<IOP::IOR>(TRXUtil::string_to_ior(text.c_str()));
}

std::string stringified(const IOP::IOR& ior) { return CORBA_String_var(TRXUtil::ior_to_string(ior)).in(); }

IOP::TaggedProfile profile(CORBA_ULong tag, std::string_view digits) {
    IOP::TaggedProfile result;
    result.tag = tag;
    result.profile_data = sequence(digits);
    return result;
}

IOP::IOR reference(const char* typeId, std::initializer_list<IOP::TaggedProfile> profiles) {
    IOP::IOR ior;
    ior.type_id = typeId;
    ior.profiles.length(static_cast<CORBA_ULong>(profiles.size()));
    std::copy(profiles.begin(), profiles.end(), ior.profiles.begin());
    return ior;
}

// order version pad | 9 "10.0.0.7" pad | port 14001 | 30 octets of key, kind persistent, "IDL:A:1.0" and "x"
const std::string bodyLittle = digits("01 01 00 20 09000000 31302e302e302e3700 20 b136"
                                      "1e000000 01 514d43 00000000 0a000000 49444c3a413a312e3000 2020"
                                      "02000000 7800");
const std::string bodyBig = digits("00 01 00 20 00000009 31302e302e302e3700 20 36b1"
                                   "0000001e 00 514d43 00000000 0000000a 49444c3a413a312e3000 2020"
                                   "00000002 7800");
// order pad | 10 "IDL:A:1.0" pad | 1 profile | tag | 54 octets of body
const std::string littleReference =
    "IOR:" + digits("01 202020 0a000000 49444c3a413a312e3000 2020 01000000 00000000 36000000") + bodyLittle;
const std::string bigReference =
    "IOR:" + digits("00 202020 0000000a 49444c3a413a312e3000 2020 00000001 00000000 00000036") + bodyBig;
// Version 1.1, host "h", port 80, a key of one octet, then 2 components: tag 1 with 2 octets, tag 99 with
// none
const std::string bodyWithComponents = digits("01 01 01 20 02000000 6800 5000 01000000 aa 202020"
                                              "02000000 01000000 02000000 bbcc 2020 63000000 00000000");

TEST(Reference, isReadInBothByteOrders) {
    for (const std::string& text : {littleReference, bigReference}) {
        const auto ior = parse(text);
        EXPECT_STREQ(ior->type_id.in(), "IDL:A:1.0");
        ASSERT_EQ(ior->profiles.length(), 1u);
        EXPECT_EQ(ior->profiles[0].tag, IOP::TAG_INTERNET_IOP);
        IIOP::ProfileBody body;
        TRXUtil::iiop_body(*ior, body);
        EXPECT_EQ(body.iiop_version.major, 1);
        EXPECT_EQ(body.iiop_version.minor, 0);
        EXPECT_STREQ(body.host.in(), "10.0.0.7");
        EXPECT_EQ(body.port, 14001);
        const TRXRef id(static_cast<TRXPersistentId*>(TRXUtil::id_from_key(body.object_key)));
        EXPECT_STREQ(id->rep_id(), "IDL:A:1.0");
        EXPECT_STREQ(id->object_name(), "x");
    }
}

TEST(Reference, isWrittenInTheHostsOrderWithLowerCaseDigits) {
    if (hostByteOrder == 0)
        GTEST_SKIP() << "the octets are those of a little-endian host";
    EXPECT_EQ(stringified(reference("IDL:A:1.0", {profile(IOP::TAG_INTERNET_IOP, bodyLittle)})),
              littleReference);
    // The nil reference: an empty type id, no profiles.
    EXPECT_EQ(stringified(IOP::IOR()), "IOR:" + digits("01 202020 01000000 00 202020 00000000"));
}

TEST(Reference, isReadFromUpperCaseAndWithAnOddLastDigit) {
    const auto ior = parse(littleReference);
    std::string upper = littleReference;
    for (size_t i = 4; i < upper.size(); ++i)
        upper[i] = static_cast<char>(std::toupper(upper[i]));
    EXPECT_TRUE(*parse(upper) == *ior);
    EXPECT_TRUE(*parse(littleReference + "7") == *ior);
}

TEST(Reference, malformedTextRaisesInvObjref) {
    EXPECT_THROW(TRXUtil::string_to_ior(nullptr), CORBA_INV_OBJREF);
    const std::string nil = "IOR:" + digits("01 202020 01000000 00 202020 00000000");
    EXPECT_EQ(parse(nil)->profiles.length(), 0u);
    for (const std::string& text : {
             std::string(), std::string("IO"), std::string("IOR:"), std::string("IOR:0"),
             "ior:" + nil.substr(4), " " + nil, nil + " 0", nil + "g0", nil.substr(0, nil.size() - 2),
             littleReference.substr(0, littleReference.size() - 2),
             "IOR:" + digits("01 202020 00000000 00000000"),                    // a null type id
             "IOR:" + digits("01 202020 ffffffff 41"),                          // a type id of 4 GB
             "IOR:" + digits("01 202020 01000000 00 202020 ffffffff"),          // as many profiles
             "IOR:" + digits("01 202020 01000000 00 202020 01000000 00000000"), // one without its data
         })
        EXPECT_THROW(parse(text), CORBA_INV_OBJREF) << text;
}

TEST(Reference, comparesTypeProfilesAndOrder) {
    const auto a = profile(0, "01"), b = profile(1, "02");
    EXPECT_TRUE(reference("A", {a, b}) == reference("A", {a, b}));
    EXPECT_FALSE(reference("A", {a, b}) == reference("A", {b, a}));
    EXPECT_FALSE(reference("A", {a, b}) == reference("A", {a}));
    EXPECT_FALSE(reference("A", {a}) == reference("B", {a}));
    EXPECT_FALSE(reference("A", {a}) == reference("A", {profile(0, "03")}));
}

TEST(ProfileBody, carriesComponentsFromVersion11On) {
    const IIOP::ProfileBody body = IIOP::decoded(sequence(bodyWithComponents));
    EXPECT_EQ(body.iiop_version.minor, 1);
    EXPECT_EQ(body.port, 80);
    ASSERT_EQ(body.components.length(), 2u);
    EXPECT_EQ(body.components[0].tag, 1u);
    EXPECT_EQ(hex(body.components[0].component_data), "bbcc");
    EXPECT_EQ(body.components[1].tag, 99u);
    if (hostByteOrder == 1) {
        EXPECT_EQ(hex(IIOP::encoded(body)), bodyWithComponents);
    }
}

TEST(ProfileBody, ofVersion10HasNoneWhateverTheTargetHeld) {
    IIOP::ProfileBody body = IIOP::decoded(sequence(bodyWithComponents));
    TRXUtil::parse_profile_body(sequence(bodyBig), body);
    EXPECT_EQ(body.components.length(), 0u);
    body.components.length(1);
    if (hostByteOrder == 1) {
        EXPECT_EQ(hex(IIOP::encoded(body)).substr(0, 40), bodyLittle.substr(0, 40));
        EXPECT_EQ(hex(IIOP::encoded(body)).size(), bodyLittle.size());
    }
}

TEST(ProfileBody, cutAnywhereRaises) {
    const std::string whole = octets(bodyWithComponents);
    for (size_t size = 0; size < whole.size(); ++size) {
        const auto ior = reference("A", {profile(IOP::TAG_ALT_IIOP, hex(whole.substr(0, size)))});
        IIOP::ProfileBody body;
        EXPECT_THROW(TRXUtil::parse_profile_body(ior.profiles[0].profile_data, body), CORBA_MARSHAL) << size;
        EXPECT_THROW(TRXUtil::iiop_body(ior, body), CORBA_INV_OBJREF) << size;
    }
}

TEST(ProfileBody, isTheFirstOfEitherAddressTag) {
    auto ior = reference("A", {profile(7, "00"), profile(IOP::TAG_ALT_IIOP, bodyBig),
                               profile(IOP::TAG_INTERNET_IOP, bodyWithComponents)});
    IIOP::ProfileBody body;
    TRXUtil::iiop_body(ior, body);
    EXPECT_EQ(body.port, 14001);
    body.port = 1;
    TRXUtil::set_iiop_body(ior, body);
    ASSERT_EQ(ior.profiles.length(), 3u);
    EXPECT_EQ(IIOP::decoded(ior.profiles[1].profile_data).port, 1);
    EXPECT_EQ(hex(ior.profiles[2].profile_data), bodyWithComponents);

    auto without = reference("A", {profile(IOP::TAG_TRX_LOCATE, bodyBig)});
    EXPECT_THROW(TRXUtil::iiop_body(without, body), CORBA_INV_OBJREF);
    TRXUtil::set_iiop_body(without, body);
    ASSERT_EQ(without.profiles.length(), 2u);
    EXPECT_EQ(without.profiles[1].tag, IOP::TAG_INTERNET_IOP);
}

TEST(ProfileKey, isReplacedInEveryProfileOfAServedTag) {
    auto ior = reference("A", {profile(IOP::TAG_INTERNET_IOP, bodyBig), profile(1, "0102"),
                               profile(IOP::TAG_INTERNET_IOP, bodyWithComponents)});
    TRXUtil::set_object_key(ior, sequence("c0ffee"));
    for (CORBA_ULong i : {0u, 2u})
        EXPECT_EQ(hex(IIOP::decoded(ior.profiles[i].profile_data).object_key), "c0ffee");
    EXPECT_EQ(IIOP::decoded(ior.profiles[0].profile_data).port, 14001);
    EXPECT_EQ(IIOP::decoded(ior.profiles[2].profile_data).components.length(), 2u);
    EXPECT_EQ(hex(ior.profiles[1].profile_data), "0102");
    CORBA_OctetSequence key;
    TRXUtil::object_key_of(ior, IOP::TAG_INTERNET_IOP, key);
    EXPECT_EQ(hex(key), "c0ffee");
    EXPECT_THROW(TRXUtil::object_key_of(ior, IOP::TAG_ALT_IIOP, key), CORBA_INV_OBJREF);
    EXPECT_THROW(TRXUtil::object_key_of(ior, 1, key), CORBA_INV_OBJREF);
}

TEST(ProfileKey, staysEverywhereWhenOneProfileCannotBeRead) {
    auto ior =
        reference("A", {profile(IOP::TAG_INTERNET_IOP, bodyBig), profile(IOP::TAG_INTERNET_IOP, "01")});
    const IOP::IOR before = ior;
    EXPECT_THROW(TRXUtil::set_object_key(ior, sequence("c0ffee")), CORBA_INV_OBJREF);
    EXPECT_TRUE(ior == before);
}

// A transport whose profile is the key and nothing else.
class BareKeys : public TRXProfileKeys {
public:
    using TRXProfileKeys::TRXProfileKeys;
    CORBA_OctetSequence key(const IOP::TaggedProfile& profile) const override { return profile.profile_data; }
    IOP::TaggedProfile rekeyed(const IOP::TaggedProfile& profile,
                               const CORBA_OctetSequence& key) const override {
        IOP::TaggedProfile result(profile);
        result.profile_data = key;
        return result;
    }
};

TEST(ProfileKey, ofAnotherTransportGoesThroughItsOwn) {
    auto ior = reference("A", {profile(77, "0102")});
    CORBA_OctetSequence key;
    {
        const BareKeys bare(77);
        EXPECT_THROW(BareKeys(IOP::TAG_INTERNET_IOP), CORBA_BAD_PARAM);
        TRXUtil::set_object_key(ior, sequence("aa"));
        TRXUtil::object_key_of(ior, 77, key);
        EXPECT_EQ(hex(key), "aa");
    }
    EXPECT_EQ(TRXProfileKeys::find(77), nullptr);
    EXPECT_NE(TRXProfileKeys::find(IOP::TAG_INTERNET_IOP), nullptr);
}

TEST(CodeSets, profileStatesTheOnesOfThisOrb) {
    const IOP::TaggedProfile& profile = CONV_FRAME::codeSetProfile();
    EXPECT_EQ(profile.tag, IOP::TAG_MULTIPLE_COMPONENTS);
    // order pad | 1 component | tag | 20 octets: order pad | char 0, none | wide char 0x10109, none
    if (hostByteOrder == 1) {
        EXPECT_EQ(
            hex(profile.profile_data),
            digits("01 202020 01000000 01000000 14000000 01 202020 00000000 00000000 09010100 00000000"));
    }
}

TEST(CodeSets, areReadInTheOrderOfTheirOwnEncapsulation) {
    IOP::TaggedComponent component;
    component.component_data =
        sequence("00 202020 00010001 00000001 05010001 00010109 00000002 00010100 00010101");
    const CONV_FRAME::CodeSetComponentInfo info = CONV_FRAME::decoded(component);
    EXPECT_EQ(info.ForCharData.native_code_set, 0x10001u);
    ASSERT_EQ(info.ForCharData.conversion_code_sets.length(), 1u);
    EXPECT_EQ(info.ForCharData.conversion_code_sets[0], 0x5010001u);
    ASSERT_EQ(info.ForWcharData.conversion_code_sets.length(), 2u);
    EXPECT_EQ(info.ForWcharData.conversion_code_sets[1], 0x10101u);
    component.component_data = sequence("00 202020 00010001 40000000 05010001");
    EXPECT_THROW(CONV_FRAME::decoded(component), CORBA_MARSHAL);
}

TEST(ObjectStream, writesTheReferenceOfAnObjectAndNilForNone) {
    CORBA_Object_var object = new PlainObject;
    auto& role = static_cast<PlainRole&>(object->impl()->role());
    role.reference = reference("IDL:A:1.0", {profile(5, "aabb")});
    CORBA_MarshalOutBuffer out(64);
    out << object.in();
    out << CORBA_Object::_nil();
    if (hostByteOrder == 1) {
        EXPECT_EQ(hex(out), digits("0a000000 49444c3a413a312e3000 2020 01000000 05000000 02000000 aabb 2020"
                                   "01000000 00 202020 00000000"));
    }
}

TEST(ObjectStream, readsNilAndHandsOtherReferencesToTheConverter) {
    CORBA_MarshalOutBuffer out(64);
    out << IOP::IOR() << reference("IDL:A:1.0", {profile(5, "aabb")});
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    CORBA_Object_var object = new PlainObject;
    in >> *object.out();
    EXPECT_TRUE(CORBA_is_nil(object.in()));
    const CORBA_ULong second = in.offset();
    EXPECT_THROW(in >> *object.out(), CORBA_INITIALIZE);
    EXPECT_TRUE(CORBA_is_nil(object.in()));

    const auto before = harbolance::setReferenceConverter([](const IOP::IOR& ior, const CORBA_TypeInfo*,
                                                             CORBA_Boolean connect, CORBA_Boolean localFlag,
                                                             CORBA_Boolean) -> CORBA_Object* {
        EXPECT_FALSE(connect);
        EXPECT_TRUE(localFlag);
        auto* made = new PlainObject;
        made->role().reference = ior;
        return made;
    });
    in.seek(second);
    in >> *object.out();
    harbolance::setReferenceConverter(before);
    ASSERT_FALSE(CORBA_is_nil(object.in()));
    EXPECT_STREQ(object->_interface_name(), "IDL:A:1.0");
    EXPECT_EQ(object->_ref_count(), 1u);
}

TEST(ObjectStream, sequenceOfReferencesThatCannotBeThereRaisesBeforeItAllocates) {
    using ObjectSeq = TRXSequence<CORBA_Object*, TRXObjectElement<CORBA_Object>>;
    const std::string bytes = octets("00000020 01000000 00");
    CORBA_MarshalInBuffer in(bytes.data(), static_cast<CORBA_ULong>(bytes.size()), 0, 1);
    ObjectSeq sequence;
    EXPECT_THROW(in >> sequence, CORBA_MARSHAL);
    EXPECT_EQ(sequence.maximum(), 0u);
}

} // namespace
