#include "invoke/stub/vstub.h"
#include "object/vobject.h"

// The calls of a stub: a request is sent on its connection, or passed to an object of this process.

using namespace harbolance;

namespace {

TRXMarshalOutBuffer& requestIn(CORBA_MarshalOutBuffer* buffer) {
    return static_cast<TRXMarshalOutBuffer&>(*buffer);
}

// The connection on which the reply will come. A call inside this process already has its reply.
TRXGIOPConn& connectionOf(TRXMarshalOutBuffer& request) {
    if (!request.connection())
        throw CORBA_OBJECT_NOT_EXIST();
    return *request.connection();
}

// A reply that is in the buffer of its request.
class LocalReply final : public CORBA_MarshalInBuffer {
public:
    explicit LocalReply(const CORBA_MarshalOutBuffer_var& buffer)
        : CORBA_MarshalInBuffer(buffer->data(), buffer->offset()), _buffer(buffer) {}

private:
    CORBA_MarshalOutBuffer_var _buffer;
};

} // namespace

[[gnu::hot]] CORBA_MarshalOutBuffer* TRXStubInfo::create_request(const char* operation,
                                                                 CORBA_Boolean responseExpected) {
    static CORBA_ULong nextLocalId = 1;
    GIOPUse use;
    if (!_local_target) {
        use = connection();
        if (!use)
            throw CORBA_NO_IMPLEMENT();
    }
    TRXMarshalOutBuffer_var request(TRXMarshalOutBuffer::create());
    GIOP::RequestHeader& header = request->header();
    header.operation = operation;
    header.response_expected = responseExpected;
    header.object_key = _key;
    header.principal = principal;
    header.request_id = use ? use->next_id() : nextLocalId++;
    if (_interceptor)
        _interceptor->prepare_request(header, request->closure());
    if (use) {
        use->write_request_header(request.in(), header);
        request->allow_borrowing(); // the output queue sends borrowed parts as well
        request->connection(std::move(use));
    }
    return request._retn();
}

// Maps the loss of a connection: the call is to be repeated, unless the options say that the caller handles
// it.
template <class Step>
auto TRXStubInfo::mapped(Step step) -> decltype(step()) {
    try {
        return step();
    } catch (const CORBA_TRANSIENT&) {
        if (options.enableRebind)
            throw;
        throw CORBA_NO_RESOURCES();
    } catch (const CORBA_COMM_FAILURE&) {
        if (!options.enableRebind)
            throw;
        throw CORBA_TRANSIENT();
    }
}

[[gnu::hot]] CORBA_MarshalInBuffer* TRXStubInfo::invoke(CORBA_MarshalOutBuffer* buffer,
                                                        CORBA_ExceptionList* exceptions) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    if (_local_target)
        return invoke_local(request, 1, exceptions);
    if (_interceptor) {
        send(buffer, 1);
        return receive_reply(buffer, exceptions);
    }
    const TRXRef<TRXGIOPMessage> reply(mapped([&] {
        return request.connection()->invoke(request.request_id(), buffer, options.sendTimeout,
                                            options.receiveTimeout);
    }));
    return take_reply(reply.get(), request, exceptions);
}

[[gnu::hot]] void TRXStubInfo::send(CORBA_MarshalOutBuffer* buffer, CORBA_Boolean responseExpected,
                                    CORBA_ULong* id) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    if (id)
        *id = request.request_id();
    if (_local_target) {
        release_buffer(invoke_local(request, responseExpected, nullptr));
        return;
    }
    send_intercepted(request, [&](CORBA_MarshalOutBuffer* message) {
        connectionOf(request).send(request.request_id(), message, responseExpected, options.sendTimeout);
    });
    request.reply_wanted(responseExpected != 0);
}

// Sends the request, or the interceptor's replacement, by `transmit(message)`. The interceptor is told of a
// lost connection, but not of a time-out.
template <class Transmit>
void TRXStubInfo::send_intercepted(TRXMarshalOutBuffer& request, Transmit transmit) {
    if (!_interceptor)
        return mapped([&] { transmit(&request); });
    const GIOP::RequestHeader& header = request.header();
    request.copy_borrowed(); // the interceptor needs the whole message
    const CORBA_MarshalOutBuffer_var replacement(
        _interceptor->send_request(header, &request, request.closure()));
    mapped([&] {
        try {
            transmit(replacement.in() ? replacement.in() : &request);
        } catch (const CORBA_TRANSIENT& failure) {
            _interceptor->send_failed(header, failure, request.closure());
            throw;
        } catch (const CORBA_COMM_FAILURE& failure) {
            _interceptor->send_failed(header, failure, request.closure());
            throw;
        }
    });
    try {
        _interceptor->request_sent(header, request.closure());
    } catch (...) {
        connectionOf(request).give_up(header.request_id); // the caller will not ask for the reply
        throw;
    }
}

// Sent only when the connection still exists.
void TRXStubInfo::leave() {
    const bool connected = _connection && _connection->connection().state() == TRXConnection::CONNECTED;
    if (!_send_bind || !is_bound() || !connected)
        return;
    try {
        const CORBA_MarshalOutBuffer_var buffer(create_request("__unbind", 0));
        TRXMarshalOutBuffer& request = requestIn(buffer.in());
        send_intercepted(request,
                         [&](CORBA_MarshalOutBuffer* message) { request.connection()->queue(message); });
    } catch (...) {
        // The server notices the end of the connection; and the stub is being destroyed.
    }
}

CORBA_MarshalInBuffer* TRXStubInfo::receive_reply(CORBA_MarshalOutBuffer* buffer,
                                                  CORBA_ExceptionList* exceptions) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    request.reply_wanted(false);
    const TRXRef<TRXGIOPMessage> reply(mapped([&] {
        try {
            return connectionOf(request).receive_reply(request.request_id(), options.receiveTimeout);
        } catch (const CORBA_Exception& failure) {
            if (_interceptor)
                _interceptor->receive_failed(request.request_id(), failure, request.closure());
            throw;
        }
    }));
    return take_reply(reply.get(), request, exceptions);
}

CORBA_Boolean TRXStubInfo::poll(CORBA_MarshalOutBuffer* buffer) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    return connectionOf(request).poll(request.request_id());
}

void TRXStubInfo::cancel(CORBA_MarshalOutBuffer* buffer) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    connectionOf(request).cancel(request.request_id(), 0);
}

// --- Calls inside this process -----------------------------------------------------------------------------

// Request and reply use one buffer: the arguments are read before the reply is begun.
CORBA_MarshalInBuffer* TRXStubInfo::invoke_local(TRXMarshalOutBuffer& request, CORBA_Boolean responseExpected,
                                                 CORBA_ExceptionList* exceptions) {
    GIOP::RequestHeader& header = request.header();
    const auto interceptor = _interceptor;
    const CORBA_Object_var target(CORBA_Object::_duplicate(_local_target));
    CORBA_MarshalOutBuffer_var buffer(CORBA_MarshalOutBuffer::_duplicate(&request));
    if (interceptor) {
        if (CORBA_MarshalOutBuffer* replacement =
                interceptor->send_request(header, &request, request.closure()))
            buffer = replacement;
        interceptor->request_sent(header, request.closure());
    }
    LocalCalls::installed().execute(header, buffer.in(), target.in());
    if (!responseExpected)
        return nullptr;
    CORBA_MarshalInBuffer_var in(new LocalReply(buffer));
    GIOP::ReplyHeader reply;
    *in >> reply;
    return finish(reply, in._retn(), request, exceptions);
}
