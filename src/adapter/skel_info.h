#pragma once

#include "adapter/activator.h"
#include "base/list.h"
#include "object/object_halves.h"
#include "object/vtypeinf.h"

class TRXAdapter;

// The server's half of an object: its name, its adapters and its references. Every servant has one from its
// construction.
class TRXSkelInfo final : public harbolance::SkelHalf {
public:
    explicit TRXSkelInfo(CORBA_Object* owner);
    ~TRXSkelInfo() override;

    // The record of a servant; null for a stub.
    static TRXSkelInfo* of(const CORBA_Object* object);

    // The reference under which the object is published. Valid until the object enters or leaves an adapter.
    const IOP::IOR& ior() override;
    // The reference made by one adapter; the caller owns it.
    IOP::IOR* ior(TRXAdapter& adapter);
    void drop_ior() { _ior.reset(); }
    void replace_ior(const IOP::IOR& ior) { _ior = std::make_unique<IOP::IOR>(ior); }

    bool is_in_adapter() const override { return adapters.count() > 0; }
    CORBA_ImplementationDef* implementation() const override {
        return CORBA_ImplementationDef::_duplicate(impl.get());
    }
    void serve(const char* serviceName, const CORBA_OctetSequence& id) override;
    CORBA_MarshalOutBuffer* prepare_reply(void* pdata) override;
    void deactivate() override;

    // `id` identifies the object in this process, `full_id` is the id that it is published under. The latter
    // is made from name and style on first use, made again when the object enters its first adapter, and does
    // not change while the object is in one.
    const TRXKeyId& id() const { return *_id; }
    const TRXObjectId& full_id();
    void fix_full_id() {
        if (!is_in_adapter())
            _full_id = {};
    }

    // Reads the arguments from `in`, calls the servant and writes the results. Stores in `found`, before the
    // call, the type that declares the operation. Raises CORBA_BAD_OPERATION for an unknown operation,
    // CORBA_TRANSIENT for a servant that takes one call at a time and is busy, and whatever the servant
    // raises.
    void dispatch(CORBA_MarshalInBuffer& in, CORBA_OctetSequence* principal, const char* operation,
                  void* pdata, const CORBA_TypeInfo*& found);

    CORBA_Object* object() const { return _object; } // not counted
    CORBA_ULong serial() const { return _serial; }

    std::unique_ptr<CORBA_ImplementationDef> impl; // of an activated implementation; else null
    TRXList<TRXAdapter*> adapters;
    TRXList<TRXRef<TRXActivatorHelper>> helpers;
    CORBA_ULong activation_policy = SHARED_SERVER;
    bool ready = false;     // has entered an adapter and is in service
    bool synch = false;     // takes one call at a time
    bool code_sets = false; // add a profile with the code sets to the reference

private:
    IOP::IOR made_ior();

    CORBA_Object* _object;
    CORBA_ULong _serial; // wall clock, in seconds, when the object was made
    TRXRef<TRXKeyId> _id;
    TRXRef<TRXObjectId> _full_id;
    std::unique_ptr<IOP::IOR> _ior;
    bool _busy = false;
};
