#pragma once

#include "stream/ncipcstream.h"

// How a message looks on UDP and TCP alike: a big-endian word with the total length, this word included, and
// one object behind it.
constexpr uint32_t ncFrameWord = 4;

// Encodes the object as a message from the start of the write area of `out`'s buffer; null is allowed. False
// when the buffer cannot grow to take it.
bool ncEncodeMessage(NCipcstream& out, const NCTransObject* object);

// Takes the length word off a datagram that stands unread in `in`'s buffer, and nothing else. False when the
// datagram has no such word or a length that is not the one it claims; otherwise the object is next.
bool ncEnterDatagram(NCipcstream& in);
