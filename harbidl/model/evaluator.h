#pragma once

#include "model/names.h"

#include <optional>

namespace harbidl {

// Computes constant expressions exactly, and checks that the result is a value of the required type. Returns
// nothing after an error.
class Evaluator {
public:
    Evaluator(Names& names, Diagnostics& diagnostics) : names_(names), diagnostics_(diagnostics) {}

    // The value of an expression that is used in `scope`, for that type.
    std::optional<Value> value(Scope& scope, const tree::Expression& expression, const Type& type);
    // A bound or dimension: from 1 to 2^32 - 1.
    std::optional<uint32_t> bound(Scope& scope, const tree::Expression& expression);

private:
    struct Goal {
        Scope& scope;
        const Type& type; // without aliases
    };

    std::optional<Value> compute(const Goal& goal, const tree::Expression& expression);
    std::optional<Value> constant(const Goal& goal, const tree::ScopedName& name);
    std::optional<Value> unary(const Goal& goal, const tree::Unary& unary, Position position);
    std::optional<Value> chain(const Goal& goal, const tree::Chain& chain);
    std::optional<Value> integers(char operation, Integer left, Integer right, Position position);
    std::optional<Value> floats(char operation, double left, double right, Position position);

    std::optional<Value> converted(Value value, const Type& type, Position position);
    std::nullopt_t fail(Position position, const std::string& text);

    Names& names_;
    Diagnostics& diagnostics_;
};

// The range of values of an integer, boolean or character type.
struct Range {
    Integer first;
    Integer last;
};
Range rangeOf(TypeKind kind);

} // namespace harbidl
