#pragma once

// This folder connects the ORB with the location agents. The location service (this file) tells a program
// which objects exist in its domain: provider_sets.cpp reads the providers of an interface from the agents,
// descriptions.cpp makes objects and descriptions from them. TRXTriggerHandler (trigger_handler.h) is a
// client's trigger on instances that appear and disappear. TRXLocation (object_location.h) finds objects by
// name. modules.h has the modules that the start-up calls, among them the resolver of "LocationService".

#include "agent/session/dsuser.h"
#include "orb/vorb.h"

#include <harbolance/obj_location_skel.h>

#include <set>
#include <string>

// The location service, an object of this process, which programs get by the initial reference
// "LocationService". It is transient and not announced; calls to it are local.
//
// Every operation asks the location agents, through the process's session: it blocks until they have
// answered, and serves nothing else meanwhile, except while it verifies objects. The caller owns the results.
// Providers that are no object, or an object that cannot be described, are left out. The operations raise:
//
//     ObjLocation::Fail no_agent          there is no agent, which is also said on the standard error stream
//     ObjLocation::Fail no_repository_id  a null or empty repository id was given
//     ObjLocation::Fail agent_failed      an agent could not be asked
//
// Objects registered with an activation daemon are "activable". They are those registered as such, and those
// at the address of a daemon. With -LOCverify 1 all others are asked whether they exist; one that does not
// answer is left out, and its agent is told.
class AgentImpl : public _sk_ObjLocation::_sk_Agent {
public:
    AgentImpl(const char* name, bool debug) : _sk_Agent(name), _debug(debug) {}

    ObjLocation::NameSeq* all_agent_locations() override;
    // The ids of all objects that have a name at an agent, each once.
    ObjLocation::RepositoryIdSeq* all_repository_ids() override;
    // The objects of one interface, or those that also have this name; an empty sequence when there are none.
    // Descriptions of running objects come before those of activable ones.
    ObjLocation::ObjSeq* all_instances(const char* repository_id) override;
    ObjLocation::ObjSeq* all_replica(const char* repository_id, const char* instance_name) override;
    ObjLocation::DescSeq* all_instances_descs(const char* repository_id) override;
    ObjLocation::DescSeq* all_replica_descs(const char* repository_id, const char* instance_name) override;
    // One sequence for each id of all_repository_ids, in that order.
    ObjLocation::ObjSeqSeq* all_available() override;
    ObjLocation::DescSeqSeq* all_available_descs() override;

    // Whether the operations above ask again where activation daemons run.
    CORBA_Boolean willRefreshOADs() override { return _willRefreshOADs; }
    void willRefreshOADs(CORBA_Boolean value) override { _willRefreshOADs = value; }

    // Registers or unregisters a handler, which is called from the event loop for each instance that appears
    // or disappears. Both take effect in the next turn of the loop; unregistering a trigger that is not
    // registered by then raises Fail no_such_trigger. A nil handler raises CORBA_BAD_PARAM.
    void reg_trigger(const ObjLocation::TriggerDesc& desc, ObjLocation::TriggerHandler_ptr handler) override;
    void unreg_trigger(const ObjLocation::TriggerDesc& desc,
                       ObjLocation::TriggerHandler_ptr handler) override;

    bool debug() const { return _debug; }

    // For triggers. The object that a name's reference stands for, owned by the caller; nil when the name has
    // no valid reference.
    CORBA_Object* getObject(const DSName& name);
    // Whether the object's server answers a call, whatever the answer. Waits as the object's options say.
    bool isReachable(CORBA_Object& object);
    // Whether the provider is at the address of a known activation daemon.
    bool isActivable(const DSProvider& provider) const;
    // Describes the provider's object. The repository id is `rep`, or if null the one in the object key.
    // Raises the exceptions of an invalid reference.
    void fillDesc(const DSProvider& provider, ObjLocation::Desc& desc, const char* rep);

private:
    // Providers by the way they are listed; null where an agent had no list.
    struct Providers {
        NCRef<DSSet> normal;
        NCRef<DSSet> oad;
    };
    class Operation;
    class OADsHeld;

    TRXORB& orb();
    DSUser& connectedUser();
    void checkStatus(const char* where, int status) const;
    NCRef<DSSet> providersOf(const char* rep, const char* objectName, int serviceType);
    Providers getProviders(const char* rep, const char* objectName, bool both);
    void refreshOADs();
    void addOADs(const DSSet* providers);
    void moveActivable(DSSet& to, DSSet* from) const;
    Providers allProviders(const char* rep, const char* objectName);

    CORBA_Object* providerObject(DSProvider& provider, bool activable);
    bool isDead(CORBA_Object& object);
    bool test(CORBA_Object& object);
    void describe(const DSProvider& provider, CORBA_Object* object, ObjLocation::Desc& desc, const char* rep);
    CORBA_ULong _convert(ObjLocation::DescSeq& seq, CORBA_ULong index, const DSSet* set, bool activable,
                         const char* rep);
    ObjLocation::ObjSeq* objectsOf(const char* rep, const char* objectName);
    ObjLocation::DescSeq* descsOf(const char* rep, const char* objectName);

    TRXORB* _orb = nullptr;
    bool _debug;
    CORBA_Boolean _willRefreshOADs = 1;
    NCRef<DSSet> _oadAddrs; // of DSAddr; null until they are known

    // State of the present operation, which may be nested in another.
    int _operations = 0;
    std::set<std::string> _silentServers; // that have let a test time out
};
