#pragma once

#include "invoke/giop/giop_header.h"
#include "invoke/giop/interceptor_chain.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/exception/environment.h"

class CORBA_Object;

// Hooks around what a client does: the binding of a stub, and each of its requests. (Those of a server are in
// adapter/server_interceptor.h.) A program derives from an interceptor class and adds an object to the chain
// of its kind. The first step of an exchange calls the members in the order in which they were added, later
// steps the same members in reverse order, each with the closure in which it may keep data for this exchange.
// A member that has seen the end of an exchange is not called for it again.
//
// A member that raises ends the walk, and the exception reaches the caller of the operation, unless the step
// is `exception_occurred`.

// Around the binding of a stub. `bind` comes before a first connection is made, `rebind` before a later one,
// and may change the reference. `bind_failed` and `rebind_failed` may change it as well, and answer whether
// another attempt is to be made. The descriptor is that of the new connection, -1 for an object in this
// process.
class TRXBindInterceptor : public TRXResource {
public:
    virtual CORBA_Boolean bind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure);
    virtual CORBA_Boolean bind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure);
    virtual void bind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd, TRXClosure& closure);
    virtual CORBA_Boolean rebind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure);
    virtual CORBA_Boolean rebind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure);
    virtual void rebind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd, TRXClosure& closure);
    virtual void exception_occurred(IOP::IOR& ior, CORBA_Object* object, CORBA_Environment& environment,
                                    TRXClosure& closure);
};

// All bind interceptors of the process as one. Made by the first `instance()`.
class TRXChainBindInterceptor final : public TRXBindInterceptor {
public:
    static TRXChainBindInterceptor* instance();
    // Takes a reference, and gives it back.
    static void add(TRXBindInterceptor* member);
    static void remove(TRXBindInterceptor* member);
    // What makes the first member of the chain, whose reference the chain takes over. The layer that finds
    // objects by name installs it before the chain is made.
    using MakeFirst = TRXBindInterceptor* (*)();
    static void install(MakeFirst make);

    ~TRXChainBindInterceptor() override;

    CORBA_Boolean bind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    CORBA_Boolean bind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    void bind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd, TRXClosure& closure) override;
    CORBA_Boolean rebind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    CORBA_Boolean rebind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) override;
    void rebind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd, TRXClosure& closure) override;
    // Called while the exception is being handled. A member that raises replaces it. Raises what is in the
    // environment at the end, whatever the members do.
    void exception_occurred(IOP::IOR& ior, CORBA_Object* object, CORBA_Environment& environment,
                            TRXClosure& closure) override;

private:
    TRXChainBindInterceptor();

    static TRXChainBindInterceptor* _instance;
    harbolance::InterceptorChain<TRXBindInterceptor> _chain;
};

// Around each request of one stub.
class TRXClientInterceptor : public TRXResource {
public:
    // Before the header is written; service contexts may be added.
    virtual void prepare_request(GIOP::RequestHeader& header, TRXClosure& closure);
    // Before the request leaves. A buffer that is returned leaves in its place; the caller owns it.
    virtual CORBA_MarshalOutBuffer* send_request(const GIOP::RequestHeader& header,
                                                 CORBA_MarshalOutBuffer* buffer, TRXClosure& closure);
    // The connection was lost while the request was sent. A time-out is not told.
    virtual void send_failed(const GIOP::RequestHeader& header, const CORBA_Exception& exception,
                             TRXClosure& closure);
    // The last step for a request that expects no response.
    virtual void request_sent(const GIOP::RequestHeader& header, TRXClosure& closure);
    // A buffer that is returned is read in place of `buffer`; the caller owns it. `target` is null.
    virtual CORBA_MarshalInBuffer* receive_reply(const GIOP::ReplyHeader& header,
                                                 CORBA_MarshalInBuffer* buffer, CORBA_Object* target,
                                                 TRXClosure& closure);
    virtual void receive_failed(CORBA_ULong requestId, const CORBA_Exception& exception, TRXClosure& closure);
    // The reply is an exception. In a chain it reaches the caller of the operation whatever the members do;
    // the only interceptor of a stub absorbs it by returning.
    virtual void exception_occurred(CORBA_ULong requestId, CORBA_Environment& environment,
                                    TRXClosure& closure);
};

// Makes the interceptor of a new stub: the caller's, or null for none.
class TRXClientInterceptorFactory : public TRXResource {
public:
    virtual TRXClientInterceptor* create(CORBA_Object* stub) = 0;
};

// All factories of the process as one, made by the first `add`. Without a factory stubs have no interceptor,
// which costs a call nothing.
class TRXChainClientIntercepFactory final : public TRXClientInterceptorFactory {
public:
    static TRXChainClientIntercepFactory* instance() { return _instance; } // null without one
    static void add(TRXClientInterceptorFactory* member);
    static void remove(TRXClientInterceptorFactory* member);

    ~TRXChainClientIntercepFactory() override;

    TRXClientInterceptor* create(CORBA_Object* stub) override;

private:
    static TRXChainClientIntercepFactory* _instance;
    TRXList<TRXRef<TRXClientInterceptorFactory>> _factories;
};

// The interceptors of one stub as one.
class TRXChainClientInterceptor final : public TRXClientInterceptor {
public:
    explicit TRXChainClientInterceptor(CORBA_Object* stub) : _stub(stub) {}

    void add(TRXClientInterceptor* member) { _chain.add(member); }
    CORBA_Object* stub() const { return _stub; } // not counted

    void prepare_request(GIOP::RequestHeader& header, TRXClosure& closure) override;
    CORBA_MarshalOutBuffer* send_request(const GIOP::RequestHeader& header, CORBA_MarshalOutBuffer* buffer,
                                         TRXClosure& closure) override;
    void send_failed(const GIOP::RequestHeader& header, const CORBA_Exception& exception,
                     TRXClosure& closure) override;
    void request_sent(const GIOP::RequestHeader& header, TRXClosure& closure) override;
    CORBA_MarshalInBuffer* receive_reply(const GIOP::ReplyHeader& header, CORBA_MarshalInBuffer* buffer,
                                         CORBA_Object* target, TRXClosure& closure) override;
    void receive_failed(CORBA_ULong requestId, const CORBA_Exception& exception,
                        TRXClosure& closure) override;
    void exception_occurred(CORBA_ULong requestId, CORBA_Environment& environment,
                            TRXClosure& closure) override;

private:
    CORBA_Object* _stub;
    harbolance::InterceptorChain<TRXClientInterceptor> _chain;
};
