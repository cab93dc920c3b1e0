#pragma once

#include "invoke/giop/giop_header.h"
#include "invoke/giop/interceptor_chain.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/exception/environment.h"

class CORBA_Object;

// Hooks on the client's side: around the binding of a stub, and around each of its requests. (The server's
// hooks are in adapter/server_interceptor.h.) A program derives from an interceptor class and adds an object
// to the chain of that class. The first step of an exchange calls the members in the order in which they were
// added, later steps call the same members in reverse order, each with a closure in which it may keep data
// for this exchange. A member that has seen the end of an exchange is not called for it again.
//
// When a member raises, no further members are called and the exception is passed to the caller of the
// operation, except in the step `exception_occurred`.

// Hooks around the binding of a stub. `bind` is called before the first connection is made, `rebind` before
// later ones; both may change the reference. `bind_failed` and `rebind_failed` may change it too, and return
// whether to try again. The descriptor is that of the new connection, -1 for an object in this process.
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

// Combines all bind interceptors of the process. Made by the first `instance()`.
class TRXChainBindInterceptor final : public TRXBindInterceptor {
public:
    static TRXChainBindInterceptor* instance();
    // Adds a reference; `remove` releases it.
    static void add(TRXBindInterceptor* member);
    static void remove(TRXBindInterceptor* member);
    // The function that makes the first member of the chain; the chain takes ownership. The layer that finds
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
    // Called while the exception is being handled. A member replaces it by raising another one. At the end
    // raises the exception in the environment, whatever the members do.
    void exception_occurred(IOP::IOR& ior, CORBA_Object* object, CORBA_Environment& environment,
                            TRXClosure& closure) override;

private:
    TRXChainBindInterceptor();

    static TRXChainBindInterceptor* _instance;
    harbolance::InterceptorChain<TRXBindInterceptor> _chain;
};

// Hooks around each request of one stub.
class TRXClientInterceptor : public TRXResource {
public:
    // Called before the header is written; service contexts may be added.
    virtual void prepare_request(GIOP::RequestHeader& header, TRXClosure& closure);
    // Called before the request is sent. A non-null result is sent in its place; the caller owns it.
    virtual CORBA_MarshalOutBuffer* send_request(const GIOP::RequestHeader& header,
                                                 CORBA_MarshalOutBuffer* buffer, TRXClosure& closure);
    // Called when the connection is lost while the request is sent; not called for a time-out.
    virtual void send_failed(const GIOP::RequestHeader& header, const CORBA_Exception& exception,
                             TRXClosure& closure);
    // The last step for a request that expects no response.
    virtual void request_sent(const GIOP::RequestHeader& header, TRXClosure& closure);
    // Called with a reply. A non-null result is read in place of `buffer`; the caller owns it. `target` is
    // null.
    virtual CORBA_MarshalInBuffer* receive_reply(const GIOP::ReplyHeader& header,
                                                 CORBA_MarshalInBuffer* buffer, CORBA_Object* target,
                                                 TRXClosure& closure);
    virtual void receive_failed(CORBA_ULong requestId, const CORBA_Exception& exception, TRXClosure& closure);
    // Called when the reply is an exception. In a chain it is passed to the caller of the operation whatever
    // the members do; the only interceptor of a stub absorbs it by returning.
    virtual void exception_occurred(CORBA_ULong requestId, CORBA_Environment& environment,
                                    TRXClosure& closure);
};

// Makes the interceptor for a new stub, or null for none; the caller owns it.
class TRXClientInterceptorFactory : public TRXResource {
public:
    virtual TRXClientInterceptor* create(CORBA_Object* stub) = 0;
};

// Combines all factories of the process; made by the first `add`. Without a factory stubs have no
// interceptor, and calls have no extra cost.
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

// Combines the interceptors of one stub.
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
