#include "object/vobject.h"

#include "base/assertion.h"
#include "marshal/exception/vexcept.h"
#include "marshal/reference/vior.h"
#include "object/vtypeinf.h"

#include <string_view>

using namespace harbolance;

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

const CORBA_TypeInfo* CORBA_Object::_type_info() const { return &CORBA_Object_type; }

void* CORBA_Object::_cast(const CORBA_TypeInfo* target) {
    return *target == CORBA_Object_type ? this : nullptr;
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

namespace {

constinit ReferenceConverter currentConverter = nullptr;

class Operations final : public ObjectOperations {
public:
    void duplicate(CORBA_Object* object) const override { CORBA_Object::_duplicate(object); }

    void release(CORBA_Object* object) const override { CORBA_release(object); }

    const IOP::IOR& reference(CORBA_Object* object) const override { return object->impl()->role().ior(); }

    bool areEquivalent(CORBA_Object* a, CORBA_Object* b) const override {
        return a == b || (!a->_is_local() && !b->_is_local() && reference(a) == reference(b));
    }

    const char* interfaceName(CORBA_Object* object) const override { return object->_interface_name(); }

    const char* typeName(CORBA_Object* object) const override { return object->impl()->role().type_name(); }

    void print(TRXostream& stream, CORBA_Object* object) const override {
        const std::string_view id = object->_interface_name();
        stream.write_raw("Repository ID: ", 15);
        stream.write_raw(id.data(), static_cast<CORBA_ULong>(id.size()));
    }

    CORBA_Object* convert(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect,
                          CORBA_Boolean localFlag, CORBA_Boolean skipLocal) const override {
        if (!currentConverter)
            throw CORBA_INITIALIZE();
        return currentConverter(ior, info, connect, localFlag, skipLocal);
    }
};

constinit const Operations operations;
[[maybe_unused]] const bool installed = (ObjectOperations::install(operations), true);

} // namespace

ReferenceConverter harbolance::setReferenceConverter(ReferenceConverter converter) {
    return std::exchange(currentConverter, converter);
}
