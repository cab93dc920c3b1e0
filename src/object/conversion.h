#pragma once

#include "object/vobject.h"

namespace harbolance {

// The object that a reference with profiles stands for (TRXUtil::convert): one of this process, unless
// `skipLocal` or its implementation is marked as forwarded, or else a stub. A stub is of the type that the
// reference names, if that derives from `info` and is known here, else of type `info`; null stands for
// CORBA::Object. The caller owns the reference.
CORBA_Object* objectOf(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect,
                       CORBA_Boolean localFlag, CORBA_Boolean skipLocal);

// A new stub in the hands of the client wrappers of its type, which may put another object around it. The
// caller owns the result.
CORBA_Object* wrapped(const CORBA_TypeInfo& type, CORBA_Object_var& stub);

} // namespace harbolance
