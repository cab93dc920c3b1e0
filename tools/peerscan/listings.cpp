#include "peerscan/listings.h"

#include "marshal/exception/vexcept.h"
#include "orb/vorb.h"

#include <harbolance/obj_location_stub.h>

#include <iostream>

namespace {

// The session, logged in; null when there is no agent.
DSUser* connectedUser() {
    DSUser* user = DSUser::instance(true);
    return user && user->isLoggedIn() ? user : nullptr;
}

const char* reasonOf(int status) {
    switch (status) {
    case DSUser::done: return "the answer is no list";
    case DSUser::noAnswer: return "the agent does not answer, refuses, or answers with something else";
    case DSUser::noAgent:
    case DSUser::notLoggedIn: return "the agent is lost";
    default: return "the session failed";
    }
}

void complainWithout(const NCRef<DSSet>& set, const char* what, int status) {
    if (!set)
        std::cerr << "peerscan: cannot list the " << what << ": " << reasonOf(status) << std::endl;
}

// The result of `ask` for this process's location service. Nothing when the service is missing, which sets
// `missing`, or fails, which prints a message.
template <class Ask>
auto throughService(Ask ask, void (*missing)() = nullptr)
    -> std::optional<decltype(ask(std::declval<ObjLocation::Agent&>()))> {
    try {
        const CORBA_Object_var service(CORBA_ORB_init()->resolve_initial_references("LocationService"));
        const ObjLocation::Agent_var agent(ObjLocation::Agent::_narrow(service.in()));
        if (!CORBA_is_nil(agent.in()))
            return ask(*agent.in());
        if (missing)
            missing();
    } catch (const CORBA_Exception& exception) {
        std::cerr << "CORBA Exception during execution of peerscan: " << exception << std::endl;
    }
    return std::nullopt;
}

const char* textOf(const CORBA_String_var& text) { return text.in() ? text.in() : ""; }

// A daemon is registered under its repository id or the name of its interface.
constexpr const char* oadId = "IDL:tarnwicknet/Activation/OAD:1.0";
constexpr const char* oadName = "Activation::OAD";

// --- Through the location service --------------------------------------------------------------------------

std::vector<std::string> oadHosts(ObjLocation::Agent& agent) {
    const ObjLocation::DescSeq_var byId(agent.all_instances_descs(oadId));
    const ObjLocation::DescSeq_var byName(agent.all_instances_descs(oadName));
    std::vector<std::string> hosts;
    for (const ObjLocation::DescSeq* descs : {byId.in(), byName.in()}) {
        for (const ObjLocation::Desc& desc : *descs)
            hosts.emplace_back(textOf(desc.profile.host));
    }
    return hosts;
}

ImplementationListing implementations(ObjLocation::Agent& agent) {
    ImplementationListing listing{true, {}, {}};
    const ObjLocation::DescSeqSeq_var all(agent.all_available_descs());
    for (const ObjLocation::DescSeq& descs : *all) {
        for (const ObjLocation::Desc& desc : descs)
            (desc.activable ? listing.registered : listing.started)
                .add({textOf(desc.profile.host), textOf(desc.repository_id), textOf(desc.instance_name)});
    }
    return listing;
}

void sayServiceIsMissing() {
    std::cerr << "Unable to locate initial LocationService" << std::endl
              << "\tWill use Harbolance 2.0 peerscan mechanism" << std::endl;
}

// --- Through the agents alone ------------------------------------------------------------------------------

NCRef<DSSet> providersOf(DSUser& user, const char* repositoryId) {
    const NCRef<DSName> name = new DSName(repositoryId, dsArgType, DSServiceManual);
    int status = 0;
    NCRef<DSSet> providers = user.providers(name.get(), status, true);
    complainWithout(providers, repositoryId, status);
    return providers;
}

NCRef<DSSet> oadProviders(DSUser& user) {
    const auto byName = providersOf(user, oadName);
    const auto byId = providersOf(user, oadId);
    if (byName && byId)
        return DSSet::unionOf(*byName, *byId);
    return byName ? byName : byId;
}

bool gatherThroughAgent(DSUser& user, ImplementationListing& listing) {
    int status = 0;
    const NCRef<DSSet> names = user.names(status, true);
    complainWithout(names, "names of objects", status);
    for (const DSName* registered : recordsOf<DSName>(names)) {
        const bool withOAD = registered->serviceType() == DSServiceOad;
        if (!withOAD && registered->serviceType() != DSServiceManual)
            continue;
        if (const auto name = parseAgentName(registered->name()))
            (withOAD ? listing.registered : listing.started).add(*name);
    }
    return static_cast<bool>(names);
}

} // namespace

std::optional<AgentListing> listAgents(bool hostNames) {
    DSUser* user = connectedUser();
    if (!user)
        return std::nullopt;
    AgentListing listing{user->port(), {hostText(user->agentAddr(), hostNames)}};
    int status = 0;
    const NCRef<DSSet> others = user->agents(status);
    complainWithout(others, "other agents", status);
    for (const DSAddr* agent : recordsOf<DSAddr>(others))
        listing.hosts.push_back(hostText(*agent, hostNames));
    return listing;
}

std::optional<OADListing> listOADs(bool hostNames) {
    OADListing listing{true, {}};
    auto hosts = throughService(oadHosts);
    if (!hosts) {
        DSUser* user = connectedUser();
        if (!user)
            return std::nullopt;
        const auto providers = oadProviders(*user);
        listing.isKnown = static_cast<bool>(providers);
        hosts.emplace();
        for (const DSProvider* provider : recordsOf<DSProvider>(providers))
            hosts->push_back(hostText(provider->addr(), hostNames));
    }
    for (const std::string& host : *hosts)
        listing.hosts.push_back(hostText(DSAddr(0, host.c_str()), hostNames));
    return listing;
}

std::optional<ImplementationListing> listImplementations(bool backCompat) {
    auto listing = throughService(implementations, sayServiceIsMissing);
    if (listing && !backCompat)
        return listing;
    DSUser* user = connectedUser();
    if (!user)
        return std::nullopt;
    if (!listing)
        listing.emplace(ImplementationListing{false, {}, {}});
    const bool gathered = gatherThroughAgent(*user, *listing);
    listing->isKnown = listing->isKnown || gathered;
    return listing;
}

std::string hostText(const DSAddr& address, bool hostNames) {
    const char* name = hostNames ? address.hostName() : nullptr;
    return name ? name : address.dottedAddr();
}
