// The first octet of the input is the size of the pieces in which the rest is sent, as a peer would send it
// on one connection. The size must not matter, and every message must be the one that is in the stream at
// that place.

#include "fuzzing.h"

#include "invoke/giop/giop_message.h"
#include "invoke/giop/message_reader.h"
#include "invoke/transport/viconn.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace harbolance;

namespace {

constexpr size_t longestInput = 64 * 1024; // a socket pair takes it at once

std::string fieldsOf(TRXGIOPMessage* message) {
    const auto text = [](const CORBA_OctetSequence& octets) {
        return std::string(reinterpret_cast<const char*>(octets.buffer()), octets.length()) + '/';
    };
    if (auto* request = TRXGIOPRequest::narrow(message)) {
        const GIOP::RequestHeader& header = request->header();
        return std::to_string(header.request_id) + header.operation + '/' + text(*header.object_key) +
               text(*header.principal) + std::to_string(header.service_context.length());
    }
    if (auto* locate = TRXGIOPLocateRequest::narrow(message))
        return std::to_string(locate->header().request_id) + text(*locate->header().object_key);
    if (auto* reply = TRXGIOPReply::narrow(message))
        return std::to_string(reply->header().request_id) + std::to_string(reply->header().reply_status);
    return {};
}

// A text for comparison: the message and the contents after its headers.
std::string outcomeOf(CORBA_MarshalInBuffer* body, const GIOP::MessageHeader& header) {
    std::string outcome(1, static_cast<char>(header.message_type));
    try {
        const TRXRef<TRXGIOPMessage> message(TRXGIOPMessage::create(body, header));
        outcome += fieldsOf(message.get());
        if (CORBA_MarshalInBuffer* rest = message->stream()) {
            CORBA_OctetSequence octets;
            *rest >> octets;
            outcome += std::to_string(octets.length());
        }
    } catch (const CORBA_SystemException& exception) {
        outcome += exception._name();
    }
    return outcome;
}

class Receiver {
public:
    Receiver() {
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds_) == 0, "there are sockets");
        connection_.attach(fds_[0]);
    }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    ~Receiver() { ::close(fds_[1]); }

    void feed(const uint8_t* data, size_t size) {
        require(::send(fds_[1], data, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size), "octets leave");
        bool all = false;
        while (!all) {
            all = reader_.fill(connection_);
            take();
        }
    }
    const std::vector<std::string>& outcomes() const { return outcomes_; }
    bool partial() const { return reader_.partial(); }

private:
    void take() {
        while (reader_.ready()) {
            GIOP::MessageHeader header;
            const TRXMarshalInBuffer_var body(reader_.take(header));
            require((body.in() != nullptr) == header.is_valid(), "a valid header comes with its body");
            outcomes_.push_back(outcomeOf(body.in(), header));
        }
    }

    int fds_[2] = {-1, -1};
    TRXTCPConn connection_;
    MessageReader reader_;
    std::vector<std::string> outcomes_;
};

// The expected result, computed directly from the whole stream.
std::vector<std::string> expected(const uint8_t* data, size_t size, bool& partial) {
    std::vector<std::string> outcomes;
    size_t at = 0;
    while (size - at >= GIOP::messageHeaderSize) {
        GIOP::MessageHeader header;
        std::memcpy(&header, data + at, sizeof header);
        if ((header.byte_order != 0) != (hostByteOrder != 0))
            header.message_size = reversed(header.message_size);
        const size_t left = size - at - GIOP::messageHeaderSize;
        if (header.is_valid() && left < header.message_size)
            break;
        const char* octets = reinterpret_cast<const char*>(data + at);
        CORBA_MarshalInBuffer_var body;
        if (header.is_valid()) {
            body = new CORBA_MarshalInBuffer(octets + GIOP::messageHeaderSize, header.message_size, 0,
                                             header.byte_order != 0);
            body->align(GIOP::messageHeaderSize);
            body->demand_string_ends();
        }
        outcomes.push_back(outcomeOf(body.in(), header));
        at += GIOP::messageHeaderSize;
        if (left < header.message_size) {
            partial = true;
            return outcomes;
        }
        at += header.message_size;
    }
    partial = at < size;
    return outcomes;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > longestInput)
        return 0;
    const size_t piece = 1 + size_t{data[0]} * data[0] / 8;
    ++data;
    --size;

    Receiver whole;
    whole.feed(data, size);
    Receiver pieces;
    for (size_t at = 0; at < size; at += piece)
        pieces.feed(data + at, std::min(piece, size - at));

    bool partial = false;
    require(whole.outcomes() == expected(data, size, partial), "messages are what the stream says");
    require(whole.outcomes() == pieces.outcomes(), "messages do not depend on how they come");
    require(whole.partial() == partial && pieces.partial() == partial, "half a message waits for the rest");
    return 0;
}
