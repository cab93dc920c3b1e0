#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// name_skel.h and name_skel.cpp: a class for each interface that a servant derives from, and what unpacks a
// request for it and packs its answer. Names are seen from outside of the modules, since the classes stand
// in modules of their own.
std::string skelHeader(const Unit& unit);
std::string skelSource(const Unit& unit);

// What such a class is called: "_sk_Desk" within "_sk_Library", and with what leads to it.
std::string skeletonName(const Unit& unit, const Interface& interface);
std::string skeletonGlobalName(const Unit& unit, const Interface& interface);

} // namespace harbidl
