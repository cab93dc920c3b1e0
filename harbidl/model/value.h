#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace harbidl {

struct Enumerator;

// Wide enough that no operation on numbers of 64 bits, signed or not, leaves it unnoticed.
__extension__ using Integer = __int128;

// The value of a constant or label. Integers of all types, octet included, are Integers.
using Value = std::variant<Integer, double, bool, unsigned char, char16_t, std::string, std::u16string,
                           const Enumerator*>;

std::string decimal(Integer value);

} // namespace harbidl
