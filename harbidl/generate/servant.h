#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// name_impl.h and name_impl.cpp: a first servant for each interface, for the user to go on with. Its
// operations raise CORBA_NO_IMPLEMENT until they are written.
std::string servantHeader(const Unit& unit);
std::string servantSource(const Unit& unit);

} // namespace harbidl
