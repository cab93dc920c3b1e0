#pragma once

// Conversion of datagrams to messages and back.

#include "agent/records/dsmsg.h"
#include "base/refcount.h"
#include "stream/ncipcstream.h"

#include <netinet/in.h>

#include <memory>
#include <span>

namespace locd {

// The longest datagram that a receiver of the protocol accepts.
constexpr uint32_t longestDatagram = 8192;

// Statuses of this agent's answers beside those of DSReplyStatus. A client treats each as a failure of its
// request.
enum AgentStatus : int {
    notRegistered = -1, // the client has not registered it
    noSuchService = -2, // no provider, neither here nor at the other agents
    badRequest = -3,    // an unknown request, or one without the record it needs
    limitReached = -4,  // of this client or of the agent
    tooLarge = -5,      // the answer would not fit a datagram
};

// Decodes one datagram after another; each must be received into the area of this object.
class Decoder {
public:
    Decoder();

    // The buffer for the next datagram: one octet longer than the longest, so that longer ones are detected.
    std::span<uint8_t> area() const { return {buffer_.rbuf(), buffer_.rsize()}; }

    // The record in the first `count` octets of the area, or null when there is none.
    NCRef<DSResource> decode(size_t count);

    // For a DSRequest of another protocol version, directly after `decode`: a request of this version with
    // the number and cookie found at their usual places. Null when they are missing.
    NCRef<DSMessage> foreignHeader(size_t count);

private:
    // Reading beyond the end is the sender's fault; no complaint is printed.
    class Buffer : public NCipcbuf {
    public:
        using NCipcbuf::NCipcbuf;
        int underflow() override { return -1; }
    };

    void rewind(size_t count);

    Buffer buffer_;
    NCipcstream stream_;
};

// Encodes messages as datagrams.
class Encoder {
public:
    Encoder();

    // The octets are valid until the next call. Empty when the message does not fit a datagram.
    std::span<const uint8_t> encode(const NCTransObject& message);

private:
    NCipcbuf buffer_;
    NCipcstream stream_;
};

// A request of this version that was never sent, with the given number and cookie: used to answer messages
// that are no request of this version.
NCRef<DSMessage> standInRequest(uint32_t number, const harbolance::MessageCookie& cookie);

// The number in the cookie of a message between agents; 0 when the cookie has another length.
uint32_t cookieWord(const harbolance::MessageCookie& cookie);

} // namespace locd
