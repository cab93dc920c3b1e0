#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/typecode/typecode.h"

#include <concepts>
#include <iosfwd>

class CORBA_Object;
class CORBA_OctetSequence;

// One IDL value with its TypeCode. The type is kept as given; how the value is held goes by what it is an
// alias of:
//
//   numbers, boolean, char, octet, wchar, enum   the value itself
//   string, wstring                              the text
//   any, TypeCode, object reference              an owned reference (an object of its own for an Any)
//   Principal                                    a CORBA_OctetSequence, shared by copies of the Any
//   struct, union, sequence, array, exception    its CDR octets in the host's order, aligned from the first
//
// The octets of an exception that its class has marshalled begin with the repository id; those that were read
// by read_value are the members alone.
class CORBA_Any {
public:
    CORBA_Any() = default; // of _tc_null
    CORBA_Any(const CORBA_Any& other) : CORBA_Any() { copyFrom(other); }
    CORBA_Any(CORBA_Any&& other) noexcept { swap(other); }
    // `value` is what `value()` returns for the type, or for a string, object or TypeCode what the pointer
    // would point to. Without `release` it stays the caller's and has to outlive the Any; with it, a fixed
    // size value comes from `new`, a string from CORBA_string_alloc, and a reference is taken over. A fixed
    // size type with a null value begins as zero, an Any or TypeCode as an empty one. A value of a
    // constructed type comes without its size and raises CORBA_BAD_PARAM; null is allowed.
    CORBA_Any(CORBA_TypeCode* type, void* value, CORBA_Boolean release = 0) : CORBA_Any() {
        replace(type, value, release);
    }
    // The value that has been marshalled into the buffer. The octets are copied; a buffer that does not own
    // them gives them up unless this raises, and has them from CORBA_string_alloc.
    CORBA_Any(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer) : CORBA_Any() { replace(type, buffer); }
    ~CORBA_Any() { freeAll(); }

    // A deep copy; a Principal and the references are shared. A type that no value can be made of raises
    // CORBA_INTERNAL.
    CORBA_Any& operator=(const CORBA_Any& other);
    CORBA_Any& operator=(CORBA_Any&& other) noexcept {
        swap(other);
        return *this;
    }

    // As the constructors.
    void replace(CORBA_TypeCode* type, void* value, CORBA_Boolean release = 0);
    void replace(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer);

    CORBA_TypeCode* type() const { return CORBA_TypeCode::_duplicate(_tc); } // the caller's
    // Where the value is. For the kind tk_string that is the address of a `char*`.
    const void* value() const {
        return _tc->kind() == tk_string ? static_cast<const void*>(&_value) : _value;
    }
    CORBA_Long length() const { return _length; } // octets, or wide characters with the end; -1 not known
    CORBA_Boolean release() const { return _release; }
    CORBA_ULong hash() const;

    // A three-way order, first by the types.
    static int compare(const CORBA_Any& a, const CORBA_Any& b);

    // The value without its type. The members of an exception are written with the repository id in front,
    // and read without. When a stream raises while reading, the Any stays as it was.
    void write_value(TRXostream& stream) const;
    void read_value(TRXistream& stream, CORBA_TypeCode* type);
    // An exception's members without the repository id, anything else as write_value.
    void write_members(TRXostream& stream) const;

    static CORBA_Any* _duplicate(CORBA_Any* any) {
        if (any)
            ++any->_ref_count;
        return any;
    }
    CORBA_ULong _refcount() const { return _ref_count; }
    friend void CORBA_release(CORBA_Any* any);

    // Wrappers for what C++ cannot tell apart.
    struct from_boolean {
        CORBA_Boolean value;
    };
    struct from_octet {
        CORBA_Octet value;
    };
    struct from_char {
        CORBA_Char value;
    };
    // With `nocopy` the Any refers to the caller's text. Otherwise it keeps the first `bound` characters.
    struct from_string {
        char* value;
        CORBA_ULong bound;
        CORBA_Boolean nocopy = 0;
    };
    struct from_wstring {
        CORBA_WChar* value;
        CORBA_ULong bound;
        CORBA_Boolean nocopy = 0;
    };
    struct to_boolean {
        CORBA_Boolean& value;
    };
    struct to_octet {
        CORBA_Octet& value;
    };
    struct to_char {
        CORBA_Char& value;
    };
    struct to_wchar {
        CORBA_WChar& value;
    };
    // The text stays the Any's. A bound other than 0 has to be within its length.
    struct to_string {
        char*& value;
        CORBA_ULong bound;
    };
    struct to_wstring {
        CORBA_WChar*& value;
        CORBA_ULong bound;
    };

    // For code that walks values. Borrowed, and without a check of the type.
    CORBA_TypeCode* _type() const { return _tc; }
    const void* _representation() const { return _value; }
    bool _carries_id() const { return _id_in_front; } // the octets begin with an exception's repository id
    // How many octets of the representation there are to look at. The length of a bounded text is its bound,
    // which the text need not fill.
    size_t _size() const;
    // The octets of a constructed value.
    CORBA_MarshalInBuffer _octets() const {
        return {static_cast<const char*>(_value),
                _value && _length > 0 ? static_cast<CORBA_ULong>(_length) : 0};
    }
    template <class T>
    T _as() const {
        T value;
        std::memcpy(&value, _value, sizeof value);
        return value;
    }
    const char* _text() const { return static_cast<const char*>(_value); }
    CORBA_TypeCode* _held_type() const { return static_cast<CORBA_TypeCode*>(_value); }
    // Takes over `value`, or refers to it, as the kind holds it. One more reference to the type is taken.
    void _adopt(CORBA_TypeCode* type, void* value, CORBA_Long length, bool idInFront = false);
    void _borrow(CORBA_TypeCode* type, void* value, CORBA_Long length) {
        _adopt(type, value, length);
        _release = 0;
    }
    // A value of a type of fixed size.
    template <class T>
    void _store(CORBA_TypeCode* type, const T& value) {
        static_assert(sizeof value <= sizeof _small);
        become(type);
        std::memcpy(_small, &value, sizeof value);
        _value = _small;
        _length = sizeof value;
    }
    // The order of two values of the same type.
    static int _compare_values(const CORBA_Any& a, const CORBA_Any& b);

private:
    friend class CORBA_TypeCode;
    friend struct TRXConstantTypeCodes;

    // Parameters of constant types: a name that the program contains, and the number 0.
    struct Literal {
        const char* text;
        CORBA_Long length;
    };
    struct Zero {};
    constexpr CORBA_Any(CORBA_TypeCode* type, Literal name)
        : _tc(type), _value(const_cast<char*>(name.text)), _length(name.length), _release(0) {}
    constexpr CORBA_Any(CORBA_TypeCode* type, Zero) : _tc(type), _value(_small), _length(4), _release(0) {}

    void become(CORBA_TypeCode* type);
    void copyFrom(const CORBA_Any& other);
    void freeValue();
    void freeAll();
    void swap(CORBA_Any& other) noexcept;
    void emptyValue(CORBA_TCKind kind);
    void takeOctets(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer);

    CORBA_TypeCode* _tc = _tc_null;
    void* _value = nullptr;
    CORBA_Long _length = 0;
    CORBA_Boolean _release = 1;
    bool _id_in_front = false;
    CORBA_ULong _ref_count = 1;
    alignas(8) unsigned char _small[8] = {}; // where values of a fixed size live
};

void CORBA_release(CORBA_Any* any);
inline bool CORBA_is_nil(const CORBA_Any* any) { return any == nullptr; }
inline bool operator==(const CORBA_Any& a, const CORBA_Any& b) { return CORBA_Any::compare(a, b) == 0; }

// Each replaces the old value.
void operator<<=(CORBA_Any& any, CORBA_Short value);
void operator<<=(CORBA_Any& any, CORBA_UShort value);
void operator<<=(CORBA_Any& any, CORBA_Long value);
void operator<<=(CORBA_Any& any, CORBA_ULong value);
void operator<<=(CORBA_Any& any, CORBA_LongLong value);
void operator<<=(CORBA_Any& any, CORBA_ULongLong value);
void operator<<=(CORBA_Any& any, CORBA_Float value);
void operator<<=(CORBA_Any& any, CORBA_Double value);
void operator<<=(CORBA_Any& any, CORBA_Any::from_boolean value);
void operator<<=(CORBA_Any& any, CORBA_Any::from_octet value);
void operator<<=(CORBA_Any& any, CORBA_Any::from_char value);
void operator<<=(CORBA_Any& any, CORBA_WChar value);
void operator<<=(CORBA_Any& any, const char* text); // copied
void operator<<=(CORBA_Any& any, CORBA_Any::from_string text);
void operator<<=(CORBA_Any& any, CORBA_Any::from_wstring text);
void operator<<=(CORBA_Any& any, const CORBA_Any& value); // copied, as a value of type _tc_any
void operator<<=(CORBA_Any& any, CORBA_TypeCode* type);   // one more reference
void operator<<=(CORBA_Any& any, CORBA_Object* object);   // likewise; null as a CORBA::Object
// These would go in as numbers: the wrappers above say what they are.
template <class T>
requires(std::same_as<T, bool> || (std::integral<T> && sizeof(T) == 1)) void operator<<=(CORBA_Any& any,
                                                                                         T value) = delete;

// False, with the target untouched, unless the Any's own type is of the right kind: an alias of long does not
// come out as a long.
bool operator>>=(const CORBA_Any& any, CORBA_Short& value);
bool operator>>=(const CORBA_Any& any, CORBA_UShort& value);
bool operator>>=(const CORBA_Any& any, CORBA_Long& value);
bool operator>>=(const CORBA_Any& any, CORBA_ULong& value);
bool operator>>=(const CORBA_Any& any, CORBA_LongLong& value);
bool operator>>=(const CORBA_Any& any, CORBA_ULongLong& value);
bool operator>>=(const CORBA_Any& any, CORBA_Float& value);
bool operator>>=(const CORBA_Any& any, CORBA_Double& value);
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_boolean value);
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_octet value);
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_char value);
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_wchar value);
bool operator>>=(const CORBA_Any& any, char*& text); // a copy that the caller owns
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_string text);
bool operator>>=(const CORBA_Any& any, CORBA_Any::to_wstring text);
bool operator>>=(const CORBA_Any& any, CORBA_Any& value);      // a copy
bool operator>>=(const CORBA_Any& any, CORBA_TypeCode*& type); // the caller's
bool operator>>=(const CORBA_Any& any, CORBA_Object*& object); // the caller's

// A constructed type inserts itself in its marshalled form, and comes out when the types are equal. An
// exception comes out as its own class only: others may have members of the same types.
template <class T>
void insertMarshalled(CORBA_Any& any, CORBA_TypeCode* type, const T& value) {
    CORBA_MarshalOutBuffer buffer(255);
    buffer << value;
    any.replace(type, buffer);
}
template <class T>
bool extractMarshalled(const CORBA_Any& any, CORBA_TypeCode* type, T& value) {
    if (!type->equal(any._type()) || !any._representation())
        return false;
    CORBA_MarshalInBuffer octets = any._octets();
    octets >> value;
    return true;
}
template <std::derived_from<CORBA_Exception> T>
bool extractMarshalled(const CORBA_Any& any, CORBA_TypeCode* type, T& value) {
    if (!type->equal(any._type()) || !any._representation())
        return false;
    CORBA_MarshalInBuffer octets = any._octets();
    const char* id = any._carries_id() ? octets.string_in_place() : any._type()->_unaliased()->_plain_id();
    if (CORBA_string_compare(id, T::_descriptor().repository_id()) != 0)
        return false;
    value._read(octets);
    return true;
}

// The Principal's and every encapsulation's octets, as an alias of sequence<octet>.
CORBA_TypeCode* TRXOctetSequenceType();
void operator<<=(CORBA_Any& any, const CORBA_OctetSequence& octets);
bool operator>>=(const CORBA_Any& any, CORBA_OctetSequence& octets);

// The type, then the value, which of an exception begins with its repository id. What does not fit the type
// raises CORBA_MARSHAL, and leaves the Any as it was.
TRXostream& operator<<(TRXostream& stream, const CORBA_Any& any);
TRXistream& operator>>(TRXistream& stream, CORBA_Any& any);
TRXostream& operator<<(TRXostream& stream, const CORBA_Any* any); // null raises CORBA_BAD_PARAM
TRXistream& operator>>(TRXistream& stream, CORBA_Any*& any);      // the caller's, null when the stream raises
// Readable lines on cout, cerr and clog; on any other stream the wire form as text.
std::ostream& operator<<(std::ostream& stream, const CORBA_Any& any);
void printAny(TRXostream& stream, const CORBA_Any& any);

// Holds an Any, and passes insertion and extraction on to it. Holding nothing, it takes nothing and gives
// nothing.
class CORBA_Any_var : public TRXVar<CORBA_Any> {
public:
    using TRXVar::operator=;
    using TRXVar::TRXVar;
};
template <std::same_as<CORBA_Any_var> Holder, class T>
void operator<<=(Holder& holder, const T& value) {
    if (CORBA_Any* any = holder.in())
        *any <<= value;
}
template <std::same_as<CORBA_Any_var> Holder, class T>
bool operator>>=(const Holder& holder, T&& target) {
    const CORBA_Any* any = holder.in();
    return any && (*any >>= target);
}
