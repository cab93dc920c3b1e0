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

// Where a search for agents is broadcast: a dictionary from this host's address in each network to a wrapper
// of the network's entry. It comes from the file of LOCD_LOCAL_FILE or of HARBOLANCE_ADM ("localaddr"), a
// line a network: `address netmask broadcast`. Without a file, or without a line in it, the interfaces are
// asked; one that has no broadcast address is left out.
class BroadcastTable : public NCBroadcastTable {
public:
    // `fd` is an open socket. The names in a file are looked up, which may block. With `debug` a question to
    // the system that fails is told on the standard error stream.
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
