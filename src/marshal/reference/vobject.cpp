#include "marshal/reference/vobject.h"

#include "base/assertion.h"
#include "marshal/reference/vutil.h"

TRXObjectRole::~TRXObjectRole() = default;

void TRXObjectRole::deactivate(CORBA_Object&) {}

void TRXObjectImpl::deactivate(CORBA_Object& object) {
    _deactivated = true;
    try {
        _role->deactivate(object);
    } catch (...) {
        // the object goes all the same
    }
}

CORBA_Object::~CORBA_Object() {
    if (!_impl->_deactivated)
        _impl->deactivate(*this);
    _impl->_remove_ref();
}

void CORBA_release(CORBA_Object* object) {
    if (!object)
        return;
    // The core outlives the object: what the servant does in `deactivate` and in its destructor may count.
    const auto core = TRXRef<TRXObjectImpl>::duplicate(object->_impl);
    constexpr CORBA_ULong lastAndHeld = 2;
    const bool last = core->_refcount() == lastAndHeld;
    if (last)
        core->deactivate(*object);
    TRX_ASSERT(core->_refcount() >= lastAndHeld, "vobject");
    if (core->_refcount() == lastAndHeld) {
        delete object;
    } else {
        if (last)
            core->_deactivated = false; // saved
        core->_remove_ref();
    }
}

TRXostream& operator<<(TRXostream& stream, CORBA_Object* object) {
    return stream << (object ? object->impl()->role().ior() : IOP::IOR());
}

TRXistream& operator>>(TRXistream& stream, CORBA_Object*& object) {
    return read_reference(stream, object, nullptr);
}

TRXistream& read_reference(TRXistream& stream, CORBA_Object*& object, const CORBA_TypeInfo* info) {
    object = nullptr;
    IOP::IOR ior;
    stream >> ior;
    object = TRXUtil::convert(ior, info, 0, 1);
    return stream;
}
