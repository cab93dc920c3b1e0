#include "base/printable.h"

#include <algorithm>

namespace harbolance {

namespace {

bool isContinuation(unsigned char octet) { return (octet & 0xc0) == 0x80; }

} // namespace

size_t utf8Size(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    // 0xc0 and 0xc1 would only start overlong forms; from 0xf5 on the code points are above U+10FFFF.
    size_t size = 0;
    if (first < 0x80)
        size = 1;
    else if (first >= 0xc2 && first < 0xe0)
        size = 2;
    else if (first >= 0xe0 && first < 0xf0)
        size = 3;
    else if (first >= 0xf0 && first < 0xf5)
        size = 4;
    if (size == 0 || size > text.size())
        return 0;
    const std::string_view rest = text.substr(1, size - 1);
    if (!std::all_of(rest.begin(), rest.end(), isContinuation))
        return 0;
    // Overlong forms are malformed, but some decoders accept them. Surrogates and code points above U+10FFFF
    // are no characters.
    const auto second = static_cast<unsigned char>(text[size == 1 ? 0 : 1]);
    const bool tooLong = (first == 0xe0 && second < 0xa0) || (first == 0xf0 && second < 0x90);
    const bool noCharacter = (first == 0xed && second >= 0xa0) || (first == 0xf4 && second >= 0x90);
    return tooLong || noCharacter ? 0 : size;
}

bool isControl(std::string_view character) {
    const auto first = static_cast<unsigned char>(character.front());
    // A terminal that does not decode UTF-8 treats the octets 0x80 to 0x9f as control characters.
    if (character.size() == 1)
        return first < 0x20 || (first >= 0x7f && first < 0xa0);
    // The control characters U+0080 to U+009F, two octets in UTF-8.
    return first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

std::string printable(std::string_view text, char replacement) {
    std::string result(text);
    // Octets from 0x80 on compare below ' ' where `char` is signed and above '~' where it is unsigned.
    std::replace_if(
        result.begin(), result.end(), [](char c) { return c < ' ' || c > '~'; }, replacement);
    return result;
}

std::string printable(const char* text) { return printable(std::string_view(text ? text : "")); }

std::string printable(std::span<const unsigned char> octets) {
    return printable(std::string_view(reinterpret_cast<const char*>(octets.data()), octets.size()));
}

std::string withoutControls(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        // An octet that starts no UTF-8 character is taken alone, so each pass consumes at least one octet.
        const std::string_view character = text.substr(0, std::max<size_t>(utf8Size(text), 1));
        if (isControl(character))
            result += '?';
        else
            result += character;
        text.remove_prefix(character.size());
    }
    return result;
}

} // namespace harbolance
