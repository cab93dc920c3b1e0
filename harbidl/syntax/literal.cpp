#include "syntax/literal.h"

#include <charconv>
#include <vector>

namespace harbidl {

namespace {

int digitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    // Too large for any base, so the comparison with the base refuses it.
    return 16;
}

// Takes the characters of a quoted literal one by one.
class Characters {
public:
    Characters(const Token& token, bool wide, Diagnostics& diagnostics)
        : token_(token), wide_(wide), diagnostics_(diagnostics) {
        // The opening quote, and an L before it. The lexer has reported a missing closing quote, so there may
        // be none.
        const size_t prefix = wide ? 2 : 1;
        rest_ = token.text.substr(prefix);
        if (rest_.ends_with(token.text[prefix - 1]))
            rest_.remove_suffix(1);
    }

    // All of them; nothing after an error.
    std::optional<std::vector<uint32_t>> all() {
        std::vector<uint32_t> characters;
        while (!rest_.empty()) {
            const std::optional<uint32_t> one = next();
            if (!one)
                return std::nullopt;
            // Octal escapes reach 0777, and UTF-8 goes beyond 16 bits. Such a character has no value of its
            // type in IDL.
            if (*one > (wide_ ? 0xffffu : 0xffu))
                return fail("the character does not fit in " + std::string(wide_ ? "16 bits" : "an octet"));
            characters.push_back(*one);
        }
        return characters;
    }

    std::nullopt_t fail(const std::string& text) {
        // `rest_` is always a piece of the token's text, so that the difference of the addresses is an
        // offset.
        const auto ahead = static_cast<uint32_t>(rest_.data() - token_.text.data());
        diagnostics_.error({token_.position.offset + (atLiteral_ ? 0 : ahead)}, text);
        return std::nullopt;
    }
    std::nullopt_t failAtLiteral(const std::string& text) {
        atLiteral_ = true;
        return fail(text);
    }

private:
    std::optional<uint32_t> next() {
        const auto first = static_cast<unsigned char>(rest_.front());
        if (first == '\\')
            return escape();
        // A narrow literal keeps its octets as they are: what encoding they have is up to who uses them.
        if (wide_ && first >= 0x80)
            return fromUtf8();
        rest_.remove_prefix(1);
        return first;
    }

    std::optional<uint32_t> escape() {
        constexpr std::string_view letters = "ntvbrfa\\?'\"";
        constexpr std::string_view meanings = "\n\t\v\b\r\f\a\\?'\"";
        // 0 stands for a backslash at the end; like an octet 0 behind it, it is no known escape.
        const char c = rest_.size() > 1 ? rest_[1] : '\0';
        if (const size_t known = letters.find(c); known != letters.npos && c != '\0') {
            rest_.remove_prefix(2);
            return static_cast<unsigned char>(meanings[known]);
        }
        // Octal digits follow the backslash at once, hexadecimal ones a letter; hence the prefix of 1 or 2.
        if (digitValue(c) < 8)
            return number(1, 8, 3);
        if (c == 'x')
            return number(2, 16, wide_ ? 4 : 2);
        if (c == 'u' && wide_)
            return number(2, 16, 4);
        return fail("this escape is not known");
    }

    std::optional<uint32_t> number(size_t prefix, int base, size_t longest) {
        uint32_t value = 0;
        size_t count = 0;
        // At most four digits, so the value cannot overflow.
        while (count < longest && prefix + count < rest_.size() && digitValue(rest_[prefix + count]) < base)
            value = value * static_cast<uint32_t>(base) +
                    static_cast<uint32_t>(digitValue(rest_[prefix + count++]));
        if (count == 0)
            return fail("this escape has no digits");
        rest_.remove_prefix(prefix + count);
        return value;
    }

    // The text of a wide literal is UTF-8; an octet that is no part of any counts as a character by itself.
    uint32_t fromUtf8() {
        const auto octet = [&](size_t i) {
            return static_cast<unsigned char>(i < rest_.size() ? rest_[i] : 0);
        };
        const auto first = octet(0);
        // The leading octet tells how many follow. Of its bits 0x3f >> more belong to the character.
        const size_t more = first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : first >= 0xc0 ? 1 : 0;
        uint32_t value = more == 0 ? first : first & (0x3fu >> more);
        for (size_t i = 1; i <= more; ++i) {
            // Not UTF-8, such as text in Latin-1. Only the first octet is taken, so that the others are
            // looked at again.
            if ((octet(i) & 0xc0) != 0x80) {
                rest_.remove_prefix(1);
                return first;
            }
            value = value << 6 | (octet(i) & 0x3fu);
        }
        rest_.remove_prefix(more + 1);
        return value;
    }

    const Token& token_;
    bool wide_;
    Diagnostics& diagnostics_;
    std::string_view rest_;
    bool atLiteral_ = false;
};

template <class Char>
std::optional<Char> oneCharacter(const Token& token, bool wide, Diagnostics& diagnostics) {
    Characters characters(token, wide, diagnostics);
    const auto all = characters.all();
    if (!all)
        return std::nullopt;
    if (all->size() != 1)
        return characters.failAtLiteral(all->empty() ? "this character literal is empty"
                                                     : "this character literal has more than one character");
    return static_cast<Char>(all->front());
}

template <class Text>
std::optional<Text> allCharacters(const Token& token, bool wide, Diagnostics& diagnostics) {
    Characters characters(token, wide, diagnostics);
    const auto all = characters.all();
    if (!all)
        return std::nullopt;
    Text text;
    for (const uint32_t one : *all) {
        // A string ends at its first 0 in the C++ mapping, and on the wire.
        if (one == 0)
            return characters.failAtLiteral("a string cannot contain the character 0");
        text += static_cast<typename Text::value_type>(one);
    }
    return text;
}

} // namespace

std::optional<uint64_t> integerValue(const Token& token, Diagnostics& diagnostics) {
    std::string_view digits = token.text;
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        base = 16;
        digits.remove_prefix(2);
    } else if (digits.size() > 1 && digits.front() == '0') {
        // A leading 0 means octal. It may stay before the digits, from_chars reads over it.
        base = 8;
    }
    uint64_t value = 0;
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (failure == std::errc::result_out_of_range)
        diagnostics.error(token.position, "this number does not fit in 64 bits");
    else if (failure != std::errc() || end != digits.data() + digits.size())
        diagnostics.error(token.position, "'" + std::string(token.text) + "' is no number");
    else
        return value;
    return std::nullopt;
}

std::optional<double> floatingValue(const Token& token, Diagnostics& diagnostics) {
    const std::string_view digits = token.text;
    // Said by name, since "1.5d" would be no number otherwise, and the user has read that it is one.
    if (digits.ends_with('d') || digits.ends_with('D')) {
        diagnostics.error(token.position,
                          "fixed point literals are not part of the language of this compiler");
        return std::nullopt;
    }
    double value = 0;
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (failure == std::errc::result_out_of_range)
        diagnostics.error(token.position, "this number does not fit in a double");
    else if (failure != std::errc() || end != digits.data() + digits.size())
        diagnostics.error(token.position, "'" + std::string(token.text) + "' is no number");
    else
        return value;
    return std::nullopt;
}

std::optional<unsigned char> characterValue(const Token& token, Diagnostics& diagnostics) {
    return oneCharacter<unsigned char>(token, false, diagnostics);
}
std::optional<char16_t> wideCharacterValue(const Token& token, Diagnostics& diagnostics) {
    return oneCharacter<char16_t>(token, true, diagnostics);
}
std::optional<std::string> stringValue(const Token& token, Diagnostics& diagnostics) {
    return allCharacters<std::string>(token, false, diagnostics);
}
std::optional<std::u16string> wideStringValue(const Token& token, Diagnostics& diagnostics) {
    return allCharacters<std::u16string>(token, true, diagnostics);
}

} // namespace harbidl
