#include "invoke/giop/vgconn.h"

#include "invoke/giop/giop_connections.h"
#include "invoke/giop/progress_timer.h"
#include "invoke/transport/loop_wait.h"
#include "net/descriptors.h"
#include "object/global_table.h"

#include <cerrno>
#include <poll.h>

// The connection in the event loop, its input and output. The calls are in giop_call.cpp.

using namespace harbolance;

namespace {

// Back-pressure: a server reads no further request while this many octets of replies wait for the peer. Each
// message counts extra octets, because small replies to a peer that does not read also use memory.
constexpr uint64_t mostOutput = uint64_t{16} << 20;
constexpr uint64_t messageCost = 512;

constinit CORBA_ULong writingConnections = 0;

} // namespace

TRXGIOPConn::TRXGIOPConn(TRXConnection* connection)
    : _factory(TRXGIOPConnFactory::of(connection->profile_id())),
      _connection(TRXConnection_var::duplicate(connection)) {
    ::gettimeofday(&_last_used, nullptr);
}

TRXGIOPConn::~TRXGIOPConn() { TRXGIOPConn::unregister_io(); }

// --- The event loop ----------------------------------------------------------------------------------------

[[gnu::hot]] void TRXGIOPConn::register_io(dpDispatcher* dispatcher) {
    if (_dispatcher)
        return;
    _fd = _connection->fd();
    if (_fd == -1)
        throw CORBA_COMM_FAILURE(_connection->saved_errno(), COMPLETED_NO);
    _dispatcher = dispatcher ? dispatcher : dpDispatcher::instance();
    update_interest();
}

void TRXGIOPConn::unregister_io(dpDispatcher* dispatcher) {
    if (!_dispatcher)
        return;
    (dispatcher ? dispatcher : _dispatcher)->unlink(_fd);
    _dispatcher = nullptr;
    set_interest(false, false);
}

bool TRXGIOPConn::stops_reading() const {
    return _connection->state() == TRXConnection::ATTACHED &&
           _output.size() + _output.count() * messageCost > mostOutput;
}

// Links the socket for the events that the connection needs. A dispatcher unlinks a descriptor for all events
// at once, which also removes its readiness mark.
void TRXGIOPConn::update_interest() {
    const bool read = !stops_reading();
    const bool write = !_output.empty();
    if (_reading == read && _writing == write)
        return;
    if (_reading || _writing)
        _dispatcher->unlink(_fd);
    set_interest(read, write);
    if (write)
        _dispatcher->link(_fd, dpDispatcher::writeMask, _handler);
    if (read) {
        _dispatcher->linkDraining(_fd, _handler);
        if (_reader.ready())
            _dispatcher->setReady(_fd, dpDispatcher::readMask);
    }
}

void TRXGIOPConn::set_interest(bool reading, bool writing) {
    writingConnections = writingConnections - (_writing ? 1 : 0) + (writing ? 1 : 0);
    _reading = reading;
    _writing = writing;
}

CORBA_ULong TRXGIOPConn::writing_connections() { return writingConnections; }

// Starts or stops the timer that detects a peer that stops in the middle of a message or stops reading.
void TRXGIOPConn::watch_progress() {
    if (!_progress)
        _progress = std::make_unique<ProgressTimer>(*this);
    _progress->watch();
}

bool TRXGIOPConn::is_incomplete() const {
    const bool input = _connection->state() == TRXConnection::ATTACHED && _reader.partial();
    return input || !_output.empty();
}

int TRXGIOPConn::exceptionRaised(int) {
    const auto self = TRXRef<TRXGIOPConn>::duplicate(this);
    lose(CORBA_COMM_FAILURE(ETIMEDOUT, COMPLETED_NO));
    _connection->close();
    if (_use_count == 0)
        _factory.review_idle(this);
    return 0;
}

// --- What comes in -----------------------------------------------------------------------------------------

[[gnu::hot]] TRXGIOPMessage* TRXGIOPConn::next_message() {
    bool drained = false; // without a read, this call may still be the one for new data
    if (!_reader.ready()) {
        drained = _reader.fill(*_connection);
        if (!_reader.ready()) {
            if (!drained && _dispatcher)
                _dispatcher->leftUnread(_fd);
            if (is_incomplete())
                watch_progress();
            return nullptr;
        }
    }
    GIOP::MessageHeader header;
    const TRXMarshalInBuffer_var body(_reader.take(header));
    if (_reader.ready()) {
        if (_dispatcher && _reading)
            _dispatcher->setReady(_fd, dpDispatcher::readMask);
    } else {
        push_replies();
        if (_dispatcher) {
            _dispatcher->clearReady(_fd, dpDispatcher::readMask);
            if (!drained)
                _dispatcher->leftUnread(_fd);
        }
        if (_reader.partial() && is_incomplete())
            watch_progress();
    }
    return TRXGIOPMessage::create(body.in(), header);
}

// Reads replies; the client's input handler.
[[gnu::hot]] int TRXGIOPConn::inputReady(int) {
    const auto self = TRXRef<TRXGIOPConn>::duplicate(this); // held: a failed wait may give the last use back
    try {
        const TRXRef<TRXGIOPMessage> message(next_message());
        if (message)
            deliver(message.get());
    } catch (const CORBA_COMM_FAILURE& failure) {
        lose(failure);
    } catch (const CORBA_NO_RESOURCES& failure) {
        // Without memory for the rest of a message it cannot be skipped: the octets that come next belong to
        // it.
        lose(failure);
        _connection->close();
    } catch (const CORBA_Exception& exception) {
        fail_all(exception);
    } catch (...) {
        // Without memory for a buffer nothing has been read.
        if (_dispatcher)
            _dispatcher->leftUnread(_fd);
        throw;
    }
    if (_use_count == 0 && !_dispatcher)
        _factory.review_idle(this);
    return 0;
}

[[gnu::hot]] void TRXGIOPConn::deliver(TRXGIOPMessage* message) {
    if (auto* reply = TRXGIOPReply::narrow(message)) {
        reply_received(reply->header().request_id, message);
    } else if (auto* located = TRXGIOPLocateReply::narrow(message)) {
        reply_received(located->header().request_id, message);
    } else if (message->header().is_valid() && message->type() == GIOP::CloseConnection) {
        lose(CORBA_TRANSIENT());
        _connection->close();
    } else {
        fail_all(CORBA_INV_OBJREF());
    }
}

void TRXGIOPConn::reply_received(CORBA_ULong id, TRXGIOPMessage* reply) { _pending.deliver(id, reply); }

void TRXGIOPConn::fail_all(const CORBA_Exception& exception) { _pending.failAll(exception); }

void TRXGIOPConn::lose(const CORBA_Exception& exception) {
    unregister_io();
    _lost.reset(exception._copy());
    fail_all(exception);
    _output.fail(exception);
}

TRXGIOPMessage* TRXGIOPConn::receive_message(CORBA_ULong timeout) {
    const Deadline deadline(timeout == 0 ? -1 : static_cast<int>(timeout));
    for (;;) {
        TRXRef<TRXGIOPMessage> message(next_message());
        if (!message) {
            const int readable = pollUntil(_connection->fd(), POLLIN, deadline);
            if (readable == -1)
                throw CORBA_COMM_FAILURE(static_cast<CORBA_ULong>(errno), COMPLETED_NO);
            if (readable == 0)
                throw CORBA_NO_RESPONSE();
            continue;
        }
        if (!message->header().is_valid() || message->type() != GIOP::CloseConnection)
            return message.detach();
        unregister_io();
        _connection->close();
        throw CORBA_TRANSIENT();
    }
}

// --- What goes out -----------------------------------------------------------------------------------------

TRXGIOPConn::Ticket TRXGIOPConn::queue(CORBA_MarshalOutBuffer* message) {
    GIOP::set_message_size(*message);
    return enqueue(message, false);
}

[[gnu::hot]] TRXGIOPConn::Ticket TRXGIOPConn::enqueue(CORBA_MarshalOutBuffer* message, bool more) {
    _held = more;
    const Ticket ticket = _output.send(*_connection, message, more);
    if (!_output.hasLeft(ticket)) {
        if (_dispatcher)
            update_interest();
        else
            register_io();
        watch_progress();
    }
    return ticket;
}

[[gnu::hot]] void TRXGIOPConn::write(CORBA_MarshalOutBuffer* message, CORBA_ULong timeout) {
    await_departure(queue(message), timeout);
}

int TRXGIOPConn::outputReady(int) {
    const auto self = TRXRef<TRXGIOPConn>::duplicate(this);
    try {
        write_queued();
    } catch (const CORBA_COMM_FAILURE& failure) {
        lose(failure);
    }
    if (_use_count == 0 && !has_output())
        _factory.review_idle(this);
    return 0;
}

void TRXGIOPConn::write_queued() {
    _output.advance(*_connection);
    if (_dispatcher)
        update_interest();
}

TRXGIOPConn::Ticket TRXGIOPConn::queue_header(GIOP::MsgType type) {
    CORBA_MarshalOutBuffer_var message(new CORBA_MarshalOutBuffer(GIOP::messageHeaderSize));
    GIOP::write_message_header(*message, type);
    return queue(message.in());
}

void TRXGIOPConn::send_message_error(CORBA_ULong) { queue_header(GIOP::MessageError); }

void TRXGIOPConn::send_close(CORBA_ULong) {
    try {
        queue_header(GIOP::CloseConnection);
    } catch (const CORBA_Exception&) {
        // The peer has already closed the connection.
    }
}

CORBA_MarshalOutBuffer* TRXGIOPConn::write_reply_header(const GIOP::ReplyHeader& header) {
    CORBA_MarshalOutBuffer_var buffer(new CORBA_MarshalOutBuffer(initialBufferSize));
    GIOP::write_message_header(*buffer, GIOP::Reply);
    *buffer << header;
    return buffer._retn();
}

CORBA_MarshalOutBuffer* TRXGIOPConn::write_locate_reply_header(const GIOP::LocateReplyHeader& header) {
    CORBA_MarshalOutBuffer_var buffer(new CORBA_MarshalOutBuffer(initialBufferSize));
    GIOP::write_message_header(*buffer, GIOP::LocateReply);
    *buffer << header;
    return buffer._retn();
}

[[gnu::hot]] void TRXGIOPConn::send_reply(const GIOP::RequestHeader&, const GIOP::ReplyHeader&,
                                          CORBA_MarshalOutBuffer* buffer, CORBA_ULong) {
    // A wait in a private loop would not return to this connection to push the replies.
    const bool more = _gathers && has_message() && _output.empty() && !TRXGlobalTable::instance()->noCallback;
    GIOP::set_message_size(*buffer);
    enqueue(buffer, more);
}

void TRXGIOPConn::send_locate_reply(const GIOP::LocateRequestHeader&, const GIOP::LocateReplyHeader&,
                                    CORBA_MarshalOutBuffer* buffer, CORBA_ULong) {
    queue(buffer);
}

// --- Its life ----------------------------------------------------------------------------------------------

TRXGIOPConn* TRXGIOPConn::clone() {
    const TRXConnection_var accepted(_connection->accept());
    return accepted ? new TRXGIOPConn(accepted.get()) : nullptr;
}

IOP::TaggedProfile* TRXGIOPConn::profile(const CORBA_OctetSequence* key) { return _connection->profile(key); }

CORBA_Boolean TRXGIOPConn::close_if_unused() {
    if (_connection->state() == TRXConnection::CONNECTED && has_pending())
        return 0;
    unregister_io();
    _connection->close();
    return 1;
}

CORBA_Boolean TRXGIOPConn::has_pending() { return !_pending.empty() || has_output(); }
