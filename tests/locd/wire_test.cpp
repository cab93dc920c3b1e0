#include "locd/wire.h"

#include "agent/records/dsname.h"
#include "agent/records/dsreply.h"

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
    const auto octets =
        datagram(foreignStart + text("\0\0\0\x01\x12\x34\x56\x78\0\0\0\x06wxyz..\0\0 and what nobody knows"));
    const auto record = decode(decoder, octets);
    const auto* request = nc_cast<DSRequest>(record.get());
    ASSERT_NE(request, nullptr);
    EXPECT_FALSE(request->isCurrentVersion());
    const auto header = decoder.foreignHeader(octets.size());
    ASSERT_TRUE(header);
    EXPECT_TRUE(header->isCurrentVersion());
    EXPECT_EQ(header->msgNum(), 0x12345678U);
    ASSERT_EQ(header->cookie().length(), 6);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(header->cookie().octets()), 6), "wxyz..");
}

TEST(LocdWire, foreignRequestWithoutNumberHasNoHeader) {
    locd::Decoder decoder;
    for (const std::string& rest : {text(""), text("\0\0\0\x01"), text("\0\0\0\x01\x12\x34")}) {
        const auto octets = datagram(foreignStart + rest);
        decode(decoder, octets);
        EXPECT_FALSE(decoder.foreignHeader(octets.size()));
    }
}

TEST(LocdWire, malformedDatagramsHoldNoRecord) {
    locd::Decoder decoder;
    EXPECT_FALSE(decode(decoder, {}));
    EXPECT_FALSE(decode(decoder, {0, 0, 0}));
    EXPECT_FALSE(decode(decoder, {0, 0, 0, 4}));
    auto lying = datagram(foreignStart);
    ++lying[3];
    EXPECT_FALSE(decode(decoder, lying));
    EXPECT_FALSE(decode(decoder, datagram(text(":\0\0\0\0\0\0\x0c"
                                               "NCString\0\0\0\0"
                                               "\0\0\0\x01\0\0\0\x04x\0\0\0"))));
    const auto longest = datagram(foreignStart + std::string(locd::longestDatagram, '\0'));
    EXPECT_FALSE(decode(decoder, longest));
    EXPECT_TRUE(decode(decoder, datagram(foreignStart)));
}

TEST(LocdWire, messageBeyondADatagramIsNotEncoded) {
    locd::Encoder encoder;
    const auto sizeWith = [&encoder](size_t length) {
        const NCRef<DSName> name(new DSName(std::string(length, 'n').c_str(), dsArgType, DSServiceManual));
        return encoder.encode(*NCRef<DSRequest>(new DSRequest(DSRequestLocate, name.get()))).size();
    };
    const size_t around = sizeWith(3) - 4;
    const size_t most = locd::longestDatagram - around - 1;
    EXPECT_EQ(sizeWith(most), locd::longestDatagram);
    EXPECT_EQ(sizeWith(most + 1), 0U);
    EXPECT_EQ(sizeWith(3), around + 4);
}
