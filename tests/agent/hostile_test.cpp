#include "agent/octets.h"

#include "agent/collections/dsdict.h"
#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/dsprovid.h"
#include "agent/records/dsreq.h"
#include "agent/records/trxstring.h"
#include "allocations.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>

namespace {

const std::string good = "3A...... 0000000C 'TRXString' 00.... 00000002 's' 00....";
const std::string string = good + " ";                  // first of its class
const std::string stringAgain = "00000002 't' 00.... "; // behind the tag of a known class

// Decodes hostile messages and, after each, a good one over the same streams.
class HostileMessages : public testing::Test {
protected:
    // Null, and the stream is fit for the next message.
    void expectDropped(const std::string& bytes) {
        const Captured out(std::cout);
        const Captured err(std::cerr);
        EXPECT_EQ(carrier_.decode(bytes), nullptr);
        EXPECT_TRUE(carrier_.in().failed());
        const std::unique_ptr<NCTransObject> next(carrier_.decode(Octets(good).bytes()));
        ASSERT_NE(nc_cast<TRXString>(next.get()), nullptr);
        EXPECT_EQ(*nc_cast<TRXString>(next.get()), "s");
    }
    void expectDroppedListing(const std::string& listing) {
        SCOPED_TRACE(listing);
        expectDropped(Octets(listing).bytes());
    }

    Carrier carrier_;
};

TEST_F(HostileMessages, classesThatAreNoRecordsAreNoFields) {
    const std::string name =
        "3A...... 00000008 'DSName' 00.. 00000001 00000004 'n' 00.... 00000001 00000004 ";
    expectDroppedListing(name + "3A...... 0000000C 'NCString' 00...... 00000000 00000004 00......");
    expectDroppedListing(name + "3A...... 0000000C 'DSUserInfo' 00.. 00000000 00000004 00...... "
                                "0A000007 00000001 00000001");
    expectDroppedListing("3A...... 00000010 'DSDictionary' 00...... 00000020 00000001 " + string);
    expectDroppedListing("3A...... 00000008 'DSSet' 00.... 00000020 00000001 " + nullObject);
    expectDroppedListing("3A...... 00000008 'DSAssoc' 00 " + nullObject + nullObject);
    expectDroppedListing("3A...... 0000000C 'DSResource' 00.."); // abstract
}

TEST_F(HostileMessages, countsAndCapacitiesAllocateNothing) {
    const std::string set = "3A...... 00000008 'DSSet' 00.... ";
    const std::string ordered = "3A...... 00000010 'DSOrderedCltn' 00.... ";
    const std::string list = "3A...... 00000010 'DSLinkedList' 00...... ";
    expectDropped(""); // the tables of the stream have their size now
    takeLargestAllocation();
    expectDroppedListing(set + "FFFFFFFF FFFFFFFF " + string);
    expectDroppedListing(set + "00000020 00100000 " + string);
    expectDroppedListing(set + "00000020 00000002 " + string);
    expectDroppedListing(ordered + "FFFFFFFF FFFFFFFF " + string);
    expectDroppedListing(ordered + "00100000 00100000 " + string);
    expectDroppedListing(ordered + "00000001 00000002 " + string + string);
    expectDroppedListing(list + "FFFFFFFF " + string);
    expectDroppedListing(list + "00000002 " + string);
    const auto vast =
        carrier_.decodeAs<DSOrderedCltn>(Octets(ordered + "FFFFFFFF 00000001 " + string).bytes());
    EXPECT_EQ(vast->capacity(), 0xFFFFFFFFu);
    vast->add(new TRXString("more"));
    EXPECT_EQ(vast->size(), 2u);
    const auto small = carrier_.decodeAs<DSSet>(Octets(set + "FFFFFFFF 00000001 " + string).bytes());
    EXPECT_EQ(small->capacity(), 2u);
    EXPECT_LT(takeLargestAllocation(), 4096u);
}

TEST_F(HostileMessages, lengthsOfStringsAndCookiesAllocateNothing) {
    expectDropped("");
    takeLargestAllocation();
    for (const char* length : {"FFFFFFFF", "7FFFFFFF", "00100000", "00000009", "00000000"})
        expectDroppedListing(std::string("3A...... 0000000C 'TRXString' 00.... ") + length + " 's' 00....");
    for (const char* length : {"FFFFFFFF", "7FFFFFFC", "80000000", "00100000", "00000008"})
        expectDroppedListing(std::string("3A...... 0000000C 'NCString' 00...... 00000003 ") + length +
                             " 'abc' 00");
    expectDroppedListing("3A...... 0000000C 'NCString' 00...... 00000004 00000004 'abcd'");
    expectDroppedListing("3A...... 0000000C 'NCString' 00...... FFFFFFFF 00000004 'abc' 00");
    for (const char* length : {"FFFFFFFF", "7FFFFFFF", "00100000", "00000005"})
        expectDroppedListing("3A...... 0000000C 'DSMessage' 00.... " + versionText + "00000001 00000001 " +
                             length + " 01020304");
    EXPECT_LT(takeLargestAllocation(), 4096u);
}

// Ids: 0 the set, 1 the provider, 2 its name, 3 the name's text, 4 to 6 its addresses.
TEST_F(HostileMessages, referencesToWhatNobodyCanHold) {
    const std::string set = "3A...... 00000008 'DSSet' 00.... 00000020 00000002 "
                            "3A...... 0000000C 'DSProvider' 00.. "
                            "00000001 00000004 'a' 00.... 00000001 00000004 " +
                            nullObject +
                            "0A000001 00000FA0 0A000002 00000000 0A000003 00000000 00000000 00000000 ";
    for (const char* id :
         {"00000000", "00000002", "00000003", "00000006", "00000007", "FFFFFFFF", "7FFFFFFF"})
        expectDroppedListing(set + "40...... " + id);
    expectDroppedListing("40...... 00000000");
    // A name whose value is the provider that it is a member of.
    expectDroppedListing(
        "3A...... 0000000C 'DSProvider' 00.. "
        "00000001 00000004 'a' 00.... 00000001 00000004 40...... 00000000 " +
        std::string("0A000001 00000FA0 0A000002 00000000 0A000003 00000000 00000000 00000000 "));
    // Associations in a dictionary: an element of another class by reference.
    expectDroppedListing("3A...... 00000010 'DSDictionary' 00...... 00000020 00000002 "
                         "3A...... 00000008 'DSAssoc' 00 " +
                         string + "40...... 00000002 40...... 00000002");
}

TEST_F(HostileMessages, cycles) {
    expectDroppedListing("3A...... 00000008 'DSSet' 00.... 00000020 00000001 40...... 00000000");
    expectDroppedListing("3A...... 00000010 'DSOrderedCltn' 00.... 00000002 00000002 " + string +
                         "23...... 00000000 00000001 00000001 40...... 00000000");
    expectDroppedListing("3A...... 00000010 'DSLinkedList' 00...... 00000001 3A...... 00000008 'DSLink' 00.. "
                         "40...... 00000001");
}

// Each level names the one within it twice: sixty of them stand for 2^60 strings.
TEST_F(HostileMessages, repetitionThatDoublesIsRefusedQuickly) {
    for (const bool asSet : {false, true}) {
        constexpr int levels = 60;
        std::string listing = asSet ? "3A...... 00000008 'DSSet' 00.... 00000020 00000002 "
                                    : "3A...... 00000010 'DSOrderedCltn' 00.... 00000002 00000002 ";
        for (int i = 1; i < levels; ++i)
            listing += "23...... 00000000 00000002 00000002 ";
        listing += string + "23...... 00000001 " + stringAgain;
        for (int i = levels - 1; i > 0; --i)
            listing += "40...... " + word(static_cast<uint32_t>(i));
        const auto start = std::chrono::steady_clock::now();
        expectDroppedListing(listing);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    }
}

TEST_F(HostileMessages, nestingIsBounded) {
    const auto nested = [](int levels) {
        std::string listing = "3A...... 00000010 'DSOrderedCltn' 00.... 00000001 00000001 ";
        for (int i = 1; i < levels; ++i)
            listing += "23...... 00000000 00000001 00000001 ";
        return listing + string;
    };
    expectDroppedListing(nested(1000));
    expectDroppedListing(nested(NCistream::maxDepth));
    const auto deepest = carrier_.decodeAs<DSOrderedCltn>(Octets(nested(NCistream::maxDepth - 1)).bytes());
    EXPECT_EQ(deepest->size(), 1u);
}

// Sets of the same members in another order differ, and there are as many as a sender likes; they all hash
// alike.
TEST_F(HostileMessages, setsOfEqualHashAreSearchedQuickly) {
    constexpr uint32_t count = 40000;
    DSSet all(count);
    std::string letters = "abcdefgh";
    std::map<char, NCRef<TRXString>> members;
    for (const char letter : letters)
        members[letter] = new TRXString(std::string(1, letter).c_str());
    const auto start = std::chrono::steady_clock::now();
    for (uint32_t i = 0; i < count; ++i) {
        auto* permuted = new DSOrderedCltn(8);
        for (const char letter : letters)
            permuted->add(members[letter].get());
        all.add(permuted);
        std::next_permutation(letters.begin(), letters.end());
    }
    EXPECT_EQ(all.size(), count);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(HostileMessages, anotherVersionWithinAMessageIsRefused) {
    const std::string head = "3A...... 0000000C 'DSRequest' 00.... " + versionText +
                             "00000001 00000009 00000004 00000000 00000005 ";
    const std::string old = "0000000C 00000010 'Kestrune 1.0' 00...... ";
    expectDroppedListing(head + "23...... 00000000 " + old);
    expectDroppedListing(head + "3A...... 0000000C 'DSAMessage' 00.. " + old);
}

// The length field counts what a C string cannot hold.
TEST(HostileText, stringsWithANulInThemAreRefused) {
    for (const char* text : {"3 \"abc\"\n", "3 \"a\\x00c\"\n"}) {
        std::istringstream from(std::string(": \"NCString\"\n") + text);
        NCistream in(from);
        const std::unique_ptr<NCTransObject> object(in.readObject());
        EXPECT_EQ(object != nullptr, std::strstr(text, "abc") != nullptr);
    }
}

TEST_F(HostileMessages, everyTruncationIsDropped) {
    const NCRef<DSSet> set = new DSSet;
    const NCRef<TRXString> shared = new TRXString("shared");
    for (int i = 0; i < 6; ++i) {
        const std::string text = "name " + std::to_string(i);
        set->add(new DSProvider(DSName(text.c_str(), dsArgType, DSServiceOad, shared.get()),
                                DSAddr(i, in_addr{1})));
    }
    const DSRequest request(DSRequestListNames, set.get());
    const std::string whole = carrier_.encoded(&request);
    for (size_t length = 0; length < whole.size(); length += 4)
        expectDropped(whole.substr(0, length));
    for (const size_t length : {whole.size() - 1, whole.size() - 3})
        expectDropped(whole.substr(0, length));
    EXPECT_EQ(carrier_.decodeAs<DSRequest>(whole)->requestType(), DSRequestListNames);
    EXPECT_EQ(shared->refCount(), 7u);
}

TEST_F(HostileMessages, duplicatesInAReceivedSetAreFreed) {
    const auto set = carrier_.decodeAs<DSSet>(
        Octets("3A...... 00000008 'DSSet' 00.... 00000020 00000004 " + string +
               "23...... 00000001 00000002 's' 00.... 40...... 00000001 23...... 00000001 " + stringAgain)
            .bytes());
    EXPECT_EQ(set->size(), 2u);
    for (const DSResource* element : *set)
        EXPECT_EQ(element->refCount(), 1u);
}

} // namespace
