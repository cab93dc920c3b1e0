#pragma once

// This folder connects the ORB with the location agents. The location service (this file) tells a program
// what is there in its domain: provider_sets.cpp reads the providers of an interface from the agents,
// descriptions.cpp makes objects and descriptions of them. TRXTriggerHandler (trigger_handler.h) is a
// client's wish to hear of what comes and goes. Objects by name are TRXLocation's (object_location.h).
// modules.h has the objects by which the folder takes part in the start-up, among them the resolver of
// "LocationService".

#include "agent/session/dsuser.h"
#include "orb/vorb.h"

#include <harbolance/obj_location_skel.h>

#include <set>
#include <string>

// The location service as an object of this process, which programs get by the initial reference
// "LocationService". It is transient and not announced; calls to it are plain calls.
//
// Every operation asks the location agents, through the one session of the process: it blocks for as long as
// they take, and serves nothing else meanwhile, except while it verifies objects. What it returns is the
// caller's. Where the agents name something that is no object, or no object of a kind that can be described,
// it is left out. What they raise:
//
//     ObjLocation::Fail no_agent          there is no agent, which is also said on the standard error stream
//     ObjLocation::Fail no_repository_id  a null or empty repository id was given
//     ObjLocation::Fail agent_failed      an agent could not be asked
//
// Objects registered with an activation daemon are "activable". They are found among the providers that are
// registered as such, and as those at the address of a daemon. With -LOCverify 1 all others are asked whether
// they exist; one that does not answer is left out, and its agent is told.
class AgentImpl : public _sk_ObjLocation::_sk_Agent {
public:
    AgentImpl(const char* name, bool debug) : _sk_Agent(name), _debug(debug) {}

    ObjLocation::NameSeq* all_agent_locations() override;
    // Of everything that has a name at an agent, each id once.
    ObjLocation::RepositoryIdSeq* all_repository_ids() override;
    // The objects of one interface, or those that have this name too; none make an empty sequence. The
    // descriptions of objects that run stand before those of activable ones.
    ObjLocation::ObjSeq* all_instances(const char* repository_id) override;
    ObjLocation::ObjSeq* all_replica(const char* repository_id, const char* instance_name) override;
    ObjLocation::DescSeq* all_instances_descs(const char* repository_id) override;
    ObjLocation::DescSeq* all_replica_descs(const char* repository_id, const char* instance_name) override;
    // One sequence for each of all_repository_ids, in that order.
    ObjLocation::ObjSeqSeq* all_available() override;
    ObjLocation::DescSeqSeq* all_available_descs() override;

    // Whether the operations above ask anew where activation daemons run.
    CORBA_Boolean willRefreshOADs() override { return _willRefreshOADs; }
    void willRefreshOADs(CORBA_Boolean value) override { _willRefreshOADs = value; }

    // The handler is called for each instance that comes or goes, from the event loop. Both take effect in
    // the next turn of the loop: a trigger that has not been registered by then raises Fail no_such_trigger
    // when it is to be unregistered, as does one that never was. A nil handler raises CORBA_BAD_PARAM.
    void reg_trigger(const ObjLocation::TriggerDesc& desc, ObjLocation::TriggerHandler_ptr handler) override;
    void unreg_trigger(const ObjLocation::TriggerDesc& desc,
                       ObjLocation::TriggerHandler_ptr handler) override;

    bool debug() const { return _debug; }

    // For triggers. The object of a name, the caller's; nil when the name has none or its reference is no
    // reference.
    CORBA_Object* getObject(const DSName& name);
    // Whether the object's server answers a call; what it answers does not matter. Waits as the object's
    // options say.
    bool isReachable(CORBA_Object& object);
    // Whether the provider is at the address of an activation daemon, as far as these are known.
    bool isActivable(const DSProvider& provider) const;
    // The description of the provider's object. With `rep` that is the repository id, else the one in the
    // object key. Raises what a reference raises that cannot be described.
    void fillDesc(const DSProvider& provider, ObjLocation::Desc& desc, const char* rep);

private:
    // Providers by how they are to be listed; null where an agent had no list.
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
    NCRef<DSSet> _oadAddrs; // of DSAddr; null as long as they are not known

    // Of the operation under way, which may be part of another.
    int _operations = 0;
    std::set<std::string> _silentServers; // that have let a test time out
};
