#include "agent/records/dsaddr.h"
#include "base/standard_streams.h"
#include "location/location_service.h"
#include "marshal/exception/orb_exceptions.h"

#include <string>
#include <string_view>

// How the location service reads from the agents: the providers of an interface, and the addresses of
// activation daemons.

using ObjLocation::Fail;

namespace {

// A daemon's address as text, for trace lines.
std::string bracketed(const DSAddr& address) {
    return std::string("[") + address.dottedAddr() + "," + std::to_string(address.port()) + "]";
}

// A daemon is registered under the name of its interface or its repository id.
constexpr const char* oadNames[] = {"Activation::OAD", "IDL:tarnwicknet/Activation/OAD:1.0"};

bool isOAD(const DSProvider& provider) {
    const std::string_view name = provider.name().name();
    return name.find("Activation::OAD") != name.npos || name.find("Activation/OAD") != name.npos;
}

} // namespace

DSUser& AgentImpl::connectedUser() {
    DSUser* user = DSUser::instance(true);
    if (!user || !user->isLoggedIn()) {
        harbolance::standardError() << "\nThere are no agents running in your domain." << std::endl;
        throw Fail(ObjLocation::no_agent);
    }
    return *user;
}

void AgentImpl::checkStatus(const char* where, int status) const {
    if (status == DSUser::done)
        return;
    if (_debug)
        harbolance::standardOutput() << where << ": Agent failure with error code=" << status << std::endl;
    throw Fail(ObjLocation::agent_failed);
}

NCRef<DSSet> AgentImpl::providersOf(const char* rep, const char* objectName, int serviceType) {
    std::string text = rep;
    if (objectName && *objectName)
        text = text + "_" + objectName;
    const NCRef<DSName> name = new DSName(text.c_str(), dsArgType, serviceType);
    int status = 0;
    NCRef<DSSet> providers = connectedUser().providers(name.get(), status, true);
    checkStatus("all_providers", status);
    return providers;
}

AgentImpl::Providers AgentImpl::getProviders(const char* rep, const char* objectName, bool both) {
    connectedUser();
    if (!rep || !*rep)
        throw Fail(ObjLocation::no_repository_id);
    Providers providers;
    providers.normal = providersOf(rep, objectName, DSServiceManual);
    if (both)
        providers.oad = providersOf(rep, objectName, DSServiceOad);
    return providers;
}

// When the addresses of the daemons cannot be read, the service continues without them.
void AgentImpl::refreshOADs() {
    if (!_willRefreshOADs)
        return;
    _oadAddrs = nullptr;
    try {
        const Providers byName = getProviders(oadNames[0], nullptr, false);
        const Providers byId = getProviders(oadNames[1], nullptr, false);
        _oadAddrs = new DSSet(16);
        addOADs(byName.normal.get());
        addOADs(byId.normal.get());
    } catch (const CORBA_Exception& exception) {
        if (_debug)
            harbolance::standardOutput()
                << "Attempt to obtain OAD addresses failed [" << exception << "]" << std::endl;
    }
}

void AgentImpl::addOADs(const DSSet* providers) {
    if (!providers)
        return;
    for (const DSResource* element : *providers) {
        const auto* provider = nc_cast<DSProvider>(element);
        if (!provider)
            continue;
        const NCRef<DSAddr> address = new DSAddr(provider->addr());
        if (_oadAddrs->add(address.get()) == address.get() && _debug)
            harbolance::standardOutput()
                << "Added DSAddr to OAD address set " << bracketed(*address) << std::endl;
    }
}

bool AgentImpl::isActivable(const DSProvider& provider) const {
    return _oadAddrs && !isOAD(provider) && _oadAddrs->includes(&provider.addr());
}

void AgentImpl::moveActivable(DSSet& to, DSSet* from) const {
    if (!from || !_oadAddrs || _oadAddrs->isEmpty())
        return;
    const NCRef<DSSet> walked = new DSSet(*from);
    for (DSResource* element : *walked) {
        const auto* provider = nc_cast<DSProvider>(element);
        if (!provider || !isActivable(*provider))
            continue;
        if (to.add(element) == element && from->remove(element))
            continue;
        if (_debug)
            harbolance::standardOutput() << "Error moving activable provider with address "
                                         << bracketed(provider->addr()) << std::endl;
        throw CORBA_INTERNAL();
    }
}

AgentImpl::Providers AgentImpl::allProviders(const char* rep, const char* objectName) {
    Providers providers = getProviders(rep, objectName, true);
    if (!providers.oad)
        providers.oad = new DSSet(16);
    if (_debug)
        harbolance::standardOutput() << "Obtained (normal,oad) ("
                                     << (providers.normal ? providers.normal->size() : 0) << ","
                                     << providers.oad->size() << ") number of providers" << std::endl;
    refreshOADs();
    moveActivable(*providers.oad, providers.normal.get());
    return providers;
}
