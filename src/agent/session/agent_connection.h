#pragma once

#include "agent/records/dsaddr.h"
#include "agent/records/dsmsg.h"
#include "net/dispatcher.h"
#include "stream/ncudpstr.h"

#include <chrono>
#include <memory>
#include <optional>

namespace harbolance {

// A connection with one agent: the socket and all state that belongs to that agent. When the agent is lost
// the whole object is destroyed; the next agent gets a new one with a new socket, so that late messages to
// the old port are dropped.
class AgentConnection {
public:
    // While the connection exists, the global dispatcher calls `handler` for its input. Null when no socket
    // can be opened, or none with a number that the dispatcher accepts.
    static std::unique_ptr<AgentConnection> open(const DSAddr& agent, dpIOHandler& handler);
    AgentConnection(const AgentConnection&) = delete;
    AgentConnection& operator=(const AgentConnection&) = delete;
    ~AgentConnection();

    int fd() const { return stream_.fd(); }
    bool isLoggedIn() const { return loggedIn_; }
    void setLoggedIn() { loggedIn_ = true; }
    // Time since the agent's last message; a very long time before the first one.
    std::chrono::seconds silence() const;
    // Call when all sendings of a request have had no answer. The next message of the agent resets this.
    void doubt() { doubted_ = true; }
    bool isDoubted() const { return doubted_; }

    // False when the agent is lost, because no process receives at its port. Any other failure to send is
    // ignored, since requests are repeated.
    bool send(const DSMessage& message);
    // Answers a request or acknowledges a notification, and stores the answer for repeats. Returns the status
    // of the stream.
    int answer(const DSMessage& message, int replyType);
    // The stored answer, if it answers this request; else null.
    NCRef<DSReply> answerTo(const DSRequest& request) const;

    // Reads one datagram and returns the agent's message, or null when there is none to handle. Repeats are
    // not returned, except of a notification, which must be acknowledged again. Sets `lost` when an
    // unreadable message comes from the agent; bad messages from other senders are ignored.
    NCRef<DSMessage> receive(bool& lost);

    // Whether the notification equals the previous one. If not, it is stored as the previous one.
    bool isRepeatedNotification(DSReply& notification);

private:
    AgentConnection() = default;
    bool isRepeat(const DSMessage& message);

    NCudpstream stream_;
    bool loggedIn_ = false;
    bool doubted_ = false;
    std::optional<std::chrono::steady_clock::time_point> lastInput_;
    std::optional<uint32_t> lastNumber_; // of the last handled message
    NCRef<DSReply> lastAnswer_;
    NCRef<DSReply> lastNotification_; // null after another reply has come
};

} // namespace harbolance
