#pragma once

#include "invoke/giop/giop_connections.h"

namespace harbolance {

// A connection to the object of a reference: profiles of this process first, then the others, in order. Where
// the server names another place, `ior` becomes that. Empty when no server can be reached. Seconds, 0 for no
// limit; raises CORBA_NO_RESPONSE when they are over, and what the profiles' ORB and transport raise.
GIOPUse connectionFor(IOP::IOR& ior, CORBA_ULong timeout);

} // namespace harbolance
