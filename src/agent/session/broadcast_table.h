#pragma once

#include "agent/collections/dsdict.h"
#include "agent/records/dsaddr.h"
#include "stream/ncudpstr.h"

#include <iosfwd>
#include <list>
#include <optional>

struct ifreq;

// One network of this host, with the port of the domain in both addresses.
struct NCBroadcastEntry {
    int port;
    DSAddr netmask;
    DSAddr broadcast;
};

// "Subnet: 255.0.0.0  Broadcast: 127.255.255.255".
std::ostream& operator<<(std::ostream& out, const NCBroadcastEntry& entry);

namespace harbolance {

// The destinations for broadcasting a search: a dictionary from this host's address in each network to a
// wrapper of the network's entry. It is read from the file named by LOCD_LOCAL_FILE or in HARBOLANCE_ADM
// ("localaddr"), with one network per line: `address netmask broadcast`. Without a file, or when it has no
// entries, the interfaces are queried; an interface without a broadcast address is left out.
class BroadcastTable : public NCBroadcastTable {
public:
    // `fd` is an open socket. Host names in a file are looked up, which may block. With `debug` a failed
    // query is reported on the standard error stream.
    BroadcastTable(int fd, int port, bool debug);

    int forEachTarget(const std::function<int(const sockaddr_in&)>& send) const override;
    const DSAddr* localAddrFor(const sockaddr_in& address) const override;
    uint32_t size() const { return networks_.size(); }

private:
    void readFile();
    void askInterfaces(int fd);
    void askInterface(int fd, const ifreq& record);
    bool ask(int fd, unsigned long question, void* answer, const char* failure) const;
    std::optional<DSAddr> askAddress(int fd, unsigned long question, const ifreq& record) const;
    void add(const DSAddr& local, const DSAddr& netmask, const DSAddr& broadcast);

    int port_;
    bool debug_;
    DSDictionary networks_{16};
    std::list<NCBroadcastEntry> entries_;
};

} // namespace harbolance
