#pragma once

#include "marshal/types.h"

// The kinds of IDL types. The number is the value on the wire. A peer may send any other number: it counts as
// the kind of a type without parameters, whose values take no octets.
enum CORBA_TCKind : CORBA_ULong {
    tk_null,
    tk_void,
    tk_short,
    tk_long,
    tk_ushort,
    tk_ulong,
    tk_float,
    tk_double,
    tk_boolean,
    tk_char,
    tk_octet,
    tk_any,
    tk_TypeCode,
    tk_Principal,
    tk_objref,
    tk_struct,
    tk_union,
    tk_enum,
    tk_string,
    tk_sequence,
    tk_array,
    tk_alias,
    tk_except,
    tk_longlong,
    tk_ulonglong,
    tk_longdouble,
    tk_wchar,
    tk_wstring,
    tk_fixed,
};

constexpr CORBA_ULong tcKindCount = tk_fixed + 1;

// The name, such as "tk_long"; null for a number that is no kind.
const char* tcKindName(CORBA_TCKind kind);

// What a value of the kind takes in memory, 0 for the kinds whose size is not fixed.
constexpr CORBA_ULong tcFixedSize(CORBA_TCKind kind) {
    switch (kind) {
    case tk_boolean:
    case tk_char:
    case tk_octet: return 1;
    case tk_short:
    case tk_ushort: return 2;
    case tk_long:
    case tk_ulong:
    case tk_enum:
    case tk_float:
    case tk_wchar: return 4;
    case tk_double:
    case tk_longlong:
    case tk_ulonglong: return 8;
    default: return 0;
    }
}

// The kinds whose values an Any holds as CDR.
constexpr bool tcIsConstructed(CORBA_TCKind kind) {
    return kind == tk_struct || kind == tk_union || kind == tk_sequence || kind == tk_array ||
           kind == tk_except;
}

// The kinds that can select the member of a union.
constexpr bool tcIsDiscriminator(CORBA_TCKind kind) {
    switch (kind) {
    case tk_short:
    case tk_long:
    case tk_ushort:
    case tk_ulong:
    case tk_boolean:
    case tk_char:
    case tk_octet:
    case tk_enum:
    case tk_longlong:
    case tk_ulonglong:
    case tk_wchar: return true;
    default: return false;
    }
}
