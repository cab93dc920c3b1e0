#pragma once

#include "base/refcount.h"
#include "octet_listing.h"
#include "stream/ncframe.h"
#include "stream/ncobject.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

// Listings of messages (see octet_listing.h) are composed from the parts that messages repeat.

inline std::string word(uint32_t value) {
    char digits[10];
    std::snprintf(digits, sizeof digits, "%08X ", value);
    return digits;
}
// The octets of a text and its NUL, padded to whole words.
inline std::string block(const std::string& value) {
    std::string listing = (value.empty() ? "" : "'" + value + "' ") + "00";
    for (size_t size = value.size() + 1; size % 4 != 0; ++size)
        listing += "..";
    return listing + " ";
}
inline std::string cString(const std::string& value) {
    return word(static_cast<uint32_t>(value.size() / 4 * 4 + 4)) + block(value);
}
// The fields of an NCString.
inline std::string text(const std::string& value) {
    return word(static_cast<uint32_t>(value.size())) + cString(value);
}
// What stands in front of an object: its class by name or, once spelled, by id; or the object's id instead.
inline std::string tag(const std::string& className) { return "3A...... " + cString(className); }
inline std::string again(uint32_t classId) { return "23...... " + word(classId); }
inline std::string seen(uint32_t objectId) { return "40...... " + word(objectId); }
inline const std::string null = tag("::");
// A TRXString behind one of these.
inline std::string string(const std::string& value, const std::string& front = tag("TRXString")) {
    return front + word(static_cast<uint32_t>(value.size() + 1)) + block(value);
}

// Reads and writes messages over the same streams and buffers. Each message stands for itself: the type
// tables start afresh, as they do on UDP.
struct Carrier {
    Carrier() {
        in.setBuffer(&received);
        out.setBuffer(&sent);
    }
    std::string encoded(const NCTransObject* object) {
        out.resetTypes();
        EXPECT_TRUE(ncEncodeMessage(out, object));
        return {reinterpret_cast<const char*>(sent.wbuf()) + ncFrameWord, sent.bytesWritten() - ncFrameWord};
    }
    NCTransObject* decode(const std::string& message) {
        in.clearFailed();
        in.resetTypes();
        received.resetRead();
        // An area of exactly that size, so that a sanitizer sees a reader go past the end.
        EXPECT_EQ(received.growRead(static_cast<uint32_t>(message.size())), 0);
        if (!message.empty())
            std::memcpy(received.rbuf(), message.data(), message.size());
        received.advanceEnd(message.size());
        return in.readObject();
    }

    NCipcbuf received{0, 1024};
    NCipcbuf sent{1024, 0};
    NCipcstream in;
    NCipcstream out;
};

// The object that the listing stands for, all of it used; null when it is of another class.
template <class T>
NCRef<T> read(const std::string& listing) {
    Carrier carrier;
    NCTransObject* object = carrier.decode(OctetListing(listing).bytes());
    EXPECT_EQ(carrier.received.bytesUnread(), 0u);
    EXPECT_NE(nc_cast<T>(object), nullptr) << listing;
    return nc_cast<T>(object);
}

// The object is written as the listing says.
inline void expectWritten(const NCTransObject* object, const std::string& listing) {
    EXPECT_EQ(OctetListing(listing).differenceFrom(Carrier().encoded(object)), "") << listing;
}

// What the standard output gets from `print`; an object prints there in its readable form.
template <class Print>
std::string captured(Print print) {
    testing::internal::CaptureStdout();
    print();
    std::cout.flush();
    return testing::internal::GetCapturedStdout();
}
inline std::string printed(const NCTransObject& object) {
    return captured([&] { std::cout << object; });
}
