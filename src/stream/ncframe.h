#pragma once

#include "stream/ncipcstream.h"

// How a message looks on UDP and TCP alike: a big-endian word with the total length, this word included, and
// one object behind it.
constexpr uint32_t ncFrameWord = 4;

// Encodes the object as a message from the start of the write area of `out`'s buffer; null is allowed. False
// when the buffer cannot grow to take it.
bool ncEncodeMessage(NCipcstream& out, const NCTransObject* object);
