#pragma once

#include "generate/stub_header.h"

#include <functional>

namespace harbidl {

// Calls `one` for each interface that the file defines, in the order of the file, and prints the namespaces
// around them: the module's name behind `prefix`. Modules without interfaces are left out.
void printInterfaces(const Unit& unit, Emitter& out, const std::string& prefix,
                     const std::function<void(const Interface&)>& one);

} // namespace harbidl
