#pragma once

// Objects by name: how named objects of this process become known to the agents, and how a reference that
// names an object comes to an address. TRXLocation (this file) is what adapters and the bind chain call;
// Announcement (announcement.h) is what agents are told, ObjectFinder (object_finder.h) what they are asked,
// LocationCache (location_cache.h) what they have answered, OADClient (oad_client.h) the activation daemon.

#include "invoke/stub/vcinter.h"
#include "location/announcement.h"
#include "location/oad_client.h"
#include "location/object_finder.h"
#include "location/retry_pace.h"
#include "marshal/reference/vobjectid.h"
#include "orb/module_registry.h"

// One belongs to each adapter whose named objects are announced, one to the bind chain. The latter finds the
// address for a reference that has a name in its place, and another one for a reference whose server does not
// answer.
class TRXLocation final : public TRXBindInterceptor {
public:
    explicit TRXLocation(CORBA_BOA* adapter); // null for the one of the chain

    // An object with a name has been made ready, or goes. Registers it under its interface and all bases of
    // it, with the activation daemon or else with the agent, which may block for as long as each is silent.
    // What an object that has no address raises passes.
    void register_object(CORBA_Object* object);
    void unregister_object(CORBA_Object* object);

    CORBA_Boolean bind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    CORBA_Boolean bind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    void bind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd, TRXClosure& closure) override;
    CORBA_Boolean rebind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    CORBA_Boolean rebind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    void rebind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd, TRXClosure& closure) override;

    // The bind interceptor for objects by name, which is the first of every chain.
    static TRXBindInterceptor* ofChain() { return new TRXLocation(nullptr); }

private:
    struct Registration;

    void registerType(const CORBA_TypeInfo& type, Registration& registration);
    void unregisterType(const CORBA_TypeInfo& type, Registration& registration);
    CORBA_Boolean findAnother(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure);
    void takenByDaemon(const TRXEXT_CreationImplDef& definition, Registration& registration);

    CORBA_BOA* _adapter;
    harbolance::OADClient _oad;
    harbolance::ObjectFinder _finder;
    harbolance::RetryPace _pace;
};

// What TRXLocation keeps for one binding: which object is wanted.
class TRXLocationClosureData final : public TRXClosureData {
public:
    TRXLocationClosureData(TRXRef<TRXPersistentId> id, const char* host) : _id(std::move(id)), _host(host) {}

    const char* rep_id() const { return _id->rep_id(); }
    const char* object_name() const { return _id->object_name(); }
    const char* host() const { return _host.in(); }

private:
    TRXRef<TRXPersistentId> _id;
    CORBA_String_var _host; // empty for any
};

// Makes sure of the bind chain when the ORB starts.
class BindInitializer : public TRXInit {
public:
    BindInitializer();
    void ORB_init(int& argc, char** argv, CORBA_ORB* orb) override;
};

namespace harbolance {

// The TRXLocation of an adapter, as the adapter sees it.
std::unique_ptr<ObjectAnnouncer> makeAnnouncer(CORBA_BOA* adapter);

} // namespace harbolance
