#include "agent/octets.h"

#include "agent/collections/dsdict.h"
#include "agent/collections/dsordclt.h"
#include "agent/records/dsamsg.h"
#include "agent/records/dslogin.h"
#include "agent/records/dsprovid.h"
#include "agent/records/dsreply.h"
#include "agent/records/dsreq.h"
#include "agent/records/dsusrinf.h"
#include "agent/records/dswrap.h"
#include "agent/records/trxstring.h"

#include <arpa/inet.h>

namespace {

std::string number(uint32_t value) { return std::to_string(value); }

TEST(PrintForms, ofRequestsAndReplies) {
    const DSRequest request(7, new TRXString("obj"));
    const std::string head = "Version: Kestrune 2.0 \n Msg Type: 1 \n Msg Num: ";
    EXPECT_EQ(printed(request),
              head + number(request.msgNum()) + " \n Request Type: 7 \n Request: \" obj \" ");
    const DSRequest bare(2);
    EXPECT_EQ(printed(bare), head + number(bare.msgNum()) + " \n Request Type: 2 \n Request: (nil) ");
    const DSReply reply(4, bare, -95);
    EXPECT_EQ(printed(reply), "Version: Kestrune 2.0 \n Msg Type: 2 \n Msg Num: " + number(reply.msgNum()) +
                                  " \n Reply Type: 4 \n Request Num: " + number(bare.msgNum()) +
                                  " \n Status: -95 \n Reply: (nil) ");
}

TEST(PrintForms, ofAgentMessages) {
    const DSAMessage locate(6);
    const std::string head = "Version: Kestrune 2.0 \n Msg Type: ";
    EXPECT_EQ(printed(locate), head + "6 \n Msg Num: " + number(locate.msgNum()) + " \n ");
    const DSAReply reply(5, locate, 0, new TRXString("x"));
    EXPECT_EQ(printed(reply), head + "5 \n Msg Num: " + number(reply.msgNum()) +
                                  " \n Msg Object\n \" x \" Reply Type: 5 \n Request Num: " +
                                  number(locate.msgNum()) + " \n Status: 0 \n ");
}

TEST(PrintForms, ofRecords) {
    const std::string unknownHost = "\nClassName: DSAddr\n Internet Addr:  0.0.0.0 \n Port Number:  9 \n ";
    const DSAddr unknown(9, in_addr{0});
    EXPECT_EQ(unknown.hostName(), nullptr);
    EXPECT_EQ(printed(unknown), unknownHost);

    const DSAddr loopback(1, in_addr{htonl(INADDR_LOOPBACK)});
    const std::string name = loopback.hostName();
    EXPECT_EQ(printed(loopback), "\nClassName: DSAddr\n Hostname: " + name +
                                     " \n Internet Addr:  127.0.0.1 \n Port Number:  1 \n ");

    const DSName service("n", 1, 4, new TRXString("v"));
    const std::string serviceText =
        "\nClassName: DSName\n Name: n , Argument Type: 1 , Service Type: 4 \n \" v \" ";
    EXPECT_EQ(printed(service), serviceText);

    const DSProvider provider(service, unknown, 2, 3);
    EXPECT_EQ(printed(provider), "\nClassName: DSProvider\n " + serviceText + unknownHost +
                                     "Client Addr: " + printed(provider.clientAddr()) + "Agent Addr: " +
                                     printed(provider.agentAddr()) + "Protocol Type: 2 , Admin Port: 3 \n ");

    const DSUserInfo user("me", unknown, 77);
    EXPECT_EQ(printed(user), "\nClassName: DSUserInfo\n User Name: me \n Process id: 77 \n " + unknownHost);

    const DSAssoc assoc(new TRXString("k"), new DSWrapper(uintptr_t{5}));
    EXPECT_EQ(printed(assoc), "\nClassName: DSAssoc\n Key:  \" k \" Value:  OBJECT ADDRESS:  5 ");

    EXPECT_EQ(printed(NCString("abc")), "\nClassName: NCString\n len:  3 str:  abc \n ");
}

TEST(PrintForms, ofLoginsKeepTheExtraSecret) {
    DSLogin login("name", "secret");
    login.setVerifyPort(12);
    EXPECT_EQ(printed(login), "Host Name:  " + std::string(login.hostName()) +
                                  " \n Login Name:  name \n User Name:  " + login.userName() +
                                  " \n Process id: " + std::to_string(getpid()) +
                                  " \n Machine Type:  2 \n Verify Port:  12 \n ");
}

TEST(PrintForms, ofCollections) {
    DSOrderedCltn strings;
    EXPECT_EQ(printed(strings), "Collection size:  0 \n \n ");
    strings.add(new TRXString("a"));
    strings.add(new TRXString("b"));
    EXPECT_EQ(printed(strings), "Collection size:  2 \n \" a \" \" b \" \n ");
}

TEST(RecordEquality, ofNames) {
    const DSName name("n", 1, 4);
    EXPECT_TRUE(name.isEqual(&name));
    const DSName withValue("n", 1, 4, new TRXString("v"));
    EXPECT_TRUE(name.isEqual(&withValue)); // the value is no part of a name
    EXPECT_EQ(name.hash(), withValue.hash());
    const DSName otherType("n", 1, 5);
    EXPECT_FALSE(name.isEqual(&otherType));
    EXPECT_EQ(name.compare(&otherType), -1);
    const DSName otherText("o", 1, 4);
    EXPECT_NE(name.compare(&otherText), 0);
    const TRXString text("n");
    EXPECT_FALSE(name.isEqual(&text));
    EXPECT_EQ(name.hash(), static_cast<uint32_t>('n') ^ 1u ^ 4u);
}

TEST(RecordEquality, ofAddresses) {
    const DSAddr a(5, in_addr{0x0100007f});
    const DSAddr samePlace(5, "127.0.0.1");
    EXPECT_TRUE(a.isEqual(&samePlace));
    EXPECT_EQ(a.hash(), 0x0100007fu ^ 5u);
    const DSAddr otherPort(7, in_addr{0x0100007f});
    EXPECT_EQ(a.compare(&otherPort), -2);
    const DSAddr high(5, in_addr{0xff00007f});
    EXPECT_NE(a.compare(&high), 0);
}

TEST(RecordEquality, ofProviders) {
    const DSAddr addr(5, in_addr{0x0100007f});
    const auto provider = [&](const char* name, DSResource* value, int protocol, int adminPort) {
        return DSProvider(DSName(name, 1, 4, value), addr, protocol, adminPort);
    };
    const DSProvider plain = provider("n", nullptr, 2, 3);
    DSProvider elsewhere = provider("n", nullptr, 2, 9);
    elsewhere.setAgentAddr(DSAddr(99, in_addr{1}));
    EXPECT_TRUE(plain.isEqual(&elsewhere)); // neither the admin port nor the agent counts
    EXPECT_EQ(plain.hash(), plain.name().hash() ^ addr.hash() ^ 2u);
    const DSProvider otherProtocol = provider("n", nullptr, 1, 3);
    EXPECT_EQ(plain.compare(&otherProtocol), 1);
    const DSProvider valued = provider("n", new TRXString("a"), 2, 3);
    const DSProvider sameValue = provider("n", new TRXString("a"), 2, 3);
    const DSProvider otherValue = provider("n", new TRXString("b"), 2, 3);
    EXPECT_EQ(plain.compare(&valued), -1);
    EXPECT_EQ(valued.compare(&plain), -1);
    EXPECT_TRUE(valued.isEqual(&sameValue));
    EXPECT_FALSE(valued.isEqual(&otherValue));
}

TEST(RecordEquality, ofMessages) {
    const NCRef<TRXString> object = new TRXString("o");
    const DSRequest first(3, object.get());
    const DSRequest second(3, object.get());
    EXPECT_TRUE(first.isEqual(&second)); // the numbers differ
    EXPECT_EQ(first.hash(), first.msgNum() ^ object->hash());
    const DSRequest bare(3);
    EXPECT_EQ(first.compare(&bare), 1);
    EXPECT_EQ(bare.compare(&first), 1);
    const DSRequest otherType(5);
    EXPECT_EQ(bare.compare(&otherType), -2);

    const DSReply reply(2, first, 0);
    const DSReply toAnother(2, second, 0);
    EXPECT_EQ(reply.compare(&toAnother), -1);
    EXPECT_EQ(reply.hash(), reply.msgNum());

    const DSAMessage locate(6);
    const DSAMessage again(6);
    EXPECT_EQ(locate.compare(&again), -1); // here the numbers count
    EXPECT_TRUE(locate.isEqual(&locate));
}

TEST(RecordEquality, ofStringsLoginsAndWrappers) {
    const TRXString abc("abc");
    EXPECT_EQ(abc.hash(), 0x123u);
    EXPECT_EQ(TRXString().hash(), 0u);
    EXPECT_TRUE(abc == TRXString("abc"));
    EXPECT_LT(abc.compare(&static_cast<const NCObject&>(TRXString("abd"))), 0);

    const DSLogin login("a", "b");
    const DSLogin same("a", "b");
    const DSLogin otherExtra("a", "c");
    EXPECT_TRUE(login.isEqual(&same));
    EXPECT_FALSE(login.isEqual(&otherExtra));
    EXPECT_EQ(login.hash(), NCString(login.hostName()).hash() ^ 'a' ^ 'b');

    const DSWrapper three(uintptr_t{3});
    const DSWrapper five(uintptr_t{5});
    EXPECT_EQ(three.compare(&five), -2);
    EXPECT_EQ(five.hash(), 5u);
}

TEST(RecordEquality, ofAssociationsIsThatOfTheirKeys) {
    const NCRef<TRXString> key = new TRXString("k");
    const DSAssoc one(key.get(), new TRXString("1"));
    const DSAssoc two(key.get(), new TRXString("2"));
    const TRXString sameKey("k");
    EXPECT_EQ(one.hash(), key->hash());
    EXPECT_TRUE(one.isEqual(&sameKey));
    EXPECT_TRUE(one.isEqual(&two));
    const TRXString otherKey("l");
    EXPECT_FALSE(one.isEqual(&otherKey));
    EXPECT_FALSE(one.isEqual(nullptr));
}

TEST(RecordCounts, releaseDestroysAtZeroAndOne) {
    static int alive = 0;
    struct Probe : TRXString {
        Probe() { ++alive; }
        ~Probe() override { --alive; }
    };
    NCResource::release(new Probe);
    EXPECT_EQ(alive, 0);
    auto* held = new Probe;
    held->ref();
    NCResource::addRef(held);
    NCResource::release(held);
    EXPECT_EQ(alive, 1);
    NCResource::release(held);
    EXPECT_EQ(alive, 0);
    NCResource::addRef(nullptr);
    NCResource::release(nullptr);
}

TEST(RecordCounts, destroyingACountedOnRecordIsToldOnce) {
    const Captured out(std::cout);
    {
        DSAddr addr(1, in_addr{0});
        addr.ref();
        addr.ref();
    }
    EXPECT_EQ(out.text(), "DSResource::~DSResource: Deleting instance which has outstanding references\n"
                          "Class name: 'DSResource'. Num of references: 2\n");
}

TEST(AddressTexts, thatAreNoHostAreTold) {
    const Captured out(std::cout);
    const DSAddr nowhere(1, "no such host");
    EXPECT_EQ(out.text(), "DSAddr::DSAddr: Unable to get internet address for 'no such host'\n");
}

} // namespace
