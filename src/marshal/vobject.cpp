#include "marshal/vobject.h"

#include "base/assertion.h"

TRXObjectRole::~TRXObjectRole() = default;

void TRXObjectRole::deactivate(CORBA_Object&) {}

CORBA_Object::~CORBA_Object() {
    _impl->_remove_ref();
}

void CORBA_release(CORBA_Object* object) {
    if (!object)
        return;
    // The core outlives the object: what the servant does in `deactivate` and in its destructor may count.
    const auto core = TRXRef<TRXObjectImpl>::duplicate(object->_impl);
    constexpr CORBA_ULong lastAndHeld = 2;
    if (core->_refcount() == lastAndHeld)
        core->role().deactivate(*object);
    TRX_ASSERT(core->_refcount() >= lastAndHeld, "vobject");
    if (core->_refcount() == lastAndHeld)
        delete object;
    else
        core->_remove_ref();
}
