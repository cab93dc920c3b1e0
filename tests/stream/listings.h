#pragma once

#include "octet_listing.h"
#include "stream/ncipcstream.h"

#include <gtest/gtest.h>

#include <cstring>

inline std::string octets(const std::string& listing) { return OctetListing(listing).bytes(); }

// Makes the octets the data of the buffer's read area. They are copied to an area of exactly their size, so
// that a sanitizer sees a reader go past the end.
inline void fill(NCipcbuf& buffer, const std::string& data) {
    buffer.resetRead();
    ASSERT_EQ(buffer.growRead(static_cast<uint32_t>(data.size())), 0);
    if (!data.empty())
        std::memcpy(buffer.rbuf(), data.data(), data.size());
    buffer.advanceEnd(data.size());
}

inline std::string writtenTo(const NCipcbuf& buffer) {
    return {reinterpret_cast<const char*>(buffer.wbuf()), buffer.bytesWritten()};
}
