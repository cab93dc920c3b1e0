#pragma once

#include "marshal/typecode/tckind.h"

#include <type_traits>

// Properties of the kinds of types.

namespace harbolance {

constexpr CORBA_ULong kindCount = tk_fixed + 1;

// The name of the kind, such as "tk_long"; null for a number that is no kind.
const char* kindName(CORBA_TCKind kind);

// Dispatches on the basic kinds, whose values have a fixed size: calls `use(std::type_identity<T>())`, where
// T is the C++ type of such a value. For every other kind it returns false without a call.
template <class Use>
constexpr bool forBasicKind(CORBA_TCKind kind, Use use) {
    switch (kind) {
    case tk_short: use(std::type_identity<CORBA_Short>()); return true;
    case tk_ushort: use(std::type_identity<CORBA_UShort>()); return true;
    case tk_long: use(std::type_identity<CORBA_Long>()); return true;
    case tk_ulong:
    case tk_enum: use(std::type_identity<CORBA_ULong>()); return true;
    case tk_longlong: use(std::type_identity<CORBA_LongLong>()); return true;
    case tk_ulonglong: use(std::type_identity<CORBA_ULongLong>()); return true;
    case tk_float: use(std::type_identity<CORBA_Float>()); return true;
    case tk_double: use(std::type_identity<CORBA_Double>()); return true;
    case tk_boolean:
    case tk_octet: use(std::type_identity<CORBA_Octet>()); return true;
    case tk_char: use(std::type_identity<CORBA_Char>()); return true;
    case tk_wchar: use(std::type_identity<CORBA_WChar>()); return true;
    default: return false;
    }
}

// The size in octets of a basic kind's value in memory; 0 for any other kind.
constexpr CORBA_ULong basicSize(CORBA_TCKind kind) {
    CORBA_ULong size = 0;
    forBasicKind(kind, [&]<class T>(std::type_identity<T>) { size = sizeof(T); });
    return size;
}

// The kinds that can select the member of a union.
constexpr bool isDiscriminator(CORBA_TCKind kind) {
    return basicSize(kind) > 0 && kind != tk_float && kind != tk_double;
}

// The kinds whose values an Any holds as CDR octets.
constexpr bool isConstructed(CORBA_TCKind kind) {
    return kind == tk_struct || kind == tk_union || kind == tk_sequence || kind == tk_array ||
           kind == tk_except;
}

// The kinds that have a repository id and a name.
constexpr bool isNamed(CORBA_TCKind kind) {
    return (kind >= tk_objref && kind <= tk_enum) || kind == tk_alias || kind == tk_except;
}

// The kinds that have members with names.
constexpr bool hasMembers(CORBA_TCKind kind) {
    return (kind >= tk_struct && kind <= tk_enum) || kind == tk_except;
}

} // namespace harbolance
