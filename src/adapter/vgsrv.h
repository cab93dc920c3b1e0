#pragma once

#include "adapter/server_interceptor.h"
#include "adapter/voa.h"
#include "invoke/giop/giop_connections.h"
#include "invoke/stub/vstub.h"
#include "object/global_table.h"

namespace harbolance {

// One request while it is served. A skeleton passes it back (`pdata`) to get the reply buffer.
struct RequestInProgress {
    RequestInProgress(TRXGIOPServer& servedBy, const GIOP::RequestHeader& header)
        : server(servedBy), request(header) {
        reply_header.request_id = header.request_id;
    }

    TRXGIOPServer& server;
    const GIOP::RequestHeader& request;
    GIOP::ReplyHeader reply_header;
    CORBA_MarshalOutBuffer_var reply; // null until the reply is begun
    TRXClosure closure;               // for the server's interceptors
    bool prepared = false;            // the reply's header has been written
    bool preparing = false; // the interceptor is being asked for the header, or has raised: do not ask again
    bool local = false;     // a call inside this process: no message header
};

} // namespace harbolance

// The server's side of one accepted connection: reads messages, finds the target through the adapter, calls
// the skeleton, and queues the reply. A servant may make calls and so run the event loop: other requests,
// also on this connection, are then served inside its call (reentrancy).
class TRXGIOPServer : public dpIOHandler, public TRXResource {
public:
    // Takes its own use of the connection. With `reuseReply` one buffer is used for all replies of the
    // connection.
    TRXGIOPServer(TRXAdapter* adapter, TRXGIOPConn* connection, bool reuseReply);
    TRXGIOPServer(const TRXGIOPServer&) = delete;
    TRXGIOPServer& operator=(const TRXGIOPServer&) = delete;
    // The server of an adapter that serves one client or one call shuts the process down.
    ~TRXGIOPServer() override;

    int inputReady(int fd) override;
    int outputReady(int fd) override;
    int exceptionRaised(int fd) override; // the peer has made no progress for too long

    virtual void handle(TRXGIOPMessage* message, TRXGlobalTable* table);
    virtual void locate(TRXGIOPLocateRequest* message);
    virtual void request(TRXGIOPRequest* message, TRXGlobalTable* table);
    virtual void request(TRXGIOPRequest* message, TRXGlobalTable* table, TRXServerInterceptor* interceptor);
    virtual void cancel(TRXGIOPCancelRequest* message);
    virtual void message_error(TRXGIOPMessage* message);
    // Tells the client, and releases one reference.
    virtual void close();

    // Call when the adapter is destroyed while a request is being served: that request is finished, and no
    // other is read.
    void adapter_gone();

    // The buffer for the results of the request `pdata`, with its header written; the caller owns it.
    static CORBA_MarshalOutBuffer* prepare_reply(CORBA_Object* object, void* pdata);
    // Serves a request of this process. The arguments in `buffer` are replaced by the reply, without a
    // message header.
    void execute_local(GIOP::RequestHeader& header, CORBA_MarshalOutBuffer* buffer, CORBA_Object* target);

    TRXGIOPConn* connection() const { return _connection.get(); } // stays the server's; null for local calls
    int fd() const { return _fd; }
    CORBA_ULong busy() const { return _busy; } // requests being served on this connection
    static CORBA_UShort in_progress();         // on all connections of the process

private:
    class Busy;
    class Gathering;
    class Published;

    using Raised = std::unique_ptr<CORBA_Exception>; // null for nothing

    void serve_next();
    void serve_more();
    bool has_more() const;
    CORBA_Object* find(const CORBA_OctetSequence& key);
    void serve(harbolance::RequestInProgress& progress, CORBA_MarshalInBuffer* in, CORBA_Object_var& target,
               Raised raised);
    Raised show_request(harbolance::RequestInProgress& progress, CORBA_MarshalInBuffer* in,
                        CORBA_Object_var& target, CORBA_MarshalInBuffer_var& replacement);
    Raised call(CORBA_MarshalInBuffer& in, harbolance::RequestInProgress& progress, CORBA_Object* target);
    Raised show_reply(harbolance::RequestInProgress& progress, CORBA_Object* target);
    void reply_exception(harbolance::RequestInProgress& progress, CORBA_Object* target, Raised raised);
    void send(TRXGIOPMessage* message, harbolance::RequestInProgress& progress, CORBA_Object* target,
              TRXServerInterceptor* interceptor);
    void write_exception(harbolance::RequestInProgress& progress, const CORBA_Exception& exception);
    void write_one_exception(harbolance::RequestInProgress& progress, const CORBA_Exception& exception);
    void write_forward(harbolance::RequestInProgress& progress, CORBA_Object* target);
    CORBA_MarshalOutBuffer* begin_reply(harbolance::RequestInProgress& progress, CORBA_Object* object);
    void end(const CORBA_Exception& why, bool telling = true);
    void tell_disconnected(bool byServer);

    harbolance::TargetCache _cache;
    TRXAdapter* _adapter; // not owned; null for local calls, and after the adapter is destroyed
    harbolance::GIOPUse _connection;
    TRXRef<TRXServerInterceptor> _interceptor;
    CORBA_MarshalOutBuffer_var _reply; // when replies share a buffer
    int _fd = -1;
    CORBA_ULong _busy = 0;
    bool _ended = false; // the interceptor has been told of it
};

namespace harbolance {

// Serves calls inside this process.
class InProcessServer final : public LocalCalls {
public:
    void execute(GIOP::RequestHeader& header, CORBA_MarshalOutBuffer* buffer, CORBA_Object* target) override;
};

} // namespace harbolance
