#include "marshal/exception/vexcept.h"
#include "marshal/reference/vutil.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

std::string madeAddress(const char* host) {
    sockaddr_in address;
    std::memset(&address, 0x55, sizeof address);
    TRXUtil::make_addr(host, 14001, &address);
    EXPECT_EQ(address.sin_family, 0);
    EXPECT_EQ(address.sin_port, htons(14001));
    return inet_ntoa(address.sin_addr);
}

// An address of a socket on the loopback interface that listens.
struct Listener {
    Listener() : fd(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in any{};
        any.sin_family = AF_INET;
        any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any), 0);
        EXPECT_EQ(listen(fd, 1), 0);
        socklen_t size = sizeof address;
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    }
    ~Listener() { close(fd); }

    int fd;
    sockaddr_in address{};
};

TEST(Address, ofDottedTextStaysTheText) {
    EXPECT_STREQ(CORBA_String_var(TRXUtil::host_address("10.1.2.3")).in(), "10.1.2.3");
    EXPECT_EQ(madeAddress("10.1.2.3"), "10.1.2.3");
    EXPECT_EQ(madeAddress("127.0.0.1"), "127.0.0.1");
}

TEST(Address, ofNobodyIsAnyAddress) {
    EXPECT_EQ(madeAddress(nullptr), "0.0.0.0");
    EXPECT_EQ(madeAddress(""), "0.0.0.0");
}

TEST(Address, ofThisMachineIsTheLoopback) {
    const CORBA_String_var own = TRXUtil::host_address(nullptr);
    if (!own.in())
        GTEST_SKIP() << "this machine's name does not resolve";
    EXPECT_EQ(madeAddress(own.in()), "127.0.0.1");
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(madeAddress(name), "127.0.0.1");
    // Kept, and a new copy each time.
    const CORBA_String_var again = TRXUtil::host_address(nullptr);
    EXPECT_STREQ(again.in(), own.in());
    EXPECT_NE(again.in(), own.in());
}

// A name with an empty label in it is refused before any server is asked.
TEST(Address, ofANameThatDoesNotResolveRaises) {
    EXPECT_EQ(TRXUtil::host_address("no..such.host"), nullptr);
    sockaddr_in address;
    EXPECT_THROW(TRXUtil::make_addr("no..such.host", 1, &address), CORBA_COMM_FAILURE);
}

TEST(Address, ofAPeerIsThatOfTheConnectedSocketOnly) {
    const Listener listener;
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    unsigned short port = 0;
    EXPECT_EQ(TRXUtil::peer_addr(fd, port), nullptr);
    ASSERT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&listener.address), sizeof listener.address), 0);
    EXPECT_STREQ(CORBA_String_var(TRXUtil::peer_addr(fd, port)).in(), "127.0.0.1");
    EXPECT_EQ(port, ntohs(listener.address.sin_port));
    close(fd);
    EXPECT_DEATH(TRXUtil::peer_addr(-1, port), "fd >= 0");
}

TEST(Time, elapsedBorrowsAndCarries) {
    const auto elapsed = [](timeval a, timeval b) {
        const timeval t = TRXUtil::elapsed(a, b);
        return std::pair<long, long>(t.tv_sec, t.tv_usec);
    };
    EXPECT_EQ(elapsed({10, 900000}, {12, 100000}), std::pair(1L, 200000L));
    EXPECT_EQ(elapsed({10, 100000}, {12, 900000}), std::pair(2L, 800000L));
    EXPECT_EQ(elapsed({1, -300000}, {2, 900000}), std::pair(2L, 200000L));
}

TEST(Time, sleepLastsAtLeastItsMilliseconds) {
    timeval before{}, after{};
    TRXUtil::now(before);
    TRXUtil::sleep_milliseconds(5);
    TRXUtil::now(after);
    const timeval slept = TRXUtil::elapsed(before, after);
    EXPECT_GE(slept.tv_sec * 1000000 + slept.tv_usec, 4000);
}

TEST(Names, ofRepositoryIdsGoBothWays) {
    const auto name = [](const char* repositoryId) -> std::string {
        return CORBA_String_var(TRXUtil::rep_id_to_name(repositoryId)).in();
    };
    const auto id = [](const char* scoped) -> std::string {
        return CORBA_String_var(TRXUtil::name_to_rep_id(scoped)).in();
    };
    EXPECT_EQ(name("IDL:A/B/C:1.0"), "A::B::C");
    EXPECT_EQ(name("IDL:A/B"), "A::B");
    EXPECT_EQ(name("IDL:"), "");
    EXPECT_EQ(name("*"), "*");
    EXPECT_EQ(id("A::B"), "IDL:A/B:1.0");
    EXPECT_EQ(id(":::A"), "IDL:/:A:1.0");
    EXPECT_EQ(name(("IDL:" + std::string(5000, '/') + ":1.0").c_str()).size(), 10000u);
}

} // namespace
