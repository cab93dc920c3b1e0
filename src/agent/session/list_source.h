#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsaddr.h"
#include "agent/records/dsmsg.h"

#include <memory>
#include <optional>
class NCtcpstream;

namespace harbolance {

// One agent of the domain as a source of lists. It is asked once for its TCP endpoint, and after a failure
// not asked again. The connection may stay open for the next query; an agent that accepts one query per
// connection gets a new connection each time.
class ListSource {
public:
    explicit ListSource(const DSAddr& agent);
    ListSource(const ListSource&) = delete;
    ListSource& operator=(const ListSource&) = delete;
    ~ListSource();

    // Returns the set, or null: with status 0 when the answer is not a set, which is reported with `debug`,
    // else with DSUser::noAnswer. Blocks until the agent has answered or a time limit has passed.
    NCRef<DSSet> query(int& status, DSRequest& question, bool debug);

    const DSAddr& agent() const { return agent_; }
    // Whether a wait has timed out without an answer.
    bool wasSilent() const { return silent_; }
    void giveUp() { givenUp_ = true; }
    bool isGivenUp() const { return givenUp_; }
    bool isConnected() const { return stream_ != nullptr; }
    void disconnect();

private:
    enum class Reuse { untried, possible, impossible };

    std::optional<DSAddr> tcpEndpoint();
    bool connect();
    NCRef<DSReply> ask(DSRequest& question, int seconds);
    NCRef<DSReply> askAgain(DSRequest& question);

    DSAddr agent_;
    std::optional<DSAddr> endpoint_;
    std::unique_ptr<NCtcpstream> stream_; // open, with no answer outstanding
    Reuse reuse_ = Reuse::untried;
    bool silent_ = false;
    bool givenUp_ = false;
};

} // namespace harbolance
