#pragma once

#include "marshal/text/vstream.h"
#include "marshal/types.h"
#include "marshal/var.h"

#include <cstddef>
#include <iosfwd>
#include <utility>

// Strings are arrays of char ended by a NUL, wide strings arrays of CORBA_WChar ended by a zero element. Both
// are allocated and freed with the functions below only. All of these accept null.

// The value of a default-constructed string holder: a constant empty string, never freed and never written
// to.
extern char* const TRXNullString;

// Allocates `length` octets and one for the NUL; they are not initialised.
inline char* CORBA_string_alloc(CORBA_ULong length) { return new char[size_t{length} + 1]; }
// Ignores null and the shared null string.
inline void CORBA_string_free(char* string) {
    if (string != TRXNullString)
        delete[] string;
}
char* CORBA_string_dup(const char* string); // null gives null
CORBA_ULong CORBA_string_hash(const char* string);
int CORBA_string_compare(const char* a, const char* b); // strcmp; null comes before every string

CORBA_WChar* CORBA_wstring_alloc(CORBA_ULong length); // `length` elements and the final zero; not initialised
void CORBA_wstring_free(CORBA_WChar* string);
CORBA_WChar* CORBA_wstring_dup(const CORBA_WChar* string);
CORBA_ULong CORBA_wstring_hash(const CORBA_WChar* string);
int CORBA_wstring_compare(const CORBA_WChar* a, const CORBA_WChar* b);

// Traits of TRXStringHolder for each kind of text.
struct TRXNarrowText {
    using Char = char;
    static Char* none() { return TRXNullString; }
    static Char* alloc(CORBA_ULong length) { return CORBA_string_alloc(length); }
    static Char* dup(const Char* text) { return CORBA_string_dup(text); }
    static void free(Char* text) { CORBA_string_free(text); }
};

struct TRXWideText {
    using Char = CORBA_WChar;
    static Char* none() { return nullptr; }
    static Char* alloc(CORBA_ULong length) { return CORBA_wstring_alloc(length); }
    static Char* dup(const Char* text) { return CORBA_wstring_dup(text); }
    static void free(Char* text) { CORBA_wstring_free(text); }
};

// Owns one string. A `Char*` is taken over; a `const Char*`, another holder or an element is copied.
template <class Text>
class TRXStringHolder {
public:
    using Char = typename Text::Char;

    TRXStringHolder() = default;
    TRXStringHolder(Char* owned) : _ptr(owned) {}
    TRXStringHolder(const Char* borrowed) : _ptr(Text::dup(borrowed)) {}
    TRXStringHolder(const TRXStringHolder& other) : _ptr(Text::dup(other._ptr)) {}
    TRXStringHolder(TRXStringHolder&& other) noexcept : _ptr(std::exchange(other._ptr, Text::none())) {}
    template <TRXHasBorrowed<const Char*, TRXStringHolder> Source>
    explicit TRXStringHolder(const Source& source) : _ptr(Text::dup(source.in())) {}
    ~TRXStringHolder() { Text::free(_ptr); }

    TRXStringHolder& operator=(Char* owned) {
        if (owned != _ptr)
            Text::free(std::exchange(_ptr, owned));
        return *this;
    }
    TRXStringHolder& operator=(const Char* borrowed) { return *this = Text::dup(borrowed); }
    TRXStringHolder& operator=(const TRXStringHolder& other) {
        return this == &other ? *this : *this = Text::dup(other._ptr);
    }
    TRXStringHolder& operator=(TRXStringHolder&& other) noexcept {
        std::swap(_ptr, other._ptr);
        return *this;
    }
    template <TRXHasBorrowed<const Char*, TRXStringHolder> Source>
    TRXStringHolder& operator=(const Source& source) {
        return *this = Text::dup(source.in());
    }

    // Borrowed.
    operator Char*() const { return _ptr; }
    const Char* in() const { return _ptr; }
    Char*& inout() { return _ptr; }
    // For an out argument: frees the value and returns the null pointer by reference. The holder owns the
    // string that is stored there.
    Char*& out() {
        *this = static_cast<Char*>(nullptr);
        return _ptr;
    }
    // The caller owns the string.
    Char* _retn() { return std::exchange(_ptr, Text::none()); }

private:
    Char* _ptr = Text::none();
};

using CORBA_String_var = TRXStringHolder<TRXNarrowText>;
using CORBA_WString_var = TRXStringHolder<TRXWideText>;

namespace harbolance {
// Reads a string into an owned one, reusing its memory if that is large enough. The old string remains when
// the stream raises.
void readOver(TRXistream& stream, char*& string);
} // namespace harbolance

// Replaces the value; the old one remains when the stream raises.
inline TRXistream& operator>>(TRXistream& stream, CORBA_String_var& string) {
    harbolance::readOver(stream, string.inout());
    return stream;
}
// Likewise. A count that the stream cannot hold raises CORBA_MARSHAL.
TRXistream& operator>>(TRXistream& stream, CORBA_WString_var& string);

// The plain text, "(null)" for a null pointer. A wide string on a narrow stream is written in UTF-8.
std::ostream& operator<<(std::ostream& stream, const CORBA_String_var& string);
std::ostream& operator<<(std::ostream& stream, const CORBA_WString_var& string);
std::wostream& operator<<(std::wostream& stream, const CORBA_WString_var& string);
