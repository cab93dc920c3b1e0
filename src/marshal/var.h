#pragma once

#include "marshal/types.h"

#include <concepts>
#include <utility>

class TRXistream;
class TRXostream;

// Types with in() that expose a borrowed pointer, such as holders and elements of sequences. Assigning one to
// a `_var` copies; assigning a plain pointer takes ownership. `Self` itself has its own copy and move.
template <class Source, class Pointer, class Self>
concept TRXHasBorrowed = requires(const Source& source) {
    { source.in() } -> std::convertible_to<Pointer>;
}
&&!std::derived_from<Source, Self>;

namespace harbolance {

// A holder's pointer as an out argument: for operations that take a `T*&` or a `T**`.
template <class T>
class OutPointer {
public:
    explicit OutPointer(T*& place) : _place(&place) {}
    operator T*&() const { return *_place; }
    operator T**() const { return _place; }
    T*& operator*() const { return *_place; }

private:
    T** _place;
};

} // namespace harbolance

// Owns one reference to an object, sequence or buffer, or nothing. A `T*` is taken over; a copy adds a
// reference. T has a static `_duplicate(T*)`, and `CORBA_release(T*)` releases a reference; both accept null.
// A plain `T*` (a `_ptr`) never owns.
template <class T>
class TRXVar {
public:
    TRXVar() = default;
    TRXVar(T* owned) : _ptr(owned) {}
    TRXVar(const TRXVar& other) : _ptr(duplicated(other._ptr)) {}
    TRXVar(TRXVar&& other) noexcept : _ptr(std::exchange(other._ptr, nullptr)) {}
    template <TRXHasBorrowed<T*, TRXVar> Source>
    explicit TRXVar(const Source& source) : _ptr(duplicated(source.in())) {}
    ~TRXVar() { CORBA_release(_ptr); }

    TRXVar& operator=(T* owned) {
        // Released even if both are the same object: the caller passes a reference of its own each time.
        if (T* old = std::exchange(_ptr, owned))
            CORBA_release(old);
        return *this;
    }
    TRXVar& operator=(const TRXVar& other) { return *this = duplicated(other._ptr); }
    TRXVar& operator=(TRXVar&& other) noexcept {
        std::swap(_ptr, other._ptr);
        return *this;
    }
    template <TRXHasBorrowed<T*, TRXVar> Source>
    TRXVar& operator=(const Source& source) {
        return *this = duplicated(source.in());
    }

    operator T*() const { return _ptr; } // borrowed
    T* operator->() const { return _ptr; }
    T& operator*() const { return *_ptr; }
    // The element of a sequence.
    template <class Index>
    requires requires(T& object, Index index) { object[index]; }
    decltype(auto) operator[](Index index) const { return (*_ptr)[index]; }
    T* in() const { return _ptr; }
    T*& inout() { return _ptr; }
    // For an out argument: releases the object and returns the pointer's location. The holder owns the object
    // that is stored there.
    harbolance::OutPointer<T> out() {
        *this = static_cast<T*>(nullptr);
        return harbolance::OutPointer<T>(_ptr);
    }
    T* _retn() { return std::exchange(_ptr, nullptr); } // the caller owns the reference

private:
    static T* duplicated(T* object) { return static_cast<T*>(T::_duplicate(object)); }

    T* _ptr = nullptr;
};

// A holder is written as the object it holds.
template <class T>
requires requires(TRXostream& stream, T* object) { stream << object; }
TRXostream& operator<<(TRXostream& stream, const TRXVar<T>& holder) { return stream << holder.in(); }

// Reads a new object, which replaces the one held. The old one remains when the stream raises.
template <class T>
requires requires(TRXistream& stream, T*& object) { stream >> object; }
TRXistream& operator>>(TRXistream& stream, TRXVar<T>& holder) {
    // Read before anything is replaced.
    T* read = nullptr;
    stream >> read;
    holder = read;
    return stream;
}
