#pragma once

#include "marshal/any/any.h"
#include "object/vobject.h"
#include "object/vtypeinf.h"

#include <concepts>

namespace harbolance {

// What TRX_INTERFACE below is made of.

template <class Self>
Self* bound(const char* object_name, const char* host_name, const CORBA_BindOptions* options,
            CORBA_ORB* orb) {
    const CORBA_Object_var object(
        CORBA_Object::_bind(Self::_type.id(), object_name, host_name, options, orb));
    return Self::_narrow(object.in());
}

// The object as one of its own interfaces, or null.
template <class Self, class... Bases>
void* upcast(Self* object, const CORBA_TypeInfo* target) {
    // A pointer to the very class becomes a void*: with virtual bases each class has another address.
    if (*target == Self::_type)
        return object;
    void* found = nullptr;
    // Depth first, up to the first that has it; virtual bases make all paths lead to the same object. The
    // root is asked by _cast(), since it may call the server.
    [[maybe_unused]] const auto in = [&]<class Base>(Base* base) {
        if constexpr (!std::same_as<Base, CORBA_Object>)
            found = base->_upcast(target);
        return found != nullptr;
    };
    (void)(in(static_cast<Bases*>(object)) || ...);
    return found;
}

// The object that stands for one of a server.
struct AsStub {};
template <class Self>
CORBA_Object* makeStub() {
    return new Self(AsStub());
}

// A reference as `T`, taken from one that is the caller's. What is of another interface raises
// CORBA_INV_OBJREF.
template <class T>
T* narrowed(CORBA_Object_var object) {
    T* const result = T::_narrow(object);
    // Nil is of every interface.
    if (object.in() && !result)
        throw CORBA_INV_OBJREF();
    return result;
}

template <class T>
concept InterfaceClass = std::derived_from<T, CORBA_Object> && requires {
    T::_type;
};

} // namespace harbolance

// What the class of an interface has beside its operations. It stands first in the class, which derives from
// the classes of the interfaces that it inherits from, or from CORBA_Object, all of them virtual bases, and
// which has its type information record as the static member `_type`:
//
//     class Savings : public virtual Account {
//     public:
//         TRX_INTERFACE(Savings, Account)
//         virtual CORBA_Double rate();
//         static const CORBA_TypeInfo _type;
//
// `_duplicate`: one more reference; null gives null. `_narrow`: one more reference to the object as one of
// this interface, null when it is none. `_bind`: the object of this interface and name, on that host, see
// CORBA_ORB::bind; the caller owns the reference. `_cast` asks the server behind all its interfaces, once.
//
// This is no base class: each base with virtual functions costs every class below it a table of its own.
#define TRX_INTERFACE(Self, ...)                                                                             \
    static Self* _duplicate(Self* object) {                                                                  \
        CORBA_Object::_duplicate(object);                                                                    \
        return object;                                                                                       \
    }                                                                                                        \
    static Self* _nil() { return nullptr; }                                                                  \
    static Self* _narrow(CORBA_Object* object) {                                                             \
        return object ? _duplicate(static_cast<Self*>(object->_cast(&_type))) : nullptr;                     \
    }                                                                                                        \
    static Self* _bind(const char* object_name = nullptr, const char* host_name = nullptr,                   \
                       const CORBA_BindOptions* options = nullptr, CORBA_ORB* orb = nullptr) {               \
        return harbolance::bound<Self>(object_name, host_name, options, orb);                                \
    }                                                                                                        \
    const CORBA_TypeInfo* _type_info() const override { return &_type; }                                     \
    void* _cast(const CORBA_TypeInfo* target) override {                                                     \
        void* const found = _upcast(target);                                                                 \
        return found ? found : CORBA_Object::_cast(target);                                                  \
    }                                                                                                        \
    void* _upcast(const CORBA_TypeInfo* target) {                                                            \
        return harbolance::upcast<Self, __VA_ARGS__>(this, target);                                          \
    }                                                                                                        \
                                                                                                             \
protected:                                                                                                   \
    Self() = default;                                                                                        \
    explicit Self(harbolance::AsStub) : CORBA_Object(true) {}                                                \
    template <class Stub>                                                                                    \
    friend CORBA_Object* harbolance::makeStub();                                                             \
                                                                                                             \
public:

// The caller owns the new reference; the old pointer is overwritten. It is null when the stream raises, which
// it does with CORBA_INV_OBJREF for an object of another interface.
template <harbolance::InterfaceClass T>
TRXistream& operator>>(TRXistream& stream, T*& object) {
    // Set at once, so that a stream that raises does not leave the caller a pointer it does not own.
    object = nullptr;
    CORBA_Object* read = nullptr;
    read_reference(stream, read, &T::_type);
    object = harbolance::narrowed<T>(read);
    return stream;
}

// False, with the pointer untouched, for what is no reference or one of another interface.
template <harbolance::InterfaceClass T>
bool operator>>=(const CORBA_Any& any, T*& object) {
    CORBA_Object* held = nullptr;
    if (!(any >>= held))
        return false;
    // The Any has given a reference, which is released here; _narrow() has made one for the caller.
    const CORBA_Object_var reference(held);
    T* const narrow = T::_narrow(held);
    if (held && !narrow)
        return false;
    object = narrow;
    return true;
}
