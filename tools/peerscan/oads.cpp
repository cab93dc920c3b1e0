#include "peerscan/oads.h"

#include "peerscan/location_service.h"
#include "peerscan/report.h"

#include <iostream>
#include <vector>

namespace {

NCRef<DSSet> providersOf(DSUser& user, const char* repositoryId) {
    const NCRef<DSName> name = new DSName(repositoryId, dsArgType, DSServiceManual);
    int status = 0;
    return user.providers(name.get(), status, true);
}

// A daemon is known under the name of its interface or under its repository id.
NCRef<DSSet> daemonProviders(DSUser& user) {
    const auto byName = providersOf(user, "Activation::OAD");
    const auto byId = providersOf(user, "IDL:tarnwicknet/Activation/OAD:1.0");
    if (byName && byId)
        return DSSet::unionOf(*byName, *byId);
    return byName ? byName : byId;
}

std::vector<std::string> daemonHosts(bool hostNames) {
    std::vector<std::string> hosts;
    const auto providers = daemonProviders(connectedUser());
    for (const DSProvider* provider : recordsOf<DSProvider>(providers))
        hosts.push_back(hostText(provider->addr(), hostNames));
    return hosts;
}

} // namespace

void listOADs(bool hostNames) {
    // A process without the service has the agents to ask.
    withLocationService([](CORBA_Object*) { return false; });
    const auto hosts = daemonHosts(hostNames);
    if (hosts.empty()) {
        std::cout << "\npeerscan: There are no OADs "
                  << "running on in your"
                  << " domain." << std::endl;
        return;
    }
    std::cout << "\npeerscan: Found " << hosts.size() << " OADs in your domain" << std::endl;
    for (const std::string& host : hosts)
        printHost(DSAddr(0, host.c_str()), hostNames);
}
