#include "agent/records/dscookie.h"

#include <algorithm>
#include <cstring>

DSCookie::DSCookie(uint32_t value, int length)
    : octets_(length > 0 ? static_cast<size_t>(length) : sizeof value) {
    std::memcpy(octets_.data(), &value, std::min(octets_.size(), sizeof value));
}

void DSCookie::write(NCostream& out) const { out.write(length()).write(octets_.data(), octets_.size()); }

void DSCookie::read(NCistream& in) {
    // Nobody sends more; the text form cannot tell how much is left.
    constexpr int longest = 8192;
    int length = 0;
    in.read(length);
    if (length < 0 || length > longest || static_cast<size_t>(length) > in.remaining()) {
        in.setFailed();
        return;
    }
    octets_.resize(static_cast<size_t>(length));
    in.read(octets_.data(), octets_.size());
}
