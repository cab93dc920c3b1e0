#pragma once

#include "base/refcount.h"
#include "marshal/reference/object_operations.h"
#include "marshal/sequence/sequence_element.h"
#include "marshal/var.h"

#include <memory>

// The life of an object: how references to it are counted, and when it dies. What an object does, as a stub
// that sends requests or as a servant that takes them, is added from above as its role.

namespace harbolance {

// What makes an object of a reference with profiles, for TRXUtil::convert: the layer that has stubs and
// adapters sets it. Without one every such reference raises CORBA_INITIALIZE.
using ReferenceConverter = CORBA_Object* (*)(const IOP::IOR& ior, const CORBA_TypeInfo* info,
                                             CORBA_Boolean connect, CORBA_Boolean localFlag,
                                             CORBA_Boolean skipLocal);
ReferenceConverter setReferenceConverter(ReferenceConverter converter); // returns the one before

} // namespace harbolance

// The half that makes an object a stub or a servant. Upper layers derive one class for each. Texts and
// references that are handed out live as long as the role.
class TRXObjectRole {
public:
    TRXObjectRole() = default;
    TRXObjectRole(const TRXObjectRole&) = delete;
    TRXObjectRole& operator=(const TRXObjectRole&) = delete;
    virtual ~TRXObjectRole();

    virtual const char* interface_name() const = 0; // the repository id; may be empty
    virtual const char* type_name() const = 0;      // the scoped name of the type in this process, "A::B"
    // What is written for the object. Raises CORBA_INV_OBJREF when there is nothing a peer could use.
    virtual const IOP::IOR& ior() = 0;
    // The last reference is about to go: take the object out of whatever would still find it. May run code of
    // the servant, and may leave the object with a new reference, which saves it. An object that is destroyed
    // by other means than its last release cannot be saved. What is raised stops nothing.
    virtual void deactivate(CORBA_Object& object);
};

// The core of one object. Its count is that of the object.
class TRXObjectImpl final : public TRXResource {
public:
    enum Kind : CORBA_ULong { stub = 0, server = 1 };

    TRXObjectImpl(Kind kind, std::unique_ptr<TRXObjectRole> role) : _kind(kind), _role(std::move(role)) {}

    Kind kind() const { return _kind; }
    TRXObjectRole& role() const { return *_role; }

private:
    friend class CORBA_Object;
    friend void CORBA_release(CORBA_Object* object);
    void deactivate(CORBA_Object& object);

    Kind _kind;
    bool _deactivated = false; // and nothing has saved the object since
    std::unique_ptr<TRXObjectRole> _role;
};

// The root of every object reference. Interfaces derive from it virtually. Objects live on the heap, begin
// with one reference and die with the last one.
class CORBA_Object {
public:
    CORBA_Object(const CORBA_Object&) = delete;
    CORBA_Object& operator=(const CORBA_Object&) = delete;
    virtual ~CORBA_Object();

    // One more reference. Null gives null.
    static CORBA_Object* _duplicate(CORBA_Object* object) {
        if (object)
            object->_impl->_add_ref();
        return object;
    }
    static CORBA_Object* _nil() { return nullptr; }

    CORBA_ULong _ref_count() const { return _impl->_refcount(); }
    bool _is_local() const { return _impl->kind() == TRXObjectImpl::server; }
    const char* _interface_name() const { return _impl->role().interface_name(); }
    TRXObjectImpl* impl() const { return _impl; }

    // The interface of the object's class, and the object as the class of an interface: null when it is not
    // of that class.
    virtual const CORBA_TypeInfo* _type_info() const;
    virtual void* _cast(const CORBA_TypeInfo* target);

    // Gives one reference back; null is accepted. A servant leaves its adapters before it is destroyed.
    friend void CORBA_release(CORBA_Object* object);

protected:
    // For the classes of interfaces. The class of the object itself calls the other one.
    CORBA_Object() : CORBA_Object(TRXObjectImpl::stub, nullptr) {}
    CORBA_Object(TRXObjectImpl::Kind kind, std::unique_ptr<TRXObjectRole> role)
        : _impl(new TRXObjectImpl(kind, std::move(role))) {}

private:
    TRXObjectImpl* _impl;
};

using CORBA_Object_ptr = CORBA_Object*;
using CORBA_Object_var = TRXVar<CORBA_Object>;

void CORBA_release(CORBA_Object* object);
inline bool CORBA_is_nil(const CORBA_Object* object) { return object == nullptr; }

// References as elements of a sequence (sequence.h). `Interface` has a `_duplicate` of
// its own and the stream operators.
template <class Interface>
struct TRXObjectElement {
    using Stored = Interface*;
    using Reference = TRXPointerElement<TRXObjectElement>;
    using ConstReference = Interface*;
    static constexpr bool plain = false;
    static constexpr bool pointer = true;
    static constexpr CORBA_ULong minimumOctets = 8; // the lengths of an IOR's type id and of its profiles

    static Interface* copy(Interface* object) { return Interface::_duplicate(object); }
    static void free(Interface*& object) { CORBA_release(std::exchange(object, nullptr)); }
    static void read(TRXistream& stream, Interface*& object) {
        free(object);
        stream >> object;
    }
    static void write(TRXostream& stream, Interface* object) { stream << object; }
};
