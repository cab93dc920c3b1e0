#include "adapter/vgsrv.h"

#include "adapter/adapter_factory.h"
#include "adapter/skel_info.h"
#include "marshal/reference/vutil.h"

#include <cerrno>
#include <chrono>

// The messages of one connection: how each is handled, and what ends the connection. Requests are served in
// dispatch.cpp.

using namespace harbolance;

namespace {

constinit CORBA_UShort inProgress = 0;

// The profile given to interceptors for calls inside this process; the caller owns it.
IOP::TaggedProfile* localProfile() {
    IIOP::ProfileBody body;
    body.iiop_version = {1, 1};
    auto profile = std::make_unique<IOP::TaggedProfile>();
    profile->tag = IOP::TAG_TRX_LOCAL;
    profile->profile_data = IIOP::encoded(body);
    return profile.release();
}

bool endsWithItsClient(const TRXAdapter* adapter) {
    return adapter && adapter->activation_policy() != SHARED_SERVER;
}

} // namespace

// Counts the messages being handled. There may be several, because a servant that makes a call may be
// interrupted by the next request.
class TRXGIOPServer::Busy {
public:
    explicit Busy(TRXGIOPServer& server) : _server(server) {
        ++_server._busy;
        ++inProgress;
    }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;
    ~Busy() {
        --inProgress;
        if (--_server._busy == 0)
            _server._connection->became_idle();
    }

private:
    TRXGIOPServer& _server;
};

// While it exists, replies may wait for each other. The code that makes it must push them in the end.
class TRXGIOPServer::Gathering {
public:
    explicit Gathering(TRXGIOPConn& connection)
        : _connection(connection), _former(connection.gather_replies(true)) {}
    Gathering(const Gathering&) = delete;
    Gathering& operator=(const Gathering&) = delete;
    ~Gathering() { _connection.gather_replies(_former); }

private:
    TRXGIOPConn& _connection;
    bool _former;
};

TRXGIOPServer::TRXGIOPServer(TRXAdapter* adapter, TRXGIOPConn* connection, bool reuseReply)
    : _adapter(adapter), _connection(GIOPUse::another(connection)) {
    if (reuseReply)
        _reply = new CORBA_MarshalOutBuffer(initialBufferSize);
    if (connection) {
        _fd = connection->connection().fd();
        connection->handler(this);
    }
    TRXChainServerIntercepFactory* factory = TRXChainServerIntercepFactory::instance();
    if (!factory)
        return;
    const std::unique_ptr<IOP::TaggedProfile> profile(connection ? connection->profile() : localProfile());
    _interceptor = TRXRef<TRXServerInterceptor>(factory->create(_fd, *profile));
}

TRXGIOPServer::~TRXGIOPServer() {
    if (_connection)
        _connection->fail_output(CORBA_COMM_FAILURE());
    if (endsWithItsClient(_adapter))
        AllAdapters::instance().shutDown();
}

CORBA_UShort TRXGIOPServer::in_progress() { return inProgress; }

// --- The event loop ----------------------------------------------------------------------------------------

[[gnu::hot]] int TRXGIOPServer::inputReady(int) {
    const auto self = TRXRef<TRXGIOPServer>::duplicate(this);
    const Busy busy(*this);
    try {
        _connection->push_replies(); // to earlier requests than the one that waits in its servant
        serve_next();
        if (has_more())
            serve_more();
    } catch (const CORBA_COMM_FAILURE& failure) {
        end(failure);
        return -1;
    } catch (const CORBA_Exception& exception) {
        // The message cannot be decoded, so there is no request to reply to.
        end(exception, false);
    } catch (...) {
        // An interceptor has thrown an exception that it must not throw; other connections go on.
        end(CORBA_UNKNOWN());
        return -1;
    }
    return 0;
}

[[gnu::hot]] void TRXGIOPServer::serve_next() {
    const TRXRef<TRXGIOPMessage> message(_connection->next_message());
    if (message)
        handle(message.get(), TRXGlobalTable::instance());
}

[[gnu::hot]] bool TRXGIOPServer::has_more() const {
    return _connection->has_message() && _adapter && _adapter->is_active();
}

// Serves further requests that have already arrived; their replies are sent together. Stops after a time
// limit: then the replies are sent, and other connections are served.
[[gnu::hot]] void TRXGIOPServer::serve_more() {
    using Clock = std::chrono::steady_clock;
    const Gathering gathering(*_connection);
    const auto end = Clock::now() + std::chrono::microseconds(100);
    do
        serve_next();
    while (has_more() && Clock::now() < end);
    _connection->push_replies();
}

int TRXGIOPServer::outputReady(int) {
    const auto self = TRXRef<TRXGIOPServer>::duplicate(this);
    try {
        _connection->write_queued();
    } catch (const CORBA_COMM_FAILURE& failure) {
        end(failure);
    }
    return 0;
}

int TRXGIOPServer::exceptionRaised(int) {
    const auto self = TRXRef<TRXGIOPServer>::duplicate(this);
    end(CORBA_COMM_FAILURE(ETIMEDOUT, COMPLETED_NO));
    return 0;
}

void TRXGIOPServer::end(const CORBA_Exception& why, bool telling) {
    // The interceptor may run the event loop, in which the connection must not be ended again.
    _connection->unregister_io();
    _connection->fail_output(why);
    if (telling)
        tell_disconnected(false);
    if (_adapter)
        _adapter->connection_closed(this);
}

void TRXGIOPServer::tell_disconnected(bool byServer) {
    if (!_interceptor || std::exchange(_ended, true))
        return;
    try {
        _interceptor->disconnected(byServer);
    } catch (...) {
        // There is no request that could get the exception, and the connection is ended anyway.
    }
}

void TRXGIOPServer::adapter_gone() {
    _connection->unregister_io();
    _adapter = nullptr;
}

void TRXGIOPServer::close() {
    _connection->unregister_io(); // serves no request while the interceptor is told of the end
    tell_disconnected(true);
    _connection->send_close(0);
    _connection->unregister_io();
    _connection->connection().close();
    _remove_ref();
}

// --- Messages ----------------------------------------------------------------------------------------------

[[gnu::hot]] void TRXGIOPServer::handle(TRXGIOPMessage* message, TRXGlobalTable* table) {
    if (!message->header().is_valid()) {
        _connection->send_message_error(0);
        return;
    }
    switch (message->type()) {
    case GIOP::Request: {
        auto* received = TRXGIOPRequest::narrow(message);
        if (_interceptor)
            request(received, table, _interceptor.get());
        else
            request(received, table);
        break;
    }
    case GIOP::LocateRequest: locate(TRXGIOPLocateRequest::narrow(message)); break;
    case GIOP::CancelRequest: cancel(TRXGIOPCancelRequest::narrow(message)); break;
    case GIOP::MessageError: message_error(message); break;
    case GIOP::CloseConnection: end(CORBA_COMM_FAILURE()); break;
    default: _connection->send_message_error(0); break;
    }
}

// Ignored: a request that its servant has begun runs to its end, and its reply is sent.
void TRXGIOPServer::cancel(TRXGIOPCancelRequest*) {}

void TRXGIOPServer::message_error(TRXGIOPMessage*) {}

// The object of a key, or null when the key leads to none: it may belong to another ORB, be truncated, or
// name an object that is gone. Exceptions of an activator are passed on.
[[gnu::hot]] CORBA_Object* TRXGIOPServer::find(const CORBA_OctetSequence& key) {
    bool fromCache = false;
    try {
        return _adapter->find(key, _cache, fromCache);
    } catch (const CORBA_OBJECT_NOT_EXIST&) {
        return nullptr;
    } catch (const CORBA_MARSHAL&) {
        return nullptr;
    }
}

void TRXGIOPServer::locate(TRXGIOPLocateRequest* message) {
    const GIOP::LocateRequestHeader& header = message->header();
    const CORBA_OctetSequence& key = *header.object_key;
    TRXClosure closure;
    const auto interceptor = _interceptor;
    std::unique_ptr<IOP::IOR> forward;
    GIOP::LocateReplyHeader reply;
    reply.request_id = header.request_id;
    // When an activator or interceptor fails, by any exception, there is no object. Exceptions of an
    // interceptor when it is told of the result change nothing.
    const auto ask = [](auto step) {
        try {
            step();
        } catch (...) {
        }
    };

    if (interceptor)
        ask([&] { forward.reset(interceptor->locate(header.request_id, key, closure)); });
    if (forward) {
        ask([&] { interceptor->locate_forwarded(header.request_id, *forward, closure); });
    } else {
        CORBA_Object_var found;
        ask([&] { found = find(key); });
        if (!found.in()) {
            if (interceptor)
                ask([&] { forward.reset(interceptor->locate_failed(header.request_id, key, closure)); });
        } else if (TRXUtil::is_key_or_service(key)) {
            reply.locate_status = GIOP::OBJECT_HERE;
            if (interceptor)
                ask([&] { interceptor->locate_succeeded(header.request_id, closure); });
        } else {
            forward.reset(_adapter->short_ior(found.in()));
            if (interceptor)
                ask([&] { interceptor->locate_forwarded(header.request_id, *forward, closure); });
        }
    }
    if (forward)
        reply.locate_status = GIOP::OBJECT_FORWARD;
    const CORBA_MarshalOutBuffer_var buffer(_connection->write_locate_reply_header(reply));
    if (forward)
        *buffer << *forward;
    _connection->send_locate_reply(header, reply, buffer.in(), 0);
}
