#include "marshal/any/unknown_user_exception.h"

#include "marshal/any/any_access.h"

TRX_DEFINE_USER_EXCEPTION(CORBA_UnknownUserException, "CORBA::UnknownUserException",
                          "IDL:omg.org/CORBA/UnknownUserException:1.0")

void CORBA_UnknownUserException::_write(TRXostream& stream) const { _exception.write_members(stream); }

const char* CORBA_UnknownUserException::_repository_id() const {
    const char* id = nullptr;
    try {
        id = harbolance::AnyAccess::type(_exception)->id();
    } catch (const CORBA_Exception&) {
        // a kind without an id
    }
    return id ? id : CORBA_UNKNOWN::_descriptor().repository_id();
}
