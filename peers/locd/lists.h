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

// The TCP side of the agent: whole lists of what is registered here. A connection takes request after
// request; while an answer is being written no further request is read.
//
// A peer that is slow or silent holds up neither the agent nor other peers: connections do not block, their
// number is limited, and the one that has been silent longest gives way to a new one, also when the process
// has no descriptor left. A connection on which nothing is finished in time is closed. A list is encoded once
// for all that wait for it, and all encoded lists together have a limit, beyond which connections give way in
// the same order.
class Lists : public dpIOHandler {
public:
    static constexpr size_t mostConnections = 64;
    static constexpr size_t mostOctets = size_t{128} * 1024 * 1024;

    Lists(Log& log, const Registry& registry);
    ~Lists() override;

    // Port 0 is any. False with errno set.
    bool open(in_addr_t address, int port);
    int port() const { return listener_.port(); }
    size_t connections() const { return connections_.size(); }

    // New connections.
    int inputReady(int fd) override;

private:
    class Connection;
    // A list that somebody waits for: what it was asked with, and of which state of the registry it is.
    struct Shared {
        int requestType;
        NCRef<DSName> name; // null for all names
        uint64_t version;
        SpelledClasses before;
        std::weak_ptr<const EncodedList> list;
    };

    // The answer's list; null when the request has none.
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
