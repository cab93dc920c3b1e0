#include "agent/records/dsaddr.h"

#include "base/printable.h"
#include "base/standard_streams.h"
#include "net/host_address.h"

#include <arpa/inet.h>

#include <cstdio>

using namespace harbolance;

const NCTypeInfo DSAddr::info("DSAddr", ncCreate<DSAddr>, {&DSResource::info});

namespace {

// The host name may come from a peer, so it is made safe to print.
void reportUnknownHost(const char* host) {
    standardOutput() << "DSAddr::DSAddr: Unable to get internet "
                     << "address for '" << withoutControls(host) << "'" << std::endl;
}

} // namespace

DSAddr::DSAddr(int port) : port_(port) {
    // thisHost() caches its answer for the process. An unknown address remains 0.
    const ThisHost& host = thisHost();
    if (host.state == ThisHost::State::known)
        addr_.s_addr = host.address;
    else if (host.state == ThisHost::State::nameless)
        std::perror("DSAddr::DSAddr: gethostname ");
    else
        reportUnknownHost(host.name.c_str());
}

DSAddr::DSAddr(int port, const char* host) : port_(port) {
    if (const auto address = addressOfHost(host)) {
        addr_.s_addr = *address;
    } else {
        addr_.s_addr = INADDR_NONE;
        reportUnknownHost(host ? host : "");
    }
}

sockaddr_in DSAddr::socketAddress() const { return harbolance::socketAddress(addr(), port_); }

const char* DSAddr::hostName() const {
    // Static, because the operation returns a plain pointer; the process has a single thread.
    static char name[100];
    if (addr() == 0)
        return nullptr;
    const auto found = nameOfAddress(addr());
    std::snprintf(name, sizeof name, "%s", found ? found->c_str() : dottedAddr());
    return name;
}

const char* DSAddr::dottedAddr() const { return inet_ntoa(addr_); }

bool DSAddr::isLocal() const {
    const ThisHost& host = thisHost();
    return host.state == ThisHost::State::known && addr() == host.address;
}

void DSAddr::printOn(NCostream& out) const {
    out.write("\nClassName: DSAddr\n");
    if (const char* name = hostName())
        out.write("Hostname:").write(name).write("\n");
    out.write("Internet Addr: ").write(dottedAddr()).write("\n");
    out.write("Port Number: ").write(port_).write("\n");
}
