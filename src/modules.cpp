#include "location/modules.h"
#include "orb/vorb.h"

// The library's modules, in the order in which they register. The order is visible: initialisers of equal
// priority run in it, and the slots in which registries list their members depend on it. So all of them are
// defined in this one file, above all folders. They are destroyed in reverse order; the factory destroys its
// ORB.

namespace {

TRXIIOPORBFactory orbFactory;
TRXLocationService locationService;
LocateInitializer locateInitializer;
TRXAgentOptions agentOptions;

} // namespace
