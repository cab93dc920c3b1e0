#include "agent/session/agent_connection.h"

#include "agent/records/dsprovid.h"
#include "agent/session/session_options.h"

namespace harbolance {

std::unique_ptr<AgentConnection> AgentConnection::open(const DSAddr& agent, dpIOHandler& handler) {
    std::unique_ptr<AgentConnection> connection(new AgentConnection);
    NCudpstream& stream = connection->stream_;
    // Linking a number beyond the dispatcher's tables would end the process.
    if (bindOwnAddress(stream) != 0 || stream.fd() >= dpDispatcher::maxDescriptors)
        return nullptr;
    stream.connect(agent.socketAddress());
    stream.tellRefusals(); // an agent that has died on a host that lives is known with the next message to it
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
    // Kept before sending: when this is lost, the agent asks again and gets the same answer.
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
    // Another dispatcher has read what was announced, or the system has dropped it.
    if (status == NCudpstream::noData)
        return nullptr;
    auto* known = nc_cast<DSMessage>(received.get());
    if (status != 0 || !known || !known->isCurrentVersion()) {
        // Any host can send to the socket: only what comes from the agent's own port tells of the agent.
        const sockaddr_in& agent = stream_.peer();
        const bool fromAgent =
            from.sin_addr.s_addr == agent.sin_addr.s_addr && from.sin_port == agent.sin_port;
        lost = fromAgent || from.sin_family == AF_UNSPEC; // the latter is a failure of the socket
        return nullptr;
    }
    // Held by count first; only then does the plain owner let go.
    NCRef<DSMessage> message = known;
    static_cast<void>(received.release());
    lastInput_ = std::chrono::steady_clock::now();
    doubted_ = false;
    return isRepeat(*message) ? nullptr : message;
}

bool AgentConnection::isRepeat(const DSMessage& message) {
    const auto* reply = nc_cast<DSReply>(&message);
    const bool isAnswer = reply && reply->replyType() != DSReplyTrigger;
    // Numbers need not grow: they wrap, and an agent may start again. So only equality counts.
    const auto before = std::exchange(lastNumber_, message.msgNum());
    // Requests and notifications are repeated because our answer was lost: they have to be answered again.
    if (before == message.msgNum())
        return isAnswer;
    // Another exchange has passed in between: an equal notification after it is a new event.
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
        // Without values there is nothing to recognise a repeat by, and calling a handler twice is the
        // smaller harm.
        if (value && otherValue && value->compare(otherValue) == 0)
            return true;
    }
    lastNotification_ = &notification;
    return false;
}

} // namespace harbolance
