#pragma once

#include "generate/cxx_types.h"
#include "generate/emitter.h"

namespace harbidl {

// An #include of generated code: what stands behind the word, with its quotes or angles.
using Includes = std::vector<std::string>;

// What header and source of one half are made from.
struct Unit {
    const Model& model;
    std::string source; // the name of the definition, for the reader
    std::string header; // the header's own name
    Includes includes;  // of the header
    CxxNames::Place place = CxxNames::Place::inside;
    CxxNames names{model, place};
    CxxTypes types{names};
};

// How each header and each source begins; `about` is what the header says of itself.
void beginHeader(const Unit& unit, Emitter& out, const std::string& about);
void beginSource(const Unit& unit, Emitter& out);
std::string generatedFrom(const Unit& unit); // a notice not to change it

// name_stub.h: everything that a definition declares, in its order.
std::string stubHeader(const Unit& unit);

} // namespace harbidl
