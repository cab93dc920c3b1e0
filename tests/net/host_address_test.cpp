#include "net/host_address.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netdb.h>

#include <cstring>

using namespace harbolance;

// The resolver of this program: it answers for the names that the tests know and asks no server.
namespace {

int asked = 0;
char loopbackOctets[] = {127, 0, 0, 9};
char* addresses[] = {loopbackOctets, nullptr};
char knownName[] = "known.test";

hostent* answer(const std::string& name) {
    static hostent host{knownName, nullptr, AF_INET, 4, addresses};
    ++asked;
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

TEST(HostAddress, takesDottedTextsAsTheyAreAndAsksAgainButNotForEver) {
    const struct {
        const char* name;
        std::optional<in_addr_t> address;
        int questions;
    } cases[] = {{"127.0.0.1", htonl(0x7f000001), 0}, {"255.255.255.255", htonl(0xffffffff), 0},
                 {nullptr, std::nullopt, 0},          {"known.test", htonl(0x7f000009), 1},
                 {"slow.test", htonl(0x7f000009), 3}, {"never.test", std::nullopt, resolverAttempts},
                 {"none.test", std::nullopt, 1}};
    for (const auto& each : cases) {
        asked = 0;
        EXPECT_EQ(addressOfHost(each.name), each.address);
        EXPECT_EQ(asked, each.questions) << each.name;
    }
    EXPECT_EQ(dottedAddress("known.test"), std::nullopt);
    EXPECT_EQ(dottedText(htonl(0x7f000001)), "127.0.0.1");
}

TEST(HostAddress, looksNamesUpInReverseAndThisHostOnce) {
    EXPECT_EQ(nameOfAddress(htonl(0x7f000009)), "known.test");
    EXPECT_EQ(nameOfAddress(htonl(0x7f000001)), std::nullopt);
    EXPECT_EQ(thisHost().name, thisHostName());
    asked = 0;
    EXPECT_EQ(thisHost().state, ThisHost::State::unknown);
    EXPECT_EQ(asked, 0);
}

} // namespace
