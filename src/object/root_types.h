#pragma once

#include "object/vtypeinf.h"

// The types of the CORBA module itself, which every process has: the root of all references, and the root of
// interfaces that have no reference of their own. Neither has a stub factory.
extern const CORBA_TypeInfo CORBA_Object_type;
extern const CORBA_TypeInfo CORBA_Current_type;
