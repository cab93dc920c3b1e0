#include "peerscan/implementations.h"

#include "orb/vorb.h"
#include "peerscan/agent_name.h"
#include "peerscan/implementation_table.h"
#include "peerscan/location_service.h"
#include "peerscan/report.h"

#include <iostream>

namespace {

struct Tables {
    ImplementationTable oads;   // registered with an activation daemon
    ImplementationTable manual; // started by hand
};

// False when the location service did not tell what there is; the reason is on the standard error stream.
bool gatherThroughService() {
    return withLocationService([](CORBA_Object* service) {
        if (CORBA_is_nil(service)) {
            std::cerr << "Unable to locate initial LocationService" << std::endl
                      << "\tWill use Harbolance 2.0 peerscan mechanism" << std::endl;
        }
        return false;
    });
}

void gatherThroughAgent(Tables& tables) {
    int status = 0;
    const NCRef<DSSet> names = connectedUser().names(status, true);
    for (const DSName* registered : recordsOf<DSName>(names)) {
        const bool withOAD = registered->serviceType() == DSServiceOad;
        if (!withOAD && registered->serviceType() != DSServiceManual)
            continue;
        const auto name = parseAgentName(registered->name());
        if (!name)
            continue;
        auto& table = withOAD ? tables.oads : tables.manual;
        table.add(name->repositoryId.c_str(), name->objectName ? name->objectName->c_str() : nullptr,
                  name->host.c_str());
    }
}

} // namespace

void listImplementations(const char* expression, bool backCompat, bool hostNames) {
    Tables tables;
    const bool told = gatherThroughService();
    if (!told || backCompat)
        gatherThroughAgent(tables);
    if (tables.oads.isEmpty()) {
        std::cout << "\npeerscan: There are no Object Implementations "
                  << "registered with OADs." << std::endl;
    } else {
        tables.oads.print(expression,
                          "\npeerscan: Following are the list of Implementations registered with OADs.",
                          hostNames);
    }
    if (tables.manual.isEmpty()) {
        std::cout << "\npeerscan: There are no manually started Object Implementations." << std::endl;
    } else {
        tables.manual.print(
            expression, "\npeerscan: Following are the list of Implementations started manually.", hostNames);
    }
}
