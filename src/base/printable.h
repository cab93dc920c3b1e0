#pragma once

#include <span>
#include <string>
#include <string_view>

namespace harbolance {

// Text and octets of a peer, fit for a terminal: what is not a printing ASCII character becomes a dot.

inline std::string printable(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c < ' ' || c > '~')
            c = '.';
    }
    return result;
}

inline std::string printable(const char* text) {
    return text ? printable(std::string_view(text)) : std::string();
}

inline std::string printable(std::span<const unsigned char> octets) {
    return printable(std::string_view(reinterpret_cast<const char*>(octets.data()), octets.size()));
}

} // namespace harbolance
