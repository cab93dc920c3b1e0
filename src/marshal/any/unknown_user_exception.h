#pragma once

#include "marshal/any/any.h"

// A user exception whose class this process does not have. Its members are held in an Any, and its repository
// id is that of the Any's type.
class CORBA_UnknownUserException final
    : public TRXExceptionOf<CORBA_UnknownUserException, CORBA_UserException> {
public:
    CORBA_UnknownUserException() = default;
    explicit CORBA_UnknownUserException(const CORBA_Any& exception) : _exception(exception) {}

    CORBA_Any& exception() { return _exception; }
    const CORBA_Any& exception() const { return _exception; }

    void _write(TRXostream& stream) const override; // the members; no `_read`, which would need their type
    const char* _repository_id() const override;    // of CORBA_UNKNOWN when the Any's type has none

    static const CORBA_ExceptionDesc& _descriptor();

private:
    CORBA_Any _exception;
};
