#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsreply.h"
#include "agent/records/dsreq.h"
#include "locd/log.h"
#include "locd/registry.h"
#include "locd/ticker.h"
#include "stream/nctcpstr.h"

#include <memory>
#include <netinet/in.h>
#include <vector>

namespace locd {

// The TCP side of the agent: whole lists of what is registered here. A connection takes request after
// request; while an answer is being written no further request is read. Neither a slow peer nor a silent one
// holds the agent up: connections do not block, there are so many at the most, and one on which nothing is
// finished in time is closed.
class Lists : public dpIOHandler {
public:
    static constexpr size_t mostConnections = 64;

    Lists(const Log& log, const Registry& registry);
    ~Lists() override;

    // Any port. False with errno set.
    bool open(in_addr_t address);
    int port() const { return listener_.port(); }

    // New connections.
    int inputReady(int fd) override;

    // The answer to a request.
    NCRef<DSReply> answer(const DSRequest& request) const;

private:
    class Connection;

    NCRef<DSSet> names() const;
    NCRef<DSSet> providers(const DSName& name) const;
    void close(const Connection* connection);
    void closeOverdue();
    void listen(bool on);

    const Log& log_;
    const Registry& registry_;
    NCtcpstream listener_;
    std::vector<std::unique_ptr<Connection>> connections_;
    Ticker ticker_;
};

} // namespace locd
