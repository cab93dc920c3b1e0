#pragma once

namespace harbolance {

// What runs when the process ends, in reverse order of registration, once. The first registration installs
// the list with the C library, so its functions run before the static destructors of what was set up earlier.
void registerExitFunction(void (*function)());

// Runs what is registered now rather than at the end; later calls and the end itself find an empty list.
void runExitFunctions();

} // namespace harbolance
