#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// name_impl.h and name_impl.cpp: a first version of a servant for each interface, for the user to complete.
// Its operations raise CORBA_NO_IMPLEMENT.
std::string servantHeader(const Unit& unit);
std::string servantSource(const Unit& unit);

} // namespace harbidl
