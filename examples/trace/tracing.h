#pragma once

// Prints what passes: interceptors of the three kinds, and how a program installs them.
//
// An interceptor derives from the class of its kind and overrides the steps that it needs; the others do
// nothing. The client's factory is called for each new stub, the server's for each new connection; there is
// one interceptor for all bindings. All are reference-counted: `add` adds a reference, so the one from `new`
// is released afterwards.

#include <harbolance/corba.h>

#include <iostream>

namespace tracing {

// Prints where a stub's calls are sent.
class Bindings : public TRXBindInterceptor {
public:
    void bind_succeeded(IOP::IOR& ior, CORBA::Object_ptr, int, TRXClosure&) override {
        std::cout << "bound to a " << ior.type_id.in() << std::endl;
    }
    void rebind_succeeded(IOP::IOR&, CORBA::Object_ptr, int, TRXClosure&) override {
        std::cout << "bound again" << std::endl;
    }
};

// The requests of a stub.
class Requests : public TRXClientInterceptor {
public:
    CORBA::MarshalOutBuffer_ptr send_request(const GIOP::RequestHeader& header,
                                             CORBA::MarshalOutBuffer_ptr buffer, TRXClosure&) override {
        std::cout << "-> " << header.operation << ", " << buffer->offset() << " octets" << std::endl;
        return nullptr; // the request is sent unchanged
    }
    CORBA::MarshalInBuffer_ptr receive_reply(const GIOP::ReplyHeader&, CORBA::MarshalInBuffer_ptr buffer,
                                             CORBA::Object_ptr, TRXClosure&) override {
        std::cout << "<- a reply with " << buffer->size() << " octets" << std::endl;
        return nullptr;
    }
    void exception_occurred(CORBA::ULong, CORBA::Environment& environment, TRXClosure&) override {
        std::cout << "<- " << environment.exception()->_name() << std::endl;
        // The only interceptor of a stub absorbs an exception that it does not raise.
        environment.exception()->_raise();
    }
};

class RequestsOfEachStub : public TRXClientInterceptorFactory {
public:
    TRXClientInterceptor* create(CORBA::Object_ptr) override { return new Requests; }
};

// Prints a client's requests. The closure keeps a value from one step of a request to the next.
class Served : public TRXServerInterceptor {
public:
    CORBA::MarshalInBuffer_ptr receive_request(const GIOP::RequestHeader& header, CORBA::Object_ptr&,
                                               CORBA::MarshalInBuffer_ptr, TRXClosure&) override {
        std::cout << "request " << header.operation << std::endl;
        return nullptr;
    }
    void exception_occurred(const GIOP::RequestHeader& header, CORBA::Environment& environment,
                            TRXClosure&) override {
        std::cout << "failed  " << header.operation << ": " << environment.exception()->_name() << std::endl;
    }
    void reply_sent(const GIOP::RequestHeader& header, CORBA::Object_ptr, TRXClosure&) override {
        std::cout << "replied " << header.operation << std::endl;
    }
    void disconnected(CORBA::Boolean) override { std::cout << "a client has gone" << std::endl; }
};

class ServedOnEachConnection : public TRXServerInterceptorFactory {
public:
    TRXServerInterceptor* create(int, const IOP::TaggedProfile&) override { return new Served; }
};

// The chain holds what is added to it.
template <class Chain, class Member>
void add(Member* member) {
    Chain::add(member);
    member->_remove_ref();
}

inline void traceClient() {
    add<TRXChainBindInterceptor>(new Bindings);
    add<TRXChainClientIntercepFactory>(new RequestsOfEachStub);
}
inline void traceServer() { add<TRXChainServerIntercepFactory>(new ServedOnEachConnection); }

} // namespace tracing
