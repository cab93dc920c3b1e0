#include "agent/messages.h"

#include "agent/collections/dsdict.h"
#include "agent/collections/dslnklst.h"
#include "agent/collections/dsordclt.h"
#include "agent/records/dsamsg.h"
#include "agent/records/dslogin.h"
#include "agent/records/dsmsg.h"
#include "agent/records/dsprovid.h"
#include "agent/records/dswrap.h"
#include "agent/records/trxstring.h"

#include <arpa/inet.h>
#include <unistd.h>

namespace {

using Record = NCRef<DSResource>;

// A record as it travels, prints and hashes; and, where a constructor can make it, so made.
struct Row {
    std::string octets;
    std::string print;
    uint32_t hash;
    Record made;
};

template <class Collection>
Collection* filled(Collection* collection) {
    for (const char* letter : {"k", "a", "k"})
        collection->add(NCRef<TRXString>(new TRXString(letter)).get());
    return collection;
}

// Of the address 0, which prints without a look-up of its host.
DSAddr nowhere(int port) { return DSAddr(port, in_addr_t{0}); }
std::string printedAddress(const char* port) {
    return std::string("\nClassName: DSAddr\n Internet Addr:  0.0.0.0 \n Port Number:  ") + port + " \n ";
}

// Every message of the table has this number, and this cookie.
constexpr uint32_t number = 0x01020304;
const uint32_t cookie = htonl(0x0A0B0C0D);

std::vector<Row> records() {
    const auto head = [](const char* type) {
        return std::string("Version: Kestrune 2.0 \n Msg Type: ") + type + " \n Msg Num: 16909060 \n ";
    };
    const std::string version = " t'Kestrune 2.0' ", answer = "Request Num: 16909060 \n ", obj = "\" obj \" ";
    const std::string request = ":DSRequest" + version + "+1 01020304 +4 0A0B0C0D +7 :TRXString s'obj'";
    const std::string locate = ":DSAMessage" + version + "+6 01020304 nil +4 +0";
    const uint32_t native = ntohl(0x05000000); // a wrapped word travels in host order
    const std::string name = "\nClassName: DSName\n Name: n , Argument Type: 1 , Service Type: 4 \n \" v \" ";
    const std::string kak = "Collection size:  3 \n \" k \" \" a \" \" k \" \n ";
    const std::string places = " +0 +4000 +0 +1 +0 +2 +3 +4 ";
    const std::string provider =
        "\nClassName: DSProvider\n " + name + printedAddress("4000") + "Client Addr: " + printedAddress("1") +
        "Agent Addr: " + printedAddress("2") + "Protocol Type: 3 , Admin Port: 4 \n ";
    const uint32_t hash = 'n' ^ 1u ^ 4u ^ 4000u ^ 3u;
    const std::string assoc = "\nClassName: DSAssoc\n Key:  \" k \" Value:  ";
    return {
        {":DSMessage" + version + "+2 01020304 +4 0A0B0C0D", head("2"), number, new DSMessage(2, cookie, 4)},
        {request, head("1") + "Request Type: 7 \n Request: " + obj, number ^ TRXString("obj").hash(),
         new DSRequest(7, new TRXString("obj"), cookie)},
        {":DSRequest" + version + "+1 01020304 +4 0A0B0C0D +2 nil",
         head("1") + "Request Type: 2 \n Request: (nil) ", number, new DSRequest(2, nullptr, cookie)},
        {":DSReply" + version + "+2 01020304 +4 0A0B0C0D +4 01020304 -95 :TRXString s'obj'",
         head("2") + "Reply Type: 4 \n " + answer + "Status: -95 \n Reply: " + obj, number,
         new DSReply(4, *read<DSRequest>(request), -95, new TRXString("obj"))},
        {locate, head("6"), number, new DSAMessage(6)},
        // Six octets of cookie: those of the value, and zeros.
        {":DSAMessage" + version + "+7 01020304 :TRXString s'obj' +6 0A0B0C0D 0000....",
         head("7") + "Msg Object\n " + obj, number, new DSAMessage(7, new TRXString("obj"), cookie, 6)},
        {"3A...... 0000000C 'DSAReply' 00...... 0000000C 00000010 'Kestrune 2.0' 00...... 00000005 01020304 "
         "3A...... 00000008 'DSAddr' 00.. 00000000 000036B0 00000004 00000000 00000005 01020304 00000000",
         head("5") + "Msg Object\n " + printedAddress("14000") + "Reply Type: 5 \n " + answer +
             "Status: 0 \n ",
         number, new DSAReply(5, *read<DSAMessage>(locate), 0, new DSAddr(nowhere(14000)))},
        // --- What messages carry.
        {":TRXString +4 'abc' 00", "\" abc \" ", 0x123, new TRXString("abc")},
        {":TRXString +1 00......", "\"  \" ", 0, new TRXString("")},
        {":TRXString +5 'abcd' 00......", "\" abcd \" ", 0x246 ^ 'd', new TRXString("abcd")},
        {":DSName t'n' +1 +4 :TRXString s'v'", name, 'n' ^ 1u ^ 4u,
         new DSName("n", 1, 4, new TRXString("v"))},
        {":DSName t'' -1 80000000 nil",
         "\nClassName: DSName\n Name:  , Argument Type: -1 , Service Type: -2147483648 \n ", 0x7fffffff,
         new DSName("", -1, std::numeric_limits<int>::min())},
        {":DSAddr +0 +14000", printedAddress("14000"), 14000, new DSAddr(nowhere(14000))},
        {":DSAddr 7F000001 +1",
         std::string("\nClassName: DSAddr\n Hostname: ") + DSAddr(1, "127.0.0.1").hostName() +
             " \n Internet Addr:  127.0.0.1 \n Port Number:  1 \n ",
         htonl(0x7F000001) ^ 1u, new DSAddr(1, "127.0.0.1")},
        {":DSLogin t'h' t'me' t'x' t'u' +77 +2 +4711",
         "Host Name:  h \n Login Name:  me \n User Name:  u \n Process id: 77 \n Machine Type:  2 \n "
         "Verify Port:  4711 \n ",
         'h' ^ ('m' * 2 ^ 'e') ^ 'x', nullptr},
        {":DSProvider t'n' +1 +4 :TRXString s'v'" + places, provider, hash, nullptr},
        // Ids: 0 the list, 1 and 8 the providers, 2 and 9 their names, 3 and 10 the texts, 4 the value that
        // both hold, 5 to 7 the addresses of the first.
        {":DSOrderedCltn +4 +3 :DSProvider t'n' +1 +4 :TRXString s'v'" + places + "#1 t'n' +1 +4 @4" +
             places + "@1",
         "Collection size:  3 \n " + provider + provider + provider + "\n ", 3u ^ hash, nullptr},
        {":DSAssoc :TRXString s'k' :DSWrapper 05000000",
         assoc + "OBJECT ADDRESS:  " + std::to_string(native) + " ", 'k',
         new DSAssoc(new TRXString("k"), new DSWrapper(uintptr_t{native}))},
        {":DSTrigWrapper", "", 0, new DSTrigWrapper(nullptr)},
        {":DSLink :TRXString s'k'", "\" k \" ", 'k', new DSLink(new TRXString("k"))},
        {":DSOrderedCltn +4 +3 :TRXString s'k' #1 s'a' #1 s'k'", kak, 3u ^ 'a', filled(new DSOrderedCltn(4))},
        {":DSLinkedList +3 :TRXString s'k' #1 s'a' #1 s'k'", kak, 3u ^ 'a', filled(new DSLinkedList)},
        // In the order of four slots, which a reader of two elements gives a set.
        {":DSSet +4 +2 :TRXString s'k' #1 s'a'", "Collection size:  2 \n \" k \" \" a \" \n ", 2u ^ 'k' ^ 'a',
         new DSSet(*NCRef<DSSet>(filled(new DSSet)))},
        {":DSDictionary +2 +1 :DSAssoc :TRXString s'k' nil", "Collection size:  1 \n " + assoc + "(nil) \n ",
         1u ^ 'k', nullptr},
    };
}

TEST(Records, travelPrintAndHashAsTheTableSays) {
    for (const Row& row : records()) {
        SCOPED_TRACE(row.octets);
        const auto received = read<DSResource>(row.octets);
        EXPECT_EQ(received->refCount(), 1u); // ours
        expectWritten(received.get(), row.octets);
        EXPECT_EQ(printed(*received), row.print);
        EXPECT_EQ(received->hash(), row.hash);
        std::string octets = row.octets;
        if (const size_t at = octets.find(" 01020304"); at != octets.npos)
            octets.replace(at, 9, " ........"); // it has its own number
        if (row.made)
            expectWritten(row.made.get(), octets);
    }
    expectWritten(Record(new DSSet).get(), ":DSSet +32 +0");
}

// Groups of records in ascending order. Those of one group are equal.
void expectOrdered(const std::vector<std::vector<Record>>& groups) {
    for (size_t i = 0; i < groups.size(); ++i)
        for (size_t j = 0; j < groups.size(); ++j)
            for (const Record& a : groups[i])
                for (const Record& b : groups[j]) {
                    SCOPED_TRACE(a->typeInfo().name() + (" " + std::to_string(i)) + " " + std::to_string(j));
                    const int order = a->compare(b.get());
                    EXPECT_EQ((order > 0) - (order < 0), (i > j) - (i < j));
                    EXPECT_EQ(a->isEqual(b.get()), i == j);
                    EXPECT_EQ(a->fingerprint() == b->fingerprint(), i == j);
                }
    const DSOrderedCltn other;
    EXPECT_FALSE(groups[0][0]->isEqual(&other));
}

TEST(Records, areOrderedByWhatIdentifiesThem) {
    // A class, and what its records have, in ascending order.
    for (const std::string row : {
             ":TRXString s'' < s'ab' = s'ab' < s'b'",
             // The value is no part of a name.
             ":DSName t'm' +2 +5 nil < t'n' +1 +4 nil = t'n' +1 +4 :TRXString s'v' < t'n' +1 +5 nil < "
             "t'n' +2 +4 nil",
             // Words of addresses are compared in host order.
             ":DSAddr +0 +7 < 01000000 +5 = 01000000 +5 < 01000000 +6 < 02000000 +0",
             // Behind the place of the service: those of the client and of the agent, the protocol, the port.
             ":DSProvider t'm' +1 +4 nil +0 +9 +0 +0 +0 +0 +3 +3 < t'n' +1 +4 nil +0 +5 +0 +0 +0 +0 +2 +3 = "
             "t'n' +1 +4 nil +0 +5 +0 +1 +0 +2 +2 +4 < t'n' +1 +4 nil +0 +5 +0 +0 +0 +0 +3 +3 < "
             "t'n' +1 +4 nil +0 +6 +0 +0 +0 +0 +2 +3",
             ":DSProvider t'n' +1 +4 :TRXString s'v' +0 +5 +0 +0 +0 +0 +2 +3 < "
             "t'n' +1 +4 :TRXString s'w' +0 +4 +0 +0 +0 +0 +2 +3",
             // Host, login and user name; nothing behind them.
             ":DSLogin t'h' t'a' t'b' t'u' +1 +2 +3 = t'h' t'a' t'b' t'v' +4 +5 +6 < "
             "t'h' t'a' t'c' t'u' +1 +2 +3 < t'h' t'b' t'b' t'u' +1 +2 +3 < t'i' t'a' t'b' t'u' +1 +2 +3",
             ":DSLink :TRXString s'a' = :TRXString s'a' < :TRXString s'b'",
             ":DSAssoc :TRXString s'k' nil = :TRXString s'k' #1 s'v' < :TRXString s'l' nil",
             // Session messages are equal whatever their number.
             ":DSMessage V +1 +7 C = V +1 +3 C < V +2 +1 C",
             ":DSRequest V +1 +7 C +3 nil = V +1 +3 C +3 nil < V +1 +1 C +5 :TRXString s'a' < "
             "V +1 +1 C +5 :TRXString s'b' < V +2 +1 C +3 nil",
             ":DSReply V +2 +7 C +1 +5 +9 nil < V +2 +7 C +2 +3 +8 nil < "
             "V +2 +7 C +2 +4 +0 :TRXString s'a' = V +2 +8 C +2 +4 +0 :TRXString s'a' < "
             "V +2 +7 C +2 +4 +0 :TRXString s'b' < V +2 +7 C +2 +4 +1 nil",
             ":DSAMessage V +9 +1 nil C = V +6 +1 nil C < V +6 +2 nil C",
         }) {
        std::vector<std::vector<Record>> groups(1);
        std::istringstream parts(row + " =");
        std::string type, listing;
        parts >> type;
        for (std::string part; parts >> part;) {
            if (part != "<" && part != "=") {
                listing += ' ' + (part == "V" ? "t'Kestrune 2.0'" : part == "C" ? "+4 +1" : part);
                continue;
            }
            groups.back().push_back(read<DSResource>(type + listing));
            listing.clear();
            if (part == "<")
                groups.emplace_back();
        }
        expectOrdered(groups);
    }
    expectOrdered(
        {{new DSWrapper(uintptr_t{1})}, {new DSWrapper(uintptr_t{3}), new DSWrapper(uintptr_t{3})}});
}

int compare(const DSResource& a, const DSResource& b) { return a.compare(&b); }

TEST(Records, differByPlainSubtraction) {
    EXPECT_EQ(compare(nowhere(std::numeric_limits<int>::min()), nowhere(1)), std::numeric_limits<int>::max());
    EXPECT_NE(compare(DSWrapper(uintptr_t{3}), DSWrapper(uintptr_t{3} << 32 | 3)), 0);
    auto* handler = reinterpret_cast<DSTriggerHandler*>(64); // four octets make a difference of 1
    EXPECT_EQ(compare(DSTrigWrapper(handler), DSTrigWrapper(nullptr)), 16);
    // Of two of which only one has a value, either is less; of two of which only one has an object, more.
    const DSProvider plain(DSName("n", 1, 4), nowhere(1));
    const DSProvider valued(DSName("n", 1, 4, new TRXString("v")), nowhere(1));
    EXPECT_EQ(compare(plain, valued) + compare(valued, plain), -2);
    const DSRequest bare(3), full(3, new TRXString("a"));
    EXPECT_EQ(compare(bare, full) + compare(full, bare), 2);
}

TEST(Records, aUserOfAnAgent) {
    const char* const octets = ":DSUserInfo t'me' +0 +14000 +777";
    const std::unique_ptr<NCTransObject> received(Carrier().decode(OctetListing(octets).bytes()));
    ASSERT_NE(nc_cast<DSUserInfo>(received.get()), nullptr);
    expectWritten(received.get(), octets);
    EXPECT_EQ(printed(*received),
              "\nClassName: DSUserInfo\n User Name: me \n Process id: 777 \n " + printedAddress("14000"));
}

TEST(Records, tellOfThisProcessAndHost) {
    const DSLogin login("me");
    const DSAddr here(0);
    const DSProvider provider(DSName("n", 1, 4), nowhere(1));
    EXPECT_TRUE(provider.clientAddr().isEqual(&here) && provider.agentAddr().isEqual(&here));
    EXPECT_STRNE(login.hostName(), "");
    EXPECT_STRNE(login.userName(), "");
    EXPECT_STREQ(login.loginName(), "me");
    EXPECT_EQ(login.processId(), getpid());
    EXPECT_EQ(login.machineType(), 2);
    const Captured told(std::cout);
    DSAddr(1, "no such host");
    EXPECT_EQ(told.text(), "DSAddr::DSAddr: Unable to get internet address for 'no such host'\n");
}

TEST(Messages, takeNumbersFromOneCounterForEachFamily) {
    const DSRequest first(DSRequestLogin);
    const DSAMessage outside(DSTypeLocateAgent);
    const DSReply second(DSReplyLogin, first, 0);
    const DSAReply outsideToo(DSReplyAgentLocated, outside, 0);
    EXPECT_EQ(second.msgNum(), first.msgNum() + 1);
    EXPECT_EQ(outsideToo.msgNum(), outside.msgNum() + 1);
    EXPECT_TRUE(second.answers(first) && second.replyOk());
    EXPECT_TRUE(outsideToo.answers(outside) && outsideToo.replyOk());
    EXPECT_EQ(DSMessage(1, 0, 0).cookie().length(), 4);
}

TEST(Messages, ofAnotherVersionAreReadNoFurther) {
    for (const char* listing :
         {":DSMessage t'Kestrune 1.0'", ":DSRequest t'Kestrune 1.0'", ":DSReply t'Kestrune 1.0'"})
        EXPECT_FALSE(read<DSMessage>(listing)->isCurrentVersion());
    for (const char* listing : {":DSAMessage t'Kestrune 1.0'", ":DSAReply t'Kestrune 1.0'"})
        EXPECT_FALSE(read<DSAMessage>(listing)->isCurrentVersion());
}

TEST(Counts, releaseDestroysAtZeroAndTwoHoldersAreTold) {
    NCResource::release(new TRXString("of count 0")); // else a leak
    NCResource::addRef(nullptr);
    NCResource::release(nullptr);
    for (const int holders : {1, 2}) {
        const Captured told(std::cout);
        {
            DSAddr addr = nowhere(1);
            for (int i = 0; i < holders; ++i)
                addr.ref();
        }
        EXPECT_EQ(told.text(), holders == 1
                                   ? ""
                                   : "DSResource::~DSResource: Deleting instance which has outstanding "
                                     "references\nClass name: 'DSResource'. Num of references: 2\n");
    }
}

} // namespace
