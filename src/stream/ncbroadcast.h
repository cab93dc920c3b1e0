#pragma once

#include <functional>
#include <memory>
#include <netinet/in.h>

class DSAddr;

// Where a broadcast goes: the broadcast address of each of this host's networks, all with one port. The agent
// layer supplies the table, made of its address records; a UDP stream only walks it.
class NCBroadcastTable {
public:
    NCBroadcastTable() = default;
    NCBroadcastTable(const NCBroadcastTable&) = delete;
    NCBroadcastTable& operator=(const NCBroadcastTable&) = delete;
    virtual ~NCBroadcastTable() = default;

    // Calls `send` for each broadcast address, in the table's order, until it returns something other than 0.
    // The last result; 0 for an empty table.
    virtual int forEachTarget(const std::function<int(const sockaddr_in&)>& send) const = 0;

    // This host's own address in the first network that `address` belongs to, or null. The table keeps it.
    virtual const DSAddr* localAddrFor(const sockaddr_in& address) const = 0;
};

// Makes the table of one stream: `fd` is its open socket, for questions about interfaces, and `port` goes
// into every address.
using NCBroadcastTableMaker = std::unique_ptr<NCBroadcastTable> (*)(int fd, int port);
