#pragma once

#include "invoke/giop/giop_header.h"
#include "invoke/giop/message_buffer.h"

#include <cstdint>

class TRXConnection;

namespace harbolance {

// Cuts messages out of what a connection delivers. Octets are received straight into the memory in which
// messages are decoded; half a message waits here until the rest has come. The reader never waits.
//
// A message larger than a SmallReceiveBlock has memory of its own, which stays within twice what has arrived
// and 64 KiB, whatever size its header announces.
class MessageReader {
public:
    // One read of what the connection has now. Whether that was all. Raises what the connection raises.
    bool fill(TRXConnection& connection);

    // Whether `take` gives a message.
    bool ready() const { return _ready; }
    // The next message: its header, with the size in host order, and its body, the caller's. Null when there
    // is none, and for a header that is not one of GIOP 1.0: it is handed out as soon as it is there, and the
    // octets that it announces are passed over.
    TRXMarshalInBuffer* take(GIOP::MessageHeader& header);

    // Whether a message, or what is to be passed over of one, has come in part.
    bool partial() const { return (_begin < _end && !ready()) || _skip > 0; }
    // Changes with every octet received.
    uint64_t received() const { return _received; }

private:
    void look();
    void makeRoom();
    void moveTo(TRXRef<ReceiveBlock> block);
    size_t room() const;
    void skipReceived();

    TRXRef<ReceiveBlock> _block;
    LargeReceiveBlock* _large = nullptr; // `_block`, when it holds one large message
    size_t _begin = 0;                   // what has come and is not taken
    size_t _end = 0;
    uint64_t _needed = 0; // octets of the large message in `_large`, header included
    uint64_t _skip = 0;   // octets still to be passed over
    uint64_t _received = 0;
    GIOP::MessageHeader _next; // of the message that comes next, once it is `_announced`
    bool _announced = false;
    bool _ready = false;
};

} // namespace harbolance
