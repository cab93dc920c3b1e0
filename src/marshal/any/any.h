#pragma once

#include "marshal/cdr/vbuf.h"
#include "marshal/typecode/typecode.h"

#include <concepts>
#include <iosfwd>

class CORBA_Object;
class CORBA_OctetSequence;
class CORBA_StringSequence;
namespace harbolance {
class AnyAccess;
}

// One IDL value with its TypeCode. The type is kept as given, including aliases. How the value is held
// depends on its kind without aliases:
//
//   numbers, boolean, char, octet, wchar, enum   the value itself
//   string, wstring                              the text
//   any, TypeCode, object reference              an owned reference (an object of its own for an Any)
//   Principal                                    a CORBA_OctetSequence, shared by copies of the Any
//   struct, union, sequence, array, exception    its CDR octets in the host's order, aligned from the first
//
// The octets of an exception marshalled by its class begin with the repository id; octets read by read_value
// are the members only.
class CORBA_Any {
public:
    static constexpr CORBA_ULong _minimum_octets = 4; // on the wire: the kind tk_null

    CORBA_Any() = default; // of _tc_null
    CORBA_Any(const CORBA_Any& other) : CORBA_Any() { copyFrom(other); }
    CORBA_Any(CORBA_Any&& other) noexcept { swap(other); }
    // `value` points to a value of fixed size, or is itself the string, object or TypeCode. Without `release`
    // the caller keeps it, and it must outlive the Any. With `release` the Any takes ownership: a value of
    // fixed size must come from `new`, a string from CORBA_string_alloc. A null value gives zero for a type
    // of fixed size, and an empty Any or TypeCode for these types. A non-null value of a constructed type
    // raises CORBA_BAD_PARAM, because its size is unknown.
    CORBA_Any(CORBA_TypeCode* type, void* value, CORBA_Boolean release = 0) : CORBA_Any() {
        replace(type, value, release);
    }
    // Takes the value marshalled in the buffer; the octets are copied. If the buffer does not own its octets,
    // they must come from CORBA_string_alloc; the Any then takes ownership, unless this raises.
    CORBA_Any(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer) : CORBA_Any() { replace(type, buffer); }
    ~CORBA_Any() { freeAll(); }

    // A deep copy; Principals and references are shared. A type without values raises CORBA_INTERNAL.
    CORBA_Any& operator=(const CORBA_Any& other);
    CORBA_Any& operator=(CORBA_Any&& other) noexcept {
        swap(other);
        return *this;
    }

    // Like the constructors with the same arguments.
    void replace(CORBA_TypeCode* type, void* value, CORBA_Boolean release = 0);
    void replace(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer);

    CORBA_TypeCode* type() const { return CORBA_TypeCode::_duplicate(_tc); } // the caller owns it
    // A borrowed pointer to the value. For the kind tk_string it is a `char**`.
    const void* value() const {
        return _tc->kind() == tk_string ? static_cast<const void*>(&_value) : _value;
    }
    CORBA_Long length() const { return _length; } // octets, or wide characters with the zero; -1 if unknown
    CORBA_Boolean release() const { return _release; }
    CORBA_ULong hash() const;

    // Three-way comparison; types are compared first.
    static int compare(const CORBA_Any& a, const CORBA_Any& b);

    // Writes or reads the value without its type. The members of an exception are written after its
    // repository id, but read without one. When the stream raises while reading, the Any is unchanged.
    void write_value(TRXostream& stream) const;
    void read_value(TRXistream& stream, CORBA_TypeCode* type);
    // Like write_value, but without the repository id of an exception.
    void write_members(TRXostream& stream) const;

    static CORBA_Any* _duplicate(CORBA_Any* any) {
        if (any)
            ++any->_ref_count;
        return any;
    }
    CORBA_ULong _refcount() const { return _ref_count; }
    friend void CORBA_release(CORBA_Any* any);

    // Wrappers for IDL types that share one C++ type.
    struct from_boolean {
        CORBA_Boolean value;
    };
    struct from_octet {
        CORBA_Octet value;
    };
    struct from_char {
        CORBA_Char value;
    };
    // With `nocopy` the Any borrows the caller's text. Otherwise it copies the first `bound` characters;
    // bound 0 means no bound.
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
    // The text is borrowed from the Any. False when the bound exceeds its length.
    struct to_string {
        char*& value;
        CORBA_ULong bound;
    };
    struct to_wstring {
        CORBA_WChar*& value;
        CORBA_ULong bound;
    };

private:
    friend class harbolance::AnyAccess;

    void become(CORBA_TypeCode* type);
    void adopt(CORBA_TypeCode* type, void* value, CORBA_Long length, bool idInFront = false);
    void copyFrom(const CORBA_Any& other);
    void freeValue();
    void freeAll();
    void swap(CORBA_Any& other) noexcept;
    void emptyValue(CORBA_TCKind kind);
    void takeOctets(CORBA_TypeCode* type, CORBA_MarshalOutBuffer& buffer);
    size_t hashedOctets() const;
    static int compareValues(const CORBA_Any& a, const CORBA_Any& b);

    CORBA_TypeCode* _tc = _tc_null;
    void* _value = nullptr;
    CORBA_Long _length = 0;
    CORBA_Boolean _release = 1;
    bool _id_in_front = false;
    CORBA_ULong _ref_count = 1;
    alignas(8) unsigned char _small[8] = {}; // holds values of fixed size
};

void CORBA_release(CORBA_Any* any);
inline bool CORBA_is_nil(const CORBA_Any* any) { return any == nullptr; }
inline bool operator==(const CORBA_Any& a, const CORBA_Any& b) { return CORBA_Any::compare(a, b) == 0; }

// Insertion replaces the old value.
void operator<<=(CORBA_Any& any, CORBA_Short value);
void operator<<=(CORBA_Any& any, CORBA_UShort value);
void operator<<=(CORBA_Any& any, CORBA_Long value);
void operator<<=(CORBA_Any& any, CORBA_ULong value);
// A C++ `long` is inserted as 4 octets. A value that does not fit raises CORBA_BAD_PARAM.
void operator<<=(CORBA_Any& any, long value);
void operator<<=(CORBA_Any& any, unsigned long value);
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
void operator<<=(CORBA_Any& any, CORBA_Object* object);   // one more reference; null as a CORBA::Object
void operator<<=(CORBA_Any& any, const CORBA_OctetSequence& octets);
void operator<<=(CORBA_Any& any, const CORBA_StringSequence& strings);
// These types would be inserted as numbers, so they are rejected: use the wrappers above.
template <class T>
requires(std::same_as<T, bool> || (std::integral<T> && sizeof(T) == 1)) void operator<<=(CORBA_Any& any,
                                                                                         T value) = delete;
// Inserts the object of a holder. An empty holder raises CORBA_BAD_PARAM.
template <class T>
requires requires(CORBA_Any& any, const T& value) { any <<= value; }
void operator<<=(CORBA_Any& any, const TRXVar<T>& holder) {
    if (!holder.in())
        throw CORBA_BAD_PARAM();
    any <<= *holder;
}

// Extraction. False, with the target unchanged, unless the Any's own type has the right kind: an alias of
// long cannot be extracted as a long.
bool operator>>=(const CORBA_Any& any, CORBA_Short& value);
bool operator>>=(const CORBA_Any& any, CORBA_UShort& value);
bool operator>>=(const CORBA_Any& any, CORBA_Long& value);
bool operator>>=(const CORBA_Any& any, CORBA_ULong& value);
bool operator>>=(const CORBA_Any& any, long& value);
bool operator>>=(const CORBA_Any& any, unsigned long& value);
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
bool operator>>=(const CORBA_Any& any, CORBA_TypeCode*& type); // the caller owns it
bool operator>>=(const CORBA_Any& any, CORBA_Object*& object); // the caller owns it
bool operator>>=(const CORBA_Any& any, CORBA_OctetSequence& octets);
bool operator>>=(const CORBA_Any& any, CORBA_StringSequence& strings);
// Extracts into a holder, for types that are extracted as a pointer.
template <class T>
requires requires(const CORBA_Any& any, T*& pointer) { any >>= pointer; }
bool operator>>=(const CORBA_Any& any, TRXVar<T>& holder) {
    T* taken = nullptr;
    if (!(any >>= taken))
        return false;
    holder = taken;
    return true;
}

// The types of the sequences above: aliases of sequence<octet> and sequence<string>.
CORBA_TypeCode* TRXOctetSequenceType();
CORBA_TypeCode* TRXStringSequenceType();

namespace harbolance {

// Inserts a value of a constructed type in its marshalled form.
template <class T>
void insertMarshalled(CORBA_Any& any, CORBA_TypeCode* type, const T& value) {
    CORBA_MarshalOutBuffer buffer(255);
    buffer << value;
    any.replace(type, buffer);
}

using MemberReader = void (*)(TRXistream& octets, void* value);
bool extractMembers(const CORBA_Any& any, CORBA_TypeCode* type, MemberReader read, void* value);
bool extractMembers(const CORBA_Any& any, CORBA_TypeCode* type, const char* exceptionId, MemberReader read,
                    void* value);

// Extracts the value when the types are equal. All exception types count as equal, so for an exception the
// repository id must match as well.
template <class T>
bool extractMarshalled(const CORBA_Any& any, CORBA_TypeCode* type, T& value) {
    if constexpr (std::derived_from<T, CORBA_Exception>) {
        const auto read = [](TRXistream& octets, void* target) { static_cast<T*>(target)->_read(octets); };
        return extractMembers(any, type, T::_descriptor().repository_id(), read, &value);
    } else {
        return extractMembers(
            any, type, [](TRXistream& octets, void* target) { octets >> *static_cast<T*>(target); }, &value);
    }
}

} // namespace harbolance

// The type, then the value; that of an exception begins with its repository id. A value that does not fit the
// type raises CORBA_MARSHAL and leaves the Any unchanged.
TRXostream& operator<<(TRXostream& stream, const CORBA_Any& any);
TRXistream& operator>>(TRXistream& stream, CORBA_Any& any);
TRXostream& operator<<(TRXostream& stream, const CORBA_Any* any); // null raises CORBA_BAD_PARAM
TRXistream& operator>>(TRXistream& stream, CORBA_Any*& any);      // the caller owns it; null on a raise
// Readable lines on cout, cerr and clog; the text encoding of the wire form on any other stream.
std::ostream& operator<<(std::ostream& stream, const CORBA_Any& any);

// Owns an Any and forwards insertion and extraction to it. When empty, insertion does nothing and extraction
// returns false.
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
