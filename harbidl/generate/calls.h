#pragma once

#include "generate/cxx_types.h"

namespace harbidl {

// Something that can be called: an operation, or reading or writing an attribute.
struct Call {
    std::string operation; // on the wire
    std::string name;      // in C++
    const Type* result;    // null for none
    std::vector<Parameter> parameters;
    bool oneway = false;
    bool ofAttribute = false;
    std::vector<const Struct*> raises;
    std::string comment; // of an attribute with what comes first
};

// Those that the interface itself declares, in their order.
std::vector<Call> callsOf(const Interface& interface, const CxxNames& names);
// The interface and what it inherits from, at any distance, each once and behind its bases.
std::vector<const Interface*> withBases(const Interface& interface);

// How C++ declares a call, for what stands in `from`.
struct Signature {
    Signature(const Call& call, const Scope& from, const CxxNames& names, const CxxTypes& types);

    std::string returned;
    std::vector<std::string> parameters; // with their names
    std::vector<std::string> names;
};

} // namespace harbidl
