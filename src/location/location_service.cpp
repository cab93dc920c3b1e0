#include "location/location_service.h"

#include "base/standard_streams.h"
#include "location/trigger_handler.h"
#include "marshal/exception/orb_exceptions.h"

#include <string_view>
#include <unordered_set>

// The operations of the location service. How providers are read is in provider_sets.cpp, how they are
// described in descriptions.cpp.

using namespace ObjLocation;

TRXORB& AgentImpl::orb() {
    if (!_orb)
        _orb = TRXORB::current();
    if (!_orb)
        throw CORBA_INITIALIZE();
    return *_orb;
}

// State shared by an operation and the operations nested in it. Made only when there is an agent.
class AgentImpl::Operation {
public:
    explicit Operation(AgentImpl& agent) : _agent(agent), _batch(agent.connectedUser()) {
        ++_agent._operations;
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    ~Operation() {
        if (--_agent._operations == 0)
            _agent._silentServers.clear();
    }

private:
    AgentImpl& _agent;
    DSUser::Batch _batch;
};

// For an operation that asks for many interfaces: it keeps the set of daemons found at its start.
class AgentImpl::OADsHeld {
public:
    explicit OADsHeld(AgentImpl& agent) : _agent(agent), _refreshed(agent._willRefreshOADs) {
        agent.refreshOADs();
        agent._willRefreshOADs = 0;
    }
    OADsHeld(const OADsHeld&) = delete;
    OADsHeld& operator=(const OADsHeld&) = delete;
    ~OADsHeld() { _agent._willRefreshOADs = _refreshed; }

private:
    AgentImpl& _agent;
    CORBA_Boolean _refreshed;
};

// --- Agents and repository ids -----------------------------------------------------------------------------

namespace {

template <class Names>
void traceNames(const char* operation, const char* what, const Names& names) {
    harbolance::standardOutput() << operation << " returning " << names.length() << " names:" << std::endl;
    for (CORBA_ULong i = 0; i < names.length(); ++i)
        harbolance::standardOutput() << "\t" << what << " #" << i << ": " << names[i] << std::endl;
}

} // namespace

NameSeq* AgentImpl::all_agent_locations() {
    DSUser& user = connectedUser();
    int status = 0;
    const NCRef<DSSet> others = user.agents(status);
    checkStatus("all_agent_locations", status);
    NameSeq_var names = new NameSeq(others ? others->size() + 1 : 1);
    const auto add = [&names](const DSAddr& agent) {
        const char* host = agent.hostName();
        names->length(names->length() + 1);
        (*names)[names->length() - 1] = CORBA_string_dup(host ? host : agent.dottedAddr());
    };
    add(user.agentAddr());
    if (others) {
        for (const DSResource* element : *others) {
            if (const auto* agent = nc_cast<DSAddr>(element))
                add(*agent);
        }
    }
    if (_debug)
        traceNames("all_agent_locations", "agent", *names);
    return names._retn();
}

RepositoryIdSeq* AgentImpl::all_repository_ids() {
    int status = 0;
    const NCRef<DSSet> names = connectedUser().names(status, true);
    checkStatus("all_repository_ids", status);
    RepositoryIdSeq_var ids = new RepositoryIdSeq(names ? names->size() : 0);
    std::unordered_set<std::string_view> known; // of strings in `ids`
    if (names) {
        for (const DSResource* element : *names) {
            const auto* name = nc_cast<DSName>(element);
            const CORBA_Object_var object(name ? getObject(*name) : nullptr);
            if (!object.in() || known.contains(object->_interface_name()))
                continue;
            ids->length(ids->length() + 1);
            (*ids)[ids->length() - 1] = CORBA_string_dup(object->_interface_name());
            known.insert((*ids)[ids->length() - 1].in());
        }
    }
    if (_debug)
        traceNames("all_repository_ids", "name", *ids);
    return ids._retn();
}

// --- Instances ---------------------------------------------------------------------------------------------

ObjSeq* AgentImpl::all_instances(const char* repository_id) { return objectsOf(repository_id, nullptr); }

ObjSeq* AgentImpl::all_replica(const char* repository_id, const char* instance_name) {
    return objectsOf(repository_id, instance_name);
}

DescSeq* AgentImpl::all_instances_descs(const char* repository_id) { return descsOf(repository_id, nullptr); }

DescSeq* AgentImpl::all_replica_descs(const char* repository_id, const char* instance_name) {
    return descsOf(repository_id, instance_name);
}

ObjSeq* AgentImpl::objectsOf(const char* rep, const char* objectName) {
    const Operation operation(*this);
    const Providers providers = allProviders(rep, objectName);
    const NCRef<DSSet> all =
        providers.normal ? DSSet::unionOf(*providers.normal, *providers.oad) : providers.oad;
    ObjSeq_var objects = new ObjSeq(all->size());
    for (DSResource* element : *all) {
        auto* provider = nc_cast<DSProvider>(element);
        CORBA_Object_var object(provider ? providerObject(*provider, false) : nullptr);
        if (!object.in())
            continue;
        objects->length(objects->length() + 1);
        (*objects)[objects->length() - 1] = object._retn();
    }
    return objects._retn();
}

DescSeq* AgentImpl::descsOf(const char* rep, const char* objectName) {
    const Operation operation(*this);
    const Providers providers = allProviders(rep, objectName);
    DescSeq_var descs = new DescSeq;
    descs->length((providers.normal ? providers.normal->size() : 0) + providers.oad->size());
    CORBA_ULong count = _convert(*descs, 0, providers.normal.get(), false, rep);
    count = _convert(*descs, count, providers.oad.get(), true, rep);
    descs->length(count);
    return descs._retn();
}

// --- Everything --------------------------------------------------------------------------------------------

ObjSeqSeq* AgentImpl::all_available() {
    const Operation operation(*this);
    const OADsHeld held(*this);
    const RepositoryIdSeq_var ids(all_repository_ids());
    ObjSeqSeq_var all = new ObjSeqSeq;
    all->length(ids->length());
    for (CORBA_ULong i = 0; i < ids->length(); ++i) {
        const ObjSeq_var objects(all_instances((*ids)[i]));
        (*all)[i] = std::move(*objects);
    }
    return all._retn();
}

DescSeqSeq* AgentImpl::all_available_descs() {
    const Operation operation(*this);
    const OADsHeld held(*this);
    const RepositoryIdSeq_var ids(all_repository_ids());
    DescSeqSeq_var all = new DescSeqSeq;
    all->length(ids->length());
    for (CORBA_ULong i = 0; i < ids->length(); ++i) {
        const DescSeq_var descs(all_instances_descs((*ids)[i]));
        (*all)[i] = std::move(*descs);
    }
    return all._retn();
}

// --- Triggers ----------------------------------------------------------------------------------------------

void AgentImpl::reg_trigger(const TriggerDesc& desc, TriggerHandler_ptr handler) {
    if (!handler)
        throw CORBA_BAD_PARAM();
    new TRXTriggerHandler(desc, handler, this); // destroys itself
}

void AgentImpl::unreg_trigger(const TriggerDesc& desc, TriggerHandler_ptr handler) {
    if (!handler)
        throw CORBA_BAD_PARAM();
    TRXTriggerHandler::remove(desc, handler, DSServiceManual);
}
