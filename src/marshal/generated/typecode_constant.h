#pragma once

#include "marshal/any/any.h"
#include "marshal/sequence/sequence_element.h"

#include <initializer_list>

// Support for generated types other than sequences and exceptions. These classes implement what all types of
// one kind have in common, so that generated code has only the differences. This file: TypeCodes. Members:
// bounded_string.h, bounded_sequence.h, array.h. Unions: union.h. Holders of values on the heap: value_var.h.
// Streams and Anys: operators.h, with the readable form in print_value.h.

namespace harbolance {

// The TypeCode of a generated type. It is made once, on first use, so that code that runs before `main` can
// use it, and lives until the process ends.
class TypeCodeConstant {
public:
    using Make = CORBA_TypeCode* (*)();

    // `enclosing` is the type in which this one is defined, if this one refers back to it: then this TypeCode
    // is complete only when that of `enclosing` is.
    constexpr explicit TypeCodeConstant(Make make, const TypeCodeConstant* enclosing = nullptr)
        : _make(make), _enclosing(enclosing) {}
    TypeCodeConstant(const TypeCodeConstant&) = delete;
    TypeCodeConstant& operator=(const TypeCodeConstant&) = delete;

    operator CORBA_TypeCode*() const { return get(); }
    CORBA_TypeCode* operator->() const { return get(); }
    CORBA_TypeCode* get() const {
        if (!_type || (_enclosing && !_enclosing->_type)) [[unlikely]]
            makeNow();
        return _type;
    }

private:
    void makeNow() const;

    Make _make;
    const TypeCodeConstant* _enclosing;
    mutable CORBA_TypeCode* _type = nullptr;
    mutable bool _making = false;
};

// Functions for use in `make`. First the types without a name, which are parts of named ones; bound 0 means
// no bound.
CORBA_TypeCode* stringType(CORBA_ULong bound);
CORBA_TypeCode* wideStringType(CORBA_ULong bound);
CORBA_TypeCode* sequenceType(CORBA_TypeCode* content, CORBA_ULong bound = 0);
CORBA_TypeCode* arrayType(CORBA_TypeCode* content, CORBA_ULong length);
// A sequence of the struct or union that encloses it `levels` levels up; 1 is the innermost.
CORBA_TypeCode* recursiveSequenceType(CORBA_ULong levels, CORBA_ULong bound = 0);

CORBA_TypeCode* aliasType(const char* id, const char* name, CORBA_TypeCode* original);
CORBA_TypeCode* interfaceType(const char* id, const char* name);
CORBA_TypeCode* enumType(const char* id, const char* name, std::initializer_list<const char*> enumerators);
CORBA_TypeCode* exceptionType(const char* id, const char* name,
                              std::initializer_list<TRXStructMember> members = {});

// Whether the type contains a recursive sequence.
enum class Recursion : bool { none, some };
CORBA_TypeCode* structType(const char* id, const char* name, std::initializer_list<TRXStructMember> members,
                           Recursion recursion = Recursion::none);

// One branch of a union with one of its labels. The label of "default" is the octet 0.
struct BranchType {
    CORBA_Any label;
    const char* name;
    CORBA_TypeCode* type;
};
CORBA_TypeCode* unionType(const char* id, const char* name, CORBA_TypeCode* discriminator,
                          std::initializer_list<BranchType> branches, Recursion recursion = Recursion::none);

template <class Value>
CORBA_Any label(Value value) {
    CORBA_Any any;
    any <<= value;
    return any;
}
inline CORBA_Any defaultLabel() { return label(CORBA_Any::from_octet{0}); }

// TypeCodes as elements of a sequence.
struct TypeCodeElement {
    using Stored = CORBA_TypeCode*;
    using Reference = TRXPointerElement<TypeCodeElement>;
    using ConstReference = CORBA_TypeCode*;
    static constexpr bool plain = false;
    static constexpr bool pointer = true;
    static constexpr CORBA_ULong minimumOctets = 4;

    static CORBA_TypeCode* copy(CORBA_TypeCode* type) { return CORBA_TypeCode::_duplicate(type); }
    static void free(CORBA_TypeCode*& type) { CORBA_release(std::exchange(type, nullptr)); }
    static void read(TRXistream& stream, CORBA_TypeCode*& type) {
        free(type);
        stream >> type;
    }
    static void write(TRXostream& stream, CORBA_TypeCode* type) { stream << type; }
};

} // namespace harbolance
