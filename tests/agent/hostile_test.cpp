#include "agent/messages.h"

#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/dsmsg.h"
#include "agent/records/dsprovid.h"
#include "agent/records/trxstring.h"
#include "allocations.h"

#include <memory>

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

// Messages that are complete and make no sense stand in the corpus of fuzz_datagram, as do those that name
// what they hold so often that it would take for ever to walk. These claim more than they have.
TEST_F(HostileMessages, areDroppedAndNoClaimCostsMemory) {
    expectDroppedListing(set + "00000001 " + known(1)); // a class id one beyond the table
    expectDroppedListing(set + "00100000 " + s);
    expectDroppedListing(tag("DSOrderedCltn") + "FFFFFFFF FFFFFFFF " + s);
    for (const char* length : {"FFFFFFFF ", "7FFFFFFF ", "00100000 ", "00000009 ", "00000003 ", "00000000 "})
        expectDroppedListing(tag("TRXString") + length + "'s' 00 's' 00 ");
    for (const char* length : {"FFFFFFFF ", "7FFFFFFF ", "80000000 ", "00100000 ", "00000005 "})
        expectDroppedListing(tag("DSMessage") + text("Kestrune 2.0") + "00000001 00000001 " + length +
                             "01020304");
    // Ids: 0 the set, 1 the provider, 2 its name, 3 the name's text, 4 to 6 its addresses.
    const std::string provider = tag("DSProvider") + text("a") + "00000001 00000004 " + none +
                                 "0A000001 00000FA0 0A000002 00000000 0A000003 00000000 00000000 00000000 ";
    for (const char* id : {"00000000 ", "00000002 ", "00000003 ", "00000006 ", "00000007 ", "FFFFFFFF "})
        expectDroppedListing(set + "00000002 " + provider + "40...... " + id);
    EXPECT_LT(takeLargestAllocation(), 4096u);
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
