#pragma once

#include "marshal/any/any.h"
#include "object/vobject.h"
#include "object/vtypeinf.h"

#include <concepts>

namespace harbolance {

// Implementation of TRX_INTERFACE (below).

template <class Self>
Self* bound(const char* object_name, const char* host_name, const CORBA_BindOptions* options,
            CORBA_ORB* orb) {
    const CORBA_Object_var object(
        CORBA_Object::_bind(Self::_type.id(), object_name, host_name, options, orb));
    return Self::_narrow(object.in());
}

// The object as a pointer to the class of `target`; null when that is neither Self nor one of its bases.
template <class Self, class... Bases>
void* upcast(Self* object, const CORBA_TypeInfo* target) {
    // Converted from the exact class to void*, because with virtual bases each class has another address.
    if (*target == Self::_type)
        return object;
    void* found = nullptr;
    // Searches the bases depth first. Virtual bases make all paths lead to the same object. CORBA_Object
    // itself is left to _cast(), which may call the server.
    [[maybe_unused]] const auto in = [&]<class Base>(Base* base) {
        if constexpr (!std::same_as<Base, CORBA_Object>)
            found = base->_upcast(target);
        return found != nullptr;
    };
    (void)(in(static_cast<Bases*>(object)) || ...);
    return found;
}

// Tag of the constructors that make a stub.
struct AsStub {};
template <class Self>
CORBA_Object* makeStub() {
    return new Self(AsStub());
}

// Narrows a reference that the caller owns to `T`, and returns a new reference. An object of another
// interface raises CORBA_INV_OBJREF.
template <class T>
T* narrowed(CORBA_Object_var object) {
    T* const result = T::_narrow(object);
    // Nil can be narrowed to every interface.
    if (object.in() && !result)
        throw CORBA_INV_OBJREF();
    return result;
}

template <class T>
concept InterfaceClass = std::derived_from<T, CORBA_Object> && requires {
    T::_type;
};

} // namespace harbolance

// Declares what every interface class has beside its operations. It must come first in the class. The class
// derives from the classes of its base interfaces, or from CORBA_Object, as virtual bases, and has its type
// information as the static member `_type`:
//
//     class Savings : public virtual Account {
//     public:
//         TRX_INTERFACE(Savings, Account)
//         virtual CORBA_Double rate();
//         static const CORBA_TypeInfo _type;
//
// `_duplicate`: returns one more reference; null gives null. `_narrow`: returns one more reference, of this
// interface, or null when the object does not have it. `_bind`: binds by name, see CORBA_ORB::bind; the
// caller owns the reference. `_cast` searches all interfaces first and asks the server at most once.
//
// A macro, not a base class: each base with virtual functions would add a virtual table to every derived
// class.
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

// Reads a reference, which the caller owns; the old pointer is overwritten, not released. It is null when the
// stream raises. An object of another interface raises CORBA_INV_OBJREF.
template <harbolance::InterfaceClass T>
TRXistream& operator>>(TRXistream& stream, T*& object) {
    // Set first, so that the caller has no dangling pointer when the stream raises.
    object = nullptr;
    CORBA_Object* read = nullptr;
    read_reference(stream, read, &T::_type);
    object = harbolance::narrowed<T>(read);
    return stream;
}

// False, with the pointer unchanged, when the Any holds no reference or one of another interface.
template <harbolance::InterfaceClass T>
bool operator>>=(const CORBA_Any& any, T*& object) {
    CORBA_Object* held = nullptr;
    if (!(any >>= held))
        return false;
    // The extraction returned a reference, which is released here; _narrow() makes the caller's own.
    const CORBA_Object_var reference(held);
    T* const narrow = T::_narrow(held);
    if (held && !narrow)
        return false;
    object = narrow;
    return true;
}
