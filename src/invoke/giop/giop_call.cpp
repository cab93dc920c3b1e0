#include "invoke/giop/giop_connections.h"
#include "invoke/giop/vgconn.h"
#include "invoke/transport/loop_wait.h"
#include "invoke/transport/stopwatch.h"
#include "marshal/reference/vutil.h"

// The client's side of TRXGIOPConn: requests, and waiting for their replies.

using namespace harbolance;

// The connection's registration in the loop of a wait. A private loop serves this connection only; input that
// arrived meanwhile is processed before the connection returns to its former loop.
class TRXGIOPConn::WaitPlace {
public:
    WaitPlace(TRXGIOPConn& connection, LoopWait& wait) : _connection(connection), _private(wait.isPrivate()) {
        if (_private) {
            _former = connection._dispatcher;
            connection.unregister_io();
        }
        connection.register_io(&wait.dispatcher());
    }
    WaitPlace(const WaitPlace&) = delete;
    WaitPlace& operator=(const WaitPlace&) = delete;
    ~WaitPlace() {
        if (!_private || !_connection._dispatcher)
            return;
        while (_connection._reader.ready() && _connection._dispatcher)
            _connection._handler->inputReady(_connection._fd);
        _connection.unregister_io();
        if (_former && _connection._connection->fd() != -1)
            _connection.register_io(_former);
    }

private:
    TRXGIOPConn& _connection;
    bool _private;
    dpDispatcher* _former = nullptr;
};

[[gnu::hot]] CORBA_ULong TRXGIOPConn::next_id() { return _next_id++; }

[[gnu::hot]] void TRXGIOPConn::write_request_header(CORBA_MarshalOutBuffer* buffer,
                                                    const GIOP::RequestHeader& header) {
    buffer->rewind();
    GIOP::write_message_header(*buffer, GIOP::Request);
    *buffer << header;
}

[[gnu::hot]] void TRXGIOPConn::send(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer,
                                    CORBA_Boolean responseExpected, CORBA_ULong timeout,
                                    TRXReplyWaiter* waiter) {
    if (!responseExpected) {
        write(buffer, timeout);
        return;
    }
    std::unique_ptr<TRXReplyWaiter> made;
    if (!waiter) {
        made = std::make_unique<TRXReplyWaiter>(id, true);
        waiter = made.get();
    }
    _pending.add(waiter);
    static_cast<void>(made.release()); // the table owns it
    OutstandingRequest request(_pending, id);
    write(buffer, timeout);
    request.stays();
}

[[gnu::hot]] void TRXGIOPConn::await_departure(Ticket ticket, CORBA_ULong timeout) {
    if (_output.hasLeft(ticket))
        return;
    LoopWait wait;
    bool over = false;
    {
        const WaitPlace place(*this, wait);
        over = wait.until(timeout, [this, ticket] {
            return _output.hasLeft(ticket) || _connection->state() == TRXConnection::CLOSED;
        });
    }
    if (_output.hasLeft(ticket))
        return;
    if (over && _lost)
        _lost->_raise();
    if (over)
        throw CORBA_COMM_FAILURE(_connection->saved_errno(), COMPLETED_NO);
    _output.withdraw(ticket);
    if (_dispatcher)
        update_interest();
    throw CORBA_NO_RESPONSE();
}

CORBA_Boolean TRXGIOPConn::reply_ready(CORBA_ULong id) {
    return _pending.find(id).state != TRXReplyWaiter::WAITING;
}

CORBA_Boolean TRXGIOPConn::poll(CORBA_ULong id) {
    if (reply_ready(id))
        return 1;
    register_io();
    timeval now{};
    dpDispatcher::instance()->dispatch(&now);
    return reply_ready(id);
}

[[gnu::hot]] TRXGIOPMessage* TRXGIOPConn::receive_reply(CORBA_ULong id, CORBA_ULong timeout) {
    const OutstandingRequest request(_pending, id);
    await_reply(id, timeout);
    TRXReplyWaiter& waiter = _pending.find(id);
    if (waiter.exception)
        waiter.exception->_raise();
    return waiter.reply.detach();
}

// Raises CORBA_OBJECT_NOT_EXIST if other code cancels the request or takes its reply meanwhile.
[[gnu::hot]] void TRXGIOPConn::await_reply(CORBA_ULong id, CORBA_ULong timeout) {
    if (reply_ready(id))
        return;
    LoopWait wait;
    const WaitPlace place(*this, wait);
    if (!wait.turnUntil(timeout, [this, id] { return reply_ready(id) != 0; }))
        throw CORBA_NO_RESPONSE();
}

TRXGIOPMessage* TRXGIOPConn::invoke(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer, CORBA_ULong timeout) {
    return invoke(id, buffer, timeout, timeout);
}

[[gnu::hot]] TRXGIOPMessage* TRXGIOPConn::invoke(CORBA_ULong id, CORBA_MarshalOutBuffer* buffer,
                                                 CORBA_ULong sendTimeout, CORBA_ULong replyTimeout) {
    TRXReplyWaiter waiter(id);
    if (sendTimeout == 0) {
        send(id, buffer, 1, 0, &waiter);
        return receive_reply(id, replyTimeout);
    }
    const Stopwatch sending;
    send(id, buffer, 1, sendTimeout, &waiter);
    const OutstandingRequest request(_pending, id);
    if (sending.seconds() > sendTimeout)
        throw CORBA_NO_RESPONSE();
    return receive_reply(id, replyTimeout);
}

void TRXGIOPConn::cancel(CORBA_ULong id, CORBA_ULong) {
    _pending.find(id);
    _pending.abandon(id);
    CORBA_MarshalOutBuffer_var message(new CORBA_MarshalOutBuffer(initialBufferSize));
    GIOP::write_message_header(*message, GIOP::CancelRequest);
    *message << id;
    try {
        queue(message.in());
    } catch (const CORBA_Exception&) {
        // Losing the connection has cancelled the request as well.
    }
}

CORBA_ULong TRXGIOPConn::locate(IOP::IOR& ior, CORBA_ULong timeout) {
    GIOP::LocateRequestHeader header;
    CORBA_OctetSequence_var key(new CORBA_OctetSequence);
    TRXUtil::object_key_of(ior, _connection->profile_id(), *key);
    header.object_key = key;
    header.request_id = next_id();
    CORBA_MarshalOutBuffer_var request(new CORBA_MarshalOutBuffer(initialBufferSize));
    GIOP::write_message_header(*request, GIOP::LocateRequest);
    *request << header;

    const TimeLimit limit(timeout);
    TRXReplyWaiter waiter(header.request_id);
    send(header.request_id, request.in(), 1, timeout, &waiter);
    const OutstandingRequest outstanding(_pending, header.request_id);
    const TRXRef<TRXGIOPMessage> reply(receive_reply(header.request_id, limit.left()));
    auto* located = TRXGIOPLocateReply::narrow(reply.get());
    if (!located)
        throw CORBA_INV_OBJREF();
    switch (located->header().locate_status) {
    case GIOP::UNKNOWN_OBJECT: throw CORBA_OBJECT_NOT_EXIST();
    case GIOP::OBJECT_HERE: return GIOP::OBJECT_HERE;
    case GIOP::OBJECT_FORWARD: *reply->stream() >> ior; return GIOP::OBJECT_FORWARD;
    }
    throw CORBA_INV_OBJREF();
}
