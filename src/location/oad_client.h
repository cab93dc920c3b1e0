#pragma once

#include "adapter/voa.h"

#include <harbolance/activation_stub.h>

#include <memory>

namespace harbolance {

// The activation daemon of this host, for the servers of one adapter: they report to it which objects they
// serve, and it returns how an object is registered with it, if it is. Every failure counts as an object that
// is not registered.
class OADClient {
public:
    explicit OADClient(CORBA_BOA* adapter);

    // The definition under which the object is registered for `type`; null when it is not registered.
    std::unique_ptr<TRXEXT_CreationImplDef> activate(const CORBA_TypeInfo& type, CORBA_Object* object);
    void deactivate(const CORBA_TypeInfo& type, CORBA_Object* object);
    // The daemon's reference; valid after `activate` has returned a definition.
    const IOP::IOR& reference() const;

private:
    bool found(const CORBA_TypeInfo& type);
    Activation::OAD* search();

    CORBA_BOA* _adapter;
    Activation::OAD_var _oad;
    CORBA_Long _uid = 0;
    bool _checked = false; // whether there is a daemon is known
    bool _always;          // look for a daemon each time
};

// A reference to the object that the daemon at `host` starts for that interface and name; null when there is
// none. Waits until the daemon answers.
std::unique_ptr<IOP::IOR> startByDaemon(const char* host, const char* repId, const char* objectName);

// The daemon of this host, for the operations of adapters. It is looked for each time; its exceptions are
// passed on.
class LocalActivationDaemon final : public ActivationDaemon {
public:
    CORBA_Object* reg_implementation(const TRXEXT_CreationImplDef& definition) override;
    void unreg_implementation(const char* repId, const char* objectName) override;
    void change_implementation(const TRXEXT_CreationImplDef& from, const TRXEXT_CreationImplDef& to) override;
};

} // namespace harbolance
