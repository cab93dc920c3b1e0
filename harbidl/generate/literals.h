#pragma once

#include "model/declarations.h"

namespace harbidl {

// The text in quotes as a C++ literal.
std::string cxxString(const std::string& text);

// The value as a C++ expression of that type. Not for enumerators, which have names.
std::string cxxLiteral(const Value& value, const Type& type);

} // namespace harbidl
