#include "peerscan/report.h"

#include "base/printable.h"

#include <cstdlib>
#include <iostream>

using namespace harbolance;

std::ostream& operator<<(std::ostream& out, const Printable& printable) {
    return out << withoutControls(printable.text);
}

std::string hostText(const DSAddr& address, bool hostNames) {
    const char* name = hostNames ? address.hostName() : nullptr;
    return name ? name : address.dottedAddr();
}

void printHost(const DSAddr& address, bool hostNames) {
    std::cout << "\tHOST: " << Printable{hostText(address, hostNames)} << std::endl;
}

DSUser& connectedUser() {
    DSUser* user = DSUser::instance(true);
    if (!user || !user->isLoggedIn()) {
        std::cout << "\npeerscan: There are no agents running in your "
                  << "domain." << std::endl;
        std::exit(0);
    }
    return *user;
}
