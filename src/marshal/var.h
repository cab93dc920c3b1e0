#pragma once

#include "marshal/types.h"

#include <concepts>
#include <utility>

// What lends a pointer and keeps it, such as a holder or an element of a sequence. `Self`, which is something
// else, copies from it where it would adopt a plain pointer.
template <class Lender, class Pointer, class Self>
concept TRXLends = requires(const Lender& lender) {
    { lender.in() } -> std::convertible_to<Pointer>;
}
&&!std::derived_from<Lender, Self>;

// Owns one reference to an object, sequence or buffer, or nothing. From a `T*` it takes the reference over; a
// copy adds one. T has a static `_duplicate(T*)`, and `CORBA_release(T*)` gives a reference back; both accept
// null. A plain `T*` (a `_ptr`) never owns.
template <class T>
class TRXVar {
public:
    TRXVar() = default;
    TRXVar(T* owned) : _ptr(owned) {}
    TRXVar(const TRXVar& other) : _ptr(duplicated(other._ptr)) {}
    TRXVar(TRXVar&& other) noexcept : _ptr(std::exchange(other._ptr, nullptr)) {}
    template <TRXLends<T*, TRXVar> Lender>
    explicit TRXVar(const Lender& lender) : _ptr(duplicated(lender.in())) {}
    ~TRXVar() { CORBA_release(_ptr); }

    TRXVar& operator=(T* owned) {
        if (T* old = std::exchange(_ptr, owned))
            CORBA_release(old);
        return *this;
    }
    TRXVar& operator=(const TRXVar& other) { return *this = duplicated(other._ptr); }
    TRXVar& operator=(TRXVar&& other) noexcept {
        std::swap(_ptr, other._ptr);
        return *this;
    }
    template <TRXLends<T*, TRXVar> Lender>
    TRXVar& operator=(const Lender& lender) {
        return *this = duplicated(lender.in());
    }

    operator T*() const { return _ptr; } // the reference stays the holder's
    T* operator->() const { return _ptr; }
    T& operator*() const { return *_ptr; }
    // The element of a sequence.
    template <class Index>
    requires requires(T& object, Index index) { object[index]; }
    decltype(auto) operator[](Index index) const { return (*_ptr)[index]; }
    T* in() const { return _ptr; }
    T*& inout() { return _ptr; }
    // Releases what is held; whoever fills the place gives its reference to the holder.
    T** out() {
        *this = static_cast<T*>(nullptr);
        return &_ptr;
    }
    T* _retn() { return std::exchange(_ptr, nullptr); } // gives the reference to the caller

private:
    static T* duplicated(T* object) { return static_cast<T*>(T::_duplicate(object)); }

    T* _ptr = nullptr;
};
