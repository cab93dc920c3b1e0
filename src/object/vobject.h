#pragma once

#include "base/refcount.h"
#include "marshal/reference/object_operations.h"
#include "marshal/sequence/sequence_element.h"
#include "marshal/var.h"
#include "object/object_halves.h"

#include <iosfwd>
#include <memory>

class CORBA_BOA;
class CORBA_ImplementationDef;
class CORBA_ORB;
class CORBA_TypeInfo;

// The core of one object, which has the object's reference count. Exactly one of the two halves exists and
// makes the object a stub or a servant.
class TRXObjectImpl final : public TRXResource {
public:
    explicit TRXObjectImpl(std::unique_ptr<harbolance::StubHalf> half) : stub(std::move(half)) {}
    explicit TRXObjectImpl(std::unique_ptr<harbolance::SkelHalf> half) : skel(std::move(half)) {}

    bool is_local() const { return skel != nullptr; }

    const std::unique_ptr<harbolance::StubHalf> stub;
    const std::unique_ptr<harbolance::SkelHalf> skel;

private:
    friend class CORBA_Object;
    friend void CORBA_release(CORBA_Object* object);
    void deactivate();

    bool _deactivated = false; // reset when the object survives its release
};

// The root class of all object references, for stubs in a client and for servants in a server. Interfaces
// derive from it virtually. Objects live on the heap, start with one reference and are destroyed with the
// last one.
//
// Some operations may call the object's server: they wait as every call does (invoke/stub/vstub.h) and raise
// the exceptions of a call, unless stated otherwise. The others are local to the process.
class CORBA_Object {
public:
    CORBA_Object(const CORBA_Object&) = delete;
    CORBA_Object& operator=(const CORBA_Object&) = delete;

    // The type of the object in this process: the most derived of its interfaces that is known here.
    virtual const CORBA_TypeInfo* _type_info() const;
    // This object as a pointer to the class of `target`, without a reference for the caller, or null. A stub
    // of another type may ask the server, and then a new stub is made.
    virtual void* _cast(const CORBA_TypeInfo* target);
    virtual CORBA_MarshalOutBuffer* _prepare_reply(void* pdata); // for skeletons
    // A servant leaves its adapters before it is destroyed.
    virtual ~CORBA_Object();
    // Makes a servant, which must not be in an adapter yet, an object of the service `name` with the id `id`.
    virtual void _service(const char* name, const CORBA_OctetSequence& id);
    // The steps of a generated stub: making a request, the one-way call and the two-way call. A derived class
    // may override them to send its calls elsewhere. The caller owns the returned buffers.
    virtual CORBA_MarshalOutBuffer* _stub_request(const char* operation, CORBA_Boolean responseExpected);
    virtual void _stub_send(CORBA_MarshalOutBuffer* request);
    virtual CORBA_MarshalInBuffer* _stub_invoke(CORBA_MarshalOutBuffer* request);

    // One more reference. Null gives null.
    static CORBA_Object* _duplicate(CORBA_Object* object) {
        if (object)
            object->_impl->_add_ref();
        return object;
    }
    static CORBA_Object* _nil() { return nullptr; }
    static CORBA_Object* _narrow(CORBA_Object* object) { return _duplicate(object); }
    // See CORBA_ORB::bind; a null `orb` stands for the process's ORB. The caller owns the reference.
    static CORBA_Object* _bind(const char* rep_id, const char* object_name = nullptr,
                               const char* host_name = nullptr, const CORBA_BindOptions* options = nullptr,
                               CORBA_ORB* orb = nullptr);

    CORBA_ULong _ref_count() const { return _impl->_refcount(); }
    CORBA_Boolean _is_local() const { return _impl->is_local(); } // a servant
    CORBA_Boolean _is_bound() const;                              // a servant, or a stub that has been bound
    CORBA_Boolean _is_persistent() const; // a servant that has a name or is of a service
    const char* _interface_name() const;  // the repository id
    const char* _object_name() const;     // may be null or empty
    // Call on a servant before it enters an adapter: an object without a name is transient.
    void _object_name(const char* name);
    // The principal: of a stub the one sent with its requests, of a servant the sender of the request being
    // served. The caller owns the first two results.
    CORBA_OctetSequence* _principal() const;
    static CORBA_OctetSequence* _default_principal();
    void _principal(const CORBA_OctetSequence* principal);
    static void _default_principal(const CORBA_OctetSequence* principal);
    // A copy, which the caller owns; null for a servant.
    CORBA_BindOptions* _bind_options() const;
    void _bind_options(const CORBA_BindOptions& options);
    static CORBA_BindOptions* _default_bind_options();
    static void _default_bind_options(const CORBA_BindOptions& options);
    CORBA_BOA* _boa() const; // the adapter of a servant, or the process's; null without any
    // A copy of a servant's definition, or null; the caller owns it. A stub raises CORBA_NO_PERMISSION.
    CORBA_ImplementationDef* _get_implementation() const;

    CORBA_ULong
    _hash(CORBA_ULong maximum) const; // below `maximum`, unless that is 0; of names, without a call
    // Whether both are known to be the same object: the same servant, or stubs with equal references. No call
    // is made.
    CORBA_Boolean _is_equivalent(CORBA_Object* other) const;
    // These may call the server. When the call fails `_is_a` is false and `_non_existent` is true; a server
    // that answers CORBA_NO_PERMISSION exists.
    CORBA_Boolean _is_a(const char* rep_id);
    CORBA_Boolean _non_existent();
    // The interface's definition in the interface repository; the caller owns it. Nil when the server cannot
    // be asked or gives none. For a servant it raises CORBA_INTF_REPOS, because this process has no
    // repository client.
    CORBA_Object* _interface();
    // An initial reference of the object's process; the caller owns it. Raises CORBA_ORB_InvalidName when it
    // has none of that name.
    CORBA_Object* _resolve_reference(const char* name);

    TRXObjectImpl* _object_impl() const { return _impl; }

    // Releases one reference; null is accepted. The last one destroys the object.
    friend void CORBA_release(CORBA_Object* object);

protected:
    // Makes a stub or a servant. Raises CORBA_INITIALIZE when the process lacks the layer of the calls or of
    // the adapters.
    explicit CORBA_Object(bool isStub = false);
    explicit CORBA_Object(TRXObjectImpl* impl) : _impl(impl) {}

private:
    TRXObjectImpl* _impl;
};

using CORBA_Object_ptr = CORBA_Object*;
using CORBA_Object_var = TRXVar<CORBA_Object>;

void CORBA_release(CORBA_Object* object);
inline bool CORBA_is_nil(const CORBA_Object* object) { return object == nullptr; }

// Prints a readable line on cout, cerr and clog, the stringified reference on any other stream.
std::ostream& operator<<(std::ostream& stream, CORBA_Object* object);

// References as elements of a sequence (sequence.h). `Interface` must have its own `_duplicate` and stream
// operators.
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
