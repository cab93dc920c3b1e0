#include "marshal/unknown_user_exception.h"

TRX_DEFINE_USER_EXCEPTION(CORBA_UnknownUserException, "CORBA::UnknownUserException",
                          "IDL:omg.org/CORBA/UnknownUserException:1.0")

void CORBA_UnknownUserException::_write(TRXostream& stream) const { _exception.write_members(stream); }

const char* CORBA_UnknownUserException::_repository_id() const {
    try {
        return _exception._type()->id();
    } catch (const CORBA_Exception&) {
        return CORBA_UNKNOWN::_descriptor().repository_id();
    }
}
