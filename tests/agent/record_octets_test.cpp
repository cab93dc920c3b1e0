#include "agent/octets.h"

#include "agent/collections/dsdict.h"
#include "agent/collections/dslnklst.h"
#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/dslogin.h"
#include "agent/records/dsprovid.h"
#include "agent/records/dsusrinf.h"
#include "agent/records/dswrap.h"
#include "agent/records/trxstring.h"

namespace {

TEST(RecordOctets, strings) {
    const std::string tagged = "3A...... 0000000C 'TRXString' 00.... ";
    for (const auto& [text, fields] : {std::pair{"abc", "00000004 'abc' 00"},
                                       {"", "00000001 00......"},
                                       {"abcd", "00000005 'abcd' 00......"}}) {
        const TRXString string(text);
        expectWritten(&string, tagged + fields);
        const auto received = read<TRXString>(tagged + fields);
        EXPECT_EQ(*received, text);
        EXPECT_EQ(received->len(), std::strlen(text));
        EXPECT_EQ(received->refCount(), 1u); // ours
    }
    for (const auto& [text, fields] : {std::pair{"abc", "00000003 00000004 'abc' 00"},
                                       {"", "00000000 00000004 00......"},
                                       {"abcd", "00000004 00000008 'abcd' 00......"}}) {
        const std::string listing = std::string("3A...... 0000000C 'NCString' 00...... ") + fields;
        const NCString string(text);
        expectWritten(&string, listing);
        const std::unique_ptr<NCTransObject> received(Carrier().decode(Octets(listing).bytes()));
        ASSERT_NE(nc_cast<NCString>(received.get()), nullptr);
        EXPECT_EQ(*nc_cast<NCString>(received.get()), text);
    }
}

TEST(RecordOctets, userInfo) {
    const std::string listing = "3A...... 0000000C 'DSUserInfo' 00.. "
                                "00000002 00000004 'me' 00.. 0A000007 000036B0 00000309";
    const std::unique_ptr<NCTransObject> received(Carrier().decode(Octets(listing).bytes()));
    const auto* user = nc_cast<DSUserInfo>(received.get());
    ASSERT_NE(user, nullptr);
    EXPECT_STREQ(user->userName(), "me");
    EXPECT_STREQ(user->hostAddr().dottedAddr(), "10.0.0.7");
    EXPECT_EQ(user->hostAddr().port(), 14000);
    EXPECT_EQ(user->processId(), 777);
    expectWritten(user, listing);
}

TEST(RecordOctets, wrappersTravelInHostOrder) {
    const uint32_t value = 0x01020304;
    const std::string octets(reinterpret_cast<const char*>(&value), sizeof value);
    const DSWrapper wrapper(uintptr_t{value});
    const std::string head = Octets("3A...... 0000000C 'DSWrapper' 00.... ").bytes();
    EXPECT_EQ(Carrier().encoded(&wrapper).substr(head.size()), octets);
    EXPECT_EQ(Carrier().decodeAs<DSWrapper>(head + octets)->word(), value);
    const std::string trigger = "3A...... 00000010 'DSTrigWrapper' 00.... ";
    const DSTrigWrapper nothing(nullptr);
    expectWritten(&nothing, trigger);
    EXPECT_EQ(read<DSTrigWrapper>(trigger)->handler(), nullptr);
}

TEST(RecordOctets, negativeNumbersKeepTheirSign) {
    const std::string listing = "3A...... 00000008 'DSName' 00.. 00000000 00000004 00...... "
                                "FFFFFFFF 80000000 " +
                                nullObject;
    const auto name = read<DSName>(listing);
    EXPECT_EQ(name->argType(), -1);
    EXPECT_EQ(name->serviceType(), std::numeric_limits<int>::min());
    expectWritten(name.get(), listing);
}

TEST(CollectionOctets, emptySetIsTwoWords) {
    const std::string listing = "3A...... 00000008 'DSSet' 00.... 00000020 00000000";
    const DSSet set;
    expectWritten(&set, listing);
    EXPECT_EQ(read<DSSet>(listing)->size(), 0u);
}

// "b" starts in slot 21 of 32, "a" in slot 25. Ids: 0 the set, 1 and 4 the names, 2 and 5 their texts, 3 the
// value that both hold.
TEST(CollectionOctets, setWithRepeatedClassAndSharedObject) {
    const NCRef<TRXString> shared = new TRXString("v");
    DSSet set(16);
    set.add(new DSName("a", dsArgType, DSServiceManual, shared.get()));
    set.add(new DSName("b", dsArgType, DSServiceManual, shared.get()));
    const std::string listing = "3A...... 00000008 'DSSet' 00.... 00000020 00000002 "
                                "3A...... 00000008 'DSName' 00.. "
                                "00000001 00000004 'b' 00.... 00000001 00000004 "
                                "3A...... 0000000C 'TRXString' 00.... 00000002 'v' 00.... "
                                "23...... 00000001 "
                                "00000001 00000004 'a' 00.... 00000001 00000004 "
                                "40...... 00000003";
    expectWritten(&set, listing);
    const auto received = read<DSSet>(listing);
    EXPECT_EQ(received->size(), 2u);
    EXPECT_EQ(received->capacity(), 4u);
    const DSName a("a", dsArgType, DSServiceManual);
    const DSName b("b", dsArgType, DSServiceManual);
    const auto* foundA = nc_cast<DSName>(received->find(&a));
    const auto* foundB = nc_cast<DSName>(received->find(&b));
    ASSERT_TRUE(foundA && foundB);
    EXPECT_EQ(foundA->value(), foundB->value());
    EXPECT_EQ(foundA->value()->refCount(), 2u);
    EXPECT_EQ(foundA->refCount(), 1u);
}

// Ids: 0 the dictionary, 1 the association, 2 its key, 3 its value, 4 the next association, 5 its key.
TEST(CollectionOctets, dictionaryOfAssociations) {
    const std::string listing = "3A...... 00000010 'DSDictionary' 00...... 00000020 00000002 "
                                "3A...... 00000008 'DSAssoc' 00 "
                                "3A...... 0000000C 'TRXString' 00.... 00000002 'k' 00.... "
                                "23...... 00000002 00000002 'v' 00.... "
                                "23...... 00000001 "
                                "23...... 00000002 00000002 'm' 00.... "
                                "40...... 00000003";
    const auto dictionary = read<DSDictionary>(listing);
    EXPECT_EQ(dictionary->size(), 2u);
    const TRXString k("k");
    const TRXString m("m");
    ASSERT_NE(dictionary->at(&k), nullptr);
    EXPECT_EQ(*nc_cast<TRXString>(dictionary->at(&k)), "v");
    EXPECT_EQ(dictionary->at(&k), dictionary->at(&m));

    // One association by itself, with a null value.
    const std::string alone = "3A...... 00000008 'DSAssoc' 00 "
                              "3A...... 0000000C 'TRXString' 00.... 00000002 'k' 00.... " +
                              nullObject;
    const DSAssoc assoc(new TRXString("k"), nullptr);
    expectWritten(&assoc, alone);
    EXPECT_EQ(read<DSAssoc>(alone)->value(), nullptr);
}

TEST(CollectionOctets, orderedCollectionKeepsOrderAndCapacity) {
    const std::string listing = "3A...... 00000010 'DSOrderedCltn' 00.... 00000003 00000003 "
                                "3A...... 0000000C 'TRXString' 00.... 00000002 'z' 00.... "
                                "23...... 00000001 00000002 'a' 00.... "
                                "40...... 00000001 ";
    DSOrderedCltn built(3);
    auto* z = new TRXString("z");
    built.add(z);
    built.add(new TRXString("a"));
    built.add(z);
    expectWritten(&built, listing);
    const auto received = read<DSOrderedCltn>(listing);
    EXPECT_EQ(received->capacity(), 3u);
    ASSERT_EQ(received->size(), 3u);
    EXPECT_EQ(received->at(0), received->at(2));
    EXPECT_EQ(received->at(0)->refCount(), 2u);
    EXPECT_EQ(*nc_cast<TRXString>(received->at(1)), "a");
}

TEST(CollectionOctets, linkedListWritesTheValues) {
    const std::string listing = "3A...... 00000010 'DSLinkedList' 00...... 00000002 "
                                "3A...... 0000000C 'TRXString' 00.... 00000002 'z' 00.... "
                                "23...... 00000001 00000002 'a' 00.... ";
    DSLinkedList built;
    built.add(new TRXString("z"));
    built.add(new TRXString("a"));
    expectWritten(&built, listing);
    const auto received = read<DSLinkedList>(listing);
    ASSERT_EQ(received->size(), 2u);
    EXPECT_EQ(*nc_cast<TRXString>(received->first()), "z");
    EXPECT_EQ(*nc_cast<TRXString>(received->last()), "a");
}

// A record with a member by value that it also refers to, and writes twice: no record of ours does, but the
// stream counts each time that a reader would build it.
class Selfish : public NCTransObject {
public:
    void write(NCostream& out) const override {
        out.writeEmbedded(member_).writeEmbedded(member_).writeObject(&member_);
        out.writeObject(&other_).writeObject(&other_);
    }
    const NCTypeInfo& typeInfo() const override { return DSUserInfo::info; }

private:
    TRXString member_{"m"};
    TRXString other_{"o"};
};

TEST(ObjectIds, coverMembersWrittenByValue) {
    const Selfish selfish;
    expectWritten(&selfish, "3A...... 0000000C 'DSUserInfo' 00.. "
                            "00000002 'm' 00.... 00000002 'm' 00.... 40...... 00000001 "
                            "3A...... 0000000C 'TRXString' 00.... 00000002 'o' 00.... 40...... 00000003");
}

// A link whose value can be set later, so that links can hold each other.
class Ring : public DSResource {
public:
    void write(NCostream& out) const override { out.writeRecord(next.get()); }
    const NCTypeInfo& typeInfo() const override { return DSLink::info; }

    NCRef<Ring> next;
};

// Nobody but the ring itself holds the outermost link.
TEST(ObjectIds, leadBackToAnOutermostObjectWithOneHolder) {
    const std::string head = "3A...... 00000008 'DSLink' 00.. ";
    auto* ring = new Ring;
    ring->next = ring;
    expectWritten(ring, head + "40...... 00000000");
    const NCRef<Ring> held = ring;
    ring->next = new Ring;
    ring->next->next = ring;
    held->unref();
    expectWritten(ring, head + "23...... 00000000 40...... 00000000");
    held->ref();
    ring->next = nullptr;
}

// A record that writes what it holds and, which none of ours does, once more by the bare pointer.
class Repeating : public NCTransObject {
public:
    explicit Repeating(bool bareFirst) : bareFirst_(bareFirst) {}
    void write(NCostream& out) const override {
        if (bareFirst_)
            out.writeObject(held_.get()).writeRecord(held_.get());
        else
            out.writeRecord(held_.get()).writeObject(held_.get());
        out.writeRecord(shared_.get()).writeRecord(alsoShared_.get());
    }
    const NCTypeInfo& typeInfo() const override { return DSUserInfo::info; }

private:
    bool bareFirst_;
    NCRef<TRXString> held_ = new TRXString("h");
    NCRef<TRXString> shared_ = new TRXString("s");
    NCRef<TRXString> alsoShared_ = shared_;
};

TEST(ObjectIds, coverRecordsWithOneHolder) {
    for (const bool bareFirst : {true, false}) {
        const Repeating record(bareFirst);
        expectWritten(&record, "3A...... 0000000C 'DSUserInfo' 00.. "
                               "3A...... 0000000C 'TRXString' 00.... 00000002 'h' 00.... 40...... 00000001 "
                               "23...... 00000001 00000002 's' 00.... 40...... 00000002");
    }
}

} // namespace
