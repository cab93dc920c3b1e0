#pragma once

#include <cstdint>

namespace harbidl {

struct Declaration;

enum class TypeKind {
    void_,
    short_,
    long_,
    longLong,
    unsignedShort,
    unsignedLong,
    unsignedLongLong,
    float_,
    double_,
    boolean,
    char_,
    wchar,
    octet,
    any,
    object,
    typeCode,
    principal,
    string,
    wstring,
    sequence,
    array,
    structure,
    union_,
    enumeration,
    alias,
    interface,
    native,
};

// A type as it is used. What has a name is a declaration (declarations.h) and its kind is one of the last
// six.
struct Type {
    TypeKind kind = TypeKind::void_;
    uint32_t bound = 0;            // of a string or sequence, 0 for none; the length of an array
    const Type* element = nullptr; // of a sequence or array; arrays of several dimensions are nested
    const Declaration* declaration = nullptr; // of a type with a name

    // What is known of a type once it is complete.
    uint32_t minimumOctets = 0; // that a value takes in a stream, without padding
    bool variable = false;      // of variable size by the rules of the C++ mapping
    bool native = false;        // it is native, or contains what is
};

// What aliases stand for.
const Type& unaliased(const Type& type);

bool isInteger(TypeKind kind);
// The kinds that can select the branch of a union.
bool isDiscriminator(TypeKind kind);

} // namespace harbidl
