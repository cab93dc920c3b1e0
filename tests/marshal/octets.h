#pragma once

#include "marshal/cdr/vbuf.h"

#include <cstdio>
#include <string>
#include <string_view>

// Octets in tests are written down as pairs of hexadecimal digits, blanks between them as it suits.

inline std::string octets(std::string_view hex) {
    std::string result;
    int high = -1;
    for (char c : hex) {
        if (c == ' ' || c == '\n')
            continue;
        const int digit = c <= '9' ? c - '0' : c - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            result.push_back(static_cast<char>(high * 16 + digit));
            high = -1;
        }
    }
    return result;
}

inline std::string hex(std::string_view octets) {
    std::string result;
    for (char c : octets) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(c));
        result += pair;
    }
    return result;
}

inline std::string hex(const CORBA_MarshalOutBuffer& buffer) {
    return hex(std::string_view(buffer.data(), buffer.offset()));
}

// The digits of `text` without its blanks.
inline std::string digits(std::string_view text) { return hex(octets(text)); }
