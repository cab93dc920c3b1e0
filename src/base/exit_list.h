#pragma once

namespace harbolance {

// Registers a function to run when the process exits, once, in reverse order of registration. The first
// registration calls atexit, so the functions run before the destructors of static objects made earlier.
void registerExitFunction(void (*function)());

// Runs the registered functions now; later calls and the exit of the process then find an empty list.
void runExitFunctions();

} // namespace harbolance
