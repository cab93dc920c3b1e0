#pragma once

#include "generate/stub_header.h"

namespace harbidl {

// name_stub.cpp: what the header declares.
std::string stubSource(const Unit& unit);

} // namespace harbidl
