#pragma once

#include "marshal/exception/vexcept.h"

#include <utility>

namespace harbolance {

// Owns a struct or union on the heap, or nothing. Assigning a plain pointer takes ownership, assigning a
// value or a holder copies. Using the value of an empty holder raises CORBA_BAD_PARAM.
template <class T>
class ValueVar {
public:
    ValueVar() = default;
    ValueVar(T* owned) : _value(owned) {}
    ValueVar(const T& value) : _value(new T(value)) {}
    ValueVar(const ValueVar& other) : _value(copied(other._value)) {}
    ValueVar(ValueVar&& other) noexcept : _value(std::exchange(other._value, nullptr)) {}
    ~ValueVar() { delete _value; }

    ValueVar& operator=(T* owned) {
        delete std::exchange(_value, owned);
        return *this;
    }
    ValueVar& operator=(const T& value) { return *this = new T(value); }
    ValueVar& operator=(const ValueVar& other) { return *this = copied(other._value); }
    ValueVar& operator=(ValueVar&& other) noexcept {
        std::swap(_value, other._value);
        return *this;
    }

    T* operator->() { return &held(); }
    const T* operator->() const { return &held(); }
    T& operator*() { return held(); }
    const T& operator*() const { return held(); }
    operator T&() { return held(); }
    operator const T&() const { return held(); }

    const T& in() const { return held(); }
    T& inout() { return held(); }
    T* ptr() const { return _value; } // borrowed

protected:
    T* _value = nullptr;

private:
    static T* copied(const T* value) { return value ? new T(*value) : nullptr; }
    T& held() const {
        if (!_value)
            throw CORBA_BAD_PARAM();
        return *_value;
    }
};

// For types of fixed size: out arguments and results are values.
template <class T>
class FixedVar : public ValueVar<T> {
public:
    using ValueVar<T>::ValueVar;
    using ValueVar<T>::operator=;

    T& out() {
        *this = new T();
        return *this->_value;
    }
    T _retn() { return std::move(this->inout()); }
};

// For types of variable size: out arguments and results are pointers, owned by the receiver.
template <class T>
class VariableVar : public ValueVar<T> {
public:
    using ValueVar<T>::ValueVar;
    using ValueVar<T>::operator=;

    // Frees the value held and returns the null pointer by reference. The holder owns the value that is
    // stored there.
    T*& out() {
        *this = static_cast<T*>(nullptr);
        return this->_value;
    }
    T* _retn() { return std::exchange(this->_value, nullptr); } // the caller owns the value
};

} // namespace harbolance
