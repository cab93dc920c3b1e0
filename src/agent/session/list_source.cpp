#include "agent/session/list_source.h"

#include "agent/records/dsamsg.h"
#include "agent/records/dsmsg.h"
#include "agent/session/dsuser.h"
#include "agent/session/session_options.h"
#include "base/standard_streams.h"
#include "net/descriptors.h"
#include "stream/nctcpstr.h"
#include "stream/ncudpstr.h"

#include <poll.h>

namespace harbolance {

namespace {

// Seconds for the connection and for the answer of a list query, each. An agent answers from its memory, so
// one that takes longer counts as silent.
constexpr int listTimeout = 30;

// Seconds until an agent that has never answered a second query on one connection counts as one that does
// not.
constexpr int reuseTimeout = 3;

// Octets of one agent's list. A name takes some 100, or 500 with a reference, so this is more than a domain
// holds, and it bounds what a hostile answer can cost.
constexpr int longestList = 64 * 1024 * 1024;

constexpr uint32_t listBufferSize = 1024;
constexpr int listQueue = 50;
constexpr uint8_t listPriority = 10;

} // namespace

ListSource::ListSource(const DSAddr& agent) : agent_(agent) {}
ListSource::~ListSource() = default;

void ListSource::disconnect() { stream_.reset(); }

NCRef<DSSet> ListSource::query(int& status, DSRequest& question, bool debug) {
    status = DSUser::noAnswer;
    if (givenUp_)
        return nullptr;
    NCRef<DSReply> reply = stream_ ? askAgain(question) : nullptr;
    // A silent agent would let a second wait run out as well.
    if (!reply && !silent_ && connect())
        reply = ask(question, listTimeout);
    if (!reply) {
        giveUp();
        return nullptr;
    }
    // An agent that takes one query on a connection closes it, or lets a second one wait for ever.
    if (reuse_ == Reuse::impossible)
        disconnect();
    status = DSUser::done;
    // Held by the result: the set stays when the reply goes.
    if (auto* set = nc_cast<DSSet>(reply->reply()))
        return set;
    if (debug)
        standardOutput() << "Reply did not contain a DSSet: \n" << *reply;
    return nullptr;
}

bool ListSource::connect() {
    // Kept from the first query: the question costs a datagram and up to three seconds.
    if (!endpoint_)
        endpoint_ = tcpEndpoint();
    if (!endpoint_)
        return false;
    auto stream = std::make_unique<NCtcpstream>(listBufferSize, listQueue);
    const int connected = stream->connect(endpoint_->addr(), endpoint_->port(), listTimeout);
    // Only a wait that ran out counts: a connection that is refused costs no time.
    silent_ = connected == NCtcpstream::timedOut;
    if (connected != 0)
        return false;
    stream->setMessageLimit(longestList);
    stream->setBlocking(true);
    stream_ = std::move(stream);
    return true;
}

// On the open connection, which is closed when there is no answer.
NCRef<DSReply> ListSource::ask(DSRequest& question, int seconds) {
    // Back in its place only with the whole answer: on a connection with half of one nothing can be asked.
    std::unique_ptr<NCtcpstream> stream = std::move(stream_);
    if (stream->send(&question, listPriority) != 0)
        return nullptr;
    int received = 0;
    std::unique_ptr<NCTransObject> object(stream->receive(received, seconds));
    silent_ = received == NCtcpstream::timedOut;
    auto* known = nc_cast<DSReply>(object.get());
    if (received != 0 || !known || !known->isCurrentVersion())
        return nullptr;
    NCRef<DSReply> reply = known;
    static_cast<void>(object.release());
    stream_ = std::move(stream);
    return reply;
}

// Another query on the open connection. Null when the agent has closed it, or takes no second one: it is
// asked on a new connection then.
NCRef<DSReply> ListSource::askAgain(DSRequest& question) {
    // Nothing is outstanding, so input can only be the end, or octets that answer no question.
    const bool isOpen = pollUntil(stream_->fd(), POLLIN, Deadline(0)) == 0;
    NCRef<DSReply> reply;
    if (isOpen)
        reply = ask(question, reuse_ == Reuse::possible ? listTimeout : reuseTimeout);
    else
        disconnect();
    // The first second query shows what the agent does. Its silence is no sign: it may only have stopped
    // reading.
    if (reuse_ == Reuse::untried) {
        reuse_ = reply ? Reuse::possible : Reuse::impossible;
        silent_ = false;
    }
    return reply;
}

// Where the agent takes list queries. The answer's own status does not matter, only that it carries an
// address.
std::optional<DSAddr> ListSource::tcpEndpoint() {
    constexpr int attempts = 3;
    constexpr int seconds = 1;
    NCudpstream stream;
    if (bindOwnAddress(stream) != 0 || stream.setBlocking(true) != 0 ||
        stream.connect(agent_.socketAddress()) != 0)
        return std::nullopt;
    const NCRef<DSAMessage> question = new DSAMessage(DSTypeTcpEndpoint);
    bool answered = false;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (stream.send(question.get()) != 0)
            return std::nullopt;
        const int ready = pollUntil(stream.fd(), POLLIN, Deadline(seconds));
        if (ready < 0)
            return std::nullopt;
        // Lost on the way, perhaps: the question is sent again.
        if (ready == 0)
            continue;
        // An agent that answers, be it with nonsense, does not make the next listing wait.
        answered = true;
        int received = 0;
        const std::unique_ptr<NCTransObject> object(stream.receive(received));
        const auto* reply = nc_cast<DSAReply>(object.get());
        if (received != 0 || !reply)
            return std::nullopt;
        if (const auto* endpoint = nc_cast<DSAddr>(reply->object()))
            return *endpoint;
    }
    silent_ = !answered;
    return std::nullopt;
}

} // namespace harbolance
