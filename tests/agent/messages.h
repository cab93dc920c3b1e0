#pragma once

#include "base/refcount.h"
#include "console.h"
#include "stream/listings.h"
#include "stream/ncframe.h"
#include "stream/ncobject.h"

#include <gtest/gtest.h>

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
        fill(received, message);
        return in.readObject();
    }

    NCipcbuf received{0, 1024};
    NCipcbuf sent{1024, 0};
    NCipcstream in;
    NCipcstream out;
};

// The object that the listing stands for, all of it used; none when it is of another class.
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
