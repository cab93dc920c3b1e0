#include "invoke/stub/vstub.h"
#include "object/vobject.h"

// The calls of a stub: a request goes out on its connection, or to an object of this process.

using namespace harbolance;

namespace {

TRXMarshalOutBuffer& requestIn(CORBA_MarshalOutBuffer* buffer) {
    return static_cast<TRXMarshalOutBuffer&>(*buffer);
}

// A reply that stands in the buffer of its request.
class LocalReply final : public CORBA_MarshalInBuffer {
public:
    explicit LocalReply(const CORBA_MarshalOutBuffer_var& buffer)
        : CORBA_MarshalInBuffer(buffer->data(), buffer->offset()), _buffer(buffer) {}

private:
    CORBA_MarshalOutBuffer_var _buffer;
};

} // namespace

CORBA_MarshalOutBuffer* TRXStubInfo::create_request(const char* operation, CORBA_Boolean responseExpected) {
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
        request->connection(std::move(use));
    }
    return request._retn();
}

// A lost connection is a reason to call again, unless the options say that the caller wants to know.
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

CORBA_MarshalInBuffer* TRXStubInfo::invoke(CORBA_MarshalOutBuffer* buffer, CORBA_ExceptionList* exceptions) {
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

void TRXStubInfo::send(CORBA_MarshalOutBuffer* buffer, CORBA_Boolean responseExpected, CORBA_ULong* id) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    if (id)
        *id = request.request_id();
    if (_local_target) {
        release_buffer(invoke_local(request, responseExpected, nullptr));
        return;
    }
    if (!_interceptor) {
        mapped([&] {
            request.connection()->send(request.request_id(), buffer, responseExpected, options.sendTimeout);
        });
        return;
    }
    const GIOP::RequestHeader& header = request.header();
    const auto interceptor = _interceptor; // outlives what the call may do to this stub
    const CORBA_MarshalOutBuffer_var replacement(
        interceptor->send_request(header, buffer, request.closure()));
    mapped([&] {
        try {
            request.connection()->send(request.request_id(), replacement.in() ? replacement.in() : buffer,
                                       responseExpected, options.sendTimeout);
        } catch (const CORBA_Exception& failure) {
            interceptor->send_failed(header, failure, request.closure());
            throw;
        }
    });
    interceptor->request_sent(header, request.closure());
}

CORBA_MarshalInBuffer* TRXStubInfo::receive_reply(CORBA_MarshalOutBuffer* buffer,
                                                  CORBA_ExceptionList* exceptions) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    const TRXRef<TRXGIOPMessage> reply(mapped([&] {
        try {
            return request.connection()->receive_reply(request.request_id(), options.receiveTimeout);
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
    return request.connection()->poll(request.request_id());
}

void TRXStubInfo::cancel(CORBA_MarshalOutBuffer* buffer) {
    TRXMarshalOutBuffer& request = requestIn(buffer);
    request.connection()->cancel(request.request_id(), 0);
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
    }
    LocalCalls::installed().execute(header, buffer.in(), target.in());
    if (interceptor)
        interceptor->request_sent(header, request.closure());
    if (!responseExpected)
        return nullptr;
    CORBA_MarshalInBuffer_var in(new LocalReply(buffer));
    GIOP::ReplyHeader reply;
    *in >> reply;
    return finish(reply, in._retn(), request, exceptions);
}
