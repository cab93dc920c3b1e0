#pragma once

#include "syntax/diagnostics.h"
#include "syntax/token.h"

#include <cstdint>
#include <optional>
#include <string>

namespace harbidl {

// What the text of a literal stands for. Each gives nothing, after an error, for a text that stands for
// nothing.

std::optional<uint64_t> integerValue(const Token& token, Diagnostics& diagnostics);
std::optional<double> floatingValue(const Token& token, Diagnostics& diagnostics);

// The characters of a narrow literal are octets, those of a wide one numbers of 16 bits. A literal of one
// character has exactly one, a string any number, none of them 0.
std::optional<unsigned char> characterValue(const Token& token, Diagnostics& diagnostics);
std::optional<char16_t> wideCharacterValue(const Token& token, Diagnostics& diagnostics);
std::optional<std::string> stringValue(const Token& token, Diagnostics& diagnostics);
std::optional<std::u16string> wideStringValue(const Token& token, Diagnostics& diagnostics);

} // namespace harbidl
