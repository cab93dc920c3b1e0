#pragma once

#include "agent/records/keyed_record.h"

// An IPv4 endpoint. The address is in network byte order, as in a sockaddr_in: 0 when unknown, and that of
// 255.255.255.255 when a host text cannot be resolved. The port is in host byte order.
class DSAddr : public harbolance::KeyedRecord<DSAddr> {
public:
    static const NCTypeInfo info;

    DSAddr() = default;
    // This host's address. Asks the resolver once per process.
    explicit DSAddr(int port);
    // `host` is a dotted address or a name. Looking up a name may block for as long as the resolver takes.
    DSAddr(int port, const char* host);
    DSAddr(int port, in_addr_t address) : addr_{address}, port_(port) {}
    explicit DSAddr(const sockaddr_in& address) : DSAddr(ntohs(address.sin_port), address.sin_addr.s_addr) {}
    explicit DSAddr(NCistream& in) : KeyedRecord(in) { readFields(in); }

    in_addr_t addr() const { return addr_.s_addr; }
    int port() const { return port_; }
    void setPort(int port) { port_ = port; }
    sockaddr_in socketAddress() const;

    // The name by reverse look-up, else the dotted form; null when the address is 0. Valid until the next
    // call. May block for as long as the resolver takes.
    const char* hostName() const;
    // Valid until the next call.
    const char* dottedAddr() const;
    // Whether the address is that of this host's own name.
    bool isLocal() const;

    // Prints the host name as well, if there is one.
    void printOn(NCostream& out) const override;

    static constexpr auto fields() {
        using namespace harbolance;
        return std::tuple{unprinted(&DSAddr::addr_), unprinted(&DSAddr::port_)};
    }
    auto key() const { return std::tie(addr_, port_); }

private:
    in_addr addr_{};
    int port_ = 0;
};
