#include "marshal/exception/orb_exceptions.h"

TRX_DEFINE_USER_EXCEPTION(CORBA_WrongTransaction, "CORBA::WrongTransaction",
                          "IDL:omg.org/CORBA/WrongTransaction:1.0")
TRX_DEFINE_USER_EXCEPTION(CORBA_ORB_InvalidName, "CORBA::ORB::InvalidName",
                          "IDL:omg.org/CORBA/ORB/InvalidName:1.0")
