#include "invoke/stub/profile_orb.h"
#include "invoke/stub/vstub.h"
#include "marshal/any/unknown_user_exception.h"
#include "marshal/reference/vutil.h"

#include <cstring>

// The handling of replies: results, an exception, or a forward.

using namespace harbolance;

[[gnu::hot]] CORBA_MarshalInBuffer* TRXStubInfo::take_reply(TRXGIOPMessage* message,
                                                            TRXMarshalOutBuffer& request,
                                                            CORBA_ExceptionList* exceptions) {
    auto* reply = TRXGIOPReply::narrow(message);
    if (!reply)
        throw CORBA_INV_OBJREF(); // a locate reply with the id of a request
    _answered = true;
    return finish(reply->header(), CORBA_MarshalInBuffer::_duplicate(reply->stream()), request, exceptions);
}

// Takes ownership of `in`.
[[gnu::hot]] CORBA_MarshalInBuffer* TRXStubInfo::finish(const GIOP::ReplyHeader& header,
                                                        CORBA_MarshalInBuffer* in,
                                                        TRXMarshalOutBuffer& request,
                                                        CORBA_ExceptionList* exceptions) {
    CORBA_MarshalInBuffer_var results(in);
    if (_interceptor) {
        if (CORBA_MarshalInBuffer* replacement =
                _interceptor->receive_reply(header, in, nullptr, request.closure()))
            results = replacement;
    }
    switch (header.reply_status) {
    case GIOP::NO_EXCEPTION: return results._retn();
    case GIOP::LOCATION_FORWARD: follow_forward(*results); throw CORBA_TRANSIENT();
    default: raise_remote(request, *results, exceptions); return nullptr;
    }
}

namespace {

// An exception whose class this process does not have, if the list has its type; else null.
CORBA_Exception* unknownException(const char* id, CORBA_MarshalInBuffer& in,
                                  CORBA_ExceptionList* exceptions) {
    for (CORBA_ULong i = 0; exceptions && i < exceptions->count(); ++i) {
        CORBA_TypeCode* type = exceptions->item(i);
        try {
            if (!type || CORBA_string_compare(type->id(), id) != 0)
                continue;
        } catch (const CORBA_Exception&) {
            continue; // a type without an id
        }
        CORBA_Any members;
        members.read_value(in, type);
        return new CORBA_UnknownUserException(members);
    }
    return nullptr;
}

CORBA_Exception* exceptionIn(CORBA_MarshalInBuffer& in, CORBA_ExceptionList* exceptions) {
    CORBA_String_var id;
    in >> id;
    const CORBA_ExceptionDesc* known = CORBA_ExceptionDesc::lookup(id.in());
    if (known && known->factory()) {
        std::unique_ptr<CORBA_Exception> exception(known->factory()());
        exception->_read(in);
        return exception.release();
    }
    CORBA_Exception* unknown = unknownException(id.in(), in, exceptions);
    return unknown ? unknown : new CORBA_UNKNOWN;
}

} // namespace

// Raises the server's exception. When the interceptor returns, it has absorbed it.
void TRXStubInfo::raise_remote(TRXMarshalOutBuffer& request, CORBA_MarshalInBuffer& in,
                               CORBA_ExceptionList* exceptions) {
    CORBA_Environment environment(exceptionIn(in, exceptions));
    const auto interceptor = _interceptor;
    if (!interceptor) {
        environment.exception()->_raise();
        throw CORBA_UNKNOWN();
    }
    try {
        environment.exception()->_raise();
    } catch (const CORBA_Exception&) {
        interceptor->exception_occurred(request.request_id(), environment, request.closure());
    }
}

// The next call goes to the reference in the reply. A service keeps its own key there.
void TRXStubInfo::follow_forward(CORBA_MarshalInBuffer& in) {
    IOP::IOR forward;
    in >> forward;
    if (_id_kind == TRXObjectId::ID_SERVICE) {
        const CORBA_OctetSequence_var key(ProfileORB::key_of(_original_ior));
        TRXUtil::set_object_key(forward, *key);
    }
    _current_ior = std::move(forward);
    _state = _FORWARD;
}
