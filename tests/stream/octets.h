#pragma once

#include "octet_listing.h"
#include "stream/ncipcbuf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

// A message as a listing.
class Octets {
public:
    explicit Octets(const std::string& listing)
        : listing_(listing), bytes_(listing_.bytes().begin(), listing_.bytes().end()) {}

    std::vector<uint8_t>& bytes() { return bytes_; }
    const std::vector<uint8_t>& bytes() const { return bytes_; }
    uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }

    ::testing::AssertionResult match(const uint8_t* data, size_t size) const {
        const std::string difference = listing_.differenceFrom({reinterpret_cast<const char*>(data), size});
        return difference.empty() ? ::testing::AssertionSuccess()
                                  : ::testing::AssertionFailure() << difference;
    }
    ::testing::AssertionResult written(const NCipcbuf& buffer) const {
        return match(buffer.wbuf(), buffer.bytesWritten());
    }

private:
    OctetListing listing_;
    std::vector<uint8_t> bytes_;
};

// Makes the octets the data of the buffer's read area. They are copied to an area of exactly their size, so
// that a sanitizer sees a reader go past the end.
inline void fill(NCipcbuf& buffer, const std::vector<uint8_t>& bytes) {
    buffer.resetRead();
    const auto size = static_cast<uint32_t>(bytes.size());
    ASSERT_EQ(buffer.growRead(size), 0);
    if (size > 0)
        std::memcpy(buffer.rbuf(), bytes.data(), size);
    buffer.advanceEnd(size);
}
