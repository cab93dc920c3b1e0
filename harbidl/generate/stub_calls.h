#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// Prints the operations of an interface for name_stub.cpp, as used in the scope `from`: each is one
// statement, which passes the arguments.
void printStubCalls(const Unit& unit, Emitter& out, const Scope& from, const Interface& interface);

} // namespace harbidl
