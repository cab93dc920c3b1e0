#pragma once

#include "base/refcount.h"
#include "marshal/reference/vobjectid.h"
#include "object/implementation_def.h"
#include "object/vobject.h"

class TRXAdapter;
class TRXSkelInfo;

// Makes servants when they are first asked for; programs derive it and name it in a TRXEXT_ActivationImplDef.
class Activator {
public:
    virtual ~Activator();
    // The new servant, which the caller owns, for the reference data in `definition`. Null when there is
    // none.
    virtual CORBA_Object* activate(TRXEXT_ActivationImplDef* definition) = 0;
    // Takes over one reference to a servant that is no longer needed.
    virtual void deactivate(CORBA_Object* servant, TRXEXT_ActivationImplDef* definition) = 0;
};

// Stands in the tables of an adapter for an implementation that has no servant yet.
class TRXImplHelper final : public CORBA_Object {
public:
    explicit TRXImplHelper(const CORBA_ImplementationDef& definition);
    ~TRXImplHelper() override;

    const CORBA_TypeInfo* _type_info() const override;
    // Makes the servant if there is none.
    void* _cast(const CORBA_TypeInfo* target) override;

    const TRXObjectId& proxy_id() const { return *_proxy_id; }
    // A new servant for the reference data `id`, null for that of the definition; the caller's, or null.
    CORBA_Object* activate(const CORBA_OctetSequence* id) const;

    // The id under which the proxy of a definition stands.
    static TRXRef<TRXObjectId> id_of(const CORBA_ImplementationDef& definition);

private:
    const CORBA_TypeInfo* _type;
    TRXRef<TRXObjectId> _proxy_id;
    CORBA_Object_var _target; // nil until activated
};

// One id of a service that is in use.
class TRXActivatorHelper final : public TRXResource {
public:
    enum State : CORBA_ULong {
        INACTIVE,     // no servant yet, or no longer
        ACTIVE,       // the target is the servant
        DEACTIVATING, // the servant is going out of service
        DEACTIVATED,  // it has been taken back, and the record waits for its end
        DESTROYED,    // no longer in the adapter's table
    };

    // With a servant the record is active from the start.
    TRXActivatorHelper(const TRXServiceId& id, TRXImplHelper* proxy, TRXAdapter* adapter,
                       CORBA_Object* target);
    ~TRXActivatorHelper() override;

    // The servant, made if the record is inactive: the caller's reference. CORBA_BAD_PARAM when the activator
    // makes none; CORBA_OBJECT_NOT_EXIST while the servant goes.
    CORBA_Object* servant();
    // The servant, or its record, leaves.
    void taken_back();
    void going_out_of_service();
    void servant_destroyed();
    // The adapter leaves: the record is no longer in use.
    void adapter_gone();

    State state() const { return _state; }
    const TRXServiceId& service_id() const { return *_service_id; }
    bool serves(const CORBA_Object* servant) const { return _target.in() == servant; }

private:
    CORBA_Object_var _target; // nil when there is no servant
    CORBA_Object_var _proxy;
    State _state = INACTIVE;
    TRXRef<TRXServiceId> _service_id; // shared with the adapter's table
    TRXAdapter* _adapter;             // null when it has gone
};
