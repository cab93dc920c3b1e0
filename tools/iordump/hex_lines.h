#pragma once

#include "marshal/types.h"

#include <iosfwd>
#include <span>
#include <string_view>

// Lines of 16 octets: offset, hexadecimal digits, and the characters with dots for those that do not print.
// `indent` stands in front of each.
void printHexLines(std::ostream& stream, std::span<const CORBA_Octet> octets, std::string_view indent);
