#include "net/host_address.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netdb.h>

#include <cstring>
#include <string>

using namespace harbolance;

// The resolver of this program: it answers for the names that the tests know and asks nobody.
namespace {

int asked = 0;
char loopbackOctets[] = {127, 0, 0, 9};
char* addresses[] = {loopbackOctets, nullptr};
char knownName[] = "known.test";

hostent knownHost() {
    hostent host{};
    host.h_name = knownName;
    host.h_addrtype = AF_INET;
    host.h_length = 4;
    host.h_addr_list = addresses;
    return host;
}

hostent* answer(const std::string& name) {
    static hostent host;
    ++asked;
    host = knownHost();
    if (name == "known.test" || (name == "slow.test" && asked == 3))
        return &host;
    h_errno = name == "slow.test" || name == "never.test" ? TRY_AGAIN : HOST_NOT_FOUND;
    return nullptr;
}

} // namespace

extern "C" hostent* gethostbyname(const char* name) { return answer(name); }
extern "C" hostent* gethostbyaddr(const void* address, socklen_t, int) {
    return answer(std::memcmp(address, loopbackOctets, 4) == 0 ? "known.test" : "never.test");
}

namespace {

TEST(HostAddress, takesDottedTextsAsTheyAre) {
    asked = 0;
    EXPECT_EQ(addressOfHost("127.0.0.1"), htonl(0x7f000001));
    EXPECT_EQ(addressOfHost("255.255.255.255"), htonl(0xffffffff));
    EXPECT_EQ(dottedAddress("known.test"), std::nullopt);
    EXPECT_EQ(dottedAddress(nullptr), std::nullopt);
    EXPECT_EQ(addressOfHost(nullptr), std::nullopt);
    EXPECT_EQ(asked, 0);
}

TEST(HostAddress, asksAgainButNotForEver) {
    const struct {
        const char* name;
        bool found;
        int questions;
    } cases[] = {{"known.test", true, 1},
                 {"slow.test", true, 3},
                 {"never.test", false, resolverAttempts},
                 {"none.test", false, 1}};
    for (const auto& each : cases) {
        asked = 0;
        EXPECT_EQ(addressOfHost(each.name).has_value(), each.found) << each.name;
        EXPECT_EQ(asked, each.questions) << each.name;
    }
    EXPECT_EQ(addressOfHost("known.test"), htonl(0x7f000009));
}

TEST(HostAddress, looksNamesUpInReverse) {
    EXPECT_EQ(nameOfAddress(htonl(0x7f000009)), "known.test");
    asked = 0;
    EXPECT_EQ(nameOfAddress(htonl(0x7f000001)), std::nullopt);
    EXPECT_EQ(asked, resolverAttempts);
}

TEST(HostAddress, asksForThisHostOnce) {
    const ThisHost& host = thisHost();
    EXPECT_EQ(host.name, thisHostName());
    EXPECT_EQ(host.state, ThisHost::State::unknown);
    EXPECT_EQ(host.address, 0u);
    asked = 0;
    EXPECT_EQ(&thisHost(), &host);
    EXPECT_EQ(asked, 0);
}

} // namespace
