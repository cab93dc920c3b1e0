#include "generate/literals.h"

#include <charconv>
#include <cstdio>

namespace harbidl {

namespace {

// An octal escape of three digits ends there, whatever the next character is.
std::string narrowCharacter(unsigned char c, char quote, bool afterQuestionMark) {
    // Two question marks begin a trigraph for some compilers, so the second one is escaped.
    if (c == static_cast<unsigned char>(quote) || c == '\\' || (c == '?' && afterQuestionMark))
        return {'\\', static_cast<char>(c)};
    if (c == '\n')
        return "\\n";
    // Printable ASCII. Other octets depend on the encoding of the source file, and are escaped.
    if (c >= ' ' && c <= '~')
        return {static_cast<char>(c)};
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\%03o", c);
    return escape;
}

std::string wideCharacter(char16_t c, char quote, bool afterQuestionMark) {
    if (c < 0x80)
        return narrowCharacter(static_cast<unsigned char>(c), quote, afterQuestionMark);
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\x%x", static_cast<unsigned>(c));
    return escape;
}

bool isHexDigit(char16_t c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// A hexadecimal escape continues as long as there are digits, so the literal is split if a digit follows.
std::string wideString(const std::u16string& text) {
    std::string result = "L\"";
    for (size_t i = 0; i < text.size(); ++i) {
        result += wideCharacter(text[i], '"', i > 0 && text[i - 1] == '?');
        if (text[i] >= 0x80 && i + 1 < text.size() && isHexDigit(text[i + 1]))
            result += "\" L\"";
    }
    return result + "\"";
}

std::string floating(double value, bool isFloat) {
    char digits[64];
    const auto end = isFloat ? std::to_chars(digits, digits + sizeof digits, static_cast<float>(value))
                             : std::to_chars(digits, digits + sizeof digits, value);
    std::string text(digits, end.ptr);
    if (text.find_first_of(".en") == text.npos)
        // The shortest form of a whole number has no point; without one it would be an int, and "1f" is no
        // literal.
        text += ".0";
    return isFloat ? text + "f" : text;
}

std::string integer(Integer value, TypeKind kind) {
    switch (kind) {
    // A suffix fixes the type, which keeps compilers from warning about signs and large numbers.
    case TypeKind::unsignedLong: return decimal(value) + "u";
    case TypeKind::unsignedLongLong: return decimal(value) + "ull";
    case TypeKind::longLong:
        // C++ has no negative literals, and no literal for the lowest number without its sign.
        return value == -(Integer{1} << 63) ? "-9223372036854775807ll - 1" : decimal(value) + "ll";
    // Smaller types, and long: -2147483648 is a long in C++, and the conversion to the constant is exact.
    default: return decimal(value);
    }
}

struct CxxLiteral {
    TypeKind kind;

    std::string operator()(Integer value) const { return integer(value, kind); }
    std::string operator()(double value) const { return floating(value, kind == TypeKind::float_); }
    std::string operator()(bool value) const { return value ? "1" : "0"; }
    std::string operator()(unsigned char value) const {
        return "'" + narrowCharacter(value, '\'', false) + "'";
    }
    std::string operator()(char16_t value) const { return "L'" + wideCharacter(value, '\'', false) + "'"; }
    std::string operator()(const std::string& value) const { return cxxString(value); }
    std::string operator()(const std::u16string& value) const { return wideString(value); }
    std::string operator()(const Enumerator* value) const { return value->name; }
};

} // namespace

std::string cxxString(const std::string& text) {
    std::string result = "\"";
    for (size_t i = 0; i < text.size(); ++i)
        result += narrowCharacter(static_cast<unsigned char>(text[i]), '"', i > 0 && text[i - 1] == '?');
    return result + "\"";
}

std::string cxxLiteral(const Value& value, const Type& type) {
    return std::visit(CxxLiteral{unaliased(type).kind}, value);
}

} // namespace harbidl
