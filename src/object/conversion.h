#pragma once

#include "object/vobject.h"

namespace harbolance {

// The object for a reference with profiles (see TRXUtil::convert): the servant, when the object is in this
// process, `skipLocal` is 0 and its implementation is not marked as forwarded; otherwise a stub. The stub has
// the type that the reference names, if that is known here and derives from `info`, else the type `info`;
// null stands for CORBA::Object. The caller owns the reference.
CORBA_Object* objectOf(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect,
                       CORBA_Boolean localFlag, CORBA_Boolean skipLocal);

// Applies the client wrappers of the stub's type, which may put another object around it. The caller owns the
// result.
CORBA_Object* wrapped(const CORBA_TypeInfo& type, CORBA_Object_var& stub);

} // namespace harbolance
