#pragma once

#include "agent/records/dsresrc.h"

#include <netinet/in.h>

// An IPv4 endpoint. Fields on the stream: the address as it stands in a sockaddr_in (a block of 4), port.
//
// The address is 0 when it is not known, and that of 255.255.255.255 when a host text does not resolve.
class DSAddr : public DSResource {
public:
    static const NCTypeInfo info;

    // This host. Asks the resolver once per process.
    explicit DSAddr(int port);
    // A dotted quad or a host name; a name may block for as long as the resolver takes.
    DSAddr(int port, const char* host);
    DSAddr(int port, in_addr address) : addr_(address.s_addr), port_(port) {}
    explicit DSAddr(const sockaddr_in& address);
    explicit DSAddr(NCistream& in);

    in_addr_t addr() const { return addr_; }
    int port() const { return port_; }
    void setPort(int port) { port_ = port; }
    sockaddr_in socketAddress() const;

    // By reverse look-up, else the dotted form; null when the address is 0. Valid until the next call.
    const char* hostName() const;
    // Valid until the next call.
    const char* dottedAddr() const;
    // Whether this is the address of the host's own name.
    bool isLocal() const;

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override { return addr_ ^ static_cast<uint32_t>(port_); }
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override;

private:
    in_addr_t addr_ = 0;
    int port_ = 0;
};
