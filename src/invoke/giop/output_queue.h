#pragma once

#include "marshal/cdr/vbuf.h"

#include <cstdint>
#include <deque>
#include <vector>

class CORBA_Exception;
class TRXConnection;

namespace harbolance {

// Is told what became of a message that could not leave at once.
class OutputObserver {
public:
    virtual ~OutputObserver() = default;
    virtual void left() = 0; // its last octet is with the system
    virtual void failed(const CORBA_Exception& exception) = 0;
};

// What waits to be written on one connection, in order. The queue never waits: `advance` hands over what the
// socket takes now. Messages keep their buffers.
class OutputQueue {
public:
    // Names a message of the queue; later ones have larger tickets.
    using Ticket = uint64_t;

    OutputQueue() = default;
    OutputQueue(const OutputQueue&) = delete;
    OutputQueue& operator=(const OutputQueue&) = delete;
    ~OutputQueue() { drop(); }

    // Writes the message, whose buffer is complete, behind those that wait. What the socket does not take now
    // stays in the queue, and the buffer borrows nothing any more. Raises what the connection raises, and
    // drops the message then; when a part has left, the stream is ended.
    // With `more` it may wait in the system for the next.
    Ticket send(TRXConnection& connection, CORBA_MarshalOutBuffer* message, bool more = false);
    // For a message that has not left: the observer is called once. It belongs to the caller.
    void observe(Ticket ticket, OutputObserver* observer);
    // Writes until the queue is empty or the socket takes no more. Raises what the connection raises, with
    // the queue as it was left.
    void advance(TRXConnection& connection);
    // Takes a message out again that has not begun to leave; false when it has.
    bool withdraw(Ticket ticket);
    // Every message that is left fails.
    void fail(const CORBA_Exception& exception);

    bool empty() const { return _messages.empty(); }
    size_t count() const { return _messages.size(); }
    bool hasLeft(Ticket ticket) const { return ticket <= _lastLeft; }
    // Octets that wait.
    uint64_t size() const { return _size; }
    // Changes with every octet written.
    uint64_t written() const { return _written; }

private:
    struct Message {
        Ticket ticket;
        CORBA_MarshalOutBuffer* buffer;
        OutputObserver* observer;
    };

    std::deque<Message>::iterator find(Ticket ticket);
    void drop();
    void finishFirst(std::vector<OutputObserver*>& observers);

    std::deque<Message> _messages;
    size_t _begun = 0; // octets of the first message that have left
    uint64_t _size = 0;
    uint64_t _written = 0;
    Ticket _lastTicket = 0;
    Ticket _lastLeft = 0;
};

} // namespace harbolance
