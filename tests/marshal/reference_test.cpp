#include "marshal/reference/code_sets.h"
#include "marshal/reference/profile_keys.h"
#include "marshal/reference/vutil.h"
#include "marshal/support.h"
#include "object/objects.h"

#include <memory>

namespace {

// order "QMC" | kind | a repository id and a name
const std::string namedKey = "@ 'QMC' 00000000 0a000000 'IDL:A:1.0' 00 2020 02000000 'x' 00";
const char* const namedKeyPrinted = "RepID: IDL:A:1.0, ObjName: x";

std::string keyOf(const TRXObjectId& id) { return hex(*CORBA_OctetSequence_var(TRXUtil::key_from_id(id))); }

std::string printedKey(const CORBA_OctetSequence& key) {
    std::ostringstream line;
    TRXUtil::print_key(line, key);
    return line.str();
}

void expectKey(TRXObjectId* made, TRXObjectId::Kind kind, const std::string& octets, const char* printed) {
    SCOPED_TRACE(octets);
    EXPECT_EQ(keyOf(*TRXRef(made)), digits(octets));
    for (const CORBA_Octet order : {CORBA_Octet{1}, CORBA_Octet{0}}) {
        const CORBA_OctetSequence key = sequence(octets, order);
        const TRXRef id(TRXUtil::id_from_key(key));
        ASSERT_TRUE(id);
        EXPECT_EQ(id->type(), kind);
        EXPECT_EQ(keyOf(*id), digits(octets));
        EXPECT_EQ(printedKey(key), printed);
        EXPECT_EQ(TRXUtil::is_persistent(key), kind == TRXObjectId::ID_PERSISTENT);
        EXPECT_EQ(TRXUtil::is_service(key), kind == TRXObjectId::ID_SERVICE);
        EXPECT_EQ(TRXUtil::is_key_or_service(key), kind >= TRXObjectId::ID_KEY);
    }
}

// Bodies are a repository id and a name, a repository id with the adapter's word and a serial, a number, a
// service's name and octets.
TEST(ObjectKey, ofEachKindIsWrittenReadAndPrinted) {
    expectKey(new TRXPersistentId("IDL:A:1.0", "x"), TRXObjectId::ID_PERSISTENT, namedKey, namedKeyPrinted);
    expectKey(new TRXPersistentId("A", "\x1b[\x9bm"), TRXObjectId::ID_PERSISTENT,
              "@ 'QMC' 00000000 02000000 'A' 00 2020 05000000 1b 5b 9b 6d 00", "RepID: A, ObjName: .[.m");
    expectKey(new TRXPersistentId("IDL:A:1.0", nullptr), TRXObjectId::ID_PERSISTENT,
              "@ 'QMC' 00000000 0a000000 'IDL:A:1.0' 00 2020 01000000 00", "RepID: IDL:A:1.0");
    expectKey(new TRXTransientId("IDL:A:1.0", 0x11223344, 9), TRXObjectId::ID_TRANSIENT,
              "@ 'QMC' 01000000 0a000000 'IDL:A:1.0' 00 2020 44332211 09000000", "RepID: IDL:A:1.0");
    expectKey(new TRXKeyId(0x12345678), TRXObjectId::ID_KEY, "@ 'QMC' 03000000 78563412", "RepID: ");
    expectKey(new TRXServiceId("Svc", sequence("00 07 41")), TRXObjectId::ID_SERVICE,
              "@ 'QMC' 04000000 04000000 'Svc' 00 03000000 00 07 41", "SerName: Svc, SerID: ..A");
    // Longer than the first buffer, and with an order octet that is neither 0 nor 1.
    const std::string name(1000, 'n');
    const CORBA_OctetSequence_var key = TRXUtil::key_from_id(TRXPersistentId("IDL:A:1.0", name.c_str()));
    const TRXRef again(static_cast<TRXPersistentId*>(TRXUtil::id_from_key(*key)));
    EXPECT_EQ(again->object_name(), name);
    const TRXRef odd(static_cast<TRXKeyId*>(TRXUtil::id_from_key(sequence("ff 'QMC' 03000000 78563412"))));
    EXPECT_EQ(odd->key(), 0x12345678u);
}

// Bodies that are cut short stand in the corpus of fuzz_object_key.
TEST(ObjectKey, shortForeignOrOfUnknownKindIsNoId) {
    for (const char* key :
         {"", "01", "01 'QMC' 03000000 785634", "01 'QMD' 03000000 78563412", "01 'QMC' 02000000 78563412",
          "01 'QMC' 05000000 78563412", "00 'QMC' 03000000 78563412"})
        EXPECT_EQ(TRXUtil::id_from_key(sequence(key)), nullptr) << key;
    EXPECT_FALSE(TRXUtil::is_key(sequence("01 'QMC' 03000000 785634")));
    EXPECT_FALSE(TRXUtil::is_service(sequence("01 'QMD' 04000000 04000000")));
    const CORBA_OctetSequence cut = sequence("01 'QMC' 04000000 ffffffff");
    EXPECT_TRUE(TRXUtil::is_service(cut));
    EXPECT_THROW(TRXUtil::id_from_key(cut), CORBA_MARSHAL);
    EXPECT_EQ(printedKey(sequence("00010203")), "Not a Tarnwick Object Key");
}

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

// order version pad | 9 "10.0.0.7" pad | port 14001 | 30 octets of key: the one above
const std::string body = "@ 01 00 20 09000000 '10.0.0.7' 00 20 b136 1e000000 " + namedKey;
// order pad | 10 "IDL:A:1.0" pad | 1 profile | tag | 54 octets of body
const std::string wholeReference = "@ 202020 0a000000 'IDL:A:1.0' 00 2020 01000000 00000000 36000000 " + body;
const std::string nilReference = "IOR:" + digits("01 202020 01000000 00 202020 00000000");
// Version 1.1, host "h", port 80, a key of one octet, then 2 components: tag 1 with 2 octets, tag 99 with
// none
const std::string bodyWithComponents = "01 01 01 20 02000000 'h' 00 5000 01000000 aa 202020 02000000 "
                                       "01000000 02000000 bb cc 2020 63000000 00000000";

TEST(Reference, isReadInBothOrdersAndWrittenInTheHosts) {
    const std::string little = "IOR:" + digits(wholeReference);
    std::string upper = little;
    std::transform(upper.begin() + 4, upper.end(), upper.begin() + 4, toupper);
    for (const std::string& text : {little, "IOR:" + digits(wholeReference, 0), upper, little + "7"}) {
        const auto ior = parse(text);
        EXPECT_EQ(stringified(*ior).substr(0, 68), little.substr(0, 68));
        IIOP::ProfileBody read;
        TRXUtil::iiop_body(*ior, read);
        EXPECT_EQ(hex(IIOP::encoded(read)).substr(0, 48), digits(body).substr(0, 48));
        EXPECT_EQ(printedKey(read.object_key), namedKeyPrinted);
    }
    EXPECT_EQ(stringified(reference("IDL:A:1.0", {profile(0, body)})), little);
    EXPECT_EQ(stringified(IOP::IOR()), nilReference);
    EXPECT_EQ(parse(nilReference)->profiles.length(), 0u);
}

// Damaged octets stand in the corpus of fuzz_stringified_reference.
TEST(Reference, malformedTextRaisesInvObjref) {
    EXPECT_THROW(TRXUtil::string_to_ior(nullptr), CORBA_INV_OBJREF);
    for (const std::string& text :
         {std::string("IO"), std::string("IOR:0"), "ior:" + nilReference.substr(4), " " + nilReference,
          nilReference + " 0", nilReference + "g0", nilReference.substr(0, nilReference.size() - 2)})
        EXPECT_THROW(parse(text), CORBA_INV_OBJREF) << text;
}

TEST(Reference, comparesTypeProfilesAndOrder) {
    const auto a = profile(0, "01"), b = profile(1, "02");
    const IOP::IOR ab = reference("A", {a, b});
    EXPECT_TRUE(ab == reference("A", {a, b}));
    for (const IOP::IOR& other : {reference("A", {b, a}), reference("A", {a}), reference("B", {a, b}),
                                  reference("A", {a, profile(1, "03")})})
        EXPECT_FALSE(ab == other);
}

TEST(ProfileBody, carriesComponentsFromVersion11On) {
    IIOP::ProfileBody read = IIOP::decoded(sequence(bodyWithComponents));
    EXPECT_EQ(read.port, 80);
    ASSERT_EQ(read.components.length(), 2u);
    EXPECT_EQ(hex(read.components[0].component_data), "bbcc");
    EXPECT_EQ(hex(IIOP::encoded(read)), digits(bodyWithComponents));
    // Of version 1.0 it has none, whatever the target held.
    TRXUtil::parse_profile_body(sequence(body, 0), read);
    EXPECT_EQ(read.components.length(), 0u);
    read.components.length(1);
    read.object_key = sequence(namedKey);
    EXPECT_EQ(hex(IIOP::encoded(read)), digits(body));
    const std::string whole = digits(bodyWithComponents);
    for (size_t size = 0; size < whole.size(); size += 2) {
        const auto cut = reference("A", {profile(IOP::TAG_ALT_IIOP, whole.substr(0, size))});
        EXPECT_THROW(TRXUtil::parse_profile_body(cut.profiles[0].profile_data, read), CORBA_MARSHAL) << size;
        EXPECT_THROW(TRXUtil::iiop_body(cut, read), CORBA_INV_OBJREF) << size;
    }
}

TEST(ProfileBody, isTheFirstOfEitherAddressTag) {
    auto ior = reference("A", {profile(7, "00"), profile(IOP::TAG_ALT_IIOP, body),
                               profile(IOP::TAG_INTERNET_IOP, bodyWithComponents)});
    IIOP::ProfileBody read;
    TRXUtil::iiop_body(ior, read);
    EXPECT_EQ(read.port, 14001);
    read.port = 1;
    TRXUtil::set_iiop_body(ior, read);
    EXPECT_EQ(IIOP::decoded(ior.profiles[1].profile_data).port, 1);
    EXPECT_EQ(hex(ior.profiles[2].profile_data), digits(bodyWithComponents));
    auto without = reference("A", {profile(IOP::TAG_TRX_LOCATE, body)});
    EXPECT_THROW(TRXUtil::iiop_body(without, read), CORBA_INV_OBJREF);
    TRXUtil::set_iiop_body(without, read);
    ASSERT_EQ(without.profiles.length(), 2u);
    EXPECT_EQ(without.profiles[1].tag, IOP::TAG_INTERNET_IOP);
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

TEST(ProfileKey, isReplacedInEveryProfileOfAServedTag) {
    auto ior = reference("A", {profile(IOP::TAG_INTERNET_IOP, body), profile(1, "0102"), profile(77, "03"),
                               profile(IOP::TAG_INTERNET_IOP, bodyWithComponents)});
    const auto keyOfTag = [&ior](CORBA_ULong tag) {
        CORBA_OctetSequence key;
        TRXUtil::object_key_of(ior, tag, key);
        return hex(key);
    };
    {
        const BareKeys bare(77);
        EXPECT_THROW(BareKeys(IOP::TAG_INTERNET_IOP), CORBA_BAD_PARAM);
        TRXUtil::set_object_key(ior, sequence("c0ffee"));
        EXPECT_EQ(keyOfTag(77), "c0ffee");
    }
    EXPECT_EQ(keyOfTag(IOP::TAG_INTERNET_IOP), "c0ffee");
    EXPECT_EQ(hex(IIOP::decoded(ior.profiles[3].profile_data).object_key), "c0ffee");
    EXPECT_EQ(IIOP::decoded(ior.profiles[3].profile_data).components.length(), 2u);
    EXPECT_EQ(hex(ior.profiles[1].profile_data), "0102");
    for (CORBA_ULong tag : {IOP::TAG_ALT_IIOP, 1u, 77u})
        EXPECT_THROW(keyOfTag(tag), CORBA_INV_OBJREF) << tag;
    // Nothing is replaced when one profile cannot be read.
    ior.profiles[3] = profile(IOP::TAG_INTERNET_IOP, "01");
    EXPECT_THROW(TRXUtil::set_object_key(ior, sequence("aa")), CORBA_INV_OBJREF);
    EXPECT_EQ(keyOfTag(IOP::TAG_INTERNET_IOP), "c0ffee");
}

TEST(CodeSets, areStatedInAProfileAndReadInTheirOwnOrder) {
    const IOP::TaggedProfile& profile = CONV_FRAME::codeSetProfile();
    EXPECT_EQ(profile.tag, IOP::TAG_MULTIPLE_COMPONENTS);
    // order pad | 1 component | tag | 20 octets: order pad | char 0, none | wide char 0x10109, none
    EXPECT_EQ(hex(profile.profile_data),
              digits("01 202020 01000000 01000000 14000000 01 202020 00000000 00000000 09010100 00000000"));
    IOP::TaggedComponent component;
    component.component_data =
        sequence("00 202020 00010001 00000001 05010001 00010109 00000002 00010100 00010101");
    const CONV_FRAME::CodeSetComponentInfo info = CONV_FRAME::decoded(component);
    EXPECT_EQ(info.ForCharData.native_code_set, 0x10001u);
    EXPECT_EQ(info.ForCharData.conversion_code_sets[0], 0x5010001u);
    EXPECT_EQ(info.ForWcharData.conversion_code_sets[1], 0x10101u);
    component.component_data = sequence("00 202020 00010001 40000000 05010001");
    EXPECT_THROW(CONV_FRAME::decoded(component), CORBA_MARSHAL);
}

TEST(ObjectStream, carriesReferences) {
    CORBA_ORB_init();
    auto* servant = new PlainServant;
    CORBA_Object_var object = servant;
    servant->skel().reference = reference("IDL:A:1.0", {profile(5, "aabb")});
    CORBA_MarshalOutBuffer out(64);
    out << CORBA_Object::_nil() << object;
    EXPECT_EQ(hex(out), digits("01000000 00 202020 00000000 0a000000 'IDL:A:1.0' 00 2020"
                               " 01000000 05000000 02000000 aabb"));
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    in >> object;
    EXPECT_TRUE(CORBA_is_nil(object.in()));
    in >> object;
    ASSERT_FALSE(CORBA_is_nil(object.in()));
    EXPECT_STREQ(object->_interface_name(), "IDL:A:1.0");
    EXPECT_EQ(object->_ref_count(), 1u);
}

} // namespace
