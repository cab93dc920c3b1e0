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

// Every message of the table has this number.
constexpr uint32_t number = 0x01020304;
std::string head(uint32_t type) { return text("Kestrune 2.0") + word(type) + word(number); }
std::string printedHead(const char* type) {
    return std::string("Version: Kestrune 2.0 \n Msg Type: ") + type + " \n Msg Num: 16909060 \n ";
}
const std::string cookie = "00000004 0A0B0C0D ";
const uint32_t cookieWord = htonl(0x0A0B0C0D);

const std::string request = tag("DSRequest") + head(1) + cookie + "00000007 " + string("obj");
const std::string locate = tag("DSAMessage") + head(6) + none + "00000004 00000000 ";
const std::string nameFields = text("n") + "00000001 00000004 " + string("v");
const std::string printedName =
    "\nClassName: DSName\n Name: n , Argument Type: 1 , Service Type: 4 \n \" v \" ";

// Of the address 0, which prints without a look-up of its host.
DSAddr nowhere(int port) { return DSAddr(port, in_addr_t{0}); }
std::string printedAddress(const char* port) {
    return std::string("\nClassName: DSAddr\n Internet Addr:  0.0.0.0 \n Port Number:  ") + port + " \n ";
}

std::vector<Row> messages() {
    const std::string answer = "Request Num: 16909060 \n ";
    const std::string obj = "\" obj \" ";
    return {
        {tag("DSMessage") + head(2) + cookie, printedHead("2"), number, new DSMessage(2, cookieWord, 4)},
        {request, printedHead("1") + "Request Type: 7 \n Request: " + obj, number ^ TRXString("obj").hash(),
         new DSRequest(7, new TRXString("obj"), cookieWord)},
        {tag("DSRequest") + head(1) + cookie + "00000002 " + none,
         printedHead("1") + "Request Type: 2 \n Request: (nil) ", number,
         new DSRequest(2, nullptr, cookieWord)},
        {tag("DSReply") + head(2) + cookie + "00000004 " + word(number) + "FFFFFFA1 " + string("obj"),
         printedHead("2") + "Reply Type: 4 \n " + answer + "Status: -95 \n Reply: " + obj, number,
         new DSReply(4, *read<DSRequest>(request), -95, new TRXString("obj"))},
        {locate, printedHead("6"), number, new DSAMessage(6)},
        // Six octets of cookie: those of the value, and zeros.
        {tag("DSAMessage") + head(7) + string("obj") + "00000006 0A0B0C0D 0000.... ",
         printedHead("7") + "Msg Object\n " + obj, number,
         new DSAMessage(7, new TRXString("obj"), cookieWord, 6)},
        {"3A...... 0000000C 'DSAReply' 00...... 0000000C 00000010 'Kestrune 2.0' 00...... 00000005 01020304 "
         "3A...... 00000008 'DSAddr' 00.. 00000000 000036B0 00000004 00000000 00000005 01020304 00000000 ",
         printedHead("5") + "Msg Object\n " + printedAddress("14000") + "Reply Type: 5 \n " + answer +
             "Status: 0 \n ",
         number, new DSAReply(5, *read<DSAMessage>(locate), 0, new DSAddr(nowhere(14000)))},
    };
}

template <class Collection>
Collection* filled(Collection* collection) {
    for (const char* letter : {"k", "a", "k"})
        collection->add(NCRef<TRXString>(new TRXString(letter)).get());
    return collection;
}

std::vector<Row> records() {
    const uint32_t native = ntohl(0x05000000); // a wrapped word travels in host order
    const std::string kak = "00000003 " + string("k") + string("a", known(1)) + string("k", known(1));
    const std::string printedKak = "Collection size:  3 \n \" k \" \" a \" \" k \" \n ";
    const std::string assoc = tag("DSAssoc") + string("k") + none;
    const std::string places = "00000000 00000FA0 00000000 00000001 00000000 00000002 00000003 00000004 ";
    const std::string printedProvider = "\nClassName: DSProvider\n " + printedName + printedAddress("4000") +
                                        "Client Addr: " + printedAddress("1") +
                                        "Agent Addr: " + printedAddress("2") +
                                        "Protocol Type: 3 , Admin Port: 4 \n ";
    const uint32_t provider = 'n' ^ 1u ^ 4u ^ 4000u ^ 3u;
    const std::string printedAssoc = "\nClassName: DSAssoc\n Key:  \" k \" Value:  (nil) ";
    return {
        {tag("TRXString") + "00000004 'abc' 00 ", "\" abc \" ", 0x123, new TRXString("abc")},
        {tag("TRXString") + "00000001 00...... ", "\"  \" ", 0, new TRXString("")},
        {tag("TRXString") + "00000005 'abcd' 00...... ", "\" abcd \" ", 0x246 ^ 'd', new TRXString("abcd")},
        {tag("DSName") + nameFields, printedName, 'n' ^ 1u ^ 4u, new DSName("n", 1, 4, new TRXString("v"))},
        {tag("DSName") + text("") + "FFFFFFFF 80000000 " + none,
         "\nClassName: DSName\n Name:  , Argument Type: -1 , Service Type: -2147483648 \n ", 0x7fffffff,
         new DSName("", -1, std::numeric_limits<int>::min())},
        {tag("DSAddr") + "00000000 000036B0 ", printedAddress("14000"), 14000, new DSAddr(nowhere(14000))},
        {tag("DSAddr") + "7F000001 00000001 ",
         std::string("\nClassName: DSAddr\n Hostname: ") + DSAddr(1, "127.0.0.1").hostName() +
             " \n Internet Addr:  127.0.0.1 \n Port Number:  1 \n ",
         htonl(0x7F000001) ^ 1u, new DSAddr(1, "127.0.0.1")},
        {tag("DSLogin") + text("h") + text("me") + text("x") + text("u") + "0000004D 00000002 00001267 ",
         "Host Name:  h \n Login Name:  me \n User Name:  u \n Process id: 77 \n Machine Type:  2 \n "
         "Verify Port:  4711 \n ",
         'h' ^ ('m' * 2 ^ 'e') ^ 'x', nullptr},
        {tag("DSProvider") + nameFields + places, printedProvider, provider, nullptr},
        // Ids: 0 the list, 1 and 8 the providers, 2 and 9 their names, 3 and 10 the texts, 4 the value that
        // both hold, 5 to 7 the addresses of the first.
        {tag("DSOrderedCltn") + "00000004 00000003 " + tag("DSProvider") + nameFields + places + known(1) +
             text("n") + "00000001 00000004 " + seen(4) + places + seen(1),
         "Collection size:  3 \n " + printedProvider + printedProvider + printedProvider + "\n ",
         3u ^ provider, nullptr},
        {tag("DSAssoc") + string("k") + tag("DSWrapper") + "05000000 ",
         "\nClassName: DSAssoc\n Key:  \" k \" Value:  OBJECT ADDRESS:  " + std::to_string(native) + " ", 'k',
         new DSAssoc(new TRXString("k"), new DSWrapper(uintptr_t{native}))},
        {tag("DSTrigWrapper"), "", 0, new DSTrigWrapper(nullptr)},
        {tag("DSLink") + string("k"), "\" k \" ", 'k', new DSLink(new TRXString("k"))},
        {tag("DSOrderedCltn") + "00000004 " + kak, printedKak, 3u ^ 'a', filled(new DSOrderedCltn(4))},
        {tag("DSLinkedList") + kak, printedKak, 3u ^ 'a', filled(new DSLinkedList)},
        // In the order of four slots, which a reader of two elements gives a set.
        {tag("DSSet") + "00000004 00000002 " + string("k") + string("a", known(1)),
         "Collection size:  2 \n \" k \" \" a \" \n ", 2u ^ 'k' ^ 'a',
         new DSSet(*NCRef<DSSet>(filled(new DSSet)))},
        {tag("DSDictionary") + "00000002 00000001 " + assoc, "Collection size:  1 \n " + printedAssoc + "\n ",
         1u ^ 'k', nullptr},
    };
}

TEST(Records, travelPrintAndHashAsTheTableSays) {
    auto rows = messages();
    std::ranges::move(records(), std::back_inserter(rows));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.octets);
        const auto received = read<DSResource>(row.octets);
        EXPECT_EQ(received->refCount(), 1u); // ours
        expectWritten(received.get(), row.octets);
        EXPECT_EQ(printed(*received), row.print);
        EXPECT_EQ(received->hash(), row.hash);
        if (const size_t at = row.octets.find(word(number)); row.made && at != row.octets.npos)
            expectWritten(row.made.get(),
                          std::string(row.octets).replace(at, 9, "........ ")); // its own number
        else if (row.made)
            expectWritten(row.made.get(), row.octets);
    }
    expectWritten(Record(new DSSet).get(), tag("DSSet") + "00000020 00000000 ");
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
void expectOrdered(const char* className, const std::vector<std::vector<std::string>>& groups) {
    std::vector<std::vector<Record>> received(groups.size());
    for (size_t i = 0; i < groups.size(); ++i)
        for (const std::string& fields : groups[i])
            received[i].push_back(read<DSResource>(tag(className) + fields));
    expectOrdered(received);
}

TEST(Records, areOrderedByWhatIdentifiesThem) {
    expectOrdered("TRXString", {{string("", "")}, {string("ab", ""), string("ab", "")}, {string("b", "")}});
    const std::string n = text("n") + "00000001 00000004 ";
    expectOrdered("DSName", {{text("m") + "00000002 00000005 " + none},
                             {n + none, n + string("v")}, // the value is no part of a name
                             {text("n") + "00000001 00000005 " + none},
                             {text("n") + "00000002 00000004 " + none}});
    const std::string first = word(ntohl(1)), second = word(ntohl(2)); // compared in host order
    expectOrdered("DSAddr", {{"00000000 00000007 "},
                             {first + "00000005 ", first + "00000005 "},
                             {first + "00000006 "},
                             {second + "00000000 "}});
    // Behind the place of the service: those of the client and of the agent, the protocol, the admin port.
    const std::string rest = "00000000 00000000 00000000 00000000 00000002 00000003 ";
    const std::string otherPlaces = "00000000 00000001 00000000 00000002 00000002 00000004 ";
    const std::string otherProtocol = "00000000 00000000 00000000 00000000 00000003 00000003 ";
    const std::string five = n + none + "00000000 00000005 ";
    expectOrdered("DSProvider",
                  {{text("m") + "00000001 00000004 " + none + "00000000 00000009 " + otherProtocol},
                   {five + rest, five + otherPlaces},
                   {five + otherProtocol},
                   {n + none + "00000000 00000006 " + rest}});
    expectOrdered("DSProvider", {{n + string("v") + "00000000 00000005 " + rest},
                                 {n + string("w") + "00000000 00000004 " + rest}});
    // Host, login and user name; nothing behind them.
    const std::string self = "00000001 00000002 00000003 ", other = "00000004 00000005 00000006 ";
    expectOrdered("DSLogin", {{text("h") + text("a") + text("b") + text("u") + self,
                               text("h") + text("a") + text("b") + text("v") + other},
                              {text("h") + text("a") + text("c") + text("u") + self},
                              {text("h") + text("b") + text("b") + text("u") + self},
                              {text("i") + text("a") + text("b") + text("u") + self}});
    expectOrdered("DSLink", {{string("a"), string("a")}, {string("b")}});
    expectOrdered("DSAssoc",
                  {{string("k") + none, string("k") + string("v", known(1))}, {string("l") + none}});
    expectOrdered(
        {{new DSWrapper(uintptr_t{1})}, {new DSWrapper(uintptr_t{3}), new DSWrapper(uintptr_t{3})}});
    // Session messages are equal whatever their number.
    const auto numbered = [](uint32_t type, uint32_t own, const std::string& object = "") {
        return text("Kestrune 2.0") + word(type) + word(own) + object + cookie;
    };
    expectOrdered("DSMessage", {{numbered(1, 7), numbered(1, 3)}, {numbered(2, 1)}});
    expectOrdered("DSRequest", {{numbered(1, 7) + word(3) + none, numbered(1, 3) + word(3) + none},
                                {numbered(1, 1) + word(5) + string("a")},
                                {numbered(1, 1) + word(5) + string("b")},
                                {numbered(2, 1) + word(3) + none}}); // the type of the message comes first
    const auto reply = [&](uint32_t type, uint32_t answered, uint32_t status, const std::string& object,
                           uint32_t own = 7) {
        return numbered(2, own) + word(type) + word(answered) + word(status) + object;
    };
    expectOrdered("DSReply", {{reply(1, 5, 9, none)},
                              {reply(2, 3, 8, none)},
                              {reply(2, 4, 0, string("a")), reply(2, 4, 0, string("a"), 8)},
                              {reply(2, 4, 0, string("b"))},
                              {reply(2, 4, 1, none)}});
    expectOrdered("DSAMessage", {{numbered(9, 1, none), numbered(6, 1, none)}, {numbered(6, 2, none)}});
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
    const std::string octets = tag("DSUserInfo") + text("me") + "00000000 000036B0 00000309 ";
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
    EXPECT_EQ(captured([] { DSAddr(1, "no such host"); }),
              "DSAddr::DSAddr: Unable to get internet address for 'no such host'\n");
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
    for (const char* name : {"DSMessage", "DSRequest", "DSReply"})
        EXPECT_FALSE(read<DSMessage>(tag(name) + text("Kestrune 1.0"))->isCurrentVersion());
    for (const char* name : {"DSAMessage", "DSAReply"})
        EXPECT_FALSE(read<DSAMessage>(tag(name) + text("Kestrune 1.0"))->isCurrentVersion());
}

TEST(Counts, releaseDestroysAtZeroAndTwoHoldersAreTold) {
    NCResource::release(new TRXString("of count 0")); // else a leak
    NCResource::addRef(nullptr);
    NCResource::release(nullptr);
    for (const int holders : {1, 2}) {
        const std::string told = captured([&] {
            DSAddr addr = nowhere(1);
            for (int i = 0; i < holders; ++i)
                addr.ref();
        });
        EXPECT_EQ(told, holders == 1 ? ""
                                     : "DSResource::~DSResource: Deleting instance which has outstanding "
                                       "references\nClass name: 'DSResource'. Num of references: 2\n");
    }
}

} // namespace
