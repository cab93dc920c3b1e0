#pragma once

#include "generate/cxx_types.h"
#include "generate/emitter.h"

namespace harbidl {

// An #include of generated code: what stands behind the word, with its quotes or angles.
using Includes = std::vector<std::string>;

// What both halves of a stub are made from.
struct Unit {
    const Model& model;
    std::string source; // the name of the definition, for the reader
    std::string header; // the header's own name
    Includes includes;  // of the header
    CxxNames names{model};
    CxxTypes types{names};
};

// name_stub.h: everything that a definition declares, in its order.
std::string stubHeader(const Unit& unit);

} // namespace harbidl
