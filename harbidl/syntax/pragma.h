#pragma once

#include "syntax/diagnostics.h"
#include "syntax/token.h"
#include "syntax/tree.h"

#include <optional>

namespace harbidl {

// What a pragma says:
//
//     #pragma prefix "text"       begins the repository ids of what follows in the file and scope
//     #pragma ID name "text"      the repository id of what has been declared
//     #pragma version name 1.2    the version in it
//     #pragma header "file.h"     where the C++ types of the native types in this file are declared
//
// Nothing for another one, after a warning, and for one of these that cannot be read, after an error.
std::optional<tree::Pragma> parsePragma(const Token& token, Diagnostics& diagnostics);

} // namespace harbidl
