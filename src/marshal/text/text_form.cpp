#include "marshal/text/text_form.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <istream>
#include <iterator>
#include <ostream>

namespace {

struct Escape {
    char plain;
    char letter; // what stands behind the backslash
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

bool isPrinting(char c) { return c >= 0x20 && c < 0x7f; }

int hexDigit(int c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The octet behind "\x". A missing second digit leaves a number of one digit.
char readHex(std::istream& stream) {
    int code = 0;
    for (int i = 0; i < 2 && hexDigit(stream.peek()) >= 0; ++i)
        code = code * 16 + hexDigit(stream.get());
    return static_cast<char>(code);
}

char readEscape(std::istream& stream) {
    const int letter = stream.get();
    if (letter == 'x')
        return readHex(stream);
    const auto known = std::find_if(escapes.begin(), escapes.end(),
                                    [letter](const Escape& escape) { return escape.letter == letter; });
    if (known != escapes.end())
        return known->plain;
    if (letter != EOF)
        stream.unget();
    int code = 0;
    readDecimal(stream, code);
    return static_cast<char>(code);
}

} // namespace

void writeQuoted(std::ostream& stream, std::string_view text) {
    stream << '"';
    for (char c : text) {
        const auto escape = std::find_if(escapes.begin(), escapes.end(),
                                         [c](const Escape& candidate) { return candidate.plain == c; });
        if (escape != escapes.end()) {
            stream << '\\' << escape->letter;
        } else if (isPrinting(c)) {
            stream << c;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
            stream << code;
        }
    }
    stream << "\"\n";
}

bool readQuoted(std::istream& stream, std::string& text, CORBA_ULong limit) {
    text.clear();
    stream >> std::ws;
    const int first = stream.get();
    if (first == EOF) {
        std::cerr << "TRXistream::getCString: Unexpected EOF\n";
        return false;
    }
    if (first != '"') {
        std::cerr << "TRXistream::getCString: Error reading Object "
                  << "from  stream. Make sure your 'write' "
                  << "function and constructor from stream are "
                  << "correct\n";
        return false;
    }
    for (int c = stream.get(); c != '"'; c = stream.get()) {
        if (c == '\n')
            continue;
        const char octet = c == '\\' ? readEscape(stream) : static_cast<char>(c);
        if (c == EOF || !stream) {
            std::cerr << "TRXistream::getCString: Unexpected EOF\n";
            return false;
        }
        if (text.size() == limit) {
            std::cerr << "TRXistream::getCString: String Overflow\n";
            return false;
        }
        text.push_back(octet);
    }
    return true;
}
