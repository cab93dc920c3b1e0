#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

namespace harbolance {

// The quoted form of a text in the text encodings: "..." and a newline, with escapes that keep it on one line
// and free of braces.
//
//     \b \t \n \f \r \" \\     as in C
//     \[ \]                    the braces { and }
//     \x and two digits        any other octet that is no printing ASCII character
//
// A reader also accepts a decimal number after a backslash, for the octet of that value, and skips raw
// newlines between the quotes.

void writeQuoted(std::ostream& out, std::string_view text);

enum class QuotedText {
    good,
    missing,    // the input ended before the opening quote
    notQuoted,  // another character comes before the opening quote
    unfinished, // the input ended before the closing quote
    tooLong,
    badEscape,
};

// In the `delimited` form one character follows a decimal escape and is skipped.
enum class DecimalEscape { plain, delimited };

// Skips white space and reads one quoted text of at most `limit` octets. The closing quote is consumed, the
// newline behind it is not. With any result but `good`, `text` holds what was read so far.
QuotedText readQuoted(std::istream& in, std::string& text, size_t limit,
                      DecimalEscape decimals = DecimalEscape::plain);

} // namespace harbolance
