#pragma once

// Prints what passes: interceptors of the three kinds, and how a program installs them.
//
// An interceptor derives from the class of its kind and overrides the steps that it wants to see; the others
// do nothing. A client has a factory asked for an interceptor of each new stub, a server one for each new
// connection; bindings have one interceptor for all. All are counted: `add` takes a reference, so the one
// that `new` gives is handed back.

#include <harbolance/corba.h>

#include <iostream>

namespace tracing {

// Where a stub's calls go.
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
        return nullptr; // the request leaves as it is
    }
    CORBA::MarshalInBuffer_ptr receive_reply(const GIOP::ReplyHeader&, CORBA::MarshalInBuffer_ptr buffer,
                                             CORBA::Object_ptr, TRXClosure&) override {
        std::cout << "<- a reply with " << buffer->size() << " octets" << std::endl;
        return nullptr;
    }
    void exception_occurred(CORBA::ULong, CORBA::Environment& environment, TRXClosure&) override {
        std::cout << "<- " << environment.exception()->_name() << std::endl;
        environment.exception()->_raise(); // the only interceptor of a stub absorbs what it does not raise
    }
};

class RequestsOfEachStub : public TRXClientInterceptorFactory {
public:
    TRXClientInterceptor* create(CORBA::Object_ptr) override { return new Requests; }
};

// What one client asks of a server. The closure keeps a value from one step of a request to the next ones.
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
