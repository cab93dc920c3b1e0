#pragma once

#include "stream/ncipcstream.h"

#include <vector>

// How a message looks on UDP and TCP alike: a big-endian word with the total length, this word included, and
// one object behind it.
constexpr uint32_t ncFrameWord = 4;

// Encodes the object as a message from the start of the write area of `out`'s buffer; null is allowed. False
// when the buffer cannot grow to take it.
bool ncEncodeMessage(NCipcstream& out, const NCTransObject* object);

// Reads the length word of the datagram in `in`'s buffer. False when there is none or it is not the length of
// the datagram; otherwise the object is next.
bool ncEnterDatagram(NCipcstream& in);

// A message that is encoded before it is known what leaves ahead of it. Whether a class is spelled or named
// by its id depends on that order, so its tags are put in when the message leaves.
class NCWaitingMessage {
public:
    NCWaitingMessage() = default;
    NCWaitingMessage(const NCWaitingMessage&) = delete;
    NCWaitingMessage& operator=(const NCWaitingMessage&) = delete;

    // Encodes the object by the stream that will send it, whose own buffer is left alone. False when memory
    // does not suffice.
    bool encode(NCipcstream& out, const NCTransObject* object);
    // Puts the whole message at the start of the write area of `out`'s buffer. The classes in it count as
    // written from then on. False when the buffer cannot grow to take it.
    bool leave(NCipcstream& out) const;

private:
    NCipcbuf body_{1024, 0};
    std::vector<NCTypeGap> gaps_;
};
