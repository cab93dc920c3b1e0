#include "location/locate_init.h"
#include "location/location_resolver.h"
#include "location/vagentopts.h"
#include "orb/vorb.h"

// The library's modules, in the order in which they register. The order shows: initialisers of one priority
// run in it, and registries list their members by slots that depend on it. So all of them stand here, in the
// topmost folder, which sees them all. They leave in reverse order; the factory takes its ORB with it.

namespace {

TRXIIOPORBFactory orbFactory;
TRXLocationService locationService;
LocateInitializer locateInitializer;
TRXAgentOptions agentOptions;

} // namespace
