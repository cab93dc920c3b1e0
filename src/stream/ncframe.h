#pragma once

#include "stream/ncipcstream.h"

#include <vector>

// The frame of a message, the same on UDP and TCP: a big-endian word with the total length, including this
// word, followed by one object.
constexpr uint32_t ncFrameWord = 4;

// Encodes the object as a message from the start of the write area of `out`'s buffer; null is allowed. False
// when the buffer cannot grow to take it.
bool ncEncodeMessage(NCipcstream& out, const NCTransObject* object);

// Reads the length word of the datagram in `in`'s buffer; the object can be read next. False when the word is
// missing or differs from the length of the datagram.
bool ncEnterDatagram(NCipcstream& in);

// A message that is encoded before the order of sending is known. Whether a class is written by name or by id
// depends on that order, so the class tags are added when the message is sent.
class NCWaitingMessage {
public:
    NCWaitingMessage() = default;
    NCWaitingMessage(const NCWaitingMessage&) = delete;
    NCWaitingMessage& operator=(const NCWaitingMessage&) = delete;

    // Encodes the object with the stream that will send it; the stream's own buffer is not changed. False
    // when there is not enough memory.
    bool encode(NCipcstream& out, const NCTransObject* object);
    // Copies the whole message to the start of the write area of `out`'s buffer. Its classes then count as
    // written on that stream. False when the buffer cannot grow enough.
    bool leave(NCipcstream& out) const;

private:
    NCipcbuf body_{1024, 0};
    std::vector<NCTypeGap> gaps_;
};
