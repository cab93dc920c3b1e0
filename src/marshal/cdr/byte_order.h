#pragma once

#include "marshal/types.h"

#include <bit>
#include <cstring>

namespace harbolance {

// The byte-order flag of this host, as GIOP headers, object keys and encapsulations state it.
constexpr CORBA_Octet hostByteOrder = std::endian::native == std::endian::little ? 1 : 0;

// The value with its octets reversed. An octet is itself.
template <class T>
T reversed(T value) {
    if constexpr (sizeof(T) == 2)
        return std::bit_cast<T>(__builtin_bswap16(std::bit_cast<uint16_t>(value)));
    else if constexpr (sizeof(T) == 4)
        return std::bit_cast<T>(__builtin_bswap32(std::bit_cast<uint32_t>(value)));
    else if constexpr (sizeof(T) == 8)
        return std::bit_cast<T>(__builtin_bswap64(std::bit_cast<uint64_t>(value)));
    else
        return value;
}

// Copies `count` elements of `size` (2, 4 or 8) octets and reverses the octets of each. Neither side need be
// aligned; they must not overlap.
void copyReversed(void* target, const void* source, size_t count, size_t size);

} // namespace harbolance
