#pragma once

// The server's side. A CORBA_BOA is what programs see of an object adapter, TRXAdapter (this file) keeps the
// tables that lead from an object key to a servant, TRXSimpleAdapter (vsoa.h) listens and accepts
// connections, and a TRXGIOPServer (vgsrv.h) reads the requests of one connection and calls servants.
// TRXSkelInfo (skel_info.h) is the record of one servant, activator.h makes servants on demand,
// server_interceptor.h hooks into all of it.

#include "adapter/activator.h"
#include "adapter/object_tables.h"
#include "base/list.h"
#include "object/vprop.h"

class TRXGIOPServer;
class TRXGIOPConn;

// Where objects are made ready for calls. Exceptions have minor code 0 and COMPLETED_NO.
class CORBA_BOA {
public:
    CORBA_BOA() = default;
    CORBA_BOA(const CORBA_BOA&) = delete;
    CORBA_BOA& operator=(const CORBA_BOA&) = delete;

    static CORBA_BOA* _duplicate(CORBA_BOA* boa) { return boa; }
    static CORBA_BOA* _nil() { return nullptr; }

    // Registers an implementation with the activation daemon of this host: a reference to the object that it
    // will start, the caller's, or nil. A definition that is no TRXEXT_CreationImplDef raises
    // CORBA_BAD_PARAM.
    virtual CORBA_Object* create(const CORBA_OctetSequence& id, CORBA_Object* interface,
                                 CORBA_ImplementationDef* definition) = 0;
    // Takes a servant of this process out of service and its registration back.
    virtual void dispose(CORBA_Object* object) = 0;
    // A copy of the servant's reference data, the caller's, or null.
    virtual CORBA_OctetSequence* get_id(CORBA_Object* object) = 0;
    virtual void change_implementation(CORBA_Object* object, CORBA_ImplementationDef* definition) = 0;
    // Who sent the request that is being served, or the process's own principal; the caller's, or null.
    virtual CORBA_OctetSequence* get_principal() = 0;
    // The servant can be called from now on; the adapter holds no reference. With a definition in its place
    // the definition's activator makes the servant at the first request.
    virtual void obj_is_ready(CORBA_Object* object, CORBA_ImplementationDef* definition = nullptr) = 0;
    // Serves until the process shuts down; with a definition that is made ready first.
    virtual void impl_is_ready(CORBA_ImplementationDef* definition = nullptr) = 0;
    // A service: the activator makes a servant for each id that is asked for.
    virtual void impl_is_ready(const char* serviceName, Activator* activator, CORBA_Boolean block = 1) = 0;
    // The opposites. CORBA_OBJECT_NOT_EXIST when it was not ready.
    virtual void deactivate_impl(CORBA_ImplementationDef* definition) = 0;
    virtual void deactivate_obj(CORBA_Object* object) = 0;
    // No connection is accepted any more; those that are open go on.
    virtual void stop() {}
    virtual void shutdown() { stop(); }
    // At most how many connections are open, 0 for no limit, and how many are.
    virtual void connection_max(CORBA_ULong count) { static_cast<void>(count); }
    virtual CORBA_ULong connection_max() { return 0; }
    virtual CORBA_ULong connection_count() { return 0; }
    // Kept for programs that set them; nothing reads them.
    virtual void thread_max(CORBA_ULong count) { static_cast<void>(count); }
    virtual CORBA_ULong thread_max() { return 0; }
    virtual void thread_stack_size(CORBA_ULong octets) { static_cast<void>(octets); }
    virtual CORBA_ULong thread_stack_size() { return 0; }
    // An adapter below another one does not announce its objects.
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

// Announces the named objects of an adapter, and speaks with the activation daemon for it. The location layer
// derives it and installs what makes one for each adapter.
class ObjectAnnouncer {
public:
    virtual ~ObjectAnnouncer() = default;
    virtual void register_object(CORBA_Object* object) = 0;
    virtual void unregister_object(CORBA_Object* object) = 0;

    using Make = std::unique_ptr<ObjectAnnouncer> (*)(CORBA_BOA* adapter);
    static void install(Make make);
    static std::unique_ptr<ObjectAnnouncer> make(CORBA_BOA* adapter); // null when nothing is installed
};

// What an activation daemon does for `create`, `dispose` and `change_implementation`; installed likewise.
// Without one the operations raise CORBA_NO_IMPLEMENT.
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

// The object that a connection asked for last. Valid while the adapter's generation is the same.
struct TargetCache {
    CORBA_OctetSequence key;
    CORBA_Object* object = nullptr; // not counted
    CORBA_ULong generation = 0;
};

} // namespace harbolance

// An adapter without a transport. It has properties of its own, from the -OA words of the command line.
class TRXAdapter : public CORBA_BOA, public TRXPropertyList {
public:
    // Becomes the default adapter of the process. With `agent` its named objects are announced, unless the
    // property OAagent says otherwise.
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

    // A connection's server has come to its end.
    virtual void connection_closed(TRXGIOPServer* server) = 0;
    // Turns the event loop until the process shuts down.
    virtual void run();
    // The reference of a servant as this adapter says it, by the id that it is published under or the one in
    // this process. The caller's; a stub raises CORBA_BAD_PARAM.
    virtual IOP::IOR* ior(CORBA_Object* object);
    virtual IOP::IOR* short_ior(CORBA_Object* object);
    virtual CORBA_Boolean is_ready(CORBA_Object* object);
    // The object of a key: the caller's reference, or null for no key of ours. CORBA_OBJECT_NOT_EXIST when it
    // is one and nothing has it; what an activator raises.
    virtual CORBA_Object* find(const CORBA_OctetSequence& key);
    virtual void add_child(TRXAdapter* adapter);
    virtual TRXAdapter* root() { return _parent ? _parent : this; }
    virtual TRXAdapter* child() { return _child; }
    virtual void remove_child(TRXAdapter* adapter);
    // How an object of that key is reached; the caller's.
    virtual IOP::TaggedProfile* profile(const CORBA_OctetSequence& key) = 0;
    virtual CORBA_Boolean is_active() { return _state == active; }
    virtual void activate();
    virtual void deactivate();

    void parse(int& argc, char** argv, const char* prefix) override;

    // As above; `fromCache` tells that the cache has answered.
    CORBA_Object* find(const CORBA_OctetSequence& key, harbolance::TargetCache& cache, bool& fromCache);
    CORBA_ULong activation_policy() const { return _activation_policy; }
    void activation_policy(CORBA_ULong policy); // of the children as well
    // The servants that are not transient, each with a reference; the caller's.
    TRXList<CORBA_Object*>* objects() const;
    const char* id() const { return _id.in(); }
    // The helper's service id is no longer in use.
    void forget(TRXActivatorHelper& helper);
    // Forgets a servant that goes, whatever the state of the adapter. Looks at the record only: the object
    // may be gone already.
    void drop(TRXSkelInfo& skel);

    // The adapter made last; null when there is none.
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
    CORBA_ULong _generation = 0; // changes whenever an object leaves

    // None of these counts its objects: a servant leaves them before it goes.
    harbolance::IdTable<CORBA_Object*> _objects;     // by id, and the transient ones by full id too
    harbolance::IdTable<TRXImplHelper*> _activators; // holds a reference to each
    harbolance::NamedObjects _types;
    harbolance::IdTable<TRXRef<TRXActivatorHelper>> _services;
};
