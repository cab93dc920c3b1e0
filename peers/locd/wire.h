#pragma once

// Datagrams to messages and back, in memory.

#include "agent/records/dsmsg.h"
#include "base/refcount.h"
#include "stream/ncipcstream.h"

#include <netinet/in.h>

#include <memory>
#include <span>

namespace locd {

// What a receiver of the protocol takes at the most; anything longer would count as malformed over there.
constexpr uint32_t longestDatagram = 8192;

// What this agent answers beside the values of DSReplyStatus. A client takes each for the failure of its
// request.
enum AgentStatus : int {
    notRegistered = -1, // nothing like that is registered by this client
    noSuchService = -2, // there is no provider of it, here or at the other agents
    badRequest = -3,    // an unknown request, or one without the record it needs
    limitReached = -4,  // of this client or of the agent
    tooLarge = -5,      // the answer would not fit a datagram
};

// Decodes one datagram after another, each received into the area of this object.
class Decoder {
public:
    Decoder();

    // Where the next datagram goes: one octet more than the longest, so that one which is too long shows.
    std::span<uint8_t> area() const { return {buffer_.rbuf(), buffer_.rsize()}; }

    // The record in the first `count` octets of the area, or null when they hold none.
    NCRef<DSResource> decode(size_t count);

    // For a DSRequest of another protocol version, right after `decode` gave it: a request of this version
    // with the number and cookie that are found at the usual places. Null when there is nothing there.
    NCRef<DSMessage> foreignHeader(size_t count);

private:
    // Reading beyond the end is the sender's fault and not worth a line on the standard output.
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

    // The octets stay valid until the next call. Empty when the message does not fit a datagram.
    std::span<const uint8_t> encode(const NCTransObject& message);

private:
    NCipcbuf buffer_;
    NCipcstream stream_;
};

// A request of this version that was never sent, with the number and cookie given: for replies to something
// that is no request of this version.
NCRef<DSMessage> standInRequest(uint32_t number, const harbolance::MessageCookie& cookie);

// What an agent puts into the cookie of its messages to other agents; 0 when the cookie has another length.
uint32_t cookieWord(const harbolance::MessageCookie& cookie);

} // namespace locd
