#include "marshal/exception/vexcept.h"
#include "marshal/reference/vutil.h"
#include "net/sockets.h"

#include <arpa/inet.h>

namespace {

std::string madeAddress(const char* host) {
    sockaddr_in address;
    std::memset(&address, 0x55, sizeof address);
    TRXUtil::make_addr(host, 14001, &address);
    EXPECT_EQ(address.sin_family, 0);
    EXPECT_EQ(address.sin_port, htons(14001));
    return inet_ntoa(address.sin_addr);
}

TEST(Address, isDottedTextAnyOrThatOfTheLoopback) {
    EXPECT_STREQ(CORBA_String_var(TRXUtil::host_address("10.1.2.3")).in(), "10.1.2.3");
    EXPECT_EQ(madeAddress("10.1.2.3"), "10.1.2.3");
    EXPECT_EQ(madeAddress(nullptr), "0.0.0.0");
    EXPECT_EQ(madeAddress(""), "0.0.0.0");
    // A name with an empty label in it is refused before any server is asked.
    EXPECT_EQ(TRXUtil::host_address("no..such.host"), nullptr);
    EXPECT_THROW(madeAddress("no..such.host"), CORBA_COMM_FAILURE);
    const CORBA_String_var own = TRXUtil::host_address(nullptr);
    if (!own.in())
        GTEST_SKIP() << "this machine's name does not resolve";
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    for (const char* thisMachine : {own.in(), static_cast<const char*>(name)})
        EXPECT_EQ(madeAddress(thisMachine), "127.0.0.1");
    // Kept, and a new copy each time.
    const CORBA_String_var again = TRXUtil::host_address(nullptr);
    EXPECT_STREQ(again.in(), own.in());
    EXPECT_NE(again.in(), own.in());
}

TEST(Address, ofAPeerIsThatOfTheConnectedSocketOnly) {
    const auto [near, far] = tcpPair();
    unsigned short port = 0;
    EXPECT_STREQ(CORBA_String_var(TRXUtil::peer_addr(far.get(), port)).in(), "127.0.0.1");
    EXPECT_EQ(port, portOf(near.get()));
    EXPECT_EQ(TRXUtil::peer_addr(boundSocket(SOCK_STREAM).get(), port), nullptr);
    EXPECT_DEATH(TRXUtil::peer_addr(-1, port), "fd >= 0");
}

TEST(Time, elapsedBorrowsAndCarries) {
    const auto elapsed = [](const timeval& from, const timeval& to) {
        const timeval difference = TRXUtil::elapsed(from, to);
        return std::pair(difference.tv_sec, difference.tv_usec);
    };
    EXPECT_EQ(elapsed({10, 900000}, {12, 100000}), std::pair(1L, 200000L));
    EXPECT_EQ(elapsed({10, 100000}, {12, 900000}), std::pair(2L, 800000L));
    EXPECT_EQ(elapsed({1, -300000}, {2, 900000}), std::pair(2L, 200000L));
    timeval before{}, after{};
    TRXUtil::now(before);
    TRXUtil::sleep_milliseconds(5);
    TRXUtil::now(after);
    EXPECT_GE(elapsed(before, after), std::pair(0L, 4000L));
}

TEST(Names, ofRepositoryIdsGoBothWays) {
    const std::string manyParts = "IDL:" + std::string(5000, '/') + ":1.0";
    const std::string manyColons(10000, ':');
    const char* const names[][2] = {{"IDL:A/B/C:1.0", "A::B::C"},
                                    {"IDL:A/B", "A::B"},
                                    {"IDL:", ""},
                                    {"*", "*"},
                                    {manyParts.c_str(), manyColons.c_str()}};
    for (const auto& [id, name] : names)
        EXPECT_STREQ(CORBA_String_var(TRXUtil::rep_id_to_name(id)).in(), name);
    EXPECT_STREQ(CORBA_String_var(TRXUtil::name_to_rep_id("A::B")).in(), "IDL:A/B:1.0");
    EXPECT_STREQ(CORBA_String_var(TRXUtil::name_to_rep_id(":::A")).in(), "IDL:/:A:1.0");
}

} // namespace
