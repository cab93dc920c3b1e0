#pragma once

#include "invoke/giop/giop_connections.h"

namespace harbolance {

// A connection to the object of a reference: tries profiles of this process first, then the others in order.
// When the server forwards, `ior` is replaced. Empty when no server can be reached. The limit is in seconds,
// 0 for none; when it has passed, raises CORBA_NO_RESPONSE. Also raises what the profiles' ORB and transport
// raise.
GIOPUse connectionFor(IOP::IOR& ior, CORBA_ULong timeout);

} // namespace harbolance
