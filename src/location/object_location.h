#pragma once

// Objects by name: how named objects of this process are announced to the agents, and how a reference with a
// name gets an address. Adapters and the bind chain call TRXLocation (this file). Announcement
// (announcement.h) is the data sent to agents, ObjectFinder (object_finder.h) queries them, LocationCache
// (location_cache.h) caches their answers, OADClient (oad_client.h) uses the activation daemon.

#include "invoke/stub/vcinter.h"
#include "location/announcement.h"
#include "location/oad_client.h"
#include "location/object_finder.h"
#include "location/retry_pace.h"
#include "marshal/reference/vobjectid.h"
#include "orb/module_registry.h"

// There is one for each adapter whose named objects are announced, and one for the bind chain. The latter
// finds an address for a reference that has only a name, and another address for a reference whose server
// does not answer.
class TRXLocation final : public TRXBindInterceptor {
public:
    explicit TRXLocation(CORBA_BOA* adapter); // null for the one of the chain

    // Called when a named object has been made ready, or leaves. Registers it for its interface and all
    // bases, with the activation daemon or else with the agent; both may block until they answer or time out.
    // The exceptions of an object without an address are passed on.
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

// The data of TRXLocation for one binding: the object that is wanted.
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

// Installs the bind chain when the ORB starts.
class BindInitializer : public TRXInit {
public:
    BindInitializer();
    void ORB_init(int& argc, char** argv, CORBA_ORB* orb) override;
};

namespace harbolance {

// The TRXLocation of an adapter, as the adapter sees it.
std::unique_ptr<ObjectAnnouncer> makeAnnouncer(CORBA_BOA* adapter);

} // namespace harbolance
