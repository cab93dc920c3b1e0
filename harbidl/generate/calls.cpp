#include "generate/calls.h"

#include <algorithm>
#include <utility>

namespace harbidl {

namespace {

Call callOf(const Operation& operation, const CxxNames& names) {
    const bool isVoid = operation.result->kind == TypeKind::void_;
    return {operation.name,       names.local(operation), isVoid ? nullptr : operation.result,
            operation.parameters, operation.oneway,       false,
            operation.raises,     operation.comment};
}

void addBehindBases(const Interface& interface, std::vector<const Interface*>& all) {
    // Bases are virtual in C++, so an interface reached by several paths is one base.
    if (std::find(all.begin(), all.end(), &interface) != all.end())
        return;
    for (const Interface* base : interface.bases)
        addBehindBases(*base, all);
    all.push_back(&interface);
}

} // namespace

std::vector<Call> callsOf(const Interface& interface, const CxxNames& names) {
    std::vector<Call> calls;
    for (const Declaration* declaration : interface.contents) {
        if (declaration->kind == Declaration::Kind::operation)
            calls.push_back(callOf(static_cast<const Operation&>(*declaration), names));
        if (declaration->kind != Declaration::Kind::attribute)
            continue;
        const auto& attribute = static_cast<const Attribute&>(*declaration);
        const std::string name = names.local(attribute);
        // The names on the wire are a rule of the protocol; in C++ both accessors have the name of the
        // attribute.
        calls.push_back(
            {"_get_" + attribute.name, name, attribute.type, {}, false, true, {}, attribute.comment});
        if (!attribute.readonly)
            calls.push_back({"_set_" + attribute.name,
                             name,
                             nullptr,
                             {{Parameter::Direction::in, attribute.type, "value"}},
                             false,
                             true,
                             {},
                             {}});
    }
    return calls;
}

std::vector<const Interface*> withBases(const Interface& interface) {
    std::vector<const Interface*> all;
    addBehindBases(interface, all);
    return all;
}

Signature::Signature(const Call& call, const Scope& from, const CxxNames& cxxNames, const CxxTypes& types)
    : returned(call.result ? types.returned(from, *call.result) : "void") {
    for (const Parameter& parameter : call.parameters) {
        std::string name = cxxNames.parameter(parameter);
        const auto isOther = [&](const Parameter& other) { return other.name == name; };
        // A renamed parameter must not get the name of another one. The original names are unique already.
        while (name != parameter.name && std::any_of(call.parameters.begin(), call.parameters.end(), isOther))
            name += "_";
        names.push_back(name);
        parameters.push_back(types.parameter(from, parameter, names.back()));
    }
}

} // namespace harbidl
