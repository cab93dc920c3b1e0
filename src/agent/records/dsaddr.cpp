#include "agent/records/dsaddr.h"

#include "net/host_address.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

using namespace harbolance;

const NCTypeInfo DSAddr::info("DSAddr", ncCreate<DSAddr>, {&DSResource::info});

namespace {

void reportUnknownHost(const char* host) {
    std::cout << "DSAddr::DSAddr: Unable to get internet "
              << "address for '" << host << "'" << std::endl;
}

} // namespace

DSAddr::DSAddr(int port) : port_(port) {
    const ThisHost& host = thisHost();
    if (host.state == ThisHost::State::known)
        addr_ = host.address;
    else if (host.state == ThisHost::State::nameless)
        std::perror("DSAddr::DSAddr: gethostname ");
    else
        reportUnknownHost(host.name.c_str());
}

DSAddr::DSAddr(int port, const char* host) : port_(port) {
    if (const auto address = addressOfHost(host)) {
        addr_ = *address;
    } else {
        addr_ = INADDR_NONE;
        reportUnknownHost(host ? host : "");
    }
}

DSAddr::DSAddr(const sockaddr_in& address) : addr_(address.sin_addr.s_addr), port_(ntohs(address.sin_port)) {}

DSAddr::DSAddr(NCistream& in) : DSResource(in) {
    unsigned char octets[sizeof addr_] = {};
    in.read(octets, sizeof octets);
    std::memcpy(&addr_, octets, sizeof addr_);
    in.read(port_);
}

sockaddr_in DSAddr::socketAddress() const {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port_));
    address.sin_addr.s_addr = addr_;
    return address;
}

const char* DSAddr::hostName() const {
    static char name[100];
    if (addr_ == 0)
        return nullptr;
    const auto found = nameOfAddress(addr_);
    std::snprintf(name, sizeof name, "%s", found ? found->c_str() : dottedAddr());
    return name;
}

const char* DSAddr::dottedAddr() const { return inet_ntoa(in_addr{addr_}); }

bool DSAddr::isLocal() const {
    const ThisHost& host = thisHost();
    return host.state == ThisHost::State::known && addr_ == host.address;
}

void DSAddr::write(NCostream& out) const {
    unsigned char octets[sizeof addr_];
    std::memcpy(octets, &addr_, sizeof addr_);
    out.write(octets, sizeof octets).write(port_);
}

void DSAddr::printOn(NCostream& out) const {
    out.write("\nClassName: DSAddr\n");
    if (const char* name = hostName())
        out.write("Hostname:").write(name).write("\n");
    out.write("Internet Addr: ").write(dottedAddr()).write("\n");
    out.write("Port Number: ").write(port_).write("\n");
}

int DSAddr::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSAddr>(other);
    if (!that)
        return -1;
    if (const int order = dsDifference(static_cast<int>(addr_), static_cast<int>(that->addr_)))
        return order;
    return dsDifference(port_, that->port_);
}

uint64_t DSAddr::fingerprint() const { return mixFingerprint(addr_, static_cast<uint32_t>(port_)); }
