#pragma once

// The client of the location agents, for programs: the process's session (DSUser), the records and
// collections that it takes and gives, and the event loop (dpDispatcher) that keeps it alive. It needs no
// ORB; with one, in <harbolance/corba.h>, the session reads its options from the ORB's.

#include "agent/collections/dsdict.h"
#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/dsaddr.h"
#include "agent/records/dsmsg.h"
#include "agent/records/dsname.h"
#include "agent/records/dsprovid.h"
#include "agent/session/dsuser.h"
#include "net/dispatcher.h"
