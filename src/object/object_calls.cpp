#include "marshal/exception/orb_exceptions.h"
#include "object/corba_orb.h"
#include "object/vobject.h"
#include "object/vtypeinf.h"

// The operations that every interface inherits from CORBA_Object: the calls of the client and the skeletons
// of the server.

using namespace harbolance;

namespace {

constinit CORBA_ORB* current = nullptr;

CORBA_ORB& startedORB() {
    if (!current)
        throw CORBA_INITIALIZE();
    return *current;
}

} // namespace

CORBA_ORB* harbolance::currentORB() { return current; }
void harbolance::setCurrentORB(CORBA_ORB* orb) { current = orb; }

CORBA_Object* CORBA_Object::_bind(const char* rep_id, const char* object_name, const char* host_name,
                                  const CORBA_BindOptions* options, CORBA_ORB* orb) {
    return (orb ? *orb : startedORB()).bind(rep_id, object_name, host_name, options);
}

[[gnu::hot]] CORBA_MarshalOutBuffer* CORBA_Object::_stub_request(const char* operation,
                                                                 CORBA_Boolean responseExpected) {
    return _impl->stub->create_request(operation, responseExpected);
}

[[gnu::hot]] void CORBA_Object::_stub_send(CORBA_MarshalOutBuffer* request) {
    _impl->stub->send_oneway(request);
}

[[gnu::hot]] CORBA_MarshalInBuffer* CORBA_Object::_stub_invoke(CORBA_MarshalOutBuffer* request) {
    return _impl->stub->invoke(request);
}

namespace {

// Makes one two-way call: `write` writes the arguments to the request, `read` reads the result from the
// reply. A request served during the wait may release the object.
template <class Write, class Read>
void call(CORBA_Object& object, const char* operation, Write write, Read read) {
    const CORBA_Object_var held(CORBA_Object::_duplicate(&object));
    const CORBA_MarshalOutBuffer_var request(object._stub_request(operation, 1));
    write(*request);
    const CORBA_MarshalInBuffer_var reply(object._stub_invoke(request.in()));
    // An interceptor may end a call without a reply; the result then keeps its initial value.
    if (reply.in())
        read(*reply);
}

void writeNothing(CORBA_MarshalOutBuffer&) {}

} // namespace

CORBA_Boolean CORBA_Object::_is_a(const char* rep_id) {
    // When both types are known in this process, no call may be needed.
    const CORBA_TypeInfo* asked = CORBA_TypeInfo::lookup(rep_id);
    const CORBA_TypeInfo* own = CORBA_TypeInfo::lookup(_interface_name());
    if (asked && own && (*asked == *own || own->is_a(asked, false)))
        return 1;
    if (_impl->skel)
        return 0;
    CORBA_Octet answer = 0;
    try {
        call(
            *this, "_is_a", [rep_id](auto& request) { request << rep_id; },
            [&answer](auto& reply) { reply >> answer; });
    } catch (const CORBA_Exception&) {
        // When the server cannot be asked the answer is "no", since the caller could not use the object as
        // that type.
        return 0;
    }
    return answer;
}

CORBA_Boolean CORBA_Object::_non_existent() {
    if (_impl->skel)
        return 0;
    CORBA_Octet answer = 0;
    try {
        call(*this, "_non_existent", writeNothing, [&answer](auto& reply) { reply >> answer; });
    } catch (const CORBA_NO_PERMISSION&) {
        // A server that refuses the operation exists, and so does its object.
        return 0;
    } catch (const CORBA_SystemException&) {
        return 1;
    }
    return answer;
}

CORBA_Object* CORBA_Object::_interface() {
    CORBA_Object_var answer;
    if (_impl->stub) {
        try {
            call(*this, "_interface", writeNothing, [&answer](auto& reply) { reply >> answer.inout(); });
        } catch (const CORBA_SystemException&) {
            return nullptr;
        }
        return answer._retn();
    }
    // The operations of the repository come with its client. startedORB raises CORBA_INITIALIZE when there is
    // no ORB, which has precedence over the missing repository.
    startedORB();
    throw CORBA_INTF_REPOS();
}

CORBA_Object* CORBA_Object::_resolve_reference(const char* name) {
    if (_impl->skel) {
        CORBA_Object_var resolved(startedORB().resolve_initial_references(name));
        // A servant outside any adapter cannot be called by other processes, so a reference to it would be
        // useless.
        if (resolved.in() && resolved->_impl->skel && !resolved->_impl->skel->is_in_adapter())
            throw CORBA_ORB_InvalidName();
        return resolved._retn();
    }
    // Held over all attempts: a request served during a wait may release the object.
    const CORBA_Object_var held(CORBA_Object::_duplicate(this));
    for (;;) {
        try {
            CORBA_Object_var answer;
            call(
                *this, "_resolve_reference", [name](auto& request) { request << name; },
                [&answer](auto& reply) { reply >> answer.inout(); });
            return answer._retn();
        } catch (const CORBA_TRANSIENT&) {
            // The stub has been redirected; the request is built again for the new place.
            continue;
        } catch (const CORBA_BAD_PARAM&) {
            throw CORBA_ORB_InvalidName();
        }
    }
}

// --- The skeleton ------------------------------------------------------------------------------------------

namespace {

CORBA_Object& servant(void* object) { return *static_cast<CORBA_Object*>(object); }

void isA(void* object, CORBA_MarshalInBuffer& arguments, CORBA_OctetSequence*, const char*, void* pdata) {
    CORBA_String_var id;
    arguments >> id;
    // Called before the reply is begun, here and in the skeletons below: an exception needs a reply with
    // another header.
    const CORBA_Boolean result = servant(object)._is_a(id.in());
    *servant(object)._prepare_reply(pdata) << result;
}

void hash(void* object, CORBA_MarshalInBuffer& arguments, CORBA_OctetSequence*, const char*, void* pdata) {
    CORBA_ULong maximum = 0;
    arguments >> maximum;
    const CORBA_ULong result = servant(object)._hash(maximum);
    *servant(object)._prepare_reply(pdata) << result;
}

void nonExistent(void* object, CORBA_MarshalInBuffer&, CORBA_OctetSequence*, const char*, void* pdata) {
    const CORBA_Boolean result = servant(object)._non_existent();
    *servant(object)._prepare_reply(pdata) << result;
}

void interfaceOf(void* object, CORBA_MarshalInBuffer&, CORBA_OctetSequence*, const char*, void* pdata) {
    const CORBA_Object_var result(servant(object)._interface());
    *servant(object)._prepare_reply(pdata) << result.in();
}

void acceptBind(void* object, CORBA_MarshalInBuffer&, CORBA_OctetSequence*, const char*, void* pdata) {
    servant(object)._prepare_reply(pdata);
}

// A one-way notification, ignored: clients are not counted.
void acceptUnbind(void*, CORBA_MarshalInBuffer&, CORBA_OctetSequence*, const char*, void*) {}

void resolveReference(void* object, CORBA_MarshalInBuffer& arguments, CORBA_OctetSequence*, const char*,
                      void* pdata) {
    CORBA_String_var name;
    arguments >> name;
    const CORBA_Object_var result(servant(object)._resolve_reference(name.in()));
    *servant(object)._prepare_reply(pdata) << result.in();
}

constexpr TRXMethod operations[] = {
    {"_is_a", isA},
    {"_hash", hash},
    {"_non_existent", nonExistent},
    {"_interface", interfaceOf},
    {"__bind", acceptBind},
    {"__unbind", acceptUnbind},
    {"_resolve_reference", resolveReference},
};

// The stub for an object whose interface this process does not know.
class PlainStub final : public CORBA_Object {
public:
    PlainStub() : CORBA_Object(true) {}
};

CORBA_Object* makeStub() { return new PlainStub; }

// This table is merged into the table of every interface, after its own operations.
const CORBA_TypeInfo skeletonHalf("CORBA::Object", std::size(operations), operations);

} // namespace

const CORBA_TypeInfo CORBA_Object_type("CORBA::Object", "IDL:omg.org/CORBA/Object:1.0", makeStub);
