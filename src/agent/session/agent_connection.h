#pragma once

#include "agent/records/dsaddr.h"
#include "agent/records/dsmsg.h"
#include "net/dispatcher.h"
#include "stream/ncudpstr.h"

#include <chrono>
#include <memory>
#include <optional>

namespace harbolance {

// A connection with one agent: the socket, and all that is known of that agent only. When the agent is lost
// its connection is destroyed as a whole; the next agent gets a new one with a new socket, so that late
// messages to the old port are dropped.
class AgentConnection {
public:
    // `handler` is called from the global dispatcher for what comes in, for as long as the connection exists.
    // Null when there is no socket to be had, or none that a dispatcher takes.
    static std::unique_ptr<AgentConnection> open(const DSAddr& agent, dpIOHandler& handler);
    AgentConnection(const AgentConnection&) = delete;
    AgentConnection& operator=(const AgentConnection&) = delete;
    ~AgentConnection();

    int fd() const { return stream_.fd(); }
    bool isLoggedIn() const { return loggedIn_; }
    void setLoggedIn() { loggedIn_ = true; }
    // Since the last message of the agent; very long before the first.
    std::chrono::seconds silence() const;
    // A caller has given up waiting for an answer, after as many sendings as are made. The next message of
    // the agent takes that back.
    void doubt() { doubted_ = true; }
    bool isDoubted() const { return doubted_; }

    // False when the agent is lost, since nothing receives at its port. Any other failure to send is left to
    // the repetition of requests.
    bool send(const DSMessage& message);
    // Answers a request or acknowledges a notification, and keeps the answer for repeats of it. The status of
    // the stream.
    int answer(const DSMessage& message, int replyType);
    // The last answer, when it was one to this request; else null.
    NCRef<DSReply> answerTo(const DSRequest& request) const;

    // Reads one datagram: a message of the agent, or null when there is none that matters. A repeat does not,
    // apart from that of a notification, which has to be acknowledged again. `lost` is set when the agent
    // sends what can't be read; others may send what they like.
    NCRef<DSMessage> receive(bool& lost);

    // Whether the notification says the same as the last one. Remembers it otherwise.
    bool isRepeatedNotification(DSReply& notification);

private:
    AgentConnection() = default;
    bool isRepeat(const DSMessage& message);

    NCudpstream stream_;
    bool loggedIn_ = false;
    bool doubted_ = false;
    std::optional<std::chrono::steady_clock::time_point> lastInput_;
    std::optional<uint32_t> lastNumber_; // of the last message that was handled
    NCRef<DSReply> lastAnswer_;
    NCRef<DSReply> lastNotification_; // null once another reply has come
};

} // namespace harbolance
