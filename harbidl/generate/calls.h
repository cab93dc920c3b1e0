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
    std::string comment; // of the declaration; of an attribute only for its first call
};

// The calls that the interface itself declares, in their order.
std::vector<Call> callsOf(const Interface& interface, const CxxNames& names);
// The interface and all that it inherits from, directly or not, each once and after its bases.
std::vector<const Interface*> withBases(const Interface& interface);

// The C++ declaration of a call, with names as seen from the scope `from`.
struct Signature {
    Signature(const Call& call, const Scope& from, const CxxNames& names, const CxxTypes& types);

    std::string returned;
    std::vector<std::string> parameters; // with their names
    std::vector<std::string> names;
};

} // namespace harbidl
