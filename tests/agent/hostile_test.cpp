#include "agent/messages.h"

#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/dsmsg.h"
#include "agent/records/dsprovid.h"
#include "agent/records/trxstring.h"
#include "allocations.h"

#include <chrono>
#include <memory>
#include <utility>

namespace {

// Decodes hostile messages and, after each, a good one over the same streams.
class HostileMessages : public testing::Test {
protected:
    HostileMessages() {
        expectDropped(""); // the tables of the streams have their size from now on
        takeLargestAllocation();
    }

    void expectDropped(const std::string& octets) {
        NCTransObject* received = &none_;
        captured([&] { received = carrier_.decode(octets); });
        EXPECT_EQ(received, nullptr);
        EXPECT_TRUE(carrier_.in.failed());
        received = carrier_.decode(OctetListing(string("s")).bytes());
        EXPECT_NE(std::unique_ptr<NCTransObject>(received), nullptr);
    }
    void expectDroppedListing(const std::string& listing) {
        SCOPED_TRACE(listing);
        expectDropped(OctetListing(listing).bytes());
    }

    Carrier carrier_;
    TRXString none_;
};

const std::string s = string("s"); // the first of its class
const std::string set = tag("DSSet") + "00000020 ";
const std::string version = text("Kestrune 2.0");
const std::string name = tag("DSName") + text("n") + "00000001 00000004 ";
const std::string provider = tag("DSProvider") + text("a") + "00000001 00000004 ";
const std::string places = "0A000001 00000FA0 0A000002 00000000 0A000003 00000000 00000000 00000000 ";
const std::string request = tag("DSRequest") + version + "00000001 00000009 00000004 00000000 00000005 ";

TEST_F(HostileMessages, areDropped) {
    const std::pair<const char*, std::string> cases[] = {
        {"a class that is not counted, in a field", name + tag("NCString") + text("")},
        {"another one", name + tag("DSUserInfo") + text("") + "0A000007 00000001 00000001 "},
        {"no association in a dictionary", tag("DSDictionary") + "00000020 00000001 " + s},
        {"null in a set", set + "00000001 " + null},
        {"null for a key", tag("DSAssoc") + null + null},
        {"an abstract class", tag("DSResource")},
        {"a class id one beyond the table", set + "00000001 " + again(1)},
        {"more elements than octets", set + "00100000 " + s},
        {"one element too many", set + "00000002 " + s},
        {"a capacity and a count of 4 GiB", tag("DSOrderedCltn") + "FFFFFFFF FFFFFFFF " + s},
        {"more elements than the capacity",
         tag("DSOrderedCltn") + "00000001 00000002 " + s + string("t", again(1))},
        {"one in a list too many", tag("DSLinkedList") + "00000002 " + s},
        {"a set that is its own element", set + "00000001 " + seen(0)},
        {"a set within a set that holds it", set + "00000001 " + again(0) + "00000020 00000001 " + seen(0)},
        {"a name whose value is the provider that it is in",
         tag("DSProvider") + text("a") + "00000001 00000004 " + seen(0) + places},
        {"a key for an association",
         tag("DSDictionary") + "00000020 00000002 " + tag("DSAssoc") + s + seen(2) + seen(2)},
        {"another version within a message", request + again(0) + text("Kestrune 1.0")},
        {"another one", request + tag("DSAMessage") + text("Kestrune 1.0")},
    };
    for (const auto& [what, listing] : cases) {
        SCOPED_TRACE(what);
        expectDroppedListing(listing);
    }
    for (const char* length : {"FFFFFFFF ", "7FFFFFFF ", "00100000 ", "00000009 ", "00000003 ", "00000000 "})
        expectDroppedListing(tag("TRXString") + length + "'s' 00 's' 00 ");
    for (const char* length : {"FFFFFFFF ", "7FFFFFFF ", "80000000 ", "00100000 ", "00000005 "})
        expectDroppedListing(tag("DSMessage") + version + "00000001 00000001 " + length + "01020304");
    // Ids: 0 the set, 1 the provider, 2 its name, 3 the name's text, 4 to 6 its addresses.
    for (const char* id : {"00000000 ", "00000002 ", "00000003 ", "00000006 ", "00000007 ", "FFFFFFFF "})
        expectDroppedListing(set + "00000002 " + provider + null + places + "40...... " + id);
    EXPECT_LT(takeLargestAllocation(), 4096u); // no claim costs memory
}

TEST_F(HostileMessages, capacitiesAllocateNothing) {
    for (const char* className : {"DSOrderedCltn", "DSSet"}) {
        const std::string octets = OctetListing(tag(className) + "FFFFFFFF 00000001 " + s).bytes();
        const NCRef<DSCollection> received = nc_cast<DSCollection>(carrier_.decode(octets));
        EXPECT_EQ(received->size(), 1u);
        EXPECT_NE(received->add(NCRef<TRXString>(new TRXString("t")).get()), nullptr);
    }
    EXPECT_LT(takeLargestAllocation(), 4096u);
}

TEST_F(HostileMessages, duplicatesInASetAreFreed) {
    const std::string list = s + string("s", again(1)) + seen(1) + string("t", again(1));
    const auto received = read<DSSet>(set + "00000004 " + list);
    EXPECT_EQ(received->size(), 2u);
    for (const DSResource* element : *received)
        EXPECT_EQ(element->refCount(), 1u);
}

// Each level names the one within it twice: sixty of them stand for 2^60 strings.
TEST_F(HostileMessages, repetitionThatDoublesIsRefusedQuickly) {
    constexpr uint32_t levels = 60;
    const auto start = std::chrono::steady_clock::now();
    for (const char* className : {"DSSet", "DSOrderedCltn"}) {
        std::string listing = tag(className) + "00000002 00000002 ";
        for (uint32_t i = 1; i < levels; ++i)
            listing += again(0) + "00000002 00000002 ";
        listing += s + string("t", again(1));
        for (uint32_t i = levels - 1; i > 0; --i)
            listing += seen(i);
        expectDroppedListing(listing);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(HostileMessages, cutAnywhereAreDropped) {
    const NCRef<DSSet> all = new DSSet;
    const NCRef<TRXString> shared = new TRXString("shared");
    for (int i = 0; i < 6; ++i)
        all->add(new DSProvider(DSName("n", dsArgType, i, shared.get()), DSAddr(i, in_addr_t{1})));
    const NCRef<DSRequest> whole = new DSRequest(DSRequestListNames, all.get());
    const std::string octets = carrier_.encoded(whole.get());
    for (size_t length = 0; length < octets.size(); ++length)
        expectDropped(octets.substr(0, length));
    EXPECT_NE(NCRef<DSRequest>(nc_cast<DSRequest>(carrier_.decode(octets))).get(), nullptr);
    EXPECT_EQ(shared->refCount(), 7u);
}

} // namespace
