#pragma once

#include "octet_listing.h"
#include "stream/ncipcbuf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

// A message as a listing.
class Octets {
public:
    explicit Octets(const std::string& listing)
        : listing_(listing), bytes_(listing_.octets().begin(), listing_.octets().end()) {}

    std::vector<uint8_t>& bytes() { return bytes_; }
    const std::vector<uint8_t>& bytes() const { return bytes_; }
    uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }

    ::testing::AssertionResult match(const uint8_t* data, size_t size) const {
        std::ostringstream wrong;
        for (size_t i = 0; i < std::max(size, bytes_.size()); ++i) {
            if (i >= size || i >= bytes_.size() || (listing_.isFixed(i) && bytes_[i] != data[i]))
                wrong << " [" << i << "]=" << (i < size ? std::to_string(data[i]) : "none");
        }
        if (wrong.str().empty())
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "octets differ:" << wrong.str();
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
