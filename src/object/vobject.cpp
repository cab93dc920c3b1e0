#include "object/vobject.h"

#include "base/assertion.h"
#include "marshal/exception/orb_exceptions.h"
#include "marshal/text/print_line.h"
#include "marshal/text/vstr.h"
#include "object/conversion.h"
#include "object/corba_orb.h"
#include "object/global_table.h"
#include "object/vtypeinf.h"

#include <cstdio>
#include <string>

// Construction, release and properties of an object. The calls to its server are in object_calls.cpp.

using namespace harbolance;

// --- Life --------------------------------------------------------------------------------------------------

void TRXObjectImpl::deactivate() {
    _deactivated = true;
    try {
        skel->deactivate();
    } catch (...) {
        // the object is destroyed nevertheless
    }
}

CORBA_Object::CORBA_Object(bool isStub)
    : _impl(isStub ? new TRXObjectImpl(ObjectHalves::makeStub(this))
                   : new TRXObjectImpl(ObjectHalves::makeSkel(this))) {}

CORBA_Object::~CORBA_Object() {
    if (_impl->stub)
        _impl->stub->leave();
    // Reached when the object is not destroyed by a release, for example because a derived constructor
    // raised.
    if (_impl->skel && !_impl->_deactivated)
        _impl->deactivate();
    _impl->_remove_ref();
}

[[gnu::hot]] void CORBA_release(CORBA_Object* object) {
    if (!object)
        return;
    // `core` outlives the object, because the servant may duplicate and release itself while it leaves its
    // adapters and in its destructor.
    const auto core = TRXRef<TRXObjectImpl>::duplicate(object->_impl);
    constexpr CORBA_ULong lastAndHeld = 2;
    // The servant is about to end when only the caller's reference and `core` are left.
    const bool leaves = core->skel && core->_refcount() == lastAndHeld;
    if (leaves)
        core->deactivate();
    TRX_ASSERT(core->_refcount() >= lastAndHeld, "vobject");
    // Tested again, because the servant may have given out a reference to itself while it left its adapters.
    if (core->_refcount() == lastAndHeld) {
        delete object;
    } else {
        if (leaves)
            core->_deactivated = false; // kept alive by that reference
        core->_remove_ref();
    }
}

// --- Type and name -----------------------------------------------------------------------------------------

const CORBA_TypeInfo* CORBA_Object::_type_info() const {
    return _impl->skel && _impl->skel->type ? _impl->skel->type : &CORBA_Object_type;
}

void* CORBA_Object::_cast(const CORBA_TypeInfo* target) {
    if (*target == CORBA_Object_type)
        return this;
    // A servant has no other interfaces than its class, which has been searched already; only a stub asks its
    // server.
    if (_impl->skel || !_is_a(target->id()))
        return nullptr;
    CORBA_Object_var stub(target->impl()->createStub());
    // The new stub gets the same reference and connection; the server has just answered on it.
    stub->_impl->stub->copy(this);
    CORBA_Object* result = wrapped(*target, stub);
    // Returned without an owner; the caller's `_duplicate` makes the first reference.
    result->_impl->_disown();
    return result->_cast(target);
}

const char* CORBA_Object::_interface_name() const {
    if (_impl->stub) {
        // The type in the reference may be more derived than any type known here.
        const char* id = _impl->stub->original_ior().type_id.in();
        if (id && *id)
            return id;
    }
    return _type_info()->id();
}

const char* CORBA_Object::_object_name() const {
    return _impl->stub ? _impl->stub->name.in() : _impl->skel->name.in();
}

void CORBA_Object::_object_name(const char* name) {
    if (_impl->stub) {
        _impl->stub->name = name;
        return;
    }
    SkelHalf& skel = *_impl->skel;
    const TRXGlobalTable& table = *TRXGlobalTable::instance();
    const bool named = skel.name.in() && *skel.name.in();
    // A base class constructor that is called without a name does not remove the name.
    if (named && !name)
        return;
    char numbered[32];
    // With the option for older peers, an object without a name gets a numbered one and becomes persistent.
    if (!name && table.backCompat && table.transientObjects == 0) {
        static long next = 0;
        std::snprintf(numbered, sizeof numbered, "BackCompat%-ld", next++);
        name = numbered;
    }
    skel.name = name;
    skel.style = name && table.transientObjects == 0 ? SkelHalf::persistent : SkelHalf::transient;
}

CORBA_Boolean CORBA_Object::_is_bound() const { return !_impl->stub || _impl->stub->is_bound(); }

CORBA_Boolean CORBA_Object::_is_persistent() const {
    return _impl->skel && _impl->skel->style != SkelHalf::transient;
}

CORBA_ULong CORBA_Object::_hash(CORBA_ULong maximum) const {
    // Computed from the names known here, because this operation must not call the server.
    CORBA_ULong hash = CORBA_string_hash(_interface_name());
    if (const char* name = _object_name())
        hash ^= CORBA_string_hash(name);
    return maximum != 0 ? hash % maximum : hash;
}

CORBA_Boolean CORBA_Object::_is_equivalent(CORBA_Object* other) const {
    if (this == other)
        return 1;
    if (!other || !_impl->stub || !other->_impl->stub)
        return 0;
    return _impl->stub->original_ior() == other->_impl->stub->original_ior();
}

// --- Skeletons and services --------------------------------------------------------------------------------

[[gnu::hot]] CORBA_MarshalOutBuffer* CORBA_Object::_prepare_reply(void* pdata) {
    return _impl->skel->prepare_reply(pdata);
}

void CORBA_Object::_service(const char* name, const CORBA_OctetSequence& id) {
    if (_impl->skel)
        _impl->skel->serve(name, id);
}

CORBA_BOA* CORBA_Object::_boa() const {
    ObjectAdapters* adapters = ObjectAdapters::installed();
    return adapters ? adapters->boaOf(_impl->skel.get()) : nullptr;
}

CORBA_ImplementationDef* CORBA_Object::_get_implementation() const {
    // Only the servant's process knows how the object is registered.
    if (!_impl->skel)
        throw CORBA_NO_PERMISSION();
    return _impl->skel->implementation();
}

// --- Principals and options --------------------------------------------------------------------------------

namespace {

CORBA_OctetSequence* copyOf(const CORBA_OctetSequence* octets) {
    return octets ? new CORBA_OctetSequence(*octets) : nullptr;
}

} // namespace

CORBA_OctetSequence* CORBA_Object::_principal() const {
    return CORBA_OctetSequence::_duplicate(_impl->stub ? _impl->stub->principal.in()
                                                       : TRXGlobalTable::instance()->principal.in());
}

void CORBA_Object::_principal(const CORBA_OctetSequence* principal) {
    if (_impl->stub)
        _impl->stub->principal = copyOf(principal);
    else
        TRXGlobalTable::instance()->principal = copyOf(principal);
}

CORBA_OctetSequence* CORBA_Object::_default_principal() {
    return copyOf(TRXGlobalTable::instance()->defaultPrincipal.in());
}

void CORBA_Object::_default_principal(const CORBA_OctetSequence* principal) {
    TRXGlobalTable::instance()->defaultPrincipal = copyOf(principal);
}

CORBA_BindOptions* CORBA_Object::_bind_options() const {
    return _impl->stub ? new CORBA_BindOptions(_impl->stub->options) : nullptr;
}

void CORBA_Object::_bind_options(const CORBA_BindOptions& options) {
    if (_impl->stub)
        _impl->stub->options = options;
}

CORBA_BindOptions* CORBA_Object::_default_bind_options() {
    return new CORBA_BindOptions(TRXGlobalTable::instance()->defaultBindOptions);
}

void CORBA_Object::_default_bind_options(const CORBA_BindOptions& options) {
    TRXGlobalTable::instance()->defaultBindOptions = options;
}

// --- For the data layer ------------------------------------------------------------------------------------

namespace {

class Operations final : public ObjectOperations {
public:
    void duplicate(CORBA_Object* object) const override { CORBA_Object::_duplicate(object); }

    void release(CORBA_Object* object) const override { CORBA_release(object); }

    const IOP::IOR& reference(CORBA_Object* object) const override {
        const TRXObjectImpl& impl = *object->_object_impl();
        return impl.stub ? impl.stub->original_ior() : impl.skel->ior();
    }

    bool areEquivalent(CORBA_Object* a, CORBA_Object* b) const override { return a->_is_equivalent(b); }

    const char* interfaceName(CORBA_Object* object) const override { return object->_interface_name(); }

    const char* typeName(CORBA_Object* object) const override { return object->_type_info()->name(); }

    void print(TRXostream& stream, CORBA_Object* object) const override {
        const char* name = object->_object_name();
        const std::string text = std::string("Repository ID: ") + object->_interface_name() +
                                 " Object name: " + (name && *name ? name : "NONE");
        stream.write_raw(text.data(), static_cast<CORBA_ULong>(text.size()));
    }

    CORBA_Object* convert(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect,
                          CORBA_Boolean localFlag, CORBA_Boolean skipLocal) const override {
        return objectOf(ior, info, connect, localFlag, skipLocal);
    }
};

constinit const Operations operations;
[[maybe_unused]] const bool installed = (ObjectOperations::install(operations), true);

} // namespace

std::ostream& operator<<(std::ostream& stream, CORBA_Object* object) {
    if (isConsole(stream)) {
        TRXostream text(stream);
        printObject(text, object);
        return stream;
    }
    // Prints nothing before an ORB is started, since a stream operator should not raise.
    if (CORBA_ORB* orb = currentORB()) {
        const CORBA_String_var text(orb->object_to_string(object));
        if (text.in())
            stream << text.in();
    }
    return stream;
}
