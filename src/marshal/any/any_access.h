#pragma once

#include "marshal/any/any.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/typecode/typecode_access.h"

#include <cstring>

namespace harbolance {

// Access to the private parts of a CORBA_Any, for the code of this library that processes values. Results are
// borrowed, and no type is checked.
class AnyAccess {
public:
    static CORBA_TypeCode* type(const CORBA_Any& any) { return any._tc; }
    static CORBA_TCKind valueKind(const CORBA_Any& any) { return TypeCodeAccess::valueKind(*any._tc); }

    // The value in the form that any.h describes for its kind.
    static const void* value(const CORBA_Any& any) { return any._value; }
    static const char* text(const CORBA_Any& any) { return static_cast<const char*>(any._value); }
    static const CORBA_WChar* wideText(const CORBA_Any& any) {
        return static_cast<const CORBA_WChar*>(any._value);
    }
    static CORBA_TypeCode* heldType(const CORBA_Any& any) { return static_cast<CORBA_TypeCode*>(any._value); }
    static CORBA_Object* heldObject(const CORBA_Any& any) { return static_cast<CORBA_Object*>(any._value); }
    template <class T>
    static T as(const CORBA_Any& any) {
        T value;
        std::memcpy(&value, any._value, sizeof value);
        return value;
    }
    // The octets in memory of a value of a basic kind, from the first one up; 0 without a value.
    static uint64_t basicOctets(const CORBA_Any& any);
    // The octets of a constructed value. carriesId tells whether they begin with an exception's repository
    // id.
    static CORBA_MarshalInBuffer octets(const CORBA_Any& any) {
        const bool none = !any._value || any._length < 1;
        return {static_cast<const char*>(any._value), none ? 0 : static_cast<CORBA_ULong>(any._length)};
    }
    static bool carriesId(const CORBA_Any& any) { return any._id_in_front; }
    // Compares two values of the same type.
    static int compareValues(const CORBA_Any& a, const CORBA_Any& b) {
        return CORBA_Any::compareValues(a, b);
    }

    // Takes ownership of `value`, in the form for its kind, and adds a reference to the type.
    static void adopt(CORBA_Any& any, CORBA_TypeCode* type, void* value, CORBA_Long length,
                      bool idInFront = false) {
        any.adopt(type, value, length, idInFront);
    }
    // Borrows a value from the caller.
    static void borrow(CORBA_Any& any, CORBA_TypeCode* type, void* value, CORBA_Long length) {
        any.adopt(type, value, length, false);
        any._release = 0;
    }
    // Stores a value of a basic kind.
    template <class T>
    static void store(CORBA_Any& any, CORBA_TypeCode* type, const T& value) {
        static_assert(sizeof value <= sizeof any._small);
        any.become(type);
        std::memcpy(any._small, &value, sizeof value);
        any._value = any._small;
        any._length = sizeof value;
    }
};

// The print form of an Any.
void printAny(TRXostream& stream, const CORBA_Any& any);

} // namespace harbolance
