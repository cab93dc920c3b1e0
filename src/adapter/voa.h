#pragma once

// The server's side. CORBA_BOA is the interface of an object adapter for programs. TRXAdapter (this file)
// keeps the tables from object keys to servants, TRXSimpleAdapter (vsoa.h) listens and accepts connections,
// and a TRXGIOPServer (vgsrv.h) reads the requests of one connection and calls servants. TRXSkelInfo
// (skel_info.h) is the record of one servant, activator.h makes servants on demand, and server_interceptor.h
// has the hooks.

#include "adapter/activator.h"
#include "adapter/object_tables.h"
#include "base/list.h"
#include "object/vprop.h"

class TRXGIOPServer;
class TRXGIOPConn;

// Makes objects ready for calls. The exceptions raised here have minor code 0 and COMPLETED_NO.
class CORBA_BOA {
public:
    CORBA_BOA() = default;
    CORBA_BOA(const CORBA_BOA&) = delete;
    CORBA_BOA& operator=(const CORBA_BOA&) = delete;

    static CORBA_BOA* _duplicate(CORBA_BOA* boa) { return boa; }
    static CORBA_BOA* _nil() { return nullptr; }

    // Registers an implementation with the activation daemon of this host. Returns a reference to the object
    // that the daemon will start, owned by the caller, or nil. A definition that is not a
    // TRXEXT_CreationImplDef raises CORBA_BAD_PARAM.
    virtual CORBA_Object* create(const CORBA_OctetSequence& id, CORBA_Object* interface,
                                 CORBA_ImplementationDef* definition) = 0;
    // Takes a servant of this process out of service and removes its registration.
    virtual void dispose(CORBA_Object* object) = 0;
    // A copy of the servant's reference data, owned by the caller, or null.
    virtual CORBA_OctetSequence* get_id(CORBA_Object* object) = 0;
    virtual void change_implementation(CORBA_Object* object, CORBA_ImplementationDef* definition) = 0;
    // The sender of the request being served, or else the process's own principal; owned by the caller, or
    // null.
    virtual CORBA_OctetSequence* get_principal() = 0;
    // Makes the servant callable; the adapter holds no reference. With a definition and no servant, the
    // definition's activator makes the servant at the first request.
    virtual void obj_is_ready(CORBA_Object* object, CORBA_ImplementationDef* definition = nullptr) = 0;
    // Serves until the process shuts down; a definition that is passed is made ready first.
    virtual void impl_is_ready(CORBA_ImplementationDef* definition = nullptr) = 0;
    // Makes a service ready: the activator makes a servant for each id that is requested.
    virtual void impl_is_ready(const char* serviceName, Activator* activator, CORBA_Boolean block = 1) = 0;
    // The opposite of obj_is_ready and impl_is_ready. Raise CORBA_OBJECT_NOT_EXIST when it was not ready.
    virtual void deactivate_impl(CORBA_ImplementationDef* definition) = 0;
    virtual void deactivate_obj(CORBA_Object* object) = 0;
    // Accepts no more connections; open connections continue.
    virtual void stop() {}
    virtual void shutdown() { stop(); }
    // The highest number of open connections (0 for no limit), and the present number.
    virtual void connection_max(CORBA_ULong count) { static_cast<void>(count); }
    virtual CORBA_ULong connection_max() { return 0; }
    virtual CORBA_ULong connection_count() { return 0; }
    // Kept for source compatibility; they have no effect.
    virtual void thread_max(CORBA_ULong count) { static_cast<void>(count); }
    virtual CORBA_ULong thread_max() { return 0; }
    virtual void thread_stack_size(CORBA_ULong octets) { static_cast<void>(octets); }
    virtual CORBA_ULong thread_stack_size() { return 0; }
    // An adapter nested in another one does not announce its objects.
    virtual void nested(CORBA_Boolean nested) = 0;
    virtual CORBA_Boolean nested() = 0;
    virtual ~CORBA_BOA() = default;
};

// Adapters live as long as the process; references to them are not counted.
inline void CORBA_release(CORBA_BOA*) {}
inline bool CORBA_is_nil(const CORBA_BOA* boa) { return boa == nullptr; }

using CORBA_BOA_ptr = CORBA_BOA*;
using CORBA_BOA_var = TRXVar<CORBA_BOA>;

namespace harbolance {

// Announces the named objects of an adapter and registers them with the activation daemon. The location layer
// derives it and installs a function that makes one for each adapter.
class ObjectAnnouncer {
public:
    virtual ~ObjectAnnouncer() = default;
    virtual void register_object(CORBA_Object* object) = 0;
    virtual void unregister_object(CORBA_Object* object) = 0;

    using Make = std::unique_ptr<ObjectAnnouncer> (*)(CORBA_BOA* adapter);
    static void install(Make make);
    static std::unique_ptr<ObjectAnnouncer> make(CORBA_BOA* adapter); // null when nothing is installed
};

// The activation daemon for `create`, `dispose` and `change_implementation`; installed in the same way.
// Without one these operations raise CORBA_NO_IMPLEMENT.
class ActivationDaemon {
public:
    virtual CORBA_Object* reg_implementation(const TRXEXT_CreationImplDef& definition) = 0;
    virtual void unreg_implementation(const char* repId, const char* objectName) = 0;
    virtual void change_implementation(const TRXEXT_CreationImplDef& from,
                                       const TRXEXT_CreationImplDef& to) = 0;

    static void install(ActivationDaemon* daemon);

protected:
    ~ActivationDaemon() = default;
};

// Caches the last object requested on a connection. Valid while the adapter's generation is unchanged.
struct TargetCache {
    CORBA_OctetSequence key;
    CORBA_Object* object = nullptr; // not counted
    CORBA_ULong generation = 0;
};

} // namespace harbolance

// An adapter without a transport. It has its own properties, from the -OA words of the command line.
class TRXAdapter : public CORBA_BOA, public TRXPropertyList {
public:
    // Becomes the default adapter of the process. With `agent`, and unless the property OAagent is off, its
    // named objects are announced.
    explicit TRXAdapter(const char* id, bool agent = true);
    ~TRXAdapter() override;

    CORBA_Object* create(const CORBA_OctetSequence& id, CORBA_Object* interface,
                         CORBA_ImplementationDef* definition) override;
    void dispose(CORBA_Object* object) override;
    CORBA_OctetSequence* get_id(CORBA_Object* object) override;
    void change_implementation(CORBA_Object* object, CORBA_ImplementationDef* definition) override;
    CORBA_OctetSequence* get_principal() override;
    void obj_is_ready(CORBA_Object* object, CORBA_ImplementationDef* definition = nullptr) override;
    void impl_is_ready(CORBA_ImplementationDef* definition = nullptr) override;
    void impl_is_ready(const char* serviceName, Activator* activator, CORBA_Boolean block = 1) override;
    void deactivate_impl(CORBA_ImplementationDef* definition) override;
    void deactivate_obj(CORBA_Object* object) override;
    void nested(CORBA_Boolean nested) override { _nested = nested != 0; }
    CORBA_Boolean nested() override { return _nested; }

    // Called when a connection's server ends.
    virtual void connection_closed(TRXGIOPServer* server) = 0;
    // Runs the event loop until the process shuts down.
    virtual void run();
    // The reference of a servant in this adapter, with the id that it is published under (`ior`) or its id in
    // this process (`short_ior`). The caller owns it; a stub raises CORBA_BAD_PARAM.
    virtual IOP::IOR* ior(CORBA_Object* object);
    virtual IOP::IOR* short_ior(CORBA_Object* object);
    virtual CORBA_Boolean is_ready(CORBA_Object* object);
    // The object of a key; the caller owns the reference. Null when the key is not of this ORB. Raises
    // CORBA_OBJECT_NOT_EXIST when there is no such object, and whatever an activator raises.
    virtual CORBA_Object* find(const CORBA_OctetSequence& key);
    virtual void add_child(TRXAdapter* adapter);
    virtual TRXAdapter* root() { return _parent ? _parent : this; }
    virtual TRXAdapter* child() { return _child; }
    virtual void remove_child(TRXAdapter* adapter);
    // The profile for an object with that key; the caller owns it.
    virtual IOP::TaggedProfile* profile(const CORBA_OctetSequence& key) = 0;
    virtual CORBA_Boolean is_active() { return _state == active; }
    virtual void activate();
    virtual void deactivate();

    void parse(int& argc, char** argv, const char* prefix) override;

    // Like `find` above, with a cache; `fromCache` tells whether the cache had the object.
    CORBA_Object* find(const CORBA_OctetSequence& key, harbolance::TargetCache& cache, bool& fromCache);
    CORBA_ULong activation_policy() const { return _activation_policy; }
    void activation_policy(CORBA_ULong policy); // also of the nested adapters
    // The servants that are not transient. The caller owns the list and a reference to each.
    TRXList<CORBA_Object*>* objects() const;
    const char* id() const { return _id.in(); }
    // Removes the helper's service id, which is no longer in use.
    void forget(TRXActivatorHelper& helper);
    // Removes a servant that is being destroyed, whatever the state of the adapter. Uses the record only,
    // because the object may already be destroyed.
    void drop(TRXSkelInfo& skel);

    // The adapter that was made last; null when there is none.
    static TRXAdapter* default_adapter();
    static CORBA_ULong active_count();

private:
    enum State : CORBA_ULong { made, active, deactivated };

    void announce(CORBA_Object* object);
    void register_proxy(TRXImplHelper* proxy);
    void _register_object(CORBA_Object* object);
    void register_service(TRXSkelInfo& skel);
    void unregister(TRXSkelInfo& skel);
    void leave_tables(TRXSkelInfo& skel);
    IOP::IOR* reference(CORBA_Object* object, const TRXObjectId& id);
    TRXImplHelper* service_proxy(const char* serviceName) const;
    CORBA_Object* find_service(const TRXServiceId& id);
    CORBA_Object* look_up(const TRXObjectId& id);

    State _state = made;
    CORBA_String_var _id;
    std::unique_ptr<harbolance::ObjectAnnouncer> _announcer; // null when objects are not announced
    bool _nested = false;
    CORBA_ULong _activation_policy = SHARED_SERVER;
    TRXList<TRXAdapter*> _children;
    TRXAdapter* _parent = nullptr;
    TRXAdapter* _child = nullptr;
    bool _cacheTarget = true;
    CORBA_ULong _generation = 0; // incremented whenever an object leaves

    // These tables do not own their objects, unless noted: a servant leaves them before it is destroyed.
    harbolance::IdTable<CORBA_Object*> _objects;     // by id, and the transient ones by full id too
    harbolance::IdTable<TRXImplHelper*> _activators; // holds a reference to each
    harbolance::NamedObjects _types;
    harbolance::IdTable<TRXRef<TRXActivatorHelper>> _services;
};
