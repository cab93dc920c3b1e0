#include "agent/records/message_parts.h"

#include <algorithm>
#include <cstring>

namespace harbolance {

bool readField(NCistream& in, MessageVersion& version) {
    readField(in, version.text_);
    // The fields after the version are known only to that version.
    if (!version.isCurrent())
        in.stopEarly();
    return version.isCurrent();
}

MessageCookie::MessageCookie(uint32_t value, int length)
    : octets_(length > 0 ? static_cast<size_t>(length) : sizeof value) {
    // Stored in host order: only the sender interprets a cookie.
    std::memcpy(octets_.data(), &value, std::min(octets_.size(), sizeof value));
}

void MessageCookie::write(NCostream& out) const { out.write(length()).write(octets_.data(), octets_.size()); }

void MessageCookie::read(NCistream& in) {
    // No agent sends a longer cookie. Needed because the text form cannot tell how much is left.
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

} // namespace harbolance
