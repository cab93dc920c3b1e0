#pragma once

#include "model/declarations.h"

namespace harbidl {

// The text in quotes as a C++ literal.
std::string cxxString(const std::string& text);

// The value as C++ that has the type. Not for enumerators, which have names.
std::string cxxLiteral(const Value& value, const Type& type);

} // namespace harbidl
