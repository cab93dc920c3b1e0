#pragma once

#include "marshal/reference/vior.h"
#include "object/vobject.h"
#include "orb/vorb.h"

#include <functional>
#include <memory>

// Objects that need no connection and no adapter.

struct PlainSkel : harbolance::SkelHalf {
    explicit PlainSkel(CORBA_Object* servant) : owner(servant) {}

    const IOP::IOR& ior() override { return reference; }
    bool is_in_adapter() const override { return false; }
    CORBA_ImplementationDef* implementation() const override { return nullptr; }
    void serve(const char*, const CORBA_OctetSequence&) override {}
    CORBA_MarshalOutBuffer* prepare_reply(void*) override { return nullptr; }
    void deactivate() override {
        if (onDeactivate)
            onDeactivate(*owner);
    }

    CORBA_Object* const owner;
    IOP::IOR reference;
    std::function<void(CORBA_Object&)> onDeactivate;
};

class PlainServant : public CORBA_Object {
public:
    PlainServant() : CORBA_Object(new TRXObjectImpl(std::make_unique<PlainSkel>(this))) { ++alive; }
    ~PlainServant() override { --alive; }

    PlainSkel& skel() { return static_cast<PlainSkel&>(*_object_impl()->skel); }

    static inline int alive = 0;
};

class PlainStub : public CORBA_Object {
public:
    PlainStub() : CORBA_Object((CORBA_ORB_init(), true)) { ++alive; }
    ~PlainStub() override { --alive; }

    static inline int alive = 0;
};
