#include "object/conversion.h"

#include "object/vobject.h"
#include "object/vtypeinf.h"

namespace harbolance {

namespace {

// False when `info` is a handle whose file's static objects are not constructed yet, or a skeleton half
// alone.
bool canMakeStubs(const CORBA_TypeInfo& info) { return info.impl() && info.impl()->hasFactory(); }

const CORBA_TypeInfo& stubTypeFor(const IOP::IOR& ior, const CORBA_TypeInfo& expected) {
    // An empty type id is allowed and says nothing about the type.
    const CORBA_TypeInfo* type = &expected;
    if (const char* id = ior.type_id.in(); id && *id) {
        // The type that the reference names is used only if it derives from the expected one: the server may
        // claim any type, and the caller relies on what it expects.
        const CORBA_TypeInfo* named = CORBA_TypeInfo::lookup(id);
        if (named && !(*named == expected) && named->is_a(&expected, false))
            type = named;
    }
    return canMakeStubs(*type) ? *type : CORBA_Object_type;
}

} // namespace

CORBA_Object* objectOf(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect,
                       CORBA_Boolean localFlag, CORBA_Boolean skipLocal) {
    CORBA_Object_var local;
    ObjectAdapters* adapters = skipLocal ? nullptr : ObjectAdapters::installed();
    if (adapters) {
        local = adapters->find(ior, localFlag != 0);
        // A forwarded object must be reached through a stub, which calls it inside this process.
        if (local.in() && !local->_object_impl()->skel->forwarded)
            return local._retn();
    }
    const CORBA_TypeInfo& type = stubTypeFor(ior, info ? *info : CORBA_Object_type);
    CORBA_Object_var stub(type.impl()->createStub());
    if (local.in())
        stub->_object_impl()->stub->bind(local.in());
    else
        stub->_object_impl()->stub->bind(ior, connect != 0);
    return wrapped(type, stub);
}

CORBA_Object* wrapped(const CORBA_TypeInfo& type, CORBA_Object_var& stub) {
    CORBA_Object* result = type.createWrappedObject(stub.in());
    // Without a wrapper the caller gets this reference; a wrapper holds a reference of its own.
    if (result == stub.in())
        stub._retn();
    return result;
}

} // namespace harbolance
