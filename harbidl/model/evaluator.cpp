#include "model/evaluator.h"

#include <cfloat>
#include <cmath>

namespace harbidl {

namespace {

constexpr Range signedBits(int bits) { return {-(Integer{1} << (bits - 1)), (Integer{1} << (bits - 1)) - 1}; }
constexpr Range unsignedBits(int bits) { return {0, (Integer{1} << bits) - 1}; }
constexpr Range every{signedBits(64).first, unsignedBits(64).last};

bool within(const Range& range, Integer value) { return value >= range.first && value <= range.last; }

} // namespace

Range rangeOf(TypeKind kind) {
    switch (kind) {
    case TypeKind::short_: return signedBits(16);
    case TypeKind::long_: return signedBits(32);
    case TypeKind::longLong: return signedBits(64);
    case TypeKind::unsignedShort:
    case TypeKind::wchar: return unsignedBits(16);
    case TypeKind::unsignedLong: return unsignedBits(32);
    case TypeKind::unsignedLongLong: return unsignedBits(64);
    case TypeKind::octet:
    case TypeKind::char_: return unsignedBits(8);
    case TypeKind::boolean: return unsignedBits(1);
    // An empty range: other types have no numbers as values, and `~` treats it as a signed type.
    default: return {0, -1};
    }
}

std::nullopt_t Evaluator::fail(Position position, const std::string& text) {
    diagnostics_.error(position, text);
    return std::nullopt;
}

std::optional<Value> Evaluator::value(Scope& scope, const tree::Expression& expression, const Type& type) {
    // Computed for the type, because `~` depends on its width, and converted once at the end: intermediate
    // results may be out of its range.
    const Type& real = unaliased(type);
    std::optional<Value> value = compute({scope, real}, expression);
    return value ? converted(std::move(*value), real, expression.position) : std::nullopt;
}

std::optional<uint32_t> Evaluator::bound(Scope& scope, const tree::Expression& expression) {
    // Bounds are unsigned long on the wire and in TypeCodes.
    const Type type{TypeKind::unsignedLong};
    const std::optional<Value> bound = value(scope, expression, type);
    if (!bound)
        return std::nullopt;
    if (std::get<Integer>(*bound) == 0)
        return fail(expression.position, "this must be greater than 0");
    return static_cast<uint32_t>(std::get<Integer>(*bound));
}

std::optional<Value> Evaluator::compute(const Goal& goal, const tree::Expression& expression) {
    if (const auto* name = std::get_if<tree::ScopedName>(&expression.what))
        return constant(goal, *name);
    if (const auto* operation = std::get_if<tree::Unary>(&expression.what))
        return unary(goal, *operation, expression.position);
    if (const auto* operations = std::get_if<tree::Chain>(&expression.what))
        return chain(goal, *operations);
    const tree::Literal& literal = std::get<tree::Literal>(expression.what);
    return std::visit(
        [](const auto& value) -> Value {
            // All literals except integers are Values already; integers are converted to a wider type, so
            // that a sign can be applied.
            if constexpr (std::is_same_v<decltype(value), const uint64_t&>)
                return Integer{value};
            else
                return value;
        },
        literal.value);
}

std::optional<Value> Evaluator::constant(const Goal& goal, const tree::ScopedName& name) {
    const Declaration* const declaration = names_.find(goal.scope, name);
    if (!declaration)
        return std::nullopt;
    if (declaration->kind == Declaration::Kind::enumerator)
        // It may belong to another type; converted() checks that.
        return static_cast<const Enumerator*>(declaration);
    if (declaration->kind == Declaration::Kind::constant)
        return static_cast<const Constant*>(declaration)->value;
    diagnostics_.error(name.position, "'" + declaration->name + "' is not a constant", declaration->position,
                       "declared here");
    return std::nullopt;
}

std::optional<Value> Evaluator::unary(const Goal& goal, const tree::Unary& unary, Position position) {
    const std::optional<Value> operand = compute(goal, *unary.operand);
    if (!operand)
        return std::nullopt;
    // `~` falls through to the message below, because it is not defined for floating point numbers.
    if (const auto* number = std::get_if<double>(&*operand); number && unary.operation != '~')
        return unary.operation == '-' ? -*number : *number;
    const auto* number = std::get_if<Integer>(&*operand);
    if (!number)
        return fail(position, std::string("'") + unary.operation + "' has no meaning for this value");
    switch (unary.operation) {
    // Computed as a subtraction, so that its range is checked.
    case '-': return integers('-', 0, *number, position);
    case '~': {
        // Inverted in the width of an unsigned type, else as a signed number.
        const Range range = rangeOf(goal.type.kind);
        const bool isUnsigned = isInteger(goal.type.kind) && range.first == 0;
        return isUnsigned && within(range, *number) ? range.last - *number : -*number - 1;
    }
    default: return *number;
    }
}

std::optional<Value> Evaluator::chain(const Goal& goal, const tree::Chain& chain) {
    std::optional<Value> result = compute(goal, *chain.first);
    for (const tree::Chain::Link& link : chain.links) {
        // Computed even if the left side has failed, so that errors on both sides are reported.
        const std::optional<Value> operand = compute(goal, *link.operand);
        if (!result || !operand)
            return std::nullopt;
        const auto* left = std::get_if<Integer>(&*result);
        const auto* right = std::get_if<Integer>(&*operand);
        const auto* leftFloat = std::get_if<double>(&*result);
        const auto* rightFloat = std::get_if<double>(&*operand);
        if (left && right)
            result = integers(link.operation, *left, *right, link.position);
        else if (leftFloat && rightFloat)
            result = floats(link.operation, *leftFloat, *rightFloat, link.position);
        // Expressions have no conversions; a hint helps more than "no meaning".
        else if ((left || leftFloat) && (right || rightFloat))
            return fail(link.position, "integers and floating point numbers cannot be mixed");
        else
            return fail(link.position, "this operator has no meaning for these values");
    }
    return result;
}

std::optional<Value> Evaluator::integers(char operation, Integer left, Integer right, Position position) {
    // Operands are in the range of 64 bits, or one bit more after `~`. Sums and shifts fit in 128 bits, so
    // only the product is checked for overflow.
    Integer result = 0;
    bool overflow = false;
    switch (operation) {
    case '|': result = left | right; break;
    case '^': result = left ^ right; break;
    case '&': result = left & right; break;
    case '+': result = left + right; break;
    case '-': result = left - right; break;
    case '*': overflow = __builtin_mul_overflow(left, right, &result); break;
    case '<':
    case '>':
        // A rule of the language. It also keeps the shift below defined.
        if (right < 0 || right > 63)
            return fail(position, "a shift goes from 0 to 63 bits");
        // Bits that are shifted out on the left count as an overflow; a negative number is sign-extended.
        result = operation == '<' ? left * (Integer{1} << right) : left >> right;
        break;
    default:
        if (right == 0)
            return fail(position, "division by 0");
        result = operation == '/' ? left / right : left % right;
    }
    if (overflow || !within(every, result))
        return fail(position, "the result does not fit in 64 bits");
    return result;
}

std::optional<Value> Evaluator::floats(char operation, double left, double right, Position position) {
    double result = 0;
    switch (operation) {
    case '+': result = left + right; break;
    case '-': result = left - right; break;
    case '*': result = left * right; break;
    case '/':
        if (right == 0)
            return fail(position, "division by 0");
        result = left / right;
        break;
    default: return fail(position, "this operator has no meaning for floating point numbers");
    }
    // Literals are finite, so infinity means an overflow, and it could not be written in the generated C++
    // code.
    if (!std::isfinite(result))
        return fail(position, "the result does not fit in a double");
    return result;
}

std::optional<Value> Evaluator::converted(Value value, const Type& type, Position position) {
    const auto wrongType = [&] { return fail(position, "this is no value of type " + typeName(type)); };
    const auto keep = [&](bool fits) -> std::optional<Value> {
        if (!fits)
            return wrongType();
        return std::move(value);
    };
    if (isInteger(type.kind)) {
        const auto* number = std::get_if<Integer>(&value);
        if (number && !within(rangeOf(type.kind), *number))
            return fail(position, decimal(*number) + " is out of the range of " + typeName(type));
        return keep(number != nullptr);
    }
    switch (type.kind) {
    case TypeKind::float_:
    case TypeKind::double_: {
        // A whole number is valid here, as in `const double x = 1`, although integers and floating point
        // numbers cannot be mixed in an expression.
        if (const auto* whole = std::get_if<Integer>(&value))
            value = static_cast<double>(*whole);
        const auto* number = std::get_if<double>(&value);
        // Rounding to float is accepted, but not a number that would become infinite.
        if (number && type.kind == TypeKind::float_ && std::fabs(*number) > static_cast<double>(FLT_MAX))
            return fail(position, "this number does not fit in a float");
        return keep(number != nullptr);
    }
    case TypeKind::boolean: return keep(std::holds_alternative<bool>(value));
    case TypeKind::char_: return keep(std::holds_alternative<unsigned char>(value));
    case TypeKind::wchar: return keep(std::holds_alternative<char16_t>(value));
    case TypeKind::enumeration: {
        const auto* enumerator = std::get_if<const Enumerator*>(&value);
        // Enums are compared by their declaration: enumerators of another enum may have the same number.
        return keep(enumerator && (*enumerator)->of == type.declaration);
    }
    case TypeKind::string:
    case TypeKind::wstring: {
        // Narrow and wide texts are not converted to each other, because their encodings are unknown.
        const auto* narrow = type.kind == TypeKind::string ? std::get_if<std::string>(&value) : nullptr;
        const auto* wide = type.kind == TypeKind::wstring ? std::get_if<std::u16string>(&value) : nullptr;
        const size_t length = narrow ? narrow->size() : wide ? wide->size() : 0;
        if (type.bound != 0 && length > type.bound)
            return fail(position, "the text is longer than the bound of " + typeName(type));
        return keep(narrow || wide);
    }
    default: return wrongType();
    }
}

} // namespace harbidl
