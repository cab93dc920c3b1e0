#pragma once

#include "invoke/giop/giop_header.h"
#include "invoke/giop/interceptor_chain.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/exception/environment.h"

class CORBA_Object;

// Hooks around what a server does with each request and locate request of one connection.
// invoke/stub/vcinter.h tells how chains walk. A reference that an operation returns is the caller's.
class TRXServerInterceptor : public TRXResource {
public:
    // Before the object is looked up. A reference that is returned answers the request: the object is there.
    virtual IOP::IOR* locate(CORBA_ULong requestId, const CORBA_OctetSequence& key, TRXClosure& closure);
    virtual void locate_succeeded(CORBA_ULong requestId, TRXClosure& closure);
    virtual void locate_forwarded(CORBA_ULong requestId, const IOP::IOR& ior, TRXClosure& closure);
    // There is no such object. A reference that is returned says where it is.
    virtual IOP::IOR* locate_failed(CORBA_ULong requestId, const CORBA_OctetSequence& key,
                                    TRXClosure& closure);

    // Before the call. `target`, which may be null, can be replaced: the operation gives the old reference
    // back and leaves one of its own. A stub as target forwards the client. A buffer that is returned is read
    // in place of `in`; the caller owns it.
    virtual CORBA_MarshalInBuffer* receive_request(const GIOP::RequestHeader& header, CORBA_Object*& target,
                                                   CORBA_MarshalInBuffer* in, TRXClosure& closure);
    // Before the reply's header is written; service contexts may be added.
    virtual void prepare_reply(const GIOP::RequestHeader& header, GIOP::ReplyHeader& reply,
                               CORBA_Object* object, TRXClosure& closure);
    // The reply is complete. A buffer that is returned is sent in its place; the caller owns it. An exception
    // that is placed into the environment replaces the reply.
    virtual CORBA_MarshalOutBuffer* send_reply(const GIOP::RequestHeader& header,
                                               const GIOP::ReplyHeader& reply, CORBA_Object* object,
                                               CORBA_MarshalOutBuffer* buffer, CORBA_Environment& environment,
                                               TRXClosure& closure);
    virtual void send_reply_failed(const GIOP::RequestHeader& header, const GIOP::ReplyHeader& reply,
                                   CORBA_Object* object, const CORBA_Exception& exception,
                                   TRXClosure& closure);
    // The reply's last octet has left.
    virtual void reply_sent(const GIOP::RequestHeader& header, CORBA_Object* object, TRXClosure& closure);
    // The call has raised what is in the environment, which may be replaced.
    virtual void exception_occurred(const GIOP::RequestHeader& header, CORBA_Environment& environment,
                                    TRXClosure& closure);

    // The connection has ended: closed by this process, or else by the client.
    virtual void disconnected(CORBA_Boolean byServer);
};

// Makes the interceptor of a new connection: the caller's, or null for none. The descriptor is -1 for calls
// inside this process.
class TRXServerInterceptorFactory : public TRXResource {
public:
    virtual TRXServerInterceptor* create(int fd, const IOP::TaggedProfile& profile) = 0;
};

// All factories of the process as one, made by the first `add`. Without a factory connections have no
// interceptor.
class TRXChainServerIntercepFactory final : public TRXServerInterceptorFactory {
public:
    static TRXChainServerIntercepFactory* instance() { return _instance; } // null without one
    // Takes a reference, and gives it back.
    static void add(TRXServerInterceptorFactory* member);
    static void remove(TRXServerInterceptorFactory* member);

    ~TRXChainServerIntercepFactory() override;

    TRXServerInterceptor* create(int fd, const IOP::TaggedProfile& profile) override;

private:
    static TRXChainServerIntercepFactory* _instance;
    TRXList<TRXRef<TRXServerInterceptorFactory>> _factories;
};

// The interceptors of one connection as one.
class TRXChainServerInterceptor final : public TRXServerInterceptor {
public:
    void add(TRXServerInterceptor* member) { _chain.add(member); }

    IOP::IOR* locate(CORBA_ULong requestId, const CORBA_OctetSequence& key, TRXClosure& closure) override;
    void locate_succeeded(CORBA_ULong requestId, TRXClosure& closure) override;
    void locate_forwarded(CORBA_ULong requestId, const IOP::IOR& ior, TRXClosure& closure) override;
    IOP::IOR* locate_failed(CORBA_ULong requestId, const CORBA_OctetSequence& key,
                            TRXClosure& closure) override;
    CORBA_MarshalInBuffer* receive_request(const GIOP::RequestHeader& header, CORBA_Object*& target,
                                           CORBA_MarshalInBuffer* in, TRXClosure& closure) override;
    void prepare_reply(const GIOP::RequestHeader& header, GIOP::ReplyHeader& reply, CORBA_Object* object,
                       TRXClosure& closure) override;
    CORBA_MarshalOutBuffer* send_reply(const GIOP::RequestHeader& header, const GIOP::ReplyHeader& reply,
                                       CORBA_Object* object, CORBA_MarshalOutBuffer* buffer,
                                       CORBA_Environment& environment, TRXClosure& closure) override;
    void send_reply_failed(const GIOP::RequestHeader& header, const GIOP::ReplyHeader& reply,
                           CORBA_Object* object, const CORBA_Exception& exception,
                           TRXClosure& closure) override;
    void reply_sent(const GIOP::RequestHeader& header, CORBA_Object* object, TRXClosure& closure) override;
    void exception_occurred(const GIOP::RequestHeader& header, CORBA_Environment& environment,
                            TRXClosure& closure) override;
    void disconnected(CORBA_Boolean byServer) override;

private:
    harbolance::InterceptorChain<TRXServerInterceptor> _chain;
};
