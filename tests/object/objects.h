#pragma once

#include "marshal/reference/vior.h"
#include "object/vobject.h"

#include <functional>
#include <memory>
#include <string>

// Objects that need no connection and no adapter.

struct PlainRole : TRXObjectRole {
    const char* interface_name() const override { return reference.type_id; }
    const char* type_name() const override { return "Plain"; }
    const IOP::IOR& ior() override { return reference; }
    void deactivate(CORBA_Object& object) override {
        if (onDeactivate)
            onDeactivate(object);
    }

    IOP::IOR reference;
    std::function<void(CORBA_Object&)> onDeactivate;
};

class PlainObject : public CORBA_Object {
public:
    explicit PlainObject(TRXObjectImpl::Kind kind = TRXObjectImpl::stub)
        : CORBA_Object(kind, std::make_unique<PlainRole>()) {
        ++alive;
    }
    ~PlainObject() override { --alive; }

    PlainRole& role() { return static_cast<PlainRole&>(impl()->role()); }

    static inline int alive = 0;
};
