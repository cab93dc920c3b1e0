#pragma once

#include "marshal/typecode/tckind.h"

#include <cstdint>
#include <string_view>

// Pieces of a TypeCode's shape hash (CORBA_TypeCode::_shape_hash), for types made at run time and for the
// constants alike.

// What stands for a type inside itself.
constexpr uint64_t recursiveShape = 0x52656375;

// Folds one more part in. The constants are hashed when they are compiled, so there is no key in it.
constexpr uint64_t mixShape(uint64_t shape, uint64_t part) {
    uint64_t mixed = shape ^ (part + 0x9E3779B97F4A7C15u + (shape << 6) + (shape >> 2));
    mixed *= 0xFF51AFD7ED558CCDu;
    return mixed ^ (mixed >> 32);
}

constexpr uint64_t shapeOfKind(CORBA_TCKind kind, CORBA_ULong params) { return mixShape(kind, params); }

constexpr uint64_t shapeOfOctets(std::string_view octets) {
    uint64_t hash = 0xCBF29CE484222325u;
    for (char c : octets)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    return hash;
}
