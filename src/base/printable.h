#pragma once

#include <span>
#include <string>
#include <string_view>

namespace harbolance {

// Text and octets of a peer without what a terminal would take for a command. Otherwise a name could move the
// cursor, hide earlier output or make the terminal send input to the program.

// Where each octet has its place, as in dumps: what is not a printing ASCII character is replaced. Null gives
// an empty text.
std::string printable(std::string_view text, char replacement = '.');
std::string printable(const char* text);
std::string printable(std::span<const unsigned char> octets);

// Text for people: UTF-8 stays, control characters become '?'. These are 0 to 0x1f, 0x7f and the characters
// 0x80 to 0x9f, the latter as UTF-8 or as octets that belong to no UTF-8 character.
std::string withoutControls(std::string_view text);

// The octets of the UTF-8 character that `text`, which is not empty, starts with; 0 when it starts with none.
size_t utf8Size(std::string_view text);
// Of a whole UTF-8 character, or of one octet that belongs to none.
bool isControl(std::string_view character);

} // namespace harbolance
