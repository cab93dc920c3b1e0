#pragma once

#include "base/refcount.h"
#include "marshal/reference/vobjectid.h"
#include "object/implementation_def.h"
#include "object/vobject.h"

class TRXAdapter;
class TRXSkelInfo;

// Makes servants on demand. Programs derive it and pass it in a TRXEXT_ActivationImplDef.
class Activator {
public:
    virtual ~Activator();
    // Returns a new servant for the reference data in `definition`, owned by the caller, or null when there
    // is none.
    virtual CORBA_Object* activate(TRXEXT_ActivationImplDef* definition) = 0;
    // Called with a servant that is no longer needed; takes over one reference to it.
    virtual void deactivate(CORBA_Object* servant, TRXEXT_ActivationImplDef* definition) = 0;
};

// A proxy in the tables of an adapter, for an implementation that has no servant yet.
class TRXImplHelper final : public CORBA_Object {
public:
    explicit TRXImplHelper(const CORBA_ImplementationDef& definition);
    ~TRXImplHelper() override;

    const CORBA_TypeInfo* _type_info() const override;
    // Makes the servant if there is none, and converts it.
    void* _cast(const CORBA_TypeInfo* target) override;

    const TRXObjectId& proxy_id() const { return *_proxy_id; }
    // A new servant for the reference data `id`, or for that of the definition if null. The caller owns it;
    // null when the activator makes none.
    CORBA_Object* activate(const CORBA_OctetSequence* id) const;

    // The id under which the proxy of a definition is entered in the tables.
    static TRXRef<TRXObjectId> id_of(const CORBA_ImplementationDef& definition);

private:
    const CORBA_TypeInfo* _type;
    TRXRef<TRXObjectId> _proxy_id;
    CORBA_Object_var _target; // nil until activated
};

// The record of one service id that is in use.
class TRXActivatorHelper final : public TRXResource {
public:
    enum State : CORBA_ULong {
        INACTIVE,     // no servant yet, or no longer
        ACTIVE,       // the target is the servant
        DEACTIVATING, // the servant is going out of service
        DEACTIVATED,  // taken back; the record is about to be destroyed
        DESTROYED,    // no longer in the adapter's table
    };

    // A record that is made with a servant is active from the start.
    TRXActivatorHelper(const TRXServiceId& id, TRXImplHelper* proxy, TRXAdapter* adapter,
                       CORBA_Object* target);
    ~TRXActivatorHelper() override;

    // The servant, which is made if the record is inactive; the caller owns the reference. Raises
    // CORBA_BAD_PARAM when the activator makes none, CORBA_OBJECT_NOT_EXIST while the servant is being
    // deactivated.
    CORBA_Object* servant();
    // Called when the servant, or its record, leaves the adapter.
    void taken_back();
    void going_out_of_service();
    void servant_destroyed();
    // Called when the adapter is destroyed: the record is no longer in use.
    void adapter_gone();

    State state() const { return _state; }
    const TRXServiceId& service_id() const { return *_service_id; }
    bool serves(const CORBA_Object* servant) const { return _target.in() == servant; }

private:
    CORBA_Object_var _target; // nil when there is no servant
    CORBA_Object_var _proxy;
    State _state = INACTIVE;
    TRXRef<TRXServiceId> _service_id; // shared with the adapter's table
    TRXAdapter* _adapter;             // null after the adapter is destroyed
};
