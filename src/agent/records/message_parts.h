#pragma once

#include "agent/records/dscodes.h"
#include "agent/records/keyed_record.h"

#include <cstdint>
#include <ctime>
#include <vector>

// The fields that all messages have in common.
namespace harbolance {

// The version text, the first field of every message. Of a message with another version only this field is
// read.
class MessageVersion {
public:
    MessageVersion() = default;
    explicit MessageVersion(const char* text) : text_(text) {}

    bool isCurrent() const { return text_ == dsVersion; }

private:
    friend bool readField(NCistream& in, MessageVersion& version);
    friend void writeField(NCostream& out, const MessageVersion& version) { writeField(out, version.text_); }
    friend void printField(NCostream& out, const MessageVersion& version) { printField(out, version.text_); }
    friend int comparePart(const MessageVersion& a, const MessageVersion& b) {
        return comparePart(a.text_, b.text_);
    }
    friend uint64_t fingerprintPart(const MessageVersion& version) { return fingerprintPart(version.text_); }

    NCString text_;
};

// The cookie: opaque octets of a message, which a reply repeats. Streamed as a length (int) and a block.
class MessageCookie {
public:
    MessageCookie() = default;
    // `length` octets, 4 when it is 0 or less: the raw octets of `value`, followed by zeros.
    MessageCookie(uint32_t value, int length);

    // The cookie for a reply: the same octets, or four zeros for a message without a cookie.
    MessageCookie repeated() const { return octets_.empty() ? MessageCookie(0, 0) : *this; }

    int length() const { return static_cast<int>(octets_.size()); }
    const unsigned char* octets() const { return octets_.data(); }

    void write(NCostream& out) const;
    // On failure the cookie is empty.
    void read(NCistream& in);

private:
    friend void writeField(NCostream& out, const MessageCookie& cookie) { cookie.write(out); }
    friend bool readField(NCistream& in, MessageCookie& cookie) {
        cookie.read(in);
        return true;
    }

    std::vector<unsigned char> octets_;
};

// Numbers one kind of messages; starts with the time and wraps around.
class MessageCounter {
public:
    uint32_t next() { return next_++; }

private:
    uint32_t next_ = static_cast<uint32_t>(std::time(nullptr));
};

} // namespace harbolance
