#pragma once

#include "base/refcount.h"
#include "octet_listing.h"
#include "stream/ncframe.h"
#include "stream/ncobject.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

using Octets = OctetListing;

// A word in a listing.
inline std::string word(uint32_t value) {
    char digits[10];
    std::snprintf(digits, sizeof digits, "%08X ", value);
    return digits;
}

inline const std::string nullObject = "3A...... 00000004 '::'00.. ";
inline const std::string versionText = "0000000C 00000010 'Kestrune 2.0' 00...... ";

// One end of a connection that keeps its streams and buffers from message to message. Each message stands for
// itself: the type tables start afresh, as they do on UDP.
class Carrier {
public:
    Carrier() {
        in_.setBuffer(&received_);
        out_.setBuffer(&sent_);
    }

    // With the length word in front.
    std::string datagram(const NCTransObject* object) {
        out_.resetTypes();
        EXPECT_TRUE(ncEncodeMessage(out_, object));
        return {reinterpret_cast<const char*>(sent_.wbuf()), sent_.bytesWritten()};
    }
    std::string encoded(const NCTransObject* object) { return datagram(object).substr(ncFrameWord); }

    NCTransObject* decode(const std::string& message) {
        in_.clearFailed();
        in_.resetTypes();
        received_.resetRead();
        // An area of exactly that size, so that a sanitizer sees a reader go past the end.
        EXPECT_EQ(received_.growRead(static_cast<uint32_t>(message.size())), 0);
        if (!message.empty())
            std::memcpy(received_.rbuf(), message.data(), message.size());
        received_.advanceEnd(message.size());
        return in_.readObject();
    }

    template <class T>
    NCRef<T> decodeAs(const std::string& message) {
        NCTransObject* object = decode(message);
        EXPECT_EQ(received_.bytesUnread(), 0u);
        T* record = nc_cast<T>(object);
        EXPECT_NE(record, nullptr);
        if (!record)
            delete object;
        return record;
    }

    NCipcbuf& received() { return received_; }
    NCipcstream& in() { return in_; }

private:
    NCipcbuf received_{0, 1024};
    NCipcbuf sent_{1024, 0};
    NCipcstream in_;
    NCipcstream out_;
};

// The object is written as the listing says.
inline void expectWritten(const NCTransObject* object, const std::string& listing) {
    EXPECT_EQ(Octets(listing).differenceFrom(Carrier().encoded(object)), "");
}

// The object that the listing stands for, all of it used.
template <class T>
NCRef<T> read(const std::string& listing) {
    return Carrier().decodeAs<T>(Octets(listing).bytes());
}

// What a standard stream prints while this lives.
class Captured {
public:
    explicit Captured(std::ostream& stream) : stream_(stream), saved_(stream.rdbuf(text_.rdbuf())) {}
    Captured(const Captured&) = delete;
    Captured& operator=(const Captured&) = delete;
    ~Captured() { stream_.rdbuf(saved_); }
    std::string text() const { return text_.str(); }

private:
    std::ostream& stream_;
    std::ostringstream text_;
    std::streambuf* saved_;
};

// The print form.
inline std::string printed(const NCTransObject& object) {
    const Captured out(std::cout);
    std::cout << object;
    return out.text();
}
