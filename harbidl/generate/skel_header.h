#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// name_skel.h and name_skel.cpp: for each interface the class that a servant derives from, and the functions
// that unmarshal a request and marshal the reply. Names are used from outside of the modules, because these
// classes are in modules of their own.
std::string skelHeader(const Unit& unit);
std::string skelSource(const Unit& unit);

// The name of such a class: "_sk_Desk" in "_sk_Library", and the same as a qualified name.
std::string skeletonName(const Unit& unit, const Interface& interface);
std::string skeletonGlobalName(const Unit& unit, const Interface& interface);

} // namespace harbidl
