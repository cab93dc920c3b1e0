#include "peerscan/listings.h"

#include "marshal/exception/vexcept.h"
#include "orb/vorb.h"

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

// Asks for the location service of this process. Objects are not listed through it yet: the result is false,
// and the agents have to be asked.
bool askLocationService(bool sayIfMissing) {
    try {
        const CORBA_Object* service = CORBA_ORB_init()->resolve_initial_references("LocationService");
        if (CORBA_is_nil(service) && sayIfMissing) {
            std::cerr << "Unable to locate initial LocationService" << std::endl
                      << "\tWill use Harbolance 2.0 peerscan mechanism" << std::endl;
        }
    } catch (const CORBA_Exception& exception) {
        std::cerr << "CORBA Exception during execution of peerscan: " << exception << std::endl;
    }
    return false;
}

NCRef<DSSet> providersOf(DSUser& user, const char* repositoryId) {
    const NCRef<DSName> name = new DSName(repositoryId, dsArgType, DSServiceManual);
    int status = 0;
    NCRef<DSSet> providers = user.providers(name.get(), status, true);
    complainWithout(providers, repositoryId, status);
    return providers;
}

// A daemon is known under the name of its interface or under its repository id.
NCRef<DSSet> daemonProviders(DSUser& user) {
    const auto byName = providersOf(user, "Activation::OAD");
    const auto byId = providersOf(user, "IDL:tarnwicknet/Activation/OAD:1.0");
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
    askLocationService(false);
    DSUser* user = connectedUser();
    if (!user)
        return std::nullopt;
    const auto providers = daemonProviders(*user);
    OADListing listing{static_cast<bool>(providers), {}};
    for (const DSProvider* provider : recordsOf<DSProvider>(providers)) {
        const std::string host = hostText(provider->addr(), hostNames);
        listing.hosts.push_back(hostText(DSAddr(0, host.c_str()), hostNames));
    }
    return listing;
}

std::optional<ImplementationListing> listImplementations(bool backCompat) {
    ImplementationListing listing{true, {}, {}};
    if (askLocationService(true) && !backCompat)
        return listing;
    DSUser* user = connectedUser();
    if (!user)
        return std::nullopt;
    listing.isKnown = gatherThroughAgent(*user, listing);
    return listing;
}

std::string hostText(const DSAddr& address, bool hostNames) {
    const char* name = hostNames ? address.hostName() : nullptr;
    return name ? name : address.dottedAddr();
}
