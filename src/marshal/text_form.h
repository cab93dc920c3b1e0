#pragma once

#include "marshal/types.h"

#include <iosfwd>
#include <string>
#include <string_view>

// The quoted text of strings in a text stream: "..." and a newline, with the escapes that keep it on one line
// and free of braces.

void writeQuoted(std::ostream& stream, std::string_view text);

// Skips white space and reads one quoted text of at most `limit` octets into `text`. False, with a message on
// the error stream, when there is no opening quote, no closing one, or more text than that.
bool readQuoted(std::istream& stream, std::string& text, CORBA_ULong limit);
