#pragma once

#include "generate/emitter.h"
#include "generate/stub_header.h"

namespace harbidl {

// Prints namespace CORBA with the standard names of the declarations in module CORBA. The declarations
// themselves have the module's name as a prefix.
void printCorbaNames(const Unit& unit, Emitter& out);

} // namespace harbidl
