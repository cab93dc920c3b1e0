#include "invoke/stub/vcinter.h"

#include "base/assertion.h"

#include <utility>

using namespace harbolance;

// --- The classes that programs derive from: every step does nothing ----------------------------------------

CORBA_Boolean TRXBindInterceptor::bind(IOP::IOR&, CORBA_Object*, TRXClosure&) { return 0; }
CORBA_Boolean TRXBindInterceptor::bind_failed(IOP::IOR&, CORBA_Object*, TRXClosure&) { return 0; }
void TRXBindInterceptor::bind_succeeded(IOP::IOR&, CORBA_Object*, int, TRXClosure&) {}
CORBA_Boolean TRXBindInterceptor::rebind(IOP::IOR&, CORBA_Object*, TRXClosure&) { return 0; }
CORBA_Boolean TRXBindInterceptor::rebind_failed(IOP::IOR&, CORBA_Object*, TRXClosure&) { return 0; }
void TRXBindInterceptor::rebind_succeeded(IOP::IOR&, CORBA_Object*, int, TRXClosure&) {}
void TRXBindInterceptor::exception_occurred(IOP::IOR&, CORBA_Object*, CORBA_Environment&, TRXClosure&) {}

void TRXClientInterceptor::prepare_request(GIOP::RequestHeader&, TRXClosure&) {}
CORBA_MarshalOutBuffer* TRXClientInterceptor::send_request(const GIOP::RequestHeader&,
                                                           CORBA_MarshalOutBuffer*, TRXClosure&) {
    return nullptr;
}
void TRXClientInterceptor::send_failed(const GIOP::RequestHeader&, const CORBA_Exception&, TRXClosure&) {}
void TRXClientInterceptor::request_sent(const GIOP::RequestHeader&, TRXClosure&) {}
CORBA_MarshalInBuffer* TRXClientInterceptor::receive_reply(const GIOP::ReplyHeader&, CORBA_MarshalInBuffer*,
                                                           CORBA_Object*, TRXClosure&) {
    return nullptr;
}
void TRXClientInterceptor::receive_failed(CORBA_ULong, const CORBA_Exception&, TRXClosure&) {}
void TRXClientInterceptor::exception_occurred(CORBA_ULong, CORBA_Environment&, TRXClosure&) {}

namespace {

// Ends an exchange with an exception, which each member may replace by raising another one. Called inside the
// handler of the exception, which is raised again at the end.
template <class Member, class Step>
[[noreturn]] void tellException(TRXClosure& closure, CORBA_Environment& environment, Step step) {
    InterceptorChain<Member>::reverse(closure, true, [&](Member& member, TRXClosure& own) {
        try {
            step(member, own);
        } catch (const CORBA_Exception& raised) {
            environment.exception(raised._copy());
        } catch (...) {
            environment.exception(new CORBA_UNKNOWN);
        }
    });
    if (environment.exception())
        environment.exception()->_raise();
    throw; // clearing the environment does not absorb the exception
}

} // namespace

// --- Binding -----------------------------------------------------------------------------------------------

TRXChainBindInterceptor* TRXChainBindInterceptor::_instance = nullptr;

static constinit TRXChainBindInterceptor::MakeFirst makeFirst = nullptr;

void TRXChainBindInterceptor::install(MakeFirst make) { makeFirst = make; }

TRXChainBindInterceptor::TRXChainBindInterceptor() {
    if (makeFirst)
        _chain.add(TRXRef<TRXBindInterceptor>(makeFirst()).get());
}

TRXChainBindInterceptor* TRXChainBindInterceptor::instance() {
    if (!_instance)
        _instance = new TRXChainBindInterceptor;
    return _instance;
}

TRXChainBindInterceptor::~TRXChainBindInterceptor() { _instance = nullptr; }

void TRXChainBindInterceptor::add(TRXBindInterceptor* member) { instance()->_chain.add(member); }

void TRXChainBindInterceptor::remove(TRXBindInterceptor* member) {
    TRX_ASSERT(_instance != nullptr, "vcinter");
    _instance->_chain.remove(member);
}

CORBA_Boolean TRXChainBindInterceptor::bind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) {
    CORBA_Boolean result = 0;
    _chain.start(closure, [&](TRXBindInterceptor& member, TRXClosure& own) {
        if (const CORBA_Boolean changed = member.bind(ior, object, own))
            result = changed;
    });
    return result;
}

CORBA_Boolean TRXChainBindInterceptor::rebind(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) {
    CORBA_Boolean result = 0;
    _chain.start(closure, [&](TRXBindInterceptor& member, TRXClosure& own) {
        if (const CORBA_Boolean changed = member.rebind(ior, object, own))
            result = changed;
    });
    return result;
}

CORBA_Boolean TRXChainBindInterceptor::bind_failed(IOP::IOR& ior, CORBA_Object* object, TRXClosure& closure) {
    CORBA_Boolean result = 0;
    _chain.reverse(closure, false, [&](TRXBindInterceptor& member, TRXClosure& own) {
        if (const CORBA_Boolean again = member.bind_failed(ior, object, own))
            result = again;
    });
    return result;
}

CORBA_Boolean TRXChainBindInterceptor::rebind_failed(IOP::IOR& ior, CORBA_Object* object,
                                                     TRXClosure& closure) {
    CORBA_Boolean result = 0;
    _chain.reverse(closure, false, [&](TRXBindInterceptor& member, TRXClosure& own) {
        if (const CORBA_Boolean again = member.rebind_failed(ior, object, own))
            result = again;
    });
    return result;
}

void TRXChainBindInterceptor::bind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd,
                                             TRXClosure& closure) {
    _chain.reverse(closure, false, [&](TRXBindInterceptor& member, TRXClosure& own) {
        member.bind_succeeded(ior, object, fd, own);
    });
}

void TRXChainBindInterceptor::rebind_succeeded(IOP::IOR& ior, CORBA_Object* object, int fd,
                                               TRXClosure& closure) {
    _chain.reverse(closure, false, [&](TRXBindInterceptor& member, TRXClosure& own) {
        member.rebind_succeeded(ior, object, fd, own);
    });
}

void TRXChainBindInterceptor::exception_occurred(IOP::IOR& ior, CORBA_Object* object,
                                                 CORBA_Environment& environment, TRXClosure& closure) {
    tellException<TRXBindInterceptor>(closure, environment, [&](TRXBindInterceptor& member, TRXClosure& own) {
        member.exception_occurred(ior, object, environment, own);
    });
}

// --- Requests ----------------------------------------------------------------------------------------------

TRXChainClientIntercepFactory* TRXChainClientIntercepFactory::_instance = nullptr;

TRXChainClientIntercepFactory::~TRXChainClientIntercepFactory() { _instance = nullptr; }

void TRXChainClientIntercepFactory::add(TRXClientInterceptorFactory* member) {
    if (!_instance)
        _instance = new TRXChainClientIntercepFactory;
    _instance->_factories.append(TRXRef<TRXClientInterceptorFactory>::duplicate(member));
}

void TRXChainClientIntercepFactory::remove(TRXClientInterceptorFactory* member) {
    TRX_ASSERT(_instance != nullptr, "vcinter");
    _instance->_factories.remove(TRXRef<TRXClientInterceptorFactory>::duplicate(member));
}

TRXClientInterceptor* TRXChainClientIntercepFactory::create(CORBA_Object* stub) {
    if (_factories.count() == 0)
        return nullptr;
    TRXRef<TRXChainClientInterceptor> chain(new TRXChainClientInterceptor(stub));
    const auto factories = _factories; // copied: a factory may add and remove others
    for (const auto& factory : factories) {
        const TRXRef<TRXClientInterceptor> made(factory->create(stub));
        if (made)
            chain->add(made.get());
    }
    return chain.detach();
}

void TRXChainClientInterceptor::prepare_request(GIOP::RequestHeader& header, TRXClosure& closure) {
    _chain.start(closure,
                 [&](TRXClientInterceptor& member, TRXClosure& own) { member.prepare_request(header, own); });
}

CORBA_MarshalOutBuffer* TRXChainClientInterceptor::send_request(const GIOP::RequestHeader& header,
                                                                CORBA_MarshalOutBuffer* buffer,
                                                                TRXClosure& closure) {
    CORBA_MarshalOutBuffer_var replacement;
    _chain.forward(closure, [&](TRXClientInterceptor& member, TRXClosure& own) {
        CORBA_MarshalOutBuffer* current = replacement.in() ? replacement.in() : buffer;
        if (CORBA_MarshalOutBuffer* returned = member.send_request(header, current, own))
            replacement = returned;
    });
    return replacement._retn();
}

void TRXChainClientInterceptor::send_failed(const GIOP::RequestHeader& header,
                                            const CORBA_Exception& exception, TRXClosure& closure) {
    _chain.reverse(closure, true, [&](TRXClientInterceptor& member, TRXClosure& own) {
        member.send_failed(header, exception, own);
    });
}

void TRXChainClientInterceptor::request_sent(const GIOP::RequestHeader& header, TRXClosure& closure) {
    const bool last = header.response_expected == 0;
    _chain.reverse(closure, last,
                   [&](TRXClientInterceptor& member, TRXClosure& own) { member.request_sent(header, own); });
}

CORBA_MarshalInBuffer* TRXChainClientInterceptor::receive_reply(const GIOP::ReplyHeader& header,
                                                                CORBA_MarshalInBuffer* buffer,
                                                                CORBA_Object* target, TRXClosure& closure) {
    CORBA_MarshalInBuffer_var replacement;
    _chain.reverse(closure, false, [&](TRXClientInterceptor& member, TRXClosure& own) {
        CORBA_MarshalInBuffer* current = replacement.in() ? replacement.in() : buffer;
        if (CORBA_MarshalInBuffer* returned = member.receive_reply(header, current, target, own))
            replacement = returned;
    });
    return replacement._retn();
}

void TRXChainClientInterceptor::receive_failed(CORBA_ULong requestId, const CORBA_Exception& exception,
                                               TRXClosure& closure) {
    _chain.reverse(closure, true, [&](TRXClientInterceptor& member, TRXClosure& own) {
        member.receive_failed(requestId, exception, own);
    });
}

void TRXChainClientInterceptor::exception_occurred(CORBA_ULong requestId, CORBA_Environment& environment,
                                                   TRXClosure& closure) {
    tellException<TRXClientInterceptor>(closure, environment,
                                        [&](TRXClientInterceptor& member, TRXClosure& own) {
                                            member.exception_occurred(requestId, environment, own);
                                        });
}
