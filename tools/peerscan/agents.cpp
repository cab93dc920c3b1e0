#include "peerscan/agents.h"

#include "peerscan/report.h"

#include <iostream>

void listAgents(bool hostNames) {
    DSUser& user = connectedUser();
    int status = 0;
    const NCRef<DSSet> set = user.agents(status);
    const auto others = recordsOf<DSAddr>(set);
    const auto port = static_cast<unsigned int>(user.port());
    if (others.empty())
        std::cout << "\npeerscan: Found one agent at port " << port << std::endl;
    else
        std::cout << "\npeerscan: Found " << others.size() + 1 << " agents at port " << port << std::endl;
    printHost(user.agentAddr(), hostNames);
    for (const DSAddr* agent : others)
        printHost(*agent, hostNames);
}
