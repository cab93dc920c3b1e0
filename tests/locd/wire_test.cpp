#include "locd/wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> datagram(const std::string& body) {
    const size_t size = body.size() + 4;
    std::vector<uint8_t> octets(size);
    octets[2] = static_cast<uint8_t>(size >> 8);
    octets[3] = static_cast<uint8_t>(size);
    std::copy(body.begin(), body.end(), octets.begin() + 4);
    return octets;
}

template <size_t size>
std::string text(const char (&octets)[size]) {
    return {octets, size - 1};
}

// A request up to its version, which is "Kestrune 3.0".
const std::string foreignStart = text(":\0\0\0\0\0\0\x0c"
                                      "DSRequest\0\0\0"
                                      "\0\0\0\x0c\0\0\0\x10Kestrune 3.0\0\0\0\0");

NCRef<DSResource> decode(locd::Decoder& decoder, const std::vector<uint8_t>& octets) {
    std::copy_n(octets.begin(), std::min(octets.size(), decoder.area().size()), decoder.area().begin());
    return decoder.decode(std::min(octets.size(), decoder.area().size()));
}

} // namespace

TEST(LocdWire, numberAndCookieOfAForeignRequestAreFound) {
    locd::Decoder decoder;
    const std::string whole = text("\0\0\0\x01\x12\x34\x56\x78\0\0\0\x06wxyz..\0\0 and what is unknown");
    for (size_t length : {size_t{0}, size_t{4}, size_t{7}, whole.size()}) {
        const auto octets = datagram(foreignStart + whole.substr(0, length));
        const auto record = decode(decoder, octets);
        EXPECT_TRUE(record && !nc_cast<DSRequest>(record.get())->isCurrentVersion());
        const auto header = decoder.foreignHeader(octets.size());
        ASSERT_EQ(static_cast<bool>(header), length == whole.size());
        if (header) {
            const auto& cookie = header->cookie();
            EXPECT_EQ(header->msgNum(), 0x12345678U);
            EXPECT_EQ(std::string(cookie.octets(), cookie.octets() + cookie.length()), "wxyz..");
        }
    }
}

TEST(LocdWire, malformedDatagramsHoldNoRecord) {
    locd::Decoder decoder;
    auto wrongLength = datagram(foreignStart);
    ++wrongLength[3];
    const auto noResource = datagram(text(":\0\0\0\0\0\0\x0cNCString\0\0\0\0\0\0\0\x01\0\0\0\x04x\0\0\0"));
    for (const auto& octets : {{}, {0, 0, 0}, wrongLength, noResource})
        EXPECT_FALSE(decode(decoder, octets));
}
