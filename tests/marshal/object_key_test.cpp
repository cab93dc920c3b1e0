#include "marshal/octet_sequences.h"
#include "marshal/reference/vutil.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace harbolance;

namespace {

std::string keyOf(const TRXObjectId& id) {
    const CORBA_OctetSequence_var key = TRXUtil::key_from_id(id);
    return hex(*key);
}

// The id in a key, as the class that its kind has.
template <class Id>
TRXRef<Id> read(std::string_view digits, TRXObjectId::Kind kind) {
    TRXObjectId* id = TRXUtil::id_from_key(sequence(digits));
    EXPECT_NE(id, nullptr);
    EXPECT_EQ(id->type(), kind);
    EXPECT_EQ(id->_refcount(), 1u);
    return TRXRef<Id>(static_cast<Id*>(id));
}

std::string printed(std::string_view digits) {
    std::ostringstream line;
    TRXUtil::print_key(line, sequence(digits));
    return line.str();
}

// order "QMC" | kind | 10 "IDL:A:1.0" pad | 2 "x"
constexpr std::string_view persistentLittle = "01 514d43 00000000 0a000000 49444c3a413a312e3000 2020"
                                              "02000000 7800";
constexpr std::string_view persistentBig = "00 514d43 00000000 0000000a 49444c3a413a312e3000 2020"
                                           "00000002 7800";
// order "QMC" | kind | 10 "IDL:A:1.0" pad | adapter | serial
constexpr std::string_view transientLittle = "01 514d43 01000000 0a000000 49444c3a413a312e3000 2020"
                                             "44332211 09000000";
constexpr std::string_view transientBig = "00 514d43 00000001 0000000a 49444c3a413a312e3000 2020"
                                          "11223344 00000009";
constexpr std::string_view keyLittle = "01 514d43 03000000 78563412";
constexpr std::string_view keyBig = "00 514d43 00000003 12345678";
// order "QMC" | kind | 4 "Svc" | 3 octets
constexpr std::string_view serviceLittle = "01 514d43 04000000 04000000 53766300 03000000 000741";
constexpr std::string_view serviceBig = "00 514d43 00000004 00000004 53766300 00000003 000741";

TEST(ObjectKey, ofEachKindIsWrittenInTheHostsOrder) {
    if (hostByteOrder == 0)
        GTEST_SKIP() << "the octets are those of a little-endian host";
    EXPECT_EQ(keyOf(*TRXRef(new TRXPersistentId("IDL:A:1.0", "x"))), digits(persistentLittle));
    EXPECT_EQ(keyOf(*TRXRef(new TRXTransientId("IDL:A:1.0", 0x11223344, 9))), digits(transientLittle));
    EXPECT_EQ(keyOf(*TRXRef(new TRXKeyId(0x12345678))), digits(keyLittle));
    EXPECT_EQ(keyOf(*TRXRef(new TRXServiceId("Svc", sequence("000741")))), digits(serviceLittle));
    EXPECT_EQ(keyOf(*TRXRef(new TRXPersistentId("IDL:A:1.0", nullptr))),
              digits("01 514d43 00000000 0a000000 49444c3a413a312e3000 2020 01000000 00"));
}

TEST(ObjectKey, longerThanItsFirstBufferIsComplete) {
    const std::string name(1000, 'n');
    const TRXPersistentId id("IDL:A:1.0", name.c_str());
    const CORBA_OctetSequence_var key = TRXUtil::key_from_id(id);
    EXPECT_EQ(key->length(), 24u + 4 + 1001);
    const TRXRef again(static_cast<TRXPersistentId*>(TRXUtil::id_from_key(*key)));
    EXPECT_EQ(again->object_name(), name);
}

TEST(ObjectKey, ofEachKindIsReadInBothOrders) {
    for (std::string_view key : {persistentLittle, persistentBig}) {
        const auto id = read<TRXPersistentId>(key, TRXObjectId::ID_PERSISTENT);
        EXPECT_STREQ(id->rep_id(), "IDL:A:1.0");
        EXPECT_STREQ(id->object_name(), "x");
    }
    for (std::string_view key : {transientLittle, transientBig}) {
        const auto id = read<TRXTransientId>(key, TRXObjectId::ID_TRANSIENT);
        EXPECT_STREQ(id->rep_id(), "IDL:A:1.0");
        EXPECT_EQ(id->adapter(), 0x11223344u);
        EXPECT_EQ(id->serial(), 9u);
    }
    for (std::string_view key : {keyLittle, keyBig})
        EXPECT_EQ(read<TRXKeyId>(key, TRXObjectId::ID_KEY)->key(), 0x12345678u);
    for (std::string_view key : {serviceLittle, serviceBig}) {
        const auto id = read<TRXServiceId>(key, TRXObjectId::ID_SERVICE);
        EXPECT_STREQ(id->service_name(), "Svc");
        EXPECT_EQ(hex(id->service_id()), "000741");
    }
}

TEST(ObjectKey, takesAnyNonZeroOrderOctetForLittleEndian) {
    EXPECT_EQ(read<TRXKeyId>("ff 514d43 03000000 78563412", TRXObjectId::ID_KEY)->key(), 0x12345678u);
}

TEST(ObjectKey, tellsItsKindWithoutReadingTheBody) {
    struct Case {
        std::string_view key;
        bool persistent, service, keyOrService;
    };
    for (const Case& c : {Case{persistentLittle, true, false, false}, Case{persistentBig, true, false, false},
                          Case{transientBig, false, false, false}, Case{keyBig, false, false, true},
                          Case{serviceBig, false, true, true}, Case{serviceLittle, false, true, true},
                          Case{"01 514d43 04000000 ffffffff", false, true, true},
                          Case{"01 514d44 00000000 04000000", false, false, false},
                          Case{"01 514d43 00000000", false, false, false}}) {
        const CORBA_OctetSequence key = sequence(c.key);
        EXPECT_EQ(TRXUtil::is_persistent(key), c.persistent) << c.key;
        EXPECT_EQ(TRXUtil::is_service(key), c.service) << c.key;
        EXPECT_EQ(TRXUtil::is_key_or_service(key), c.keyOrService) << c.key;
    }
}

TEST(ObjectKey, shortForeignOrOfUnknownKindIsNoId) {
    for (std::string_view key :
         {"", "01", "01 514d43 03000000 785634", "01 514d44 03000000 78563412", "01 514d43 02000000 78563412",
          "01 514d43 05000000 78563412", "00 514d43 03000000 78563412"})
        EXPECT_EQ(TRXUtil::id_from_key(sequence(key)), nullptr) << key;
    EXPECT_FALSE(TRXUtil::is_key(sequence("01 514d43 03000000 785634")));
    EXPECT_TRUE(TRXUtil::is_key(sequence("01 514d43 02000000 78563412")));
}

// Everything in front of the cut is sound, and a length may promise more than a machine has.
TEST(ObjectKey, cutShortRaisesMarshal) {
    for (std::string_view key :
         {"01 514d43 00000000 ffffffff", "01 514d43 00000000 0a000000 4944",
          "01 514d43 00000000 0a000000 49444c3a413a312e3000 2020 02000000 78",
          "01 514d43 01000000 0a000000 49444c3a413a312e3000 2020 44332211 0900",
          "01 514d43 04000000 04000000 53766300 f0ffffff 00", "01 514d43 04000000 04000000 53766300 0400"}) {
        EXPECT_TRUE(TRXUtil::is_key(sequence(key))) << key;
        EXPECT_THROW(TRXUtil::id_from_key(sequence(key)), CORBA_MARSHAL) << key;
    }
}

TEST(ObjectKey, printsWhatItNames) {
    EXPECT_EQ(printed(persistentBig), "RepID: IDL:A:1.0, ObjName: x");
    EXPECT_EQ(printed("01 514d43 00000000 0a000000 49444c3a413a312e3000 2020 01000000 00"),
              "RepID: IDL:A:1.0");
    EXPECT_EQ(printed(transientBig), "RepID: IDL:A:1.0");
    EXPECT_EQ(printed(serviceLittle), "SerName: Svc, SerID: ..A");
    EXPECT_EQ(printed("00010203"), "Not a Tarnwick Object Key");
}

// ESC and a C1 control in the name of an object must not reach a terminal.
TEST(ObjectKey, printsControlCharactersAsDots) {
    EXPECT_EQ(printed("01 514d43 00000000 02000000 4100 2020 05000000 1b5b9b6d00"),
              "RepID: A, ObjName: .[.m");
}

} // namespace
