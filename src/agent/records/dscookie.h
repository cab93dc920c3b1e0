#pragma once

#include "stream/ncstream.h"

#include <cstdint>
#include <vector>

// The opaque octets of a message, which a reply repeats. Fields on the stream: length (int), the block.
class DSCookie {
public:
    DSCookie() = default;
    // `length` octets, 4 when it is 0 or less: the raw octets of `value` in front, zeros behind.
    DSCookie(uint32_t value, int length);

    // What a reply carries: the same octets, or four zeros for a message without any.
    DSCookie repeated() const { return octets_.empty() ? DSCookie(0, 0) : *this; }

    int length() const { return static_cast<int>(octets_.size()); }
    const unsigned char* octets() const { return octets_.data(); }

    void write(NCostream& out) const;
    // Leaves the cookie empty when the stream has no such block.
    void read(NCistream& in);

private:
    std::vector<unsigned char> octets_;
};
