#pragma once

#include "marshal/exception/user_exception.h"

// The user exceptions of the ORB's own module that have no members.

// An initial reference was requested under a name that is not registered.
class CORBA_ORB_InvalidName final : public TRXUserExceptionOf<CORBA_ORB_InvalidName> {
public:
    static constexpr const char* _scoped_name = "CORBA_ORB_InvalidName";
    static const CORBA_ExceptionDesc& _descriptor();
};

// An operation ran in another transaction than the one it was meant for.
class CORBA_WrongTransaction final : public TRXUserExceptionOf<CORBA_WrongTransaction> {
public:
    static constexpr const char* _scoped_name = "CORBA_WrongTransaction";
    static const CORBA_ExceptionDesc& _descriptor();
};
