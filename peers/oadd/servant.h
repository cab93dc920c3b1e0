#pragma once

#include "oadd/access.h"
#include "oadd/announcer.h"
#include "oadd/lookups.h"
#include "oadd/references.h"
#include "oadd/registrations.h"

#include <harbolance/activation_skel.h>

namespace oadd {

// The parts of the daemon, for its object and its connections.
struct Daemon {
    const Programs& programs;
    const Access& access;
    Registrations& registrations;
    Servers& servers;
    Lookups& lookups;
    std::map<int, Caller> connections = {}; // by socket
    const References* references = nullptr; // null until the object is ready
    Announcer* announcer = nullptr;         // null until the object is ready

    // The caller of the request being served.
    Caller caller() const;
};

// The activation daemon as an object. In addition to the interface's exceptions, invalid definitions raise
// CORBA_BAD_PARAM, and a change that cannot be written to the file raises CORBA_PERSIST_STORE; the log gives
// the reason. Permissions are checked before these operations (gate.h).
class Servant : public _sk_Activation::_sk_OAD {
public:
    Servant(const char* name, Daemon& daemon) : _sk_OAD(name), daemon_(daemon) {}

    void unregister_all() override;
    char* generated_environment(const TRXEXT_CreationImplDef& impl) override;
    TRXEXT_CreationImplDef* create_CreationImplDef() override;
    Activation::ImplementationStatusSeq* get_status_all() override;
    TRXEXT_CreationImplDef* get_implementation(const char* repository_id, const char* object_name) override;
    void boa_deactivate_obj(CORBA_Object_ptr obj, const char* repository_id, CORBA_Long uid) override;
    void unreg_interface(const char* repository_id) override;
    CORBA_Object_ptr lookup_interface(const char* repository_id, CORBA_Long wait) override;
    CORBA_Object_ptr reg_implementation(const TRXEXT_CreationImplDef& impl) override;
    CORBA_Boolean destroy_on_unregister() override;
    void destroy_on_unregister(CORBA_Boolean value) override;
    CORBA_Object_ptr lookup_implementation(const char* repository_id, const char* object_name,
                                           CORBA_Long wait) override;
    Activation::ImplementationStatusSeq* get_status_interface(const char* repository_id) override;
    Activation::ImplementationStatus* get_status(const char* repository_id, const char* object_name) override;
    char* generated_command(const TRXEXT_CreationImplDef& impl) override;
    void unreg_implementation(const char* repository_id, const char* object_name) override;
    TRXEXT_CreationImplDef* boa_activate_obj(CORBA_Object_ptr obj, const char* repository_id,
                                             CORBA_Long uid) override;
    void change_implementation(const TRXEXT_CreationImplDef& old_impl,
                               const TRXEXT_CreationImplDef& new_impl) override;

private:
    using Entry = Registrations::Entry;

    Entry registered(const char* repository_id, const char* object_name) const;
    Registration accepted(const TRXEXT_CreationImplDef& impl) const;
    void unregister(const std::vector<Entry>& entries);
    void endBeforeChange(const std::vector<Entry>& entries);
    CORBA_Object_ptr lookup(const Entry& entry, CORBA_Long wait);
    Activation::ImplementationStatus status(const Entry& entry) const;
    Activation::ImplementationStatusSeq* statuses(const std::vector<Entry>& entries) const;

    Daemon& daemon_;
};

} // namespace oadd
