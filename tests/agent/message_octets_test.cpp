#include "agent/octets.h"

#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/dsamsg.h"
#include "agent/records/dslogin.h"
#include "agent/records/dsprovid.h"
#include "agent/records/dsreply.h"
#include "agent/records/dsreq.h"
#include "agent/records/trxstring.h"

#include <arpa/inet.h>

namespace {

in_addr hostAddress(const char* dotted) { return {inet_addr(dotted)}; }

const std::string locateAsSent = "3A...... 0000000C 'DSAMessage' 00.. "
                                 "0000000C 00000010 'Kestrune 2.0' 00...... "
                                 "00000006 01020304 "
                                 "3A...... 00000004 '::' 00.. "
                                 "00000004 00000000";

TEST(AgentMessageOctets, locate) {
    const auto locate = read<DSAMessage>(locateAsSent);
    EXPECT_TRUE(locate->isCurrentVersion());
    EXPECT_EQ(locate->msgType(), DSTypeLocateAgent);
    EXPECT_EQ(locate->msgNum(), 0x01020304u);
    EXPECT_EQ(locate->object(), nullptr);
    EXPECT_EQ(locate->cookie().length(), 4);
    expectWritten(locate.get(), locateAsSent);

    const DSAMessage built(DSTypeLocateAgent);
    std::string listing = locateAsSent;
    listing.replace(listing.find("01020304 "), 9, word(built.msgNum()));
    expectWritten(&built, listing);
}

TEST(AgentMessageOctets, answerToLocate) {
    const auto locate = read<DSAMessage>(locateAsSent);
    DSAReply answer(DSReplyAgentLocated, *locate, 0, new DSAddr(14000, hostAddress("10.0.0.7")));
    const std::string listing = "00000064 "
                                "3A...... 0000000C 'DSAReply' 00...... "
                                "0000000C 00000010 'Kestrune 2.0' 00...... "
                                "00000005 " +
                                word(answer.msgNum()) +
                                "3A...... 00000008 'DSAddr' 00.. "
                                "0A000007 000036B0 "
                                "00000004 00000000 "
                                "00000005 01020304 00000000";
    const std::string datagram = Carrier().datagram(&answer);
    EXPECT_EQ(Octets(listing).differenceFrom(datagram), "");
    EXPECT_EQ(datagram.size(), 100u);

    const auto received = Carrier().decodeAs<DSAReply>(Octets(listing).bytes().substr(4));
    EXPECT_EQ(received->msgType(), DSTypeAReply);
    EXPECT_EQ(received->msgNum(), answer.msgNum());
    EXPECT_EQ(received->replyType(), DSReplyAgentLocated);
    EXPECT_TRUE(received->replyOk());
    EXPECT_TRUE(received->answers(*locate));
    const auto* address = nc_cast<DSAddr>(received->object());
    ASSERT_NE(address, nullptr);
    EXPECT_STREQ(address->dottedAddr(), "10.0.0.7");
    EXPECT_EQ(address->port(), 14000);
    EXPECT_EQ(address->refCount(), 1u);
}

TEST(AgentMessageOctets, objectBeforeTheCookie) {
    const std::string listing = "3A...... 0000000C 'DSAMessage' 00.. " + versionText +
                                "00000007 00000011 "
                                "3A...... 0000000C 'TRXString' 00.... 00000002 'x' 00.... "
                                "00000006 'cookie' ....";
    const auto message = read<DSAMessage>(listing);
    EXPECT_EQ(*nc_cast<TRXString>(message->object()), "x");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(message->cookie().octets()), 6), "cookie");
    expectWritten(message.get(), listing);
}

const std::string requestHead = "3A...... 0000000C 'DSRequest' 00.... " + versionText + "00000001 ";

TEST(SessionMessageOctets, requestWithoutObjectEndsInNull) {
    const DSRequest alive(DSRequestAreYouAlive);
    const std::string listing =
        requestHead + word(alive.msgNum()) + "00000004 00000000 00000002 3A...... 00000004 '::' 00..";
    expectWritten(&alive, listing);
    const auto received = read<DSRequest>(listing);
    EXPECT_EQ(received->msgType(), DSTypeRequest);
    EXPECT_EQ(received->requestType(), DSRequestAreYouAlive);
    EXPECT_EQ(received->request(), nullptr);
    EXPECT_EQ(received->msgNum(), alive.msgNum());
}

TEST(SessionMessageOctets, registrationOfAProviderWithValue) {
    const DSName name("IDL:A:1.0", dsArgType, DSServiceOad, new TRXString("val"));
    auto* provider = new DSProvider(name, DSAddr(4000, hostAddress("127.0.0.2")), 2, 3);
    const DSAddr here(0);
    const DSRequest request(DSRequestRegisterProvider, provider, htonl(0xCAFE0001));
    const std::string hostWord = word(ntohl(here.addr()));
    const std::string listing = requestHead + word(request.msgNum()) +
                                "00000004 CAFE0001 00000005 "
                                "3A...... 0000000C 'DSProvider' 00.. "
                                "00000009 0000000C 'IDL:A:1.0' 00.... 00000001 00000005 "
                                "3A...... 0000000C 'TRXString' 00.... 00000004 'val' 00 "
                                "7F000002 00000FA0 " +
                                hostWord + "00000000 " + hostWord +
                                "00000000 "
                                "00000002 00000003";
    expectWritten(&request, listing);

    const auto received = read<DSRequest>(listing);
    const auto* registered = nc_cast<DSProvider>(received->request());
    ASSERT_NE(registered, nullptr);
    EXPECT_STREQ(registered->name().name(), "IDL:A:1.0");
    EXPECT_EQ(registered->name().argType(), 1);
    EXPECT_EQ(registered->name().serviceType(), 5);
    EXPECT_EQ(*nc_cast<TRXString>(registered->name().value()), "val");
    EXPECT_STREQ(registered->addr().dottedAddr(), "127.0.0.2");
    EXPECT_EQ(registered->addr().port(), 4000);
    EXPECT_EQ(registered->clientAddr().addr(), here.addr());
    EXPECT_EQ(registered->agentAddr().port(), 0);
    EXPECT_EQ(registered->protocolType(), 2);
    EXPECT_EQ(registered->adminPort(), 3);
}

// Ids: 0 the reply, 1 its version, 2 the collection, 3 the first provider, 4 its name, 5 the name's text, 6
// the value, 7 to 9 the addresses, 10 the second provider. Classes: 0 DSReply, 1 DSOrderedCltn, 2 DSProvider,
// 3 TRXString.
TEST(SessionMessageOctets, referencesCountEmbeddedMembers) {
    const std::string addresses = "0A000001 00000FA0 0A000002 00000000 0A000003 00000000 ";
    const std::string listing = "3A...... 00000008 'DSReply' 00 " + versionText +
                                "00000002 00000011 00000004 01020304 "
                                "00000006 00000022 00000000 "
                                "3A...... 00000010 'DSOrderedCltn' 00.... 00000008 00000004 "
                                "3A...... 0000000C 'DSProvider' 00.. "
                                "00000001 00000004 'a' 00.... 00000001 00000004 "
                                "3A...... 0000000C 'TRXString' 00.... 00000002 's' 00.... " +
                                addresses +
                                "00000000 00000000 "
                                "23...... 00000002 00000001 00000004 'b' 00.... 00000001 00000004 "
                                "40...... 00000006 " +
                                addresses +
                                "00000000 00000000 "
                                "40...... 00000003 "
                                "23...... 00000003 00000002 't' 00.... ";
    const auto reply = read<DSReply>(listing);
    EXPECT_EQ(reply->replyType(), DSReplyTrigger);
    EXPECT_EQ(reply->requestNum(), 0x22u);
    const auto* all = nc_cast<DSOrderedCltn>(reply->reply());
    ASSERT_NE(all, nullptr);
    ASSERT_EQ(all->size(), 4u);
    const auto* first = nc_cast<DSProvider>(all->at(0));
    const auto* second = nc_cast<DSProvider>(all->at(1));
    EXPECT_EQ(first->name().value(), second->name().value());
    EXPECT_EQ(first->name().value()->refCount(), 2u);
    EXPECT_EQ(all->at(2), first);
    EXPECT_EQ(*nc_cast<TRXString>(all->at(3)), "t");
    expectWritten(reply.get(), listing);
}

TEST(SessionMessageOctets, login) {
    DSLogin login("me");
    login.setVerifyPort(4711);
    const DSRequest request(DSRequestLogin, &login);
    const auto text = [](const char* value) {
        const size_t size = std::strlen(value) + 1;
        std::string listing = word(static_cast<uint32_t>(size - 1)) +
                              word(static_cast<uint32_t>((size + 3) / 4 * 4)) + "'" + value + "' 00";
        for (size_t i = size; i % 4 != 0; ++i)
            listing += "..";
        return listing;
    };
    const std::string listing =
        requestHead + word(request.msgNum()) + "00000004 00000000 00000000 3A...... 00000008 'DSLogin' 00 " +
        text(login.hostName()) + "00000002 00000004 'me' 00.. 00000000 00000004 00...... " +
        text(login.userName()) + word(static_cast<uint32_t>(getpid())) + "00000002 00001267";
    login.ref();
    expectWritten(&request, listing);
    const auto received = read<DSRequest>(listing);
    const auto* arrived = nc_cast<DSLogin>(received->request());
    ASSERT_NE(arrived, nullptr);
    EXPECT_TRUE(arrived->isEqual(&login));
    EXPECT_STREQ(arrived->userName(), login.userName());
    EXPECT_STREQ(arrived->loginExtra(), "");
    EXPECT_EQ(arrived->processId(), getpid());
    EXPECT_EQ(arrived->machineType(), 2);
    EXPECT_EQ(arrived->verifyPort(), 4711);
}

TEST(SessionMessageOctets, replyWithAListOfAgents) {
    NCRef<DSSet> agents = new DSSet;
    for (int port = 1; port <= 3; ++port)
        agents->add(new DSAddr(port, in_addr{0}));
    const auto request = read<DSRequest>(requestHead + "00000009 00000004 0A0B0C0D 00000008 " + nullObject);
    const DSReply reply(DSReplyPlain, *request, 0, agents.get());
    // Slots 7, 19 and 27 of 32 for the hashes 2, 1 and 3.
    const std::string listing = "3A...... 00000008 'DSReply' 00 " + versionText + "00000002 " +
                                word(reply.msgNum()) +
                                "00000004 0A0B0C0D 00000000 00000009 00000000 "
                                "3A...... 00000008 'DSSet' 00.... 00000020 00000003 "
                                "3A...... 00000008 'DSAddr' 00.. 00000000 00000002 "
                                "23...... 00000002 00000000 00000001 "
                                "23...... 00000002 00000000 00000003";
    expectWritten(&reply, listing);
    const auto received = read<DSReply>(listing);
    const auto* set = nc_cast<DSSet>(received->reply());
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->size(), 3u);
    EXPECT_EQ(set->capacity(), 8u);
    for (int port = 1; port <= 3; ++port) {
        const DSAddr probe(port, in_addr{0});
        EXPECT_TRUE(set->includes(&probe));
    }
    EXPECT_TRUE(received->answers(*request));
}

TEST(MessageCookies, haveFourOctetsUnlessAskedOtherwise) {
    const DSMessage plain(DSTypeRequest, 0, 0);
    EXPECT_EQ(plain.cookie().length(), 4);
    EXPECT_EQ(std::memcmp(plain.cookie().octets(), "\0\0\0\0", 4), 0);
    const uint32_t value = 0x11223344;
    const DSMessage longer(DSTypeRequest, value, 6);
    ASSERT_EQ(longer.cookie().length(), 6);
    EXPECT_EQ(std::memcmp(longer.cookie().octets(), &value, 4), 0);
    EXPECT_EQ(std::memcmp(longer.cookie().octets() + 4, "\0\0", 2), 0);
    const DSReply reply(DSReplyAlive, longer, 0);
    ASSERT_EQ(reply.cookie().length(), 6);
    EXPECT_EQ(std::memcmp(reply.cookie().octets(), longer.cookie().octets(), 6), 0);
}

TEST(MessageNumbers, comeFromOneCounterPerFamily) {
    const DSRequest first(DSRequestLogin);
    const DSAMessage apart(DSTypeLocateAgent);
    const DSReply second(DSReplyLogin, first, 0);
    const DSAReply apartToo(DSReplyAgentLocated, apart, 0);
    EXPECT_EQ(second.msgNum(), first.msgNum() + 1);
    EXPECT_EQ(apartToo.msgNum(), apart.msgNum() + 1);
}

TEST(MessageVersions, anotherVersionIsReadNoFurther) {
    const std::string old = "0000000C 00000010 'Kestrune 1.0' 00...... ";
    const auto request = read<DSRequest>("3A...... 0000000C 'DSRequest' 00.... " + old);
    EXPECT_FALSE(request->isCurrentVersion());
    EXPECT_EQ(request->msgType(), 0);
    EXPECT_EQ(request->msgNum(), 0u);
    EXPECT_EQ(request->cookie().length(), 0);
    const auto reply = read<DSReply>("3A...... 00000008 'DSReply' 00 " + old);
    EXPECT_FALSE(reply->isCurrentVersion());
    const auto answer = read<DSAReply>("3A...... 0000000C 'DSAReply' 00...... " + old);
    EXPECT_FALSE(answer->isCurrentVersion());
    EXPECT_EQ(answer->requestNum(), 0u);
}

} // namespace
