#pragma once

#include "invoke/giop/giop_header.h"
#include "invoke/giop/message_buffer.h"

#include <cstdint>

class TRXConnection;

namespace harbolance {

// Splits the octets of a connection into messages. Octets are received directly into the memory in which
// messages are decoded; an incomplete message is kept until the rest arrives. The reader never waits.
//
// A message larger than a SmallReceiveBlock has its own memory, which is at most twice the octets received
// plus 64 KiB, whatever size its header claims.
class MessageReader {
public:
    // Reads once from the connection. Whether that drained it. Raises what the connection raises.
    bool fill(TRXConnection& connection);

    // Whether `take` would return a message.
    bool ready() const { return _ready; }
    // The next message: its header, with the size in host order, and its body, owned by the caller. Null when
    // there is none, and for a header that is not one of GIOP 1.0; the latter is returned as soon as it has
    // arrived, and the octets that it announces are skipped.
    TRXMarshalInBuffer* take(GIOP::MessageHeader& header);

    // Whether a message, or octets to be skipped, have arrived in part.
    bool partial() const { return (_begin < _end && !ready()) || _skip > 0; }
    // Increases with every octet received.
    uint64_t received() const { return _received; }

private:
    void look();
    void makeRoom();
    void moveTo(TRXRef<ReceiveBlock> block);
    size_t room() const;
    void skipReceived();

    TRXRef<ReceiveBlock> _block;
    LargeReceiveBlock* _large = nullptr; // `_block`, when it holds one large message
    size_t _begin = 0;                   // start of the octets received and not taken
    size_t _end = 0;
    uint64_t _needed = 0; // octets of the large message in `_large`, header included
    uint64_t _skip = 0;   // octets still to be skipped
    uint64_t _received = 0;
    GIOP::MessageHeader _next; // the next message's header, valid while `_announced`
    bool _announced = false;
    bool _ready = false;
};

} // namespace harbolance
