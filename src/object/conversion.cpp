#include "object/conversion.h"

#include "object/vobject.h"
#include "object/vtypeinf.h"

namespace harbolance {

namespace {

// `info` may be the handle of a file whose static objects are not made yet, or of a skeleton alone.
bool canMakeStubs(const CORBA_TypeInfo& info) { return info.impl() && info.impl()->hasFactory(); }

const CORBA_TypeInfo& stubTypeFor(const IOP::IOR& ior, const CORBA_TypeInfo& expected) {
    // An empty type id is allowed: it says nothing about the type.
    const CORBA_TypeInfo* type = &expected;
    if (const char* id = ior.type_id.in(); id && *id) {
        // Of the type that the reference names only if it fits: the server may claim anything, and the caller
        // relies on what it expects.
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
        // A forwarded object is reached by a stub that calls it inside this process.
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
    // Nothing was put around it: the caller gets this reference. Otherwise the wrapper has one of its own.
    if (result == stub.in())
        stub._retn();
    return result;
}

} // namespace harbolance
