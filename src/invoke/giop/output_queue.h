#pragma once

#include "marshal/cdr/vbuf.h"

#include <cstdint>
#include <deque>

class CORBA_Exception;
class TRXConnection;

namespace harbolance {

// Is notified of the result for a message that could not be sent at once.
class OutputObserver {
public:
    virtual ~OutputObserver() = default;
    virtual void left() = 0; // its last octet has been passed to the system
    virtual void failed(const CORBA_Exception& exception) = 0;
};

// Messages that wait to be written on one connection, in order. The queue never waits: `advance` writes what
// the socket accepts now. The queue holds the messages' buffers.
class OutputQueue {
public:
    // Identifies a message of the queue; later messages have larger tickets.
    using Ticket = uint64_t;

    OutputQueue() = default;
    OutputQueue(const OutputQueue&) = delete;
    OutputQueue& operator=(const OutputQueue&) = delete;
    ~OutputQueue() { drop(); }

    // Sends the message, whose buffer is complete, after those that wait. The part that the socket does not
    // accept now stays in the queue, with borrowed octets copied. Raises what the connection raises and then
    // drops the message; if a part of it has been sent, the stream is ended. With `more` the system may delay
    // it until the next message.
    Ticket send(TRXConnection& connection, CORBA_MarshalOutBuffer* message, bool more = false);
    // For a message that has not been sent yet: the observer is called once. It is not owned.
    void observe(Ticket ticket, OutputObserver* observer);
    // Writes until the queue is empty or the socket accepts no more. Raises what the connection raises; the
    // queue is then unchanged.
    void advance(TRXConnection& connection);
    // Removes a message of which nothing has been sent; false when a part has been sent.
    bool withdraw(Ticket ticket);
    // Fails every message that has not been sent.
    void fail(const CORBA_Exception& exception);

    bool empty() const { return _messages.empty(); }
    size_t count() const { return _messages.size(); }
    bool hasLeft(Ticket ticket) const { return ticket <= _lastLeft; }
    // The number of octets that wait.
    uint64_t size() const { return _size; }
    // Increases with every octet written.
    uint64_t written() const { return _written; }

private:
    struct Message {
        Ticket ticket;
        CORBA_MarshalOutBuffer* buffer;
        OutputObserver* observer;
    };

    std::deque<Message>::iterator find(Ticket ticket);
    void drop();
    OutputObserver* finishFirst(); // its observer, or null

    std::deque<Message> _messages;
    size_t _begun = 0; // octets of the first message that have been sent
    uint64_t _size = 0;
    uint64_t _written = 0;
    Ticket _lastTicket = 0;
    Ticket _lastLeft = 0;
};

} // namespace harbolance
