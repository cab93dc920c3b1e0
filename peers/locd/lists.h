#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsmsg.h"
#include "locd/list_encoder.h"
#include "locd/log.h"
#include "locd/network.h"
#include "locd/registry.h"
#include "locd/ticker.h"

#include <memory>
#include <vector>

namespace locd {

// The TCP side of the agent: serves whole lists of its registrations. A connection may send several requests;
// while an answer is being written no further request is read.
//
// A slow or silent peer blocks neither the agent nor other peers. Connections are non-blocking and their
// number is limited; a new one replaces the one that has been silent longest, also when the process has no
// free descriptor. A connection that makes no progress in time is closed. A list is encoded once for all
// connections that wait for it, and the size of all encoded lists is limited; beyond the limit connections
// are closed in the same order.
class Lists : public dpIOHandler {
public:
    static constexpr size_t mostConnections = 64;
    static constexpr size_t mostOctets = size_t{128} * 1024 * 1024;

    Lists(Log& log, const Registry& registry);
    ~Lists() override;

    // Port 0 means any free port. False with errno set.
    bool open(in_addr_t address, int port);
    int port() const { return listener_.port(); }
    size_t connections() const { return connections_.size(); }

    // Accepts new connections.
    int inputReady(int fd) override;

private:
    class Connection;
    // An encoded list in use: the request that it answers, and the version of the registry.
    struct Shared {
        int requestType;
        NCRef<DSName> name; // null for all names
        uint64_t version;
        SpelledClasses before;
        std::weak_ptr<const EncodedList> list;
    };

    // The list for the answer; null when the request does not ask for one.
    std::shared_ptr<const EncodedList> list(const DSRequest& request, const SpelledClasses& before,
                                            const Connection& receiver);
    NCRef<DSSet> names() const;
    NCRef<DSSet> providers(const DSName& name) const;
    void makeSpace(const Connection& receiver);
    bool closeMostSilent(const Connection* except);
    void close(const Connection* connection);
    void sweep();
    void pause();
    void listen(bool on);

    Log& log_;
    const Registry& registry_;
    TcpListener listener_;
    bool listening_ = false;
    std::vector<std::unique_ptr<Connection>> connections_;
    ListEncoder encoder_;
    std::vector<Shared> shared_;
    uint64_t activities_ = 0; // of all connections so far
    Ticker ticker_;
};

} // namespace locd
