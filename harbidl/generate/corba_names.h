#pragma once

#include "generate/emitter.h"
#include "generate/stub_header.h"

namespace harbidl {

// Prints namespace CORBA with the standard names for what the module CORBA of the file declares. The
// declarations themselves bear the module's name in their own.
void printCorbaNames(const Unit& unit, Emitter& out);

} // namespace harbidl
