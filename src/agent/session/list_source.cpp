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

// Time limit in seconds, both for the connection and for the answer of a list query. An agent answers from
// memory, so one that takes longer counts as silent.
constexpr int listTimeout = 30;

// Time limit in seconds for the first second query on one connection; an agent that exceeds it counts as one
// that accepts a single query per connection.
constexpr int reuseTimeout = 3;

// Limit of the size of one agent's list in octets. A name takes about 100, or 500 with a reference, so this
// exceeds any real domain and limits the memory for a hostile answer.
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
    // Not for a silent agent, which would let a second wait time out as well.
    if (!reply && !silent_ && connect())
        reply = ask(question, listTimeout);
    if (!reply) {
        giveUp();
        return nullptr;
    }
    // An agent that accepts one query per connection either closes it or never answers a second query.
    if (reuse_ == Reuse::impossible)
        disconnect();
    status = DSUser::done;
    // The result holds the set, so it outlives the reply.
    if (auto* set = nc_cast<DSSet>(reply->reply()))
        return set;
    if (debug)
        standardOutput() << "Reply did not contain a DSSet: \n" << *reply;
    return nullptr;
}

bool ListSource::connect() {
    // Kept from the first query, since asking costs a datagram and up to three seconds.
    if (!endpoint_)
        endpoint_ = tcpEndpoint();
    if (!endpoint_)
        return false;
    auto stream = std::make_unique<NCtcpstream>(listBufferSize, listQueue);
    const int connected = stream->connect(endpoint_->addr(), endpoint_->port(), listTimeout);
    // Only a time-out counts as silence; a refused connection takes no time.
    silent_ = connected == NCtcpstream::timedOut;
    if (connected != 0)
        return false;
    stream->setMessageLimit(longestList);
    stream->setBlocking(true);
    stream_ = std::move(stream);
    return true;
}

// Asks on the open connection, which is closed when there is no answer.
NCRef<DSReply> ListSource::ask(DSRequest& question, int seconds) {
    // Stored again only after a complete answer; after a partial one the connection cannot be used for
    // another query.
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

// Sends another query on the open connection. Null when the agent has closed it or accepts no second query;
// the query is then made on a new connection.
NCRef<DSReply> ListSource::askAgain(DSRequest& question) {
    // No answer is outstanding, so input can only be the end of the connection, or octets that answer
    // nothing.
    const bool isOpen = pollUntil(stream_->fd(), POLLIN, Deadline(0)) == 0;
    NCRef<DSReply> reply;
    if (isOpen)
        reply = ask(question, reuse_ == Reuse::possible ? listTimeout : reuseTimeout);
    else
        disconnect();
    // The first second query shows whether the agent accepts more than one. Silence does not count as a
    // silent agent: it may only have stopped reading.
    if (reuse_ == Reuse::untried) {
        reuse_ = reply ? Reuse::possible : Reuse::impossible;
        silent_ = false;
    }
    return reply;
}

// Asks where the agent accepts list queries. The status of the answer does not matter, only whether it has an
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
        // Probably lost, so the question is sent again.
        if (ready == 0)
            continue;
        // Any answer, even an unusable one, shows that the agent is not silent.
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
