#pragma once

// The client's half of an object reference. TRXStubInfo (this file) keeps the reference, its connection and
// the state of the binding. stub_bind.cpp binds and rebinds, reference_connection.h connects to a reference,
// stub_call.cpp makes calls, stub_reply.cpp reads replies. Interceptors (vcinter.h) are called in all of
// these steps.

#include "invoke/giop/giop_connections.h"
#include "invoke/stub/exception_list.h"
#include "invoke/stub/vcinter.h"
#include "invoke/transport/backoff.h"
#include "object/object_halves.h"

namespace harbolance {
class ProfileORB;

// Makes the calls of a stub to an object in this process. The layer of the adapters derives and installs it.
class LocalCalls {
public:
    // Serves the request whose arguments are in `buffer`, and replaces them by the reply, without a message
    // header.
    virtual void execute(GIOP::RequestHeader& header, CORBA_MarshalOutBuffer* buffer,
                         CORBA_Object* target) = 0;

    static void install(LocalCalls* calls);
    static LocalCalls& installed(); // none raises CORBA_INITIALIZE

protected:
    ~LocalCalls() = default;
};

} // namespace harbolance

// Made with its stub, after CORBA_ORB_init; if it is made earlier, the process is ended with a message.
//
// A call waits in the event loop (invoke/giop/vgconn.h), so other calls, also on this stub, may be made and
// served meanwhile. Calls and binding raise, besides the server's exceptions:
//
//     CORBA_NO_IMPLEMENT   no server can be reached at the addresses of the reference
//     CORBA_NO_RESOURCES   the limit of connections is reached; or the server closed the connection and
//                          `enableRebind` is off; or 128 calls wait already, each made while the one before
//                          it waited
//     CORBA_TRANSIENT      the call is to be made again: the connection was lost and `enableRebind` is on,
//                          or the server named another place. Generated stubs do so, without a limit
//     CORBA_COMM_FAILURE   the connection was lost and `enableRebind` is off
//     CORBA_NO_RESPONSE    a time-out of the options has passed
//     CORBA_INV_OBJREF     the reference has no profile that this process can use
class TRXStubInfo final : public harbolance::StubHalf {
public:
    enum State : CORBA_ULong {
        _INITIAL, // never bound
        _BOUND,   // by the first binding
        _UNBOUND, // the connection has gone
        _REBOUND, // bound again
        _FORWARD, // a reply has forwarded to another place, not connected yet
    };
    static constexpr CORBA_ULong unknownKind = 5;

    explicit TRXStubInfo(CORBA_Object* owner);
    ~TRXStubInfo() override;

    // The record of a stub; null for a servant.
    static TRXStubInfo* of(const CORBA_Object* object);

    // Binds to an object of this process; its calls still pass the interceptors.
    void bind(CORBA_Object* localTarget) override;
    void bind(const IOP::IOR& ior, bool connectNow) override;
    // Binds to the object of that interface and name, wherever it is found.
    void bind(const char* repId, const char* objectName, const char* host, const CORBA_BindOptions* options,
              bool connectNow);
    // Binds again, to the reference of the last forward, or else to the original one.
    void rebind();
    void copy(CORBA_Object* stub) override;

    // A new request for `invoke` or `send`, into which the arguments are written. The caller owns it. The
    // operation's name is borrowed and must live as long as the request.
    CORBA_MarshalOutBuffer* create_request(const char* operation, CORBA_Boolean responseExpected) override;
    // Sends the request and waits for the reply. Returns the results, which the caller owns, or null when an
    // interceptor has absorbed an exception. `exceptions` gives the types of user exceptions whose classes
    // this process does not have.
    CORBA_MarshalInBuffer* invoke(CORBA_MarshalOutBuffer* request, CORBA_ExceptionList* exceptions);
    CORBA_MarshalInBuffer* invoke(CORBA_MarshalOutBuffer* request) override {
        return invoke(request, nullptr);
    }
    // Sends the request without waiting; `receive_reply` takes the reply later. `poll` returns whether that
    // would not wait, and `cancel` abandons the request.
    void send(CORBA_MarshalOutBuffer* request, CORBA_Boolean responseExpected, CORBA_ULong* id = nullptr);
    void send_oneway(CORBA_MarshalOutBuffer* request) override { send(request, 0); }
    CORBA_MarshalInBuffer* receive_reply(CORBA_MarshalOutBuffer* request,
                                         CORBA_ExceptionList* exceptions = nullptr);
    // Tells the server that a client has gone, if it was told that the client had bound.
    void leave() override;
    CORBA_Boolean poll(CORBA_MarshalOutBuffer* request);
    void cancel(CORBA_MarshalOutBuffer* request);

    const IOP::IOR& original_ior() const override { return _original_ior; }
    const IOP::IOR& current_ior() const { return _current_ior; }
    bool is_bound() const override { return _state == _BOUND || _state == _REBOUND; }
    State state() const { return _state; }
    // The kind of the object id in the reference, or `unknownKind`.
    CORBA_ULong id_kind() const { return _id_kind; }

private:
    harbolance::GIOPUse connection();
    void connect_now();
    void await_retry();
    void make_interceptor();
    void settle_binding(bool first);
    bool bind_is_announced();
    void send_bind_request();

    CORBA_MarshalInBuffer* invoke_local(TRXMarshalOutBuffer& request, CORBA_Boolean responseExpected,
                                        CORBA_ExceptionList* exceptions);
    template <class Step>
    auto mapped(Step step) -> decltype(step());
    template <class Transmit>
    void send_intercepted(TRXMarshalOutBuffer& request, Transmit transmit);

    CORBA_MarshalInBuffer* take_reply(TRXGIOPMessage* message, TRXMarshalOutBuffer& request,
                                      CORBA_ExceptionList* exceptions);
    CORBA_MarshalInBuffer* finish(const GIOP::ReplyHeader& header, CORBA_MarshalInBuffer* in,
                                  TRXMarshalOutBuffer& request, CORBA_ExceptionList* exceptions);
    void raise_remote(TRXMarshalOutBuffer& request, CORBA_MarshalInBuffer& in,
                      CORBA_ExceptionList* exceptions);
    void follow_forward(CORBA_MarshalInBuffer& in);

    CORBA_ULong _id_kind = unknownKind;
    CORBA_Object* _object; // the stub, not counted
    IOP::IOR _original_ior;
    IOP::IOR _current_ior;        // the reference that was connected to
    bool _ior_changed = false;    // replace the original reference by the first binding's
    CORBA_OctetSequence_var _key; // sent with each request
    TRXRef<TRXClientInterceptor> _interceptor;
    bool _send_bind;
    CORBA_Object* _local_target = nullptr; // holds a reference; set only for an object of this process

    // These may change while a call waits.
    State _state = _INITIAL;
    harbolance::GIOPUse _connection;
    harbolance::ProfileORB* _orb; // of the profile that is bound
    bool _answered = true;        // a reply has been received since the last binding
    std::chrono::steady_clock::time_point _bound_at;
    harbolance::Backoff _backoff;
};
