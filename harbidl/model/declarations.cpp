#include "model/declarations.h"

namespace harbidl {

const Type& unaliased(const Type& type) {
    // Not a loop: `real` of an alias is never an alias itself.
    return type.kind == TypeKind::alias ? *static_cast<const Alias*>(type.declaration)->real : type;
}

bool isInteger(TypeKind kind) {
    switch (kind) {
    case TypeKind::short_:
    case TypeKind::long_:
    case TypeKind::longLong:
    case TypeKind::unsignedShort:
    case TypeKind::unsignedLong:
    case TypeKind::unsignedLongLong:
    case TypeKind::octet: return true;
    default: return false;
    }
}

bool isDiscriminator(TypeKind kind) {
    return isInteger(kind) || kind == TypeKind::boolean || kind == TypeKind::char_ ||
           kind == TypeKind::wchar || kind == TypeKind::enumeration;
}

std::string typeName(const Type& type) {
    const std::string bound = type.bound == 0 ? "" : std::to_string(type.bound);
    const auto bounded = [&](const std::string& name) {
        return bound.empty() ? name : name + "<" + bound + ">";
    };
    switch (type.kind) {
    case TypeKind::void_: return "void";
    case TypeKind::short_: return "short";
    case TypeKind::long_: return "long";
    case TypeKind::longLong: return "long long";
    case TypeKind::unsignedShort: return "unsigned short";
    case TypeKind::unsignedLong: return "unsigned long";
    case TypeKind::unsignedLongLong: return "unsigned long long";
    case TypeKind::float_: return "float";
    case TypeKind::double_: return "double";
    case TypeKind::boolean: return "boolean";
    case TypeKind::char_: return "char";
    case TypeKind::wchar: return "wchar";
    case TypeKind::octet: return "octet";
    case TypeKind::any: return "any";
    case TypeKind::object: return "Object";
    case TypeKind::typeCode: return "TypeCode";
    case TypeKind::principal: return "Principal";
    case TypeKind::string: return bounded("string");
    case TypeKind::wstring: return bounded("wstring");
    case TypeKind::sequence:
        return "sequence<" + typeName(*type.element) + (bound.empty() ? "" : ", " + bound) + ">";
    // Dimensions are written from the outermost on, behind the name of the innermost element.
    case TypeKind::array: {
        std::string dimensions;
        const Type* element = &type;
        for (; element->kind == TypeKind::array; element = element->element)
            dimensions += "[" + std::to_string(element->bound) + "]";
        return typeName(*element) + dimensions;
    }
    default: return type.declaration->scopedName();
    }
}

std::string decimal(Integer value) {
    std::string digits;
    const bool negative = value < 0;
    do {
        // The digits of a negative number are negative; negating the whole number first would not work for
        // the smallest one.
        const int digit = static_cast<int>(value % 10);
        digits.insert(digits.begin(), static_cast<char>('0' + (digit < 0 ? -digit : digit)));
        value /= 10;
    } while (value != 0);
    return negative ? "-" + digits : digits;
}

std::string Declaration::scopedName() const {
    // The outermost scope has an empty name, which is no part of any other.
    const bool outermost = !scope || !scope->scope;
    return outermost ? name : scope->scopedName() + "::" + name;
}

bool Branch::isDefault() const {
    for (const std::optional<Value>& label : labels) {
        if (!label)
            return true;
    }
    return false;
}

} // namespace harbidl
