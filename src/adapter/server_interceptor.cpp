#include "adapter/server_interceptor.h"

#include "base/assertion.h"

#include <memory>

// --- The class that programs derive from: every step does nothing ------------------------------------------

IOP::IOR* TRXServerInterceptor::locate(CORBA_ULong, const CORBA_OctetSequence&, TRXClosure&) {
    return nullptr;
}
void TRXServerInterceptor::locate_succeeded(CORBA_ULong, TRXClosure&) {}
void TRXServerInterceptor::locate_forwarded(CORBA_ULong, const IOP::IOR&, TRXClosure&) {}
IOP::IOR* TRXServerInterceptor::locate_failed(CORBA_ULong, const CORBA_OctetSequence&, TRXClosure&) {
    return nullptr;
}
CORBA_MarshalInBuffer* TRXServerInterceptor::receive_request(const GIOP::RequestHeader&, CORBA_Object*&,
                                                             CORBA_MarshalInBuffer*, TRXClosure&) {
    return nullptr;
}
void TRXServerInterceptor::prepare_reply(const GIOP::RequestHeader&, GIOP::ReplyHeader&, CORBA_Object*,
                                         TRXClosure&) {}
CORBA_MarshalOutBuffer* TRXServerInterceptor::send_reply(const GIOP::RequestHeader&, const GIOP::ReplyHeader&,
                                                         CORBA_Object*, CORBA_MarshalOutBuffer*,
                                                         CORBA_Environment&, TRXClosure&) {
    return nullptr;
}
void TRXServerInterceptor::send_reply_failed(const GIOP::RequestHeader&, const GIOP::ReplyHeader&,
                                             CORBA_Object*, const CORBA_Exception&, TRXClosure&) {}
void TRXServerInterceptor::reply_sent(const GIOP::RequestHeader&, CORBA_Object*, TRXClosure&) {}
void TRXServerInterceptor::exception_occurred(const GIOP::RequestHeader&, CORBA_Environment&, TRXClosure&) {}
void TRXServerInterceptor::disconnected(CORBA_Boolean) {}

// --- The factories -----------------------------------------------------------------------------------------

TRXChainServerIntercepFactory* TRXChainServerIntercepFactory::_instance = nullptr;

TRXChainServerIntercepFactory::~TRXChainServerIntercepFactory() { _instance = nullptr; }

void TRXChainServerIntercepFactory::add(TRXServerInterceptorFactory* member) {
    if (!_instance)
        _instance = new TRXChainServerIntercepFactory;
    _instance->_factories.append(TRXRef<TRXServerInterceptorFactory>::duplicate(member));
}

void TRXChainServerIntercepFactory::remove(TRXServerInterceptorFactory* member) {
    TRX_ASSERT(_instance != nullptr, "vcinter");
    _instance->_factories.remove(TRXRef<TRXServerInterceptorFactory>::duplicate(member));
}

TRXServerInterceptor* TRXChainServerIntercepFactory::create(int fd, const IOP::TaggedProfile& profile) {
    if (_factories.count() == 0)
        return nullptr;
    TRXRef<TRXChainServerInterceptor> chain(new TRXChainServerInterceptor);
    const TRXList<TRXRef<TRXServerInterceptorFactory>> factories = _factories; // one may remove itself
    for (const auto& factory : factories) {
        const TRXRef<TRXServerInterceptor> made(factory->create(fd, profile));
        if (made)
            chain->add(made.get());
    }
    return chain.detach();
}

// --- The interceptors of one connection --------------------------------------------------------------------

IOP::IOR* TRXChainServerInterceptor::locate(CORBA_ULong requestId, const CORBA_OctetSequence& key,
                                            TRXClosure& closure) {
    IOP::IOR* result = nullptr;
    _chain.start(closure, [&](TRXServerInterceptor& member, TRXClosure& own) {
        result = member.locate(requestId, key, own);
        return result == nullptr;
    });
    return result;
}

void TRXChainServerInterceptor::locate_succeeded(CORBA_ULong requestId, TRXClosure& closure) {
    _chain.reverse(closure, true, [&](TRXServerInterceptor& member, TRXClosure& own) {
        member.locate_succeeded(requestId, own);
    });
}

void TRXChainServerInterceptor::locate_forwarded(CORBA_ULong requestId, const IOP::IOR& ior,
                                                 TRXClosure& closure) {
    _chain.reverse(closure, true, [&](TRXServerInterceptor& member, TRXClosure& own) {
        member.locate_forwarded(requestId, ior, own);
    });
}

IOP::IOR* TRXChainServerInterceptor::locate_failed(CORBA_ULong requestId, const CORBA_OctetSequence& key,
                                                   TRXClosure& closure) {
    IOP::IOR* result = nullptr;
    _chain.reverse(closure, true, [&](TRXServerInterceptor& member, TRXClosure& own) {
        result = member.locate_failed(requestId, key, own);
        return result == nullptr;
    });
    return result;
}

CORBA_MarshalInBuffer* TRXChainServerInterceptor::receive_request(const GIOP::RequestHeader& header,
                                                                  CORBA_Object*& target,
                                                                  CORBA_MarshalInBuffer* in,
                                                                  TRXClosure& closure) {
    CORBA_MarshalInBuffer_var replacement;
    _chain.start(closure, [&](TRXServerInterceptor& member, TRXClosure& own) {
        CORBA_MarshalInBuffer* current = replacement.in() ? replacement.in() : in;
        if (CORBA_MarshalInBuffer* returned = member.receive_request(header, target, current, own))
            replacement = returned;
    });
    return replacement._retn();
}

void TRXChainServerInterceptor::prepare_reply(const GIOP::RequestHeader& header, GIOP::ReplyHeader& reply,
                                              CORBA_Object* object, TRXClosure& closure) {
    _chain.reverse(closure, false, [&](TRXServerInterceptor& member, TRXClosure& own) {
        member.prepare_reply(header, reply, object, own);
    });
}

CORBA_MarshalOutBuffer*
TRXChainServerInterceptor::send_reply(const GIOP::RequestHeader& header, const GIOP::ReplyHeader& reply,
                                      CORBA_Object* object, CORBA_MarshalOutBuffer* buffer,
                                      CORBA_Environment& environment, TRXClosure& closure) {
    CORBA_MarshalOutBuffer_var replacement;
    _chain.reverse(closure, false, [&](TRXServerInterceptor& member, TRXClosure& own) {
        CORBA_MarshalOutBuffer* current = replacement.in() ? replacement.in() : buffer;
        if (CORBA_MarshalOutBuffer* returned =
                member.send_reply(header, reply, object, current, environment, own))
            replacement = returned;
    });
    return replacement._retn();
}

void TRXChainServerInterceptor::send_reply_failed(const GIOP::RequestHeader& header,
                                                  const GIOP::ReplyHeader& reply, CORBA_Object* object,
                                                  const CORBA_Exception& exception, TRXClosure& closure) {
    _chain.reverse(closure, true, [&](TRXServerInterceptor& member, TRXClosure& own) {
        member.send_reply_failed(header, reply, object, exception, own);
    });
}

void TRXChainServerInterceptor::reply_sent(const GIOP::RequestHeader& header, CORBA_Object* object,
                                           TRXClosure& closure) {
    _chain.reverse(closure, true, [&](TRXServerInterceptor& member, TRXClosure& own) {
        member.reply_sent(header, object, own);
    });
}

void TRXChainServerInterceptor::exception_occurred(const GIOP::RequestHeader& header,
                                                   CORBA_Environment& environment, TRXClosure& closure) {
    _chain.reverse(closure, false, [&](TRXServerInterceptor& member, TRXClosure& own) {
        member.exception_occurred(header, environment, own);
    });
}

void TRXChainServerInterceptor::disconnected(CORBA_Boolean byServer) {
    const TRXList<TRXRef<TRXServerInterceptor>> members = _chain.members();
    for (const auto& member : members)
        member->disconnected(byServer);
}
