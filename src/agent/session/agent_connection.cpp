#include "agent/session/agent_connection.h"

#include "agent/records/dsprovid.h"
#include "agent/session/session_options.h"

namespace harbolance {

std::unique_ptr<AgentConnection> AgentConnection::open(const DSAddr& agent, dpIOHandler& handler) {
    std::unique_ptr<AgentConnection> connection(new AgentConnection);
    NCudpstream& stream = connection->stream_;
    // The dispatcher ends the process when a descriptor beyond its tables is linked.
    if (bindOwnAddress(stream) != 0 || stream.fd() >= dpDispatcher::maxDescriptors)
        return nullptr;
    stream.connect(agent.socketAddress());
    stream.tellRefusals(); // detects a dead agent on a live host with the next message
    dpDispatcher::instance()->link(stream.fd(), dpDispatcher::readMask, &handler);
    return connection;
}

AgentConnection::~AgentConnection() {
    if (stream_.isConnected())
        dpDispatcher::instance()->unlink(stream_.fd());
}

std::chrono::seconds AgentConnection::silence() const {
    using namespace std::chrono;
    return lastInput_ ? duration_cast<seconds>(steady_clock::now() - *lastInput_) : seconds::max();
}

bool AgentConnection::send(const DSMessage& message) {
    return stream_.send(&message) != NCudpstream::refused;
}

int AgentConnection::answer(const DSMessage& message, int replyType) {
    // Stored before sending: when the answer is lost, the agent repeats its request and gets the same answer.
    lastAnswer_ = new DSReply(replyType, message, DSStatusDone);
    return stream_.send(lastAnswer_.get());
}

NCRef<DSReply> AgentConnection::answerTo(const DSRequest& request) const {
    return lastAnswer_ && lastAnswer_->answers(request) ? lastAnswer_ : nullptr;
}

NCRef<DSMessage> AgentConnection::receive(bool& lost) {
    int status = 0;
    sockaddr_in from{};
    std::unique_ptr<NCTransObject> received(stream_.receive(status, &from));
    // No datagram after all: another dispatcher has read it, or the system has dropped it.
    if (status == NCudpstream::noData)
        return nullptr;
    auto* known = nc_cast<DSMessage>(received.get());
    if (status != 0 || !known || !known->isCurrentVersion()) {
        // Any host can send to the socket, so only a bad message from the agent's own address and port counts
        // as its loss.
        const sockaddr_in& agent = stream_.peer();
        const bool fromAgent =
            from.sin_addr.s_addr == agent.sin_addr.s_addr && from.sin_port == agent.sin_port;
        lost = fromAgent || from.sin_family == AF_UNSPEC; // AF_UNSPEC: the socket itself failed
        return nullptr;
    }
    // The reference is taken before the plain owner gives up the message.
    NCRef<DSMessage> message = known;
    static_cast<void>(received.release());
    lastInput_ = std::chrono::steady_clock::now();
    doubted_ = false;
    return isRepeat(*message) ? nullptr : message;
}

bool AgentConnection::isRepeat(const DSMessage& message) {
    const auto* reply = nc_cast<DSReply>(&message);
    const bool isAnswer = reply && reply->replyType() != DSReplyTrigger;
    // Numbers wrap around, and an agent may restart its numbering, so only equality is tested.
    const auto before = std::exchange(lastNumber_, message.msgNum());
    // A request or notification is repeated because our answer was lost, so it must be answered again.
    if (before == message.msgNum())
        return isAnswer;
    // Another exchange has taken place since, so an equal notification is a new event.
    if (before && isAnswer)
        lastNotification_ = nullptr;
    return false;
}

bool AgentConnection::isRepeatedNotification(DSReply& notification) {
    const auto valueOf = [](const DSReply& reply) {
        const auto* provider = nc_cast<DSProvider>(reply.reply());
        return provider ? provider->name().value() : nullptr;
    };
    if (lastNotification_ && lastNotification_->status() == notification.status()) {
        const DSResource* value = valueOf(*lastNotification_);
        const DSResource* otherValue = valueOf(notification);
        // Without values a repeat cannot be recognised, and calling a handler twice does less harm than not
        // at all.
        if (value && otherValue && value->compare(otherValue) == 0)
            return true;
    }
    lastNotification_ = &notification;
    return false;
}

} // namespace harbolance
