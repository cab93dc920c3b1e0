#pragma once

#include "marshal/types.h"

#include <istream>
#include <string>

// A number in decimal, whatever base the stream is set to; 0 for what is none or does not fit.
template <class T>
void readDecimal(std::istream& stream, T& value) {
    const auto flags = stream.flags(std::ios::dec | std::ios::skipws);
    if (!(stream >> value))
        value = 0;
    stream.flags(flags);
}

// Reads one quoted text (base/quoted_text.h) of at most `limit` octets. False, with a message on the error
// stream, when there is no opening quote, no closing one, or more text than that.
bool readQuoted(std::istream& stream, std::string& text, CORBA_ULong limit);
