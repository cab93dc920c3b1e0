#include "adapter/skel_info.h"

#include "adapter/vgsrv.h"
#include "adapter/voa.h"
#include "marshal/reference/code_sets.h"
#include "marshal/reference/vutil.h"
#include "object/global_table.h"

#include <sys/time.h>

using namespace harbolance;

namespace {

// A number that is unique in this process.
CORBA_ULong nextKey() {
    static CORBA_ULong next = 0;
    return next++;
}

CORBA_ULong secondsNow() {
    timeval now{};
    TRXUtil::now(now);
    return static_cast<CORBA_ULong>(now.tv_sec);
}

} // namespace

TRXSkelInfo::TRXSkelInfo(CORBA_Object* owner)
    : _object(owner), _serial(secondsNow()), _id(new TRXKeyId(nextKey())) {
    if (TRXGlobalTable::instance()->transientObjects == 1)
        style = transient;
}

// Called when the object itself is already destroyed.
TRXSkelInfo::~TRXSkelInfo() {
    while (is_in_adapter())
        adapters.at(0)->drop(*this);
    ready = false;
    TRXSkelInfo::deactivate();
    const TRXList<TRXRef<TRXActivatorHelper>> told = std::move(helpers);
    for (const auto& helper : told)
        helper->servant_destroyed();
}

[[gnu::hot]] TRXSkelInfo* TRXSkelInfo::of(const CORBA_Object* object) {
    return object ? static_cast<TRXSkelInfo*>(object->_object_impl()->skel.get()) : nullptr;
}

void TRXSkelInfo::deactivate() {
    if (!ready) {
        for (const auto& helper : helpers)
            helper->going_out_of_service();
        return;
    }
    while (is_in_adapter()) {
        TRXAdapter* first = adapters.at(0);
        try {
            first->deactivate_obj(_object);
        } catch (...) {
            // The object is destroyed nevertheless: the adapter drops it below.
        }
        // A stopped adapter does not change its tables, but must not keep an object that is destroyed.
        if (is_in_adapter() && adapters.at(0) == first)
            first->drop(*this);
    }
    ready = false;
}

void TRXSkelInfo::serve(const char* serviceName, const CORBA_OctetSequence& id) {
    impl = std::make_unique<CORBA_ImplementationDef>("*", serviceName, id);
    style = service;
}

const TRXObjectId& TRXSkelInfo::full_id() {
    if (_full_id)
        return *_full_id;
    switch (style) {
    case persistent:
        _full_id =
            TRXRef<TRXObjectId>(new TRXPersistentId(_object->_interface_name(), name.in() ? name.in() : ""));
        break;
    case transient:
        _full_id = TRXRef<TRXObjectId>(new TRXTransientId(_object->_interface_name(), _id->key(), _serial));
        break;
    case service: _full_id = TRXRef<TRXObjectId>(new TRXServiceId(impl->object_name(), impl->id())); break;
    }
    return *_full_id;
}

// --- References --------------------------------------------------------------------------------------------

namespace {

// The adapter for the reference of an object that is not in an adapter yet.
TRXAdapter* presentAdapter() {
    CORBA_BOA* current = TRXGlobalTable::instance()->currentBOA;
    return current ? dynamic_cast<TRXAdapter*>(current) : TRXAdapter::default_adapter();
}

void append(IOP::TaggedProfileSeq& profiles, const IOP::TaggedProfile& profile) {
    const CORBA_ULong count = profiles.length();
    profiles.length(count + 1);
    profiles[count] = profile;
}

void appendProfile(IOP::IOR& ior, TRXAdapter& adapter, const CORBA_OctetSequence& key) {
    const std::unique_ptr<IOP::TaggedProfile> profile(adapter.profile(key));
    append(ior.profiles, *profile);
}

} // namespace

const IOP::IOR& TRXSkelInfo::ior() {
    if (!_ior)
        _ior = std::make_unique<IOP::IOR>(made_ior());
    return *_ior;
}

IOP::IOR TRXSkelInfo::made_ior() {
    TRXAdapter* first = is_in_adapter() ? adapters.at(0) : presentAdapter();
    if (!first)
        throw CORBA_INV_OBJREF(); // there is no listener
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(full_id()));
    IOP::IOR made;
    made.type_id = static_cast<const char*>(_object->_interface_name());
    for (TRXAdapter* adapter : adapters)
        appendProfile(made, *adapter, *key);
    if (!is_in_adapter())
        appendProfile(made, *first, *key);
    if (code_sets)
        append(made.profiles, CONV_FRAME::codeSetProfile());
    if (style == transient)
        return made;
    const auto forward = first->property("OAfwdIOR");
    if (!forward)
        return made;
    const std::unique_ptr<IOP::IOR> elsewhere(TRXUtil::string_to_ior(forward->c_str()));
    TRXUtil::set_object_key(*elsewhere, *key);
    return *elsewhere;
}

IOP::IOR* TRXSkelInfo::ior(TRXAdapter& adapter) {
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(full_id()));
    auto made = std::make_unique<IOP::IOR>();
    made->type_id = static_cast<const char*>(_object->_interface_name());
    appendProfile(*made, adapter, *key);
    if (code_sets)
        append(made->profiles, CONV_FRAME::codeSetProfile());
    return made.release();
}

// --- Calls -------------------------------------------------------------------------------------------------

CORBA_MarshalOutBuffer* TRXSkelInfo::prepare_reply(void* pdata) {
    return TRXGIOPServer::prepare_reply(_object, pdata);
}

[[gnu::hot]] void TRXSkelInfo::dispatch(CORBA_MarshalInBuffer& in, CORBA_OctetSequence* principal,
                                        const char* operation, void* pdata, const CORBA_TypeInfo*& found) {
    const CORBA_TypeInfo& own = type ? *type : *_object->_type_info();
    const TRXSkeleton skeleton = own.impl()->findMethod(operation, found);
    if (!skeleton)
        throw CORBA_BAD_OPERATION();
    if (synch && _busy)
        throw CORBA_TRANSIENT();
    struct Busy {
        explicit Busy(bool& flag) : _flag(flag) { _flag = true; }
        Busy(const Busy&) = delete;
        Busy& operator=(const Busy&) = delete;
        ~Busy() { _flag = false; }
        bool& _flag;
    } const busy(_busy);
    void* target = found ? _object->_cast(found) : _object;
    if (!target)
        throw CORBA_OBJECT_NOT_EXIST(); // the activator has made no servant
    skeleton(target, in, principal, operation, pdata);
}
