#pragma once

#include "marshal/text/vstr.h"
#include "marshal/text/vstream.h"

#include <type_traits>
#include <utility>

// Describes the elements of a sequence (sequence.h). An Element class has
//
//     using Stored = ...;                        // the type of an element in the buffer
//     using Reference, ConstReference            // the results of operator[]
//     static constexpr CORBA_ULong minimumOctets // the smallest size of an element on the wire
//     static constexpr bool plain                // trivial: may stay uninitialised until it is overwritten
//     static constexpr bool pointer              // Stored is an owned pointer, null in a fresh buffer
//     static Stored copy(const Stored&);
//     static void free(Stored&);
//     static void read(TRXistream&, Stored&);    // replaces the old element
//     static void write(TRXostream&, const Stored&);
//
// and, with `pointer`, the types that TRXPointerElement uses.

namespace harbolance {

// The types that streams transfer as arrays.
template <class T>
constexpr bool isArrayElement =
    std::is_same_v<T, CORBA_Octet> || std::is_same_v<T, CORBA_Short> || std::is_same_v<T, CORBA_UShort> ||
    std::is_same_v<T, CORBA_Long> || std::is_same_v<T, CORBA_ULong> || std::is_same_v<T, CORBA_LongLong> ||
    std::is_same_v<T, CORBA_ULongLong> || std::is_same_v<T, CORBA_Float> || std::is_same_v<T, CORBA_Double>;

} // namespace harbolance

// Values: numbers, structs, nested sequences. They copy themselves and have stream operators.
template <class T>
struct TRXValueElement {
    using Stored = T;
    using Reference = T&;
    using ConstReference = const T&;
    static constexpr bool plain = std::is_arithmetic_v<T> || std::is_enum_v<T>;
    static constexpr bool pointer = false;
    static constexpr CORBA_ULong minimumOctets = [] {
        if constexpr (std::is_same_v<T, CORBA_WChar>)
            return CORBA_ULong{2};
        else if constexpr (std::is_same_v<T, long> || std::is_same_v<T, unsigned long> || std::is_enum_v<T>)
            return CORBA_ULong{4}; // on the wire
        else if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>)
            return static_cast<CORBA_ULong>(sizeof(T));
        else if constexpr (requires { T::_minimum_octets; })
            return CORBA_ULong{T::_minimum_octets};
        else
            return CORBA_ULong{1};
    }();

    static const T& copy(const T& value) { return value; }
    static void free(T&) {}
    static void read(TRXistream& stream, T& value) { stream >> value; }
    static void write(TRXostream& stream, const T& value) { stream << value; }
};

// The result of operator[] for an owned pointer. It converts to the pointer. Assigning a plain pointer takes
// ownership, assigning anything else copies; the old element is released if the sequence owns its buffer.
template <class Element>
class TRXPointerElement {
public:
    using Stored = typename Element::Stored;
    using Borrowed = const std::remove_pointer_t<Stored>*;

    TRXPointerElement(Stored& slot, bool release) : _slot(slot), _release(release) {}
    TRXPointerElement(const TRXPointerElement&) = default;

    TRXPointerElement& operator=(Stored owned) {
        Stored old = std::exchange(_slot, owned);
        if (_release)
            Element::free(old);
        return *this;
    }
    TRXPointerElement& operator=(Borrowed borrowed) {
        return *this = Element::copy(const_cast<Stored>(borrowed));
    }
    TRXPointerElement& operator=(const TRXPointerElement& other) {
        return *this = Element::copy(other._slot);
    }
    template <TRXHasBorrowed<Borrowed, TRXPointerElement> Source>
    TRXPointerElement& operator=(const Source& source) {
        return *this = static_cast<Borrowed>(source.in());
    }

    operator Stored() const { return _slot; }
    typename Element::ConstReference in() const { return _slot; }
    Stored operator->() const { return _slot; }

private:
    Stored& _slot;
    bool _release;
};

// Strings, released through CORBA_string_free.
struct TRXStringElement {
    using Stored = char*;
    using Reference = TRXPointerElement<TRXStringElement>;
    using ConstReference = const char*;
    static constexpr bool plain = false;
    static constexpr bool pointer = true;
    static constexpr CORBA_ULong minimumOctets = 4;

    static char* copy(const char* string) { return CORBA_string_dup(string); }
    static void free(char*& string) { CORBA_string_free(std::exchange(string, nullptr)); }
    static void read(TRXistream& stream, char*& string) { harbolance::readOver(stream, string); }
    static void write(TRXostream& stream, const char* string) { stream << string; }
};
