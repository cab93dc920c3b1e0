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

// The core of one object; its count is that of the object. One of the two halves is there and makes the
// object a stub or a servant.
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

    bool _deactivated = false; // and nothing has saved the object since
};

// The root of every object reference, for a stub in a client as for a servant in a server. Interfaces derive
// from it virtually. Objects live on the heap, begin with one reference and die with the last one.
//
// Some operations may call the object's server: they wait as every call does (invoke/stub/vstub.h) and raise
// what a call raises, unless they say otherwise. The others never leave the process.
class CORBA_Object {
public:
    CORBA_Object(const CORBA_Object&) = delete;
    CORBA_Object& operator=(const CORBA_Object&) = delete;

    // The type of the object in this process: its most derived interface that is known here.
    virtual const CORBA_TypeInfo* _type_info() const;
    // This object as `target`, without a reference for the caller, or null. For a stub of another type the
    // server may be asked, and a new stub is made.
    virtual void* _cast(const CORBA_TypeInfo* target);
    virtual CORBA_MarshalOutBuffer* _prepare_reply(void* pdata); // for skeletons
    // A servant leaves its adapters before it is destroyed.
    virtual ~CORBA_Object();
    // Makes a servant one object of a service: `name` with `id`, which is not in any adapter yet.
    virtual void _service(const char* name, const CORBA_OctetSequence& id);
    // The steps of a generated stub: a request for its arguments, the one-way and the two-way call. A class
    // may send its calls elsewhere by overriding them. What is returned is the caller's.
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
    // See CORBA_ORB::bind; a null `orb` stands for the process's. The caller owns the reference.
    static CORBA_Object* _bind(const char* rep_id, const char* object_name = nullptr,
                               const char* host_name = nullptr, const CORBA_BindOptions* options = nullptr,
                               CORBA_ORB* orb = nullptr);

    CORBA_ULong _ref_count() const { return _impl->_refcount(); }
    CORBA_Boolean _is_local() const { return _impl->is_local(); } // a servant
    CORBA_Boolean _is_bound() const;                              // a servant, or a stub that has been bound
    CORBA_Boolean _is_persistent() const; // a servant that has a name or is of a service
    const char* _interface_name() const;  // the repository id
    const char* _object_name() const;     // may be null or empty
    // For a servant before it enters an adapter: an object without a name is transient.
    void _object_name(const char* name);
    // Of a stub what goes out with its requests, of a servant whoever sent the request that is being served.
    // The first two results are the caller's.
    CORBA_OctetSequence* _principal() const;
    static CORBA_OctetSequence* _default_principal();
    void _principal(const CORBA_OctetSequence* principal);
    static void _default_principal(const CORBA_OctetSequence* principal);
    // A copy for the caller, null for a servant.
    CORBA_BindOptions* _bind_options() const;
    void _bind_options(const CORBA_BindOptions& options);
    static CORBA_BindOptions* _default_bind_options();
    static void _default_bind_options(const CORBA_BindOptions& options);
    CORBA_BOA* _boa() const; // of a servant, or the process's; null when there is none
    // A copy of what a servant is registered as, or null; a stub raises CORBA_NO_PERMISSION.
    CORBA_ImplementationDef* _get_implementation() const;

    CORBA_ULong
    _hash(CORBA_ULong maximum) const; // below `maximum`, unless that is 0; of names, without a call
    // Whether both are known to be one object: the same servant, or stubs of equal references.
    CORBA_Boolean _is_equivalent(CORBA_Object* other) const;
    // These may call the server. A call that fails makes `_is_a` false and `_non_existent` true; a server
    // that refuses the question exists.
    CORBA_Boolean _is_a(const char* rep_id);
    CORBA_Boolean _non_existent();
    // The interface's definition in the interface repository: the caller's, nil when the server cannot tell.
    // CORBA_INTF_REPOS when this process knows no repository.
    CORBA_Object* _interface();
    // An initial reference of the process that the object is in. CORBA_ORB_InvalidName when it has none.
    CORBA_Object* _resolve_reference(const char* name);

    TRXObjectImpl* _object_impl() const { return _impl; }

    // Gives one reference back; null is accepted.
    friend void CORBA_release(CORBA_Object* object);

protected:
    // A stub or a servant. What is called when the process has no calls or adapters raises CORBA_INITIALIZE.
    explicit CORBA_Object(bool isStub = false);
    explicit CORBA_Object(TRXObjectImpl* impl) : _impl(impl) {}

private:
    TRXObjectImpl* _impl;
};

using CORBA_Object_ptr = CORBA_Object*;
using CORBA_Object_var = TRXVar<CORBA_Object>;

void CORBA_release(CORBA_Object* object);
inline bool CORBA_is_nil(const CORBA_Object* object) { return object == nullptr; }

// On cout, cerr and clog a readable line, on any other stream the stringified reference.
std::ostream& operator<<(std::ostream& stream, CORBA_Object* object);

// References as elements of a sequence (sequence.h). `Interface` has a `_duplicate` of its own and the stream
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
