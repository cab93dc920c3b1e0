#pragma once

#include <span>
#include <string>
#include <string_view>

namespace harbolance {

// Text and octets from a peer, made safe to print on a terminal. Unfiltered control characters could move the
// cursor, hide earlier output or make the terminal send input to the program.

// For dumps, where each octet has its column: replaces each octet that is no printing ASCII character. Null
// gives an empty text.
std::string printable(std::string_view text, char replacement = '.');
std::string printable(const char* text);
std::string printable(std::span<const unsigned char> octets);

// For messages: keeps UTF-8 and replaces control characters by '?'. These are 0 to 0x1f, 0x7f and U+0080 to
// U+009F, the latter as UTF-8 or as single octets that belong to no UTF-8 character.
std::string withoutControls(std::string_view text);

// The length in octets of the UTF-8 character at the start of `text`, which must not be empty; 0 when it
// starts with no valid character.
size_t utf8Size(std::string_view text);
// For one whole UTF-8 character, or for one octet that belongs to none.
bool isControl(std::string_view character);

} // namespace harbolance
