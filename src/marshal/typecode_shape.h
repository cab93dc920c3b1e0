#pragma once

#include "base/string_hash.h"
#include "marshal/tckind.h"

#include <string_view>

// Pieces of a TypeCode's shape hash (CORBA_TypeCode::_shape_hash), for types made at run time and for the
// constants alike.

// What stands for a type inside itself.
constexpr uint64_t recursiveShape = 0x52656375;

constexpr uint64_t shapeOfKind(CORBA_TCKind kind, CORBA_ULong params) { return mixFingerprint(kind, params); }

constexpr uint64_t shapeOfOctets(std::string_view octets) {
    uint64_t hash = 0xCBF29CE484222325u;
    for (char c : octets)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    return hash;
}
