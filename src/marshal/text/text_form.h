#pragma once

#include "marshal/types.h"

#include <istream>
#include <string>
#include <string_view>

// A number in decimal, whatever base the stream is set to; 0 for what is none or does not fit.
template <class T>
void readDecimal(std::istream& stream, T& value) {
    const auto flags = stream.flags(std::ios::dec | std::ios::skipws);
    if (!(stream >> value))
        value = 0;
    stream.flags(flags);
}

// The quoted text of strings in a text stream: "..." and a newline, with the escapes that keep it on one line
// and free of braces.

void writeQuoted(std::ostream& stream, std::string_view text);

// Skips white space and reads one quoted text of at most `limit` octets into `text`. False, with a message on
// the error stream, when there is no opening quote, no closing one, or more text than that.
bool readQuoted(std::istream& stream, std::string& text, CORBA_ULong limit);
