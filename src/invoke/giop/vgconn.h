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

// GIOP on one connection, of a client or a server: request ids, the messages that leave, those that come in,
// the table of outstanding requests, and the wait for a reply.
//
// Nothing here blocks the process. What comes is read as far as it has come, what does not leave at once is
// queued, and both go on in the event loop; a call that waits turns the loop (loop_wait.h). So any handler
// may run inside `send`, `invoke`, `receive_reply`, `poll` and `locate`, and on this very connection too.
//
// The factory hands out uses (GIOPUse); time-outs are whole seconds, 0 for no limit.
class TRXGIOPConn : public TRXResource, public dpIOHandler {
public:
    using Ticket = harbolance::OutputQueue::Ticket;

    // Raises CORBA_INITIALIZE when there is no transport for the connection.
    explicit TRXGIOPConn(TRXConnection* connection);
    TRXGIOPConn(const TRXGIOPConn&) = delete;
    TRXGIOPConn& operator=(const TRXGIOPConn&) = delete;
    ~TRXGIOPConn() override;

    // Puts the socket into a dispatcher, null for the global one, where it stays for as long as the object
    // lives.
    virtual void register_io(dpDispatcher* dispatcher = nullptr);
    virtual void unregister_io(dpDispatcher* dispatcher = nullptr);
    // An id that belongs to no outstanding request, nor to one that was given up, raises
    // CORBA_OBJECT_NOT_EXIST.
    virtual void reply_received(CORBA_ULong id, TRXGIOPMessage* reply);
    virtual void fail_all(const CORBA_Exception& exception);
    // Completes the message's size and sends it; waits until it has left.
    virtual void write(CORBA_MarshalOutBuffer* message, CORBA_ULong timeout);
    virtual CORBA_ULong next_id();
    // From a listener: the next connection, with one use for the caller.
    virtual TRXGIOPConn* clone();
    virtual IOP::TaggedProfile* profile(const CORBA_OctetSequence* key = nullptr);
    // Asks where the object of a reference is: 1 when it is here, 2 when `ior` has become another reference.
    // An object that is not there raises CORBA_OBJECT_NOT_EXIST, an answer that is none CORBA_INV_OBJREF.
    virtual CORBA_ULong locate(IOP::IOR& ior, CORBA_ULong timeout);
    // Begins a request in a buffer, whatever it held before.
    virtual void write_request_header(CORBA_MarshalOutBuffer* buffer, const GIOP::RequestHeader& header);
    // Sends a request and returns when it has left. With `responseExpected` its waiter enters the table, one
    // on the heap for null; an id that is outstanding raises CORBA_BAD_PARAM. On failure no waiter stays.
    virtual void send(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer, CORBA_Boolean responseExpected,
                      CORBA_ULong timeout, TRXReplyWaiter* waiter = nullptr);
    // Whether a `receive_reply` would not wait. An unknown id raises CORBA_OBJECT_NOT_EXIST, as below.
    virtual CORBA_Boolean reply_ready(CORBA_ULong id);
    // The same after a look at what has come meanwhile; never waits.
    virtual CORBA_Boolean poll(CORBA_ULong id);
    // Waits for the reply, which is the caller's. No waiter stays, however it ends. A reply that does not
    // come in time raises CORBA_NO_RESPONSE, and the connection stays usable.
    virtual TRXGIOPMessage* receive_reply(CORBA_ULong id, CORBA_ULong timeout = 0);
    virtual TRXGIOPMessage* invoke(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer, CORBA_ULong timeout);
    // Gives a request up: its reply will be dropped.
    void give_up(CORBA_ULong id) { _pending.abandon(id); }
    // The same, and tells the peer so.
    virtual void cancel(CORBA_ULong id, CORBA_ULong timeout);
    virtual void send_message_error(CORBA_ULong timeout);
    // A buffer that begins a reply; the caller's.
    virtual CORBA_MarshalOutBuffer* write_reply_header(const GIOP::ReplyHeader& header);
    virtual CORBA_MarshalOutBuffer* write_locate_reply_header(const GIOP::LocateReplyHeader& header);
    // Waits for a whole message, the caller's, outside of the event loop. CloseConnection closes the
    // connection and raises CORBA_TRANSIENT.
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

    // Sends with a limit for the sending and one for the reply.
    TRXGIOPMessage* invoke(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer, CORBA_ULong sendTimeout,
                           CORBA_ULong replyTimeout);

    TRXConnection& connection() const { return *_connection; }
    // When it was made, or became idle.
    const timeval& last_used() const { return _last_used; }
    void became_idle() { ::gettimeofday(&_last_used, nullptr); }

    // --- For those who read and write on the connection ------------------------------------------------

    // What is called when the socket is ready: the connection itself unless a server takes its place. Before
    // it is registered.
    void handler(dpIOHandler* handler) { _handler = handler; }
    // The next message, or null while none is whole; reads from the socket once at most. When another whole
    // one is there too, the dispatcher is told to call again, so that a nested turn sees it. Raises
    // CORBA_COMM_FAILURE when the connection has ended, and what the message's headers raise.
    TRXGIOPMessage* next_message();
    // Whether `next_message` gives one without reading.
    bool has_message() const { return _dispatcher && _reading && _reader.ready(); }
    // Sends without waiting. The message has left when `has_left` says so.
    Ticket queue(CORBA_MarshalOutBuffer* message);
    bool has_left(Ticket ticket) const { return _output.hasLeft(ticket); }
    void observe(Ticket ticket, harbolance::OutputObserver* observer) { _output.observe(ticket, observer); }
    bool has_output() const { return !_output.empty(); }
    // In the whole process: those in a dispatcher that have something to write.
    static CORBA_ULong writing_connections();
    // From here on replies wait in the system for those to the requests that are there already; what is taken
    // last pushes the others first. Gives what was set before.
    bool gather_replies(bool gather) { return std::exchange(_gathers, gather); }
    void push_replies() {
        if (std::exchange(_held, false))
            _connection->push();
    }
    // Writes on; for the handler's `outputReady`. Raises CORBA_COMM_FAILURE when the connection has ended.
    void write_queued();
    // What waits to be written fails.
    void fail_output(const CORBA_Exception& exception) { _output.fail(exception); }

    TRXGIOPConnFactory& factory() const { return _factory; }
    void add_use() { ++_use_count; }

    int inputReady(int fd) override;
    int outputReady(int fd) override;
    // The peer has made no progress for too long.
    int exceptionRaised(int fd) override;

private:
    friend class TRXGIOPConnFactory;
    class ProgressTimer;
    class WaitPlace;

    void update_interest();
    void set_interest(bool reading, bool writing);
    void watch_progress();
    bool is_incomplete() const; // a message has come, or left, in part
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
    bool _held = false; // the last reply may wait in the system
    harbolance::WaiterTable _pending;
    std::unique_ptr<CORBA_Exception> _lost; // what ended the connection, when a handler has seen the end
    CORBA_ULong _next_id = 0;

    // The socket's place in an event loop.
    dpIOHandler* _handler = this;
    dpDispatcher* _dispatcher = nullptr; // null while it stands in none
    int _fd = -1;                        // as it was registered
    bool _reading = false;
    bool _writing = false;
    std::unique_ptr<ProgressTimer> _progress;
};
