#include "object/root_types.h"

const CORBA_TypeInfo CORBA_Object_type("CORBA::Object", "IDL:omg.org/CORBA/Object:1.0", nullptr);
const CORBA_TypeInfo CORBA_Current_type("CORBA::Current", "IDL:omg.org/CORBA/Current:1.0", nullptr);
