#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

inline std::string hex(std::string_view octets) {
    std::string digits;
    char pair[3];
    for (const char octet : octets) {
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(octet));
        digits += pair;
    }
    return digits;
}

// Octets of a message as a person writes them down, in parts with blanks between them:
//
//     0a1B..      hexadecimal digits, and dots for padding octets, which a writer may set to anything and
//                 a reader must ignore; reversed for a reader of the other byte order
//     'text'      the octets of a text
//     +24 -1      a word, as a decimal number
//     @           the octet that says the byte order
//
// and of object streams:
//
//     z'text' t'text' s'text'   a text with its length, as in a class name, an NCString and a TRXString
//     :Class #3   what stands before an object: its class, or the number of a class that was spelled before
//     @7 nil      what stands in place of one: the number of an object met before, or none
class OctetListing {
public:
    explicit OctetListing(const std::string& listing, bool reversed = false) : reversed_(reversed) {
        read(listing);
    }

    // Padding is filled with noise, which a reader that takes it for data would show.
    const std::string& bytes() const { return octets_; }
    // Empty when a writer may have written this, else what differs.
    std::string differenceFrom(std::string written) const {
        for (size_t i = 0; i < padding_.size() && i < written.size(); ++i)
            written[i] = padding_[i] == '.' ? noise : written[i];
        return written == octets_ ? "" : hex(written) + " instead of " + hex(octets_);
    }

private:
    void read(const std::string& listing) {
        for (size_t i = 0; i < listing.size();) {
            size_t end = std::min(listing.find_first_of(" \n'", i), listing.size());
            if (end < listing.size() && listing[end] == '\'')
                end = listing.find('\'', end + 1) + 1;
            if (end > i)
                readPart(listing.substr(i, end - i));
            i = std::max(end, i + 1);
        }
    }
    void readPart(const std::string& part) {
        const std::string rest = part.substr(1);
        const std::string nul = " 00" + std::string((5 - rest.size() % 4) % 4 * 2, '.');
        char number[9];
        switch (part == "@" ? ' ' : part[0]) {
        case ' ': return add(reversed_ ? "00" : "01");
        case '\'': return static_cast<void>(octets_.append(rest, 0, rest.size() - 1));
        case '+':
        case '-':
            std::snprintf(number, sizeof number, "%08x",
                          static_cast<unsigned>(std::stoll(part[0] == '+' ? rest : part)));
            return add(number);
        case 'z': return read("+" + std::to_string((rest.size() + 2) / 4 * 4) + ' ' + rest + nul);
        case 't': return read("+" + std::to_string(rest.size() - 2) + " z" + rest);
        case 's': return read("+" + std::to_string(rest.size() - 1) + ' ' + rest + nul);
        case 'n': return read(":::");
        case ':': return read("3A...... z'" + rest + "'");
        case '#': return read("23...... +" + rest);
        case '@': return read("40...... +" + rest);
        default: add(part);
        }
    }
    void add(const std::string& digits) {
        const auto begin = static_cast<std::ptrdiff_t>(octets_.size());
        padding_.resize(octets_.size());
        for (size_t i = 0; i + 1 < digits.size(); i += 2) {
            padding_ += digits[i];
            octets_ +=
                digits[i] == '.' ? noise : static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
        }
        if (reversed_)
            std::reverse(octets_.begin() + begin, octets_.end());
    }

    static constexpr char noise = '\xee';

    const bool reversed_;
    std::string octets_;
    std::string padding_; // a dot for each octet of it
};
