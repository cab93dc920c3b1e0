#pragma once

#include "stream/ncipcbuf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

// Octets as a person writes them down: `3A 00`, `..` for padding that nobody looks at, 'text' for its
// characters.
class Octets {
public:
    explicit Octets(const std::string& pattern) {
        std::istringstream tokens(pattern);
        for (std::string token; tokens >> token;) {
            if (token.front() == '\'') {
                for (char c : token.substr(1, token.size() - 2))
                    add(static_cast<uint8_t>(c), true);
            } else if (token == "..") {
                add(padding, false);
            } else {
                add(static_cast<uint8_t>(std::stoul(token, nullptr, 16)), true);
            }
        }
    }

    // Padding holds something that no reader may take for data.
    std::vector<uint8_t>& bytes() { return bytes_; }
    const std::vector<uint8_t>& bytes() const { return bytes_; }
    uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }

    ::testing::AssertionResult match(const uint8_t* data, size_t size) const {
        std::ostringstream wrong;
        for (size_t i = 0; i < std::max(size, bytes_.size()); ++i) {
            if (i >= size || i >= bytes_.size() || (fixed_[i] && bytes_[i] != data[i]))
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
    static constexpr uint8_t padding = 0xEE;

    void add(uint8_t byte, bool fixed) {
        bytes_.push_back(byte);
        fixed_.push_back(fixed);
    }

    std::vector<uint8_t> bytes_;
    std::vector<bool> fixed_;
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
