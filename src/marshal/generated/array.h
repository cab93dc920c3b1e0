#pragma once

#include "marshal/sequence/sequence_element.h"

#include <algorithm>
#include <utility>

// Support for arrays of one or more dimensions. In C++ they are plain arrays, which have no stream or Any
// operators of their own; these classes add them.

namespace harbolance {

template <class Array>
using SliceOf = std::remove_extent_t<Array>;

// The innermost elements of an array of any dimensions; they are contiguous.
template <class Array>
class ArrayElements {
public:
    using Element = std::remove_all_extents_t<Array>;
    static constexpr auto count = static_cast<CORBA_ULong>(sizeof(Array) / sizeof(Element));

    static Element* first(SliceOf<Array>* array) { return reinterpret_cast<Element*>(array); }
    static const Element* first(const SliceOf<Array>* array) {
        return reinterpret_cast<const Element*>(array);
    }

    static void copy(SliceOf<Array>* to, const SliceOf<Array>* from) {
        std::copy_n(first(from), count, first(to));
    }
    static void write(TRXostream& stream, const SliceOf<Array>* array) {
        // Numbers are written in one block. `char` is written as raw octets, for which streams have no array
        // operation.
        if constexpr (isArrayElement<Element>) {
            stream.write(first(array), count);
        } else if (std::is_same_v<Element, CORBA_Char> && !stream.stream()) {
            stream.write_raw(reinterpret_cast<const char*>(array), count);
        } else {
            for (CORBA_ULong i = 0; i < count; ++i)
                stream << first(array)[i];
        }
    }
    static void read(TRXistream& stream, SliceOf<Array>* array) {
        if constexpr (isArrayElement<Element>) {
            stream.read(first(array), count);
        } else if (std::is_same_v<Element, CORBA_Char> && !stream.stream()) {
            stream.read_raw(reinterpret_cast<char*>(array), count);
        } else {
            for (CORBA_ULong i = 0; i < count; ++i)
                stream >> first(array)[i];
        }
    }
};

// An array as an operand of a stream's `<<` and `>>`. It refers to the caller's array.
template <class Array>
class ArrayRef {
public:
    using Slice = SliceOf<Array>;

    ArrayRef(Slice* array) : _array(array) {}
    Slice* slice() const { return _array; }
    void assign(const Slice* from) const { ArrayElements<Array>::copy(_array, from); }

private:
    Slice* _array;
};

template <class T, size_t length>
ArrayRef<T[length]> elements(T (&array)[length]) {
    return array;
}
template <class T, size_t length>
ArrayRef<T[length]> elements(const T (&array)[length]) { // for writing only
    return const_cast<T*>(array);
}

template <class Array>
TRXostream& operator<<(TRXostream& stream, const ArrayRef<Array>& array) {
    ArrayElements<Array>::write(stream, array.slice());
    return stream;
}
template <class Array>
TRXistream& operator>>(TRXistream& stream, const ArrayRef<Array>& array) {
    ArrayElements<Array>::read(stream, array.slice());
    return stream;
}

// Implement `X_alloc`, `X_dup`, `X_copy` and `X_free` of an array type.
template <class Array>
SliceOf<Array>* allocateArray() {
    // `new` of an array type gives a pointer to its first slice, which `delete[]` accepts.
    return new Array();
}
template <class Array>
void copyArray(SliceOf<Array>* to, const SliceOf<Array>* from) {
    if (to && from)
        ArrayElements<Array>::copy(to, from);
}
template <class Array>
SliceOf<Array>* duplicateArray(const SliceOf<Array>* array) {
    if (!array)
        return nullptr;
    SliceOf<Array>* copy = allocateArray<Array>();
    copyArray<Array>(copy, array);
    return copy;
}
template <class Array>
void freeArray(SliceOf<Array>* array) {
    delete[] array;
}

// Owns an array on the heap, or nothing. Assigning a plain pointer takes ownership, assigning a holder
// copies.
template <class Array>
class ArrayVar {
public:
    using Slice = SliceOf<Array>;

    ArrayVar() = default;
    ArrayVar(Slice* owned) : _array(owned) {}
    ArrayVar(const ArrayVar& other) : _array(duplicateArray<Array>(other._array)) {}
    ArrayVar(ArrayVar&& other) noexcept : _array(std::exchange(other._array, nullptr)) {}
    ~ArrayVar() { freeArray<Array>(_array); }

    ArrayVar& operator=(Slice* owned) {
        freeArray<Array>(std::exchange(_array, owned));
        return *this;
    }
    ArrayVar& operator=(const ArrayVar& other) { return *this = duplicateArray<Array>(other._array); }
    ArrayVar& operator=(ArrayVar&& other) noexcept {
        std::swap(_array, other._array);
        return *this;
    }

    operator Slice*() const { return _array; } // borrowed
    const Slice* in() const { return _array; }
    Slice* inout() { return _array; }
    // Frees the array held and returns the null pointer by reference. The holder owns the array that is
    // stored there.
    Slice*& out() {
        *this = static_cast<Slice*>(nullptr);
        return _array;
    }
    Slice* _retn() { return std::exchange(_array, nullptr); } // the caller owns the array

private:
    Slice* _array = nullptr;
};

// An array as an element of a sequence. The result of `operator[]` is used like the array itself.
template <class Array>
struct ArrayElement {
    struct Stored {
        Array array{};
        operator Array&() { return array; }
        operator const Array&() const { return array; }
    };
    using Reference = Array&;
    using ConstReference = const Array&;
    static constexpr bool plain = false;
    static constexpr bool pointer = false;
    static constexpr CORBA_ULong minimumOctets =
        ArrayElements<Array>::count * TRXValueElement<std::remove_all_extents_t<Array>>::minimumOctets;

    static const Stored& copy(const Stored& stored) { return stored; }
    static void free(Stored&) {}
    static void read(TRXistream& stream, Stored& stored) { stream >> elements(stored.array); }
    static void write(TRXostream& stream, const Stored& stored) { stream << elements(stored.array); }
};

} // namespace harbolance
