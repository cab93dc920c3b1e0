#include "peerscan/report.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

using namespace harbolance;

namespace {

bool isControl(char c) {
    const auto octet = static_cast<unsigned char>(c);
    return octet < 0x20 || octet == 0x7f;
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Printable& printable) {
    std::string_view rest = printable.text;
    while (!rest.empty()) {
        const auto clean = std::ranges::find_if(rest, isControl) - rest.begin();
        out << rest.substr(0, static_cast<size_t>(clean));
        rest.remove_prefix(static_cast<size_t>(clean));
        if (!rest.empty()) {
            out << '?';
            rest.remove_prefix(1);
        }
    }
    return out;
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
