#pragma once

#include "marshal/any/any_access.h"
#include "octets.h"

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// Short ways to TypeCodes and to their octets. Every type that is made here is the caller's.

using Type = CORBA_TypeCode_var;

inline Type structOf(const char* name, std::vector<TRXStructMember> members, CORBA_TCKind kind = tk_struct) {
    return new CORBA_TypeCode(kind, ("IDL:" + std::string(name) + ":1.0").c_str(), name, members, false);
}

inline Type enumOf(const char* name, std::vector<const char*> enumerators) {
    return new CORBA_TypeCode(("IDL:" + std::string(name) + ":1.0").c_str(), name, enumerators, false);
}

inline Type aliasOf(const char* name, CORBA_TypeCode* original) {
    return new CORBA_TypeCode(("IDL:" + std::string(name) + ":1.0").c_str(), name, original, false);
}

inline Type sequenceOf(CORBA_TypeCode* content, CORBA_ULong bound = 0) {
    return new CORBA_TypeCode(tk_sequence, bound, content, false);
}

inline Type arrayOf(CORBA_TypeCode* content, CORBA_ULong length) {
    return new CORBA_TypeCode(tk_array, length, content, false);
}

inline Type recursiveSequence(CORBA_ULong offset) {
    return new CORBA_TypeCode(TRXRecursion{0, offset}, false);
}

// struct Node { long v; sequence<Node> kids; }
inline Type nodeType() {
    const Type kids = recursiveSequence(1);
    return structOf("Node", {{"v", _tc_long}, {"kids", kids}});
}

// union U switch (long) { case 1: short a; default: string b; }, or with case 2 in the place of the default
inline Type unionType(bool withDefault) {
    CORBA_Any one;
    one <<= CORBA_Long{1};
    CORBA_Any other;
    if (withDefault)
        other <<= CORBA_Any::from_octet{0};
    else
        other <<= CORBA_Long{2};
    const TRXUnionMember members[] = {{&one, "a", _tc_short}, {&other, "b", _tc_string}};
    return new CORBA_TypeCode("IDL:U:1.0", "U", _tc_long, members, false);
}

template <class T>
std::string written(const T& value) {
    CORBA_MarshalOutBuffer out(255);
    out << value;
    return hex(out);
}
inline std::string written(const Type& type) { return written(type.in()); }

inline Type typeFrom(std::string_view digits, CORBA_Octet order = 1) {
    const std::string data = octets(digits);
    CORBA_MarshalInBuffer in(data.data(), static_cast<CORBA_ULong>(data.size()), 0, order);
    CORBA_TypeCode* type = nullptr;
    in >> type;
    return type;
}

inline CORBA_Any anyFrom(std::string_view digits, CORBA_Octet order = 1) {
    const std::string data = octets(digits);
    CORBA_MarshalInBuffer in(data.data(), static_cast<CORBA_ULong>(data.size()), 0, order);
    CORBA_Any any;
    in >> any;
    return any;
}

// What `value` prints on cout.
template <class T>
std::string printed(const T& value) {
    std::ostringstream text;
    std::streambuf* saved = std::cout.rdbuf(text.rdbuf());
    std::cout << value;
    std::cout.rdbuf(saved);
    return text.str();
}
