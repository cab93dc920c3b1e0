#include "adapter/adapter_factory.h"
#include "adapter/skel_info.h"
#include "adapter/vgsrv.h"

// How a request is served, from reading its header to sending its reply.

using namespace harbolance;

namespace {

// Runs a step and returns what it raised, or null. Activators, interceptors and servants may throw anything;
// the client gets it as the answer, and the connection goes on.
template <class Step>
std::unique_ptr<CORBA_Exception> raisedBy(Step step) {
    try {
        step();
        return nullptr;
    } catch (const CORBA_Exception& exception) {
        return std::unique_ptr<CORBA_Exception>(exception._copy());
    } catch (...) {
        return std::make_unique<CORBA_UNKNOWN>();
    }
}

// Notifies the interceptor of the result of a reply that could not be sent at once; destroys itself.
// Exceptions of the interceptor are dropped: the request is over, and the connection has other observers to
// notify.
class ReplyObserver final : public OutputObserver {
public:
    ReplyObserver(TRXGIOPMessage* message, RequestInProgress& progress, CORBA_Object* target,
                  TRXServerInterceptor* interceptor)
        : _message(TRXRef<TRXGIOPMessage>::duplicate(message)), _header(progress.request),
          _reply(progress.reply_header), _target(CORBA_Object::_duplicate(target)),
          _interceptor(TRXRef<TRXServerInterceptor>::duplicate(interceptor)) {
        _closure.data(progress.closure.release());
    }

    void left() override {
        const std::unique_ptr<ReplyObserver> self(this);
        raisedBy([this] { _interceptor->reply_sent(_header, _target.in(), _closure); });
    }
    void failed(const CORBA_Exception& exception) override {
        const std::unique_ptr<ReplyObserver> self(this);
        raisedBy(
            [&] { _interceptor->send_reply_failed(_header, _reply, _target.in(), exception, _closure); });
    }

private:
    TRXRef<TRXGIOPMessage> _message; // owns `_header`
    const GIOP::RequestHeader& _header;
    GIOP::ReplyHeader _reply;
    CORBA_Object_var _target;
    TRXRef<TRXServerInterceptor> _interceptor;
    TRXClosure _closure;
};

} // namespace

// Publishes the request being served in the global table while it exists.
class TRXGIOPServer::Published {
public:
    Published(CORBA_Object* target, TRXAdapter* adapter, TRXGIOPConn* connection,
              const GIOP::RequestHeader& header) {
        TRXGlobalTable& table = *TRXGlobalTable::instance();
        table.currentObject = CORBA_Object::_duplicate(target);
        table.currentBOA = adapter;
        table.principal = header.principal;
        table.currentConnection = connection ? &connection->connection() : nullptr;
    }
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;
    ~Published() {
        TRXGlobalTable& table = *TRXGlobalTable::instance();
        table.currentObject = CORBA_Object::_nil();
        table.currentBOA = nullptr;
        table.principal = static_cast<CORBA_OctetSequence*>(nullptr);
        table.currentConnection = nullptr;
    }
};

// --- The reply's buffer ------------------------------------------------------------------------------------

[[gnu::hot]] CORBA_MarshalOutBuffer* TRXGIOPServer::prepare_reply(CORBA_Object* object, void* pdata) {
    auto& progress = *static_cast<RequestInProgress*>(pdata);
    return progress.server.begin_reply(progress, object);
}

[[gnu::hot]] CORBA_MarshalOutBuffer* TRXGIOPServer::begin_reply(RequestInProgress& progress,
                                                                CORBA_Object* object) {
    if (!progress.reply.in()) {
        // The shared buffer may contain the reply of a request that this one interrupts, or a reply that
        // waits to be sent.
        const bool shared = _reply.in() && _reply->_refcount() == 1;
        if (shared)
            progress.reply = _reply;
        else
            progress.reply = TRXMarshalOutBuffer::create();
    }
    CORBA_MarshalOutBuffer& buffer = *progress.reply;
    buffer.rewind();
    if (!progress.local)
        GIOP::write_message_header(buffer, GIOP::Reply);
    if (_interceptor && !std::exchange(progress.preparing, true)) {
        _interceptor->prepare_reply(progress.request, progress.reply_header, object, progress.closure);
        progress.preparing = false;
    }
    buffer << progress.reply_header;
    progress.prepared = true;
    return &buffer;
}

void TRXGIOPServer::write_exception(RequestInProgress& progress, const CORBA_Exception& exception) {
    try {
        write_one_exception(progress, exception);
    } catch (const CORBA_SystemException& failure) {
        // A member of the exception cannot be written. The client gets a reply with that failure instead.
        write_one_exception(progress, failure);
    }
}

// Written to another buffer, because the skeleton may have begun to write results to the first one.
void TRXGIOPServer::write_one_exception(RequestInProgress& progress, const CORBA_Exception& exception) {
    const bool system = CORBA_Exception::_is_a(&exception, CORBA_SystemException::_descriptor());
    progress.reply_header.reply_status = system ? GIOP::SYSTEM_EXCEPTION : GIOP::USER_EXCEPTION;
    if (progress.local)
        progress.reply->rewind();
    else
        progress.reply = _connection->write_reply_header(progress.reply_header);
    CORBA_MarshalOutBuffer& buffer = *progress.reply;
    if (progress.local)
        buffer << progress.reply_header;
    buffer << exception;
}

void TRXGIOPServer::write_forward(RequestInProgress& progress, CORBA_Object* target) {
    progress.reply_header.reply_status = GIOP::LOCATION_FORWARD;
    *begin_reply(progress, target) << target;
}

// --- The call ----------------------------------------------------------------------------------------------

// Calls the servant; returns what was raised, or null.
[[gnu::hot]] TRXGIOPServer::Raised TRXGIOPServer::call(CORBA_MarshalInBuffer& in, RequestInProgress& progress,
                                                       CORBA_Object* target) {
    const GIOP::RequestHeader& header = progress.request;
    const CORBA_TypeInfo* found = &CORBA_Object_type;
    Raised raised = raisedBy([&] {
        const Published published(target, _adapter, _connection.get(), header);
        TRXSkelInfo::of(target)->dispatch(in, header.principal.in(), header.operation, &progress, found);
    });
    const bool once = _adapter && _adapter->activation_policy() == SERVER_PER_METHOD;
    if (once && !(found && *found == CORBA_Object_type))
        AllAdapters::instance().shutDown();
    return raised;
}

// --- Requests ----------------------------------------------------------------------------------------------

// Serves the request of `progress`, with the arguments in `in`, by `target`; `raised` is the exception of the
// search for the target, or null. Afterwards `progress.reply` is the reply, if one is expected.
[[gnu::hot]] void TRXGIOPServer::serve(RequestInProgress& progress, CORBA_MarshalInBuffer* in,
                                       CORBA_Object_var& target, Raised raised) {
    CORBA_MarshalInBuffer_var replacement;
    if (_interceptor && !raised)
        raised = show_request(progress, in, target, replacement);
    if (!raised && target.in() && !target->_is_local()) {
        raised = raisedBy([&] { write_forward(progress, target.in()); });
        if (!raised)
            return;
    }
    if (!raised && !target.in())
        raised = std::make_unique<CORBA_OBJECT_NOT_EXIST>();
    if (!raised)
        raised = call(replacement.in() ? *replacement : *in, progress, target.in());
    if (!raised && progress.request.response_expected) {
        raised = raisedBy([&] {
            if (!progress.prepared)
                begin_reply(progress, target.in());
        });
        if (!raised)
            raised = show_reply(progress, target.in());
    }
    if (raised)
        reply_exception(progress, target.in(), std::move(raised));
}

// Passes the request to the interceptor, which may replace the target and the arguments. Returns what it
// raised.
TRXGIOPServer::Raised TRXGIOPServer::show_request(RequestInProgress& progress, CORBA_MarshalInBuffer* in,
                                                  CORBA_Object_var& target,
                                                  CORBA_MarshalInBuffer_var& replacement) {
    const Published published(target.in(), _adapter, _connection.get(), progress.request);
    CORBA_Object*& changed = target.inout();
    return raisedBy([&] {
        replacement = _interceptor->receive_request(progress.request, changed, in, progress.closure);
    });
}

// Passes the reply to the interceptor, which may replace it by another buffer, or by an exception that it
// places in the environment or raises; that exception is returned.
[[gnu::hot]] TRXGIOPServer::Raised TRXGIOPServer::show_reply(RequestInProgress& progress,
                                                             CORBA_Object* target) {
    if (!_interceptor)
        return nullptr;
    CORBA_Environment environment;
    Raised raised = raisedBy([&] {
        if (CORBA_MarshalOutBuffer* replacement =
                _interceptor->send_reply(progress.request, progress.reply_header, target, progress.reply.in(),
                                         environment, progress.closure))
            progress.reply = replacement;
    });
    if (!raised && environment.exception())
        raised.reset(environment.exception()->_copy());
    if (raised)
        progress.prepared = false;
    return raised;
}

void TRXGIOPServer::reply_exception(RequestInProgress& progress, CORBA_Object* target, Raised raised) {
    if (_interceptor) {
        CORBA_Environment environment(raised.release());
        raised = raisedBy(
            [&] { _interceptor->exception_occurred(progress.request, environment, progress.closure); });
        if (!raised)
            raised.reset(environment.exception() ? environment.exception()->_copy() : new CORBA_UNKNOWN);
    }
    if (!progress.request.response_expected)
        return;
    if (_interceptor && !progress.prepared) {
        if (Raised other = raisedBy([&] { begin_reply(progress, target); }))
            raised = std::move(other);
    }
    write_exception(progress, *raised);
    if (Raised replaced = show_reply(progress, target)) {
        if (Raised other = raisedBy([&] { begin_reply(progress, target); }))
            replaced = std::move(other);
        write_exception(progress, *replaced);
    }
}

[[gnu::hot]] void TRXGIOPServer::request(TRXGIOPRequest* message, TRXGlobalTable* table) {
    request(message, table, nullptr);
}

[[gnu::hot]] void TRXGIOPServer::request(TRXGIOPRequest* message, TRXGlobalTable*,
                                         TRXServerInterceptor* interceptor) {
    const GIOP::RequestHeader& header = message->header();
    RequestInProgress progress(*this, header);
    CORBA_Object_var target;
    Raised raised = raisedBy([&] { target = find(*header.object_key); });
    serve(progress, message->stream(), target, std::move(raised));
    if (header.response_expected)
        send(message, progress, target.in(), interceptor);
}

// A failure to send an intercepted reply ends here: the interceptor is told, and the end of the connection
// will be noticed. Exceptions of the interceptor are dropped then, because the request is over.
[[gnu::hot]] void TRXGIOPServer::send(TRXGIOPMessage* message, RequestInProgress& progress,
                                      CORBA_Object* target, TRXServerInterceptor* interceptor) {
    if (!interceptor) {
        _connection->send_reply(progress.request, progress.reply_header, progress.reply.in(), 0);
        return;
    }
    try {
        const auto ticket = _connection->queue(progress.reply.in());
        if (!_connection->has_left(ticket)) {
            _connection->observe(ticket, new ReplyObserver(message, progress, target, interceptor));
            return;
        }
    } catch (const CORBA_Exception& failure) {
        raisedBy([&] {
            interceptor->send_reply_failed(progress.request, progress.reply_header, target, failure,
                                           progress.closure);
        });
    }
    raisedBy([&] { interceptor->reply_sent(progress.request, target, progress.closure); });
}

// --- Inside this process -----------------------------------------------------------------------------------

void TRXGIOPServer::execute_local(GIOP::RequestHeader& header, CORBA_MarshalOutBuffer* buffer,
                                  CORBA_Object* target) {
    CORBA_MarshalInBuffer in(buffer->data(), buffer->offset());
    RequestInProgress progress(*this, header);
    progress.local = true;
    progress.reply = CORBA_MarshalOutBuffer::_duplicate(buffer);
    CORBA_Object_var served(CORBA_Object::_duplicate(target));
    serve(progress, &in, served, nullptr);
    if (!header.response_expected)
        return;
    if (progress.reply.in() != buffer) { // an interceptor has replaced it
        buffer->rewind();
        buffer->write_raw(progress.reply->data(), progress.reply->offset());
    }
    if (_interceptor)
        raisedBy([&] { _interceptor->reply_sent(header, served.in(), progress.closure); });
}

void InProcessServer::execute(GIOP::RequestHeader& header, CORBA_MarshalOutBuffer* buffer,
                              CORBA_Object* target) {
    static const TRXRef<TRXGIOPServer> server(new TRXGIOPServer(nullptr, nullptr, false));
    server->execute_local(header, buffer, target);
}
