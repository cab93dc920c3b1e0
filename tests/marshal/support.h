#pragma once

#include "console.h"
#include "marshal/any/any_access.h"
#include "marshal/sequence/octet_sequence.h"
#include "octet_listing.h"

#include <gtest/gtest.h>

#include <vector>

// What the tests of this folder share. Octets are listed as octet_listing.h says, with padding as it is
// written. Listings are little-endian, as buffers are written in the host's order.
static_assert(harbolance::hostByteOrder == 1);

inline std::string octets(std::string_view listing, CORBA_Octet order = 1) {
    return OctetListing(std::string(listing), order == 0).bytes();
}

inline std::string hex(const CORBA_MarshalOutBuffer& buffer) { return hex({buffer.data(), buffer.offset()}); }
inline std::string hex(const CORBA_OctetSequence& octets) {
    return hex({reinterpret_cast<const char*>(octets.buffer()), octets.length()});
}
// A listing as digits alone.
inline std::string digits(std::string_view listing, CORBA_Octet order = 1) {
    return hex(octets(listing, order));
}

inline CORBA_OctetSequence sequence(std::string_view listing, CORBA_Octet order = 1) {
    const std::string bytes = octets(listing, order);
    return CORBA_OctetSequence(std::span(reinterpret_cast<const CORBA_Octet*>(bytes.data()), bytes.size()));
}

// Octets to be read.
class Source {
public:
    explicit Source(std::string_view listing, CORBA_Octet order = 1)
        : octets_(octets(listing, order)),
          in_(octets_.data(), static_cast<CORBA_ULong>(octets_.size()), 0, order) {}
    CORBA_MarshalInBuffer& in() { return in_; }

private:
    std::string octets_;
    CORBA_MarshalInBuffer in_;
};

template <class T>
std::string written(const T& value) {
    CORBA_MarshalOutBuffer out(255);
    out << value;
    return hex(out);
}

// What comes out of a stream as a pointer, in a holder.
template <class Holder>
Holder readFrom(std::string_view listing, CORBA_Octet order = 1) {
    Source source(listing, order);
    Holder holder;
    source.in() >> holder;
    return holder;
}

template <class T>
void fromText(std::istream& stream, T& value) {
    TRXistream text(stream);
    text >> value;
}

// A process-wide option for the time of a test.
class Setting {
public:
    Setting(bool& option, bool value) : _option(option), _saved(std::exchange(option, value)) {}
    ~Setting() { _option = _saved; }

private:
    bool& _option;
    bool _saved;
};

// Short ways to TypeCodes. The names of types that are listed in octets have one letter.
using Type = CORBA_TypeCode_var;

inline std::string idOf(const std::string& name) { return "IDL:" + name + ":1.0"; }
inline std::string head(const std::string& name) {
    return " @ 202020 0a000000 '" + idOf(name) + "' 00 2020 02000000 '" + name + "' 00 ";
}
inline Type structOf(const char* name, std::vector<TRXStructMember> members, CORBA_TCKind kind = tk_struct) {
    return new CORBA_TypeCode(kind, idOf(name).c_str(), name, members, false);
}
inline Type enumOf(const char* name, std::vector<const char*> enumerators) {
    return new CORBA_TypeCode(idOf(name).c_str(), name, enumerators, false);
}
inline Type aliasOf(const char* name, CORBA_TypeCode* original) {
    return new CORBA_TypeCode(idOf(name).c_str(), name, original, false);
}
inline Type objectOf(const char* name) { return new CORBA_TypeCode(idOf(name).c_str(), name, false); }
inline Type redGreen() { return enumOf("E", {"red", "green"}); }
inline const std::string redGreenOctets =
    "11000000 32000000" + head("E") + "2020 02000000 04000000 'red' 00 06000000 'green' 00 2020 ";
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
inline Type nodeType() { return structOf("Node", {{"v", _tc_long}, {"kids", recursiveSequence(1)}}); }

template <class T>
CORBA_Any anyOf(T value) {
    CORBA_Any any;
    any <<= value;
    return any;
}
// A value of a constructed type that consists of these parts.
template <class... Parts>
CORBA_Any valueOf(CORBA_TypeCode* type, const Parts&... parts) {
    CORBA_MarshalOutBuffer value(255);
    (value << ... << parts);
    return CORBA_Any(type, value);
}

// union U switch (long) { case 1: short a; default: string b; }, or with case 2 in the place of the default
inline Type unionType(bool withDefault) {
    const CORBA_Any one = anyOf(CORBA_Long{1});
    const CORBA_Any other = withDefault ? anyOf(CORBA_Any::from_octet{0}) : anyOf(CORBA_Long{2});
    const TRXUnionMember members[] = {{&one, "a", _tc_short}, {&other, "b", _tc_string}};
    return new CORBA_TypeCode("IDL:U:1.0", "U", _tc_long, members, false);
}
