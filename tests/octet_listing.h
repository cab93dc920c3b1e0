#pragma once

#include <cctype>
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

// Octets of a message as a person writes them down: hexadecimal digits, text in single quotes, and `..` for
// an octet of padding that a writer may set as it likes and a reader has to ignore. A group of digits is one
// word; a reader of the other byte order finds its octets reversed. `@` is the octet that says the order.
class OctetListing {
public:
    explicit OctetListing(std::string_view listing, bool reversed = false) {
        for (size_t i = 0; i < listing.size(); ++i) {
            std::string group;
            for (; i + 1 < listing.size() && std::isxdigit(listing[i]); i += 2)
                group += static_cast<char>(std::stoi(std::string(listing.substr(i, 2)), nullptr, 16));
            octets_ += reversed ? std::string(group.rbegin(), group.rend()) : group;
            if (i == listing.size())
                break;
            if (listing[i] == '\'') {
                const size_t end = listing.find('\'', i + 1);
                octets_ += listing.substr(i + 1, end - i - 1);
                i = end;
            } else if (listing[i] == '@') {
                octets_ += reversed ? '\0' : '\1';
            } else if (listing[i] == '.') {
                padding_.resize(octets_.size());
                padding_ += '.';
                octets_ += noise;
                ++i;
            }
        }
        padding_.resize(octets_.size());
    }

    // Padding is filled with noise, which a reader that takes it for data would show.
    const std::string& bytes() const { return octets_; }
    // Empty when a writer may have written this, else what differs.
    std::string differenceFrom(std::string written) const {
        for (size_t i = 0; i < octets_.size() && i < written.size(); ++i)
            written[i] = padding_[i] ? noise : written[i];
        return written == octets_ ? "" : hex(written) + " instead of " + hex(octets_);
    }

private:
    static constexpr char noise = '\xee';

    std::string octets_;
    std::string padding_;
};
