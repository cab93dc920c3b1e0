#pragma once

#include "invoke/giop/giop_message.h"
#include "invoke/giop/message_reader.h"
#include "invoke/giop/output_queue.h"
#include "invoke/giop/reply_waiter.h"
#include "invoke/transport/vconn.h"
#include "net/dispatcher.h"

#include <sys/time.h>

#include <utility>

class TRXGIOPConnFactory;

// GIOP on one connection, of a client or a server: request ids, output and input of messages, the table of
// outstanding requests, and waiting for a reply.
//
// Nothing here blocks the process. Input is read as far as it has arrived and output that the socket does not
// accept is queued; both continue in the event loop, which a waiting call runs (loop_wait.h). So any handler
// may be called inside `send`, `invoke`, `receive_reply`, `poll` and `locate`, also for this connection.
//
// The factory gives out uses (GIOPUse). Time-outs are in whole seconds, 0 for no limit.
class TRXGIOPConn : public TRXResource, public dpIOHandler {
public:
    using Ticket = harbolance::OutputQueue::Ticket;

    // Raises CORBA_INITIALIZE when there is no transport for the connection.
    explicit TRXGIOPConn(TRXConnection* connection);
    TRXGIOPConn(const TRXGIOPConn&) = delete;
    TRXGIOPConn& operator=(const TRXGIOPConn&) = delete;
    ~TRXGIOPConn() override;

    // Links the socket to a dispatcher, null for the global one, until `unregister_io` or the end of the
    // object.
    virtual void register_io(dpDispatcher* dispatcher = nullptr);
    virtual void unregister_io(dpDispatcher* dispatcher = nullptr);
    // Raises CORBA_OBJECT_NOT_EXIST for an id that belongs to no outstanding and no abandoned request.
    virtual void reply_received(CORBA_ULong id, TRXGIOPMessage* reply);
    virtual void fail_all(const CORBA_Exception& exception);
    // Stores the message's size, sends the message, and waits until it has been sent.
    virtual void write(CORBA_MarshalOutBuffer* message, CORBA_ULong timeout);
    virtual CORBA_ULong next_id();
    // For a listener: accepts the next connection, with one use owned by the caller.
    virtual TRXGIOPConn* clone();
    virtual IOP::TaggedProfile* profile(const CORBA_OctetSequence* key = nullptr);
    // Asks where the object of a reference is: returns 1 when it is at this server, 2 when `ior` was replaced
    // by another reference. Raises CORBA_OBJECT_NOT_EXIST when there is no such object, CORBA_INV_OBJREF for
    // an invalid answer.
    virtual CORBA_ULong locate(IOP::IOR& ior, CORBA_ULong timeout);
    // Begins a request in a buffer, whose old contents are dropped.
    virtual void write_request_header(CORBA_MarshalOutBuffer* buffer, const GIOP::RequestHeader& header);
    // Sends a request and returns when it has been sent. With `responseExpected` its waiter enters the table
    // (for null one on the heap); an outstanding id raises CORBA_BAD_PARAM. On failure no waiter stays in the
    // table.
    virtual void send(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer, CORBA_Boolean responseExpected,
                      CORBA_ULong timeout, TRXReplyWaiter* waiter = nullptr);
    // Whether `receive_reply` would return without waiting. An unknown id raises CORBA_OBJECT_NOT_EXIST here
    // and in the next two.
    virtual CORBA_Boolean reply_ready(CORBA_ULong id);
    // The same after reading the input that has arrived; never waits.
    virtual CORBA_Boolean poll(CORBA_ULong id);
    // Waits for the reply, which the caller owns. The waiter is removed in any case. After the time-out
    // raises CORBA_NO_RESPONSE, and the connection stays usable.
    virtual TRXGIOPMessage* receive_reply(CORBA_ULong id, CORBA_ULong timeout = 0);
    virtual TRXGIOPMessage* invoke(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer, CORBA_ULong timeout);
    // Abandons a request: its reply will be dropped.
    void give_up(CORBA_ULong id) { _pending.abandon(id); }
    // Abandons a request and tells the peer.
    virtual void cancel(CORBA_ULong id, CORBA_ULong timeout);
    virtual void send_message_error(CORBA_ULong timeout);
    // A buffer that begins a reply; the caller owns it.
    virtual CORBA_MarshalOutBuffer* write_reply_header(const GIOP::ReplyHeader& header);
    virtual CORBA_MarshalOutBuffer* write_locate_reply_header(const GIOP::LocateReplyHeader& header);
    // Waits for a whole message, owned by the caller, without running the event loop. A CloseConnection
    // message closes the connection and raises CORBA_TRANSIENT.
    virtual TRXGIOPMessage* receive_message(CORBA_ULong timeout);
    virtual void send_close(CORBA_ULong timeout);
    virtual void send_reply(const GIOP::RequestHeader& request, const GIOP::ReplyHeader& reply,
                            CORBA_MarshalOutBuffer* buffer, CORBA_ULong timeout);
    virtual void send_locate_reply(const GIOP::LocateRequestHeader& request,
                                   const GIOP::LocateReplyHeader& reply, CORBA_MarshalOutBuffer* buffer,
                                   CORBA_ULong timeout);
    // Closes a connection on which nothing is outstanding; false when something is.
    virtual CORBA_Boolean close_if_unused();
    virtual CORBA_Boolean has_pending();

    // With one time-out for the sending and another for the reply.
    TRXGIOPMessage* invoke(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer, CORBA_ULong sendTimeout,
                           CORBA_ULong replyTimeout);

    TRXConnection& connection() const { return *_connection; }
    // When the connection was made, or last became idle.
    const timeval& last_used() const { return _last_used; }
    void became_idle() { ::gettimeofday(&_last_used, nullptr); }

    // --- For those who read and write on the connection ------------------------------------------------

    // Sets the handler that is called when the socket is ready: this object by default, or a server. Call
    // before registering.
    void handler(dpIOHandler* handler) { _handler = handler; }
    // The next message, or null while none is complete; reads from the socket at most once. When another
    // complete message has been read too, the dispatcher is told to call again, so that a nested turn handles
    // it. Raises CORBA_COMM_FAILURE when the connection has ended, and what the message's headers raise.
    TRXGIOPMessage* next_message();
    // Whether `next_message` would return one without reading.
    bool has_message() const { return _dispatcher && _reading && _reader.ready(); }
    // Sends without waiting; `has_left` tells when the message has been sent.
    Ticket queue(CORBA_MarshalOutBuffer* message);
    bool has_left(Ticket ticket) const { return _output.hasLeft(ticket); }
    void observe(Ticket ticket, harbolance::OutputObserver* observer) { _output.observe(ticket, observer); }
    bool has_output() const { return !_output.empty(); }
    // The number of connections in the process that are linked to a dispatcher and have queued output.
    static CORBA_ULong writing_connections();
    // With `gather` replies may wait in the system's buffer for replies to requests that have already
    // arrived; when the last of these has been taken, the others are pushed. Returns the former value.
    bool gather_replies(bool gather) { return std::exchange(_gathers, gather); }
    void push_replies() {
        if (std::exchange(_held, false))
            _connection->push();
    }
    // Writes queued output; called by the handler's `outputReady`. Raises CORBA_COMM_FAILURE when the
    // connection has ended.
    void write_queued();
    // Fails all queued output.
    void fail_output(const CORBA_Exception& exception) { _output.fail(exception); }

    TRXGIOPConnFactory& factory() const { return _factory; }
    void add_use() { ++_use_count; }

    int inputReady(int fd) override;
    int outputReady(int fd) override;
    // Called when the peer has made no progress for too long.
    int exceptionRaised(int fd) override;

private:
    friend class TRXGIOPConnFactory;
    class ProgressTimer;
    class WaitPlace;

    void update_interest();
    void set_interest(bool reading, bool writing);
    void watch_progress();
    bool is_incomplete() const; // a message has been received, or sent, in part
    void deliver(TRXGIOPMessage* message);
    void lose(const CORBA_Exception& exception);
    Ticket queue_header(GIOP::MsgType type);
    void await_departure(Ticket ticket, CORBA_ULong timeout);
    void await_reply(CORBA_ULong id, CORBA_ULong timeout);
    bool stops_reading() const;
    Ticket enqueue(CORBA_MarshalOutBuffer* message, bool more);

    CORBA_ULong _use_count = 1;
    TRXGIOPConnFactory& _factory;
    TRXConnection_var _connection;
    timeval _last_used{};
    harbolance::MessageReader _reader;
    harbolance::OutputQueue _output;
    bool _gathers = false;
    bool _held = false; // the last reply may be waiting in the system's buffer
    harbolance::WaiterTable _pending;
    std::unique_ptr<CORBA_Exception> _lost; // the reason for the end, when a handler has noticed it
    CORBA_ULong _next_id = 0;

    // The socket's place in an event loop.
    dpIOHandler* _handler = this;
    dpDispatcher* _dispatcher = nullptr; // null while not linked
    int _fd = -1;                        // the descriptor that was linked
    bool _reading = false;
    bool _writing = false;
    std::unique_ptr<ProgressTimer> _progress;
};
