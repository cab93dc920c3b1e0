#pragma once

#include "invoke/giop/giop_header.h"
#include "invoke/giop/interceptor_chain.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/exception/environment.h"

class CORBA_Object;

// Hooks around each request and locate request that a server handles on one connection. invoke/stub/vcinter.h
// describes the order of calls in a chain. A reference or buffer that a hook returns is owned by the caller,
// the ORB.
class TRXServerInterceptor : public TRXResource {
public:
    // Called before the object is looked up. A non-null result answers the request: the object exists, at
    // that reference.
    virtual IOP::IOR* locate(CORBA_ULong requestId, const CORBA_OctetSequence& key, TRXClosure& closure);
    virtual void locate_succeeded(CORBA_ULong requestId, TRXClosure& closure);
    virtual void locate_forwarded(CORBA_ULong requestId, const IOP::IOR& ior, TRXClosure& closure);
    // Called when there is no such object. A non-null result tells the client where it is.
    virtual IOP::IOR* locate_failed(CORBA_ULong requestId, const CORBA_OctetSequence& key,
                                    TRXClosure& closure);

    // Called before the servant. `target`, which may be null, can be replaced: the interceptor releases the
    // old reference and stores a new one. When the new target is a stub, the client is forwarded to it. A
    // non-null result is read in place of `in`; ownership passes to the ORB.
    virtual CORBA_MarshalInBuffer* receive_request(const GIOP::RequestHeader& header, CORBA_Object*& target,
                                                   CORBA_MarshalInBuffer* in, TRXClosure& closure);
    // Called before the reply's header is written; service contexts may be added.
    virtual void prepare_reply(const GIOP::RequestHeader& header, GIOP::ReplyHeader& reply,
                               CORBA_Object* object, TRXClosure& closure);
    // Called when the reply is complete. A non-null result is sent in its place; ownership passes to the ORB.
    // An exception placed in the environment replaces the reply.
    virtual CORBA_MarshalOutBuffer* send_reply(const GIOP::RequestHeader& header,
                                               const GIOP::ReplyHeader& reply, CORBA_Object* object,
                                               CORBA_MarshalOutBuffer* buffer, CORBA_Environment& environment,
                                               TRXClosure& closure);
    virtual void send_reply_failed(const GIOP::RequestHeader& header, const GIOP::ReplyHeader& reply,
                                   CORBA_Object* object, const CORBA_Exception& exception,
                                   TRXClosure& closure);
    // Called when the last octet of the reply has been written to the socket.
    virtual void reply_sent(const GIOP::RequestHeader& header, CORBA_Object* object, TRXClosure& closure);
    // Called when the servant has raised the exception in `environment`, which may be replaced.
    virtual void exception_occurred(const GIOP::RequestHeader& header, CORBA_Environment& environment,
                                    TRXClosure& closure);

    // Called when the connection has ended, closed by this process or by the client.
    virtual void disconnected(CORBA_Boolean byServer);
};

// Makes the interceptor for a new connection, or null for none; the caller owns it. The descriptor is -1 for
// calls inside this process.
class TRXServerInterceptorFactory : public TRXResource {
public:
    virtual TRXServerInterceptor* create(int fd, const IOP::TaggedProfile& profile) = 0;
};

// Combines all factories of the process; made by the first `add`. Without a factory connections have no
// interceptor.
class TRXChainServerIntercepFactory final : public TRXServerInterceptorFactory {
public:
    static TRXChainServerIntercepFactory* instance() { return _instance; } // null without one
    // Adds a reference; `remove` releases it.
    static void add(TRXServerInterceptorFactory* member);
    static void remove(TRXServerInterceptorFactory* member);

    ~TRXChainServerIntercepFactory() override;

    TRXServerInterceptor* create(int fd, const IOP::TaggedProfile& profile) override;

private:
    static TRXChainServerIntercepFactory* _instance;
    TRXList<TRXRef<TRXServerInterceptorFactory>> _factories;
};

// Combines the interceptors of one connection.
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
