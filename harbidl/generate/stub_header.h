#pragma once

#include "generate/cxx_types.h"
#include "generate/emitter.h"

namespace harbidl {

// The operands of #include lines in generated code, with quotes or angle brackets.
using Includes = std::vector<std::string>;

// The data from which a header and its source file are generated.
struct Unit {
    const Model& model;
    std::string source; // the name of the definition, for the reader
    std::string header; // the header's own name
    Includes includes;  // of the header
    CxxNames::Place place = CxxNames::Place::inside;
    CxxNames names{model, place};
    CxxTypes types{names};
};

// Prints the beginning of a header; `about` describes its contents. beginSource does the same for a source
// file.
void beginHeader(const Unit& unit, Emitter& out, const std::string& about);
void beginSource(const Unit& unit, Emitter& out);
std::string generatedFrom(const Unit& unit); // a notice not to change it

// name_stub.h: everything that a definition declares, in its order.
std::string stubHeader(const Unit& unit);

} // namespace harbidl
