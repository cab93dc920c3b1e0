#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// The operations of an interface in name_stub.cpp, seen from the scope `from`: each is one statement, which
// names what travels in place of the arguments.
void printStubCalls(const Unit& unit, Emitter& out, const Scope& from, const Interface& interface);

} // namespace harbidl
