#include "base/quoted_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <istream>
#include <ostream>

namespace harbolance {

namespace {

struct Escape {
    char octet;
    char letter; // follows the backslash
};

constexpr std::array<Escape, 9> escapes = {{
    {'\b', 'b'},
    {'\t', 't'},
    {'\n', 'n'},
    {'\f', 'f'},
    {'\r', 'r'},
    {'"', '"'},
    {'\\', '\\'},
    {'{', '['},
    {'}', ']'},
}};

// The value of a hexadecimal digit, -1 for any other character.
int hexDigit(int c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Reads the octet after "\x", which is written with one or two digits.
bool readHex(std::istream& in, char& octet) {
    int code = 0;
    int digits = 0;
    // The stream's own extraction is not used: it does not stop after two digits and accepts a sign or "0x".
    for (; digits < 2 && hexDigit(in.peek()) >= 0; ++digits)
        code = code * 16 + hexDigit(in.get());
    octet = static_cast<char>(code);
    return digits > 0;
}

bool readDecimal(std::istream& in, char& octet) {
    int code = 0;
    // Sets decimal, since the caller's stream may be set to another base. When the extraction fails, the
    // stream is failed too and reading ends with an error.
    const auto flags = in.flags(std::ios::dec | std::ios::skipws);
    in >> code;
    in.flags(flags);
    octet = static_cast<char>(code);
    return !in.fail();
}

// Reads what follows a backslash and stores the octet that it stands for. False for an unknown escape.
bool readEscape(std::istream& in, char& octet, DecimalEscape decimals) {
    const int letter = in.get();
    if (letter == std::istream::traits_type::eof())
        return false;
    if (letter == 'x')
        return readHex(in, octet);
    const auto known = std::find_if(escapes.begin(), escapes.end(),
                                    [letter](const Escape& escape) { return escape.letter == letter; });
    if (known != escapes.end()) {
        octet = known->octet;
        return true;
    }
    in.unget();
    if (!readDecimal(in, octet))
        return false;
    if (decimals == DecimalEscape::delimited)
        in.get();
    return true;
}

} // namespace

void writeQuoted(std::ostream& out, std::string_view text) {
    out << '"';
    for (const char c : text) {
        const auto escape = std::find_if(escapes.begin(), escapes.end(),
                                         [c](const Escape& candidate) { return candidate.octet == c; });
        if (escape != escapes.end()) {
            out << '\\' << escape->letter;
        } else if (c >= ' ' && c <= '~') {
            out << c;
        } else {
            // Without the cast an octet from 0x80 on would be printed as a negative int, "\xffffff80".
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
            out << code;
        }
    }
    out << "\"\n";
}

QuotedText readQuoted(std::istream& in, std::string& text, size_t limit, DecimalEscape decimals) {
    constexpr int end = std::istream::traits_type::eof();
    text.clear();
    in >> std::ws;
    const int first = in.get();
    if (first != '"')
        return first == end ? QuotedText::missing : QuotedText::notQuoted;
    for (int c = in.get(); c != '"'; c = in.get()) {
        if (c == end)
            return QuotedText::unfinished;
        if (c == '\n')
            continue;
        char octet = static_cast<char>(c);
        if (c == '\\' && !readEscape(in, octet, decimals))
            return in.eof() ? QuotedText::unfinished : QuotedText::badEscape;
        // Tested before the octet is added, so that `text` never exceeds `limit`.
        if (text.size() == limit)
            return QuotedText::tooLong;
        text.push_back(octet);
    }
    return QuotedText::good;
}

} // namespace harbolance
