#pragma once

#include "agent/collections/dsset.h"
#include "agent/records/dsaddr.h"
#include "agent/records/dsmsg.h"

#include <memory>
#include <optional>
class NCtcpstream;

namespace harbolance {

// One agent of the domain as the place of lists: it is asked once where it takes list queries, and once it
// has failed it is not asked again. The connection may stay open for the next query; an agent that takes only
// one query on each gets a new one every time.
class ListSource {
public:
    explicit ListSource(const DSAddr& agent);
    ListSource(const ListSource&) = delete;
    ListSource& operator=(const ListSource&) = delete;
    ~ListSource();

    // The set, or null: with status 0 when the answer is no set, which `debug` tells, else with
    // DSUser::noAnswer. Blocks until the agent has answered or a time limit has passed.
    NCRef<DSSet> query(int& status, DSRequest& question, bool debug);

    const DSAddr& agent() const { return agent_; }
    // A wait has ended without an answer.
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
