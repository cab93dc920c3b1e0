#include "adapter/adapter_factory.h"
#include "adapter/skel_info.h"
#include "adapter/vgsrv.h"

// How a request is served: from its header to its reply.

using namespace harbolance;

namespace {

// Hears what becomes of a reply that could not leave at once; destroys itself. What the interceptor throws
// ends here: the request is over, and what writes for the connection has others to tell.
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
        try {
            _interceptor->reply_sent(_header, _target.in(), _closure);
        } catch (...) {
        }
    }
    void failed(const CORBA_Exception& exception) override {
        const std::unique_ptr<ReplyObserver> self(this);
        try {
            _interceptor->send_reply_failed(_header, _reply, _target.in(), exception, _closure);
        } catch (...) {
        }
    }

private:
    TRXRef<TRXGIOPMessage> _message; // `_header` is a part of it
    const GIOP::RequestHeader& _header;
    GIOP::ReplyHeader _reply;
    CORBA_Object_var _target;
    TRXRef<TRXServerInterceptor> _interceptor;
    TRXClosure _closure;
};

} // namespace

// Tells the process what is being served, for as long as it is.
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

CORBA_MarshalOutBuffer* TRXGIOPServer::prepare_reply(CORBA_Object* object, void* pdata) {
    auto& progress = *static_cast<RequestInProgress*>(pdata);
    return progress.server.begin_reply(progress, object);
}

CORBA_MarshalOutBuffer* TRXGIOPServer::begin_reply(RequestInProgress& progress, CORBA_Object* object) {
    if (!progress.reply.in()) {
        // The shared buffer may hold the reply of a request that this one interrupts, or one that waits to
        // leave.
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
    if (_interceptor)
        _interceptor->prepare_reply(progress.request, progress.reply_header, object, progress.closure);
    buffer << progress.reply_header;
    progress.prepared = true;
    return &buffer;
}

void TRXGIOPServer::write_exception(RequestInProgress& progress, const CORBA_Exception& exception) {
    try {
        write_one_exception(progress, exception);
    } catch (const CORBA_SystemException& failure) {
        // The exception has a member that cannot be written. The caller gets a reply all the same.
        write_one_exception(progress, failure);
    }
}

// In a buffer of its own: the skeleton may have begun to write results into the other.
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

// What the call raised, or null.
std::unique_ptr<CORBA_Exception> TRXGIOPServer::call(CORBA_MarshalInBuffer& in, RequestInProgress& progress,
                                                     CORBA_Object* target) {
    const GIOP::RequestHeader& header = progress.request;
    const CORBA_TypeInfo* found = &CORBA_Object_type;
    std::unique_ptr<CORBA_Exception> raised;
    {
        const Published published(target, _adapter, _connection.get(), header);
        try {
            TRXSkelInfo::of(target)->dispatch(in, header.principal.in(), header.operation, &progress, found);
        } catch (const CORBA_Exception& exception) {
            raised.reset(exception._copy());
        } catch (...) {
            raised = std::make_unique<CORBA_UNKNOWN>();
        }
    }
    const bool once = _adapter && _adapter->activation_policy() == SERVER_PER_METHOD;
    if (once && !(found && *found == CORBA_Object_type))
        AllAdapters::instance().shutDown();
    return raised;
}

// --- Requests ----------------------------------------------------------------------------------------------

// Serves the request of `progress`, whose arguments are in `in`, by `target`; `raised` is what looking for it
// has raised. Afterwards `progress.reply` is the reply, if one is expected.
void TRXGIOPServer::serve(RequestInProgress& progress, CORBA_MarshalInBuffer* in, CORBA_Object_var& target,
                          std::unique_ptr<CORBA_Exception> raised) {
    CORBA_MarshalInBuffer_var replacement;
    if (_interceptor && !raised)
        raised = show_request(progress, in, target, replacement);
    if (!raised && target.in() && !target->_is_local()) {
        write_forward(progress, target.in());
        return;
    }
    if (!raised && !target.in())
        raised = std::make_unique<CORBA_OBJECT_NOT_EXIST>();
    if (!raised)
        raised = call(replacement.in() ? *replacement : *in, progress, target.in());
    if (!raised && progress.request.response_expected) {
        if (!progress.prepared)
            begin_reply(progress, target.in());
        raised = show_reply(progress, target.in());
    }
    if (raised)
        reply_exception(progress, target.in(), std::move(raised));
}

// The interceptor may replace the target and the arguments. What it raises is returned.
std::unique_ptr<CORBA_Exception> TRXGIOPServer::show_request(RequestInProgress& progress,
                                                             CORBA_MarshalInBuffer* in,
                                                             CORBA_Object_var& target,
                                                             CORBA_MarshalInBuffer_var& replacement) {
    const Published published(target.in(), _adapter, _connection.get(), progress.request);
    CORBA_Object*& changed = target.inout();
    try {
        replacement = _interceptor->receive_request(progress.request, changed, in, progress.closure);
        return nullptr;
    } catch (const CORBA_Exception& exception) {
        return std::unique_ptr<CORBA_Exception>(exception._copy());
    } catch (...) {
        return std::make_unique<CORBA_UNKNOWN>();
    }
}

// The interceptor may replace the reply, by a buffer or by the exception that is returned.
std::unique_ptr<CORBA_Exception> TRXGIOPServer::show_reply(RequestInProgress& progress,
                                                           CORBA_Object* target) {
    if (!_interceptor)
        return nullptr;
    CORBA_Environment environment;
    CORBA_MarshalOutBuffer* replacement = _interceptor->send_reply(
        progress.request, progress.reply_header, target, progress.reply.in(), environment, progress.closure);
    if (replacement)
        progress.reply = replacement;
    if (!environment.exception())
        return nullptr;
    progress.prepared = false;
    return std::unique_ptr<CORBA_Exception>(environment.exception()->_copy());
}

void TRXGIOPServer::reply_exception(RequestInProgress& progress, CORBA_Object* target,
                                    std::unique_ptr<CORBA_Exception> raised) {
    if (_interceptor) {
        CORBA_Environment environment(raised.release());
        _interceptor->exception_occurred(progress.request, environment, progress.closure);
        raised.reset(environment.exception() ? environment.exception()->_copy() : new CORBA_UNKNOWN);
    }
    if (!progress.request.response_expected)
        return;
    if (_interceptor && !progress.prepared)
        begin_reply(progress, target);
    write_exception(progress, *raised);
    if (const std::unique_ptr<CORBA_Exception> replaced = show_reply(progress, target)) {
        begin_reply(progress, target);
        write_exception(progress, *replaced);
    }
}

void TRXGIOPServer::request(TRXGIOPRequest* message, TRXGlobalTable* table) {
    request(message, table, nullptr);
}

void TRXGIOPServer::request(TRXGIOPRequest* message, TRXGlobalTable*, TRXServerInterceptor* interceptor) {
    const GIOP::RequestHeader& header = message->header();
    RequestInProgress progress(*this, header);
    CORBA_Object_var target;
    std::unique_ptr<CORBA_Exception> raised;
    try {
        target = find(*header.object_key);
    } catch (const CORBA_Exception& exception) {
        raised.reset(exception._copy());
    } catch (...) {
        raised = std::make_unique<CORBA_UNKNOWN>(); // an activator may throw anything
    }
    serve(progress, message->stream(), target, std::move(raised));
    if (header.response_expected)
        send(message, progress, target.in(), interceptor);
}

// A failure of an intercepted reply ends here: the interceptor has been told, and the connection's end will
// be seen.
void TRXGIOPServer::send(TRXGIOPMessage* message, RequestInProgress& progress, CORBA_Object* target,
                         TRXServerInterceptor* interceptor) {
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
        interceptor->send_reply_failed(progress.request, progress.reply_header, target, failure,
                                       progress.closure);
    }
    interceptor->reply_sent(progress.request, target, progress.closure);
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
    if (progress.reply.in() != buffer) { // an interceptor has put another one in its place
        buffer->rewind();
        buffer->write_raw(progress.reply->data(), progress.reply->offset());
    }
    if (_interceptor)
        _interceptor->reply_sent(header, served.in(), progress.closure);
}

void InProcessServer::execute(GIOP::RequestHeader& header, CORBA_MarshalOutBuffer* buffer,
                              CORBA_Object* target) {
    static const TRXRef<TRXGIOPServer> server(new TRXGIOPServer(nullptr, nullptr, false));
    server->execute_local(header, buffer, target);
}
