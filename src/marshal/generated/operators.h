#pragma once

#include "marshal/generated/array.h"
#include "marshal/generated/typecode_constant.h"

#include <istream>
#include <ostream>

// Implementation of the operators of generated types.

namespace harbolance {

// --- Enums on a stream: their numbers

// Writing needs no code of its own: an enum is written as its number. A number without an enumerator raises
// CORBA_BAD_PARAM when it is read.
template <class Enum>
TRXistream& readEnum(TRXistream& stream, Enum& value, CORBA_ULong count) {
    CORBA_ULong number = 0;
    stream >> number;
    // A peer may send any number, and a switch over a value that is no enumerator could be undefined.
    if (number >= count)
        throw CORBA_BAD_PARAM();
    value = static_cast<Enum>(number);
    return stream;
}

// --- Standard streams: readable on cout, cerr and clog, the text form of the members on all others.

// Prints the value in `octets` as readable lines.
void printValue(std::ostream& stream, CORBA_TypeCode* type, CORBA_MarshalInBuffer& octets);
bool isReadableTarget(const std::ostream& stream);

template <class T>
std::ostream& writeText(std::ostream& stream, const T& value) {
    TRXostream text(stream);
    text << value;
    return stream;
}
template <class T>
std::ostream& writeText(std::ostream& stream, const T& value, CORBA_TypeCode* type) {
    if (!isReadableTarget(stream))
        return writeText(stream, value);
    // Marshalled first: the readable form is made from the octets and the TypeCode, without code for each
    // type.
    CORBA_MarshalOutBuffer out(255);
    out << value;
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    printValue(stream, type, in);
    return stream;
}
template <class T>
std::istream& readText(std::istream& stream, T&& value) {
    TRXistream text(stream);
    text >> value;
    return stream;
}

// --- Anys

template <class T>
void insert(CORBA_Any& any, CORBA_TypeCode* type, const T& value) {
    insertMarshalled(any, type, value);
}
template <class T>
bool extract(const CORBA_Any& any, CORBA_TypeCode* type, T& value) {
    return extractMarshalled(any, type, value);
}
template <class ForAny>
bool extract(const CORBA_Any& any, CORBA_TypeCode* type, const ForAny& array) {
    ForAny same = array; // refers to the same array, which is filled
    return extractMarshalled(any, type, same);
}

// An Any holds an enum as its number. A number from a stream may have no enumerator, and then raises
// CORBA_BAD_PARAM.
inline void insertEnum(CORBA_Any& any, CORBA_TypeCode* type, CORBA_ULong number) {
    any.replace(type, new CORBA_ULong(number), 1);
}
template <class Enum>
bool extractEnum(const CORBA_Any& any, CORBA_TypeCode* type, Enum& value) {
    const CORBA_TypeCode_var held = any.type();
    if (!type->equal(held) || !any.value())
        return false;
    // An Any of an enum holds the number as 4 octets.
    const CORBA_ULong number = *static_cast<const CORBA_ULong*>(any.value());
    if (number >= type->member_count())
        throw CORBA_BAD_PARAM();
    value = static_cast<Enum>(number);
    return true;
}

} // namespace harbolance

// An exception is streamed as its id, then its members. The id of another exception raises CORBA_MARSHAL.
template <std::derived_from<CORBA_UserException> E>
TRXistream& operator>>(TRXistream& stream, E& exception) {
    CORBA_String_var id;
    stream >> id;
    if (CORBA_string_compare(id.in(), exception._repository_id()) != 0)
        throw CORBA_MARSHAL();
    exception._read(stream);
    return stream;
}
