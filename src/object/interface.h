#pragma once

#include "marshal/any/any.h"
#include "object/vobject.h"
#include "object/vtypeinf.h"

#include <concepts>

namespace harbolance {

// Base of the class that stands for an interface. `Self` has the type information record of the interface as
// its static member `_type`; `Bases` are the classes of the interfaces that it inherits from, CORBA_Object
// where there are none.
template <class Self, class... Bases>
class Interface : public virtual Bases... {
public:
    // One more reference. Null gives null.
    static Self* _duplicate(Self* object) {
        CORBA_Object::_duplicate(object);
        return object;
    }
    static Self* _nil() { return nullptr; }
    // One more reference to the object as one of this interface, null when it is none. Null gives null.
    static Self* _narrow(CORBA_Object* object) {
        return object ? _duplicate(static_cast<Self*>(object->_cast(&Self::_type))) : nullptr;
    }
    // The object of this interface and name, on that host; see CORBA_ORB::bind. The caller owns the
    // reference.
    static Self* _bind(const char* object_name = nullptr, const char* host_name = nullptr,
                       const CORBA_BindOptions* options = nullptr, CORBA_ORB* orb = nullptr) {
        const CORBA_Object_var bound(
            CORBA_Object::_bind(Self::_type.id(), object_name, host_name, options, orb));
        return _narrow(bound.in());
    }

    const CORBA_TypeInfo* _type_info() const override { return &Self::_type; }
    void* _cast(const CORBA_TypeInfo* target) override {
        // What this process knows comes first; only then may the server be asked.
        void* const found = _upcast(target);
        return found ? found : CORBA_Object::_cast(target);
    }

    // This object as one of its own interfaces, or null. The server is asked behind all of them, once.
    void* _upcast(const CORBA_TypeInfo* target) {
        // Cast to the very class before it becomes a void*: with virtual bases each class has another
        // address.
        if (*target == Self::_type)
            return static_cast<Self*>(this);
        void* found = nullptr;
        // Depth first, up to the first that has it; virtual bases make all paths lead to the same object.
        (void)(((found = _upcastTo<Bases>(target)) != nullptr) || ...);
        return found;
    }

private:
    template <class Base>
    void* _upcastTo(const CORBA_TypeInfo* target) {
        // The root is asked by _cast(), since it may call the server.
        if constexpr (std::same_as<Base, CORBA_Object>)
            return nullptr;
        else
            return Base::_upcast(target);
    }
};

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
