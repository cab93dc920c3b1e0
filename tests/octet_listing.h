#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

// Octets of a message as a person writes them down: pairs of hexadecimal digits, text in single quotes, and
// `..` for an octet of padding that a writer may set as it likes and a reader has to ignore. Spaces mean
// nothing.
class OctetListing {
public:
    explicit OctetListing(const std::string& listing) {
        for (size_t i = 0; i < listing.size();) {
            if (listing[i] == ' ' || listing[i] == '\n') {
                ++i;
            } else if (listing[i] == '\'') {
                const size_t end = listing.find('\'', i + 1);
                for (++i; i < end; ++i)
                    add(listing[i], false);
                ++i;
            } else {
                const bool isPadding = listing[i] == '.';
                const std::string pair = listing.substr(i, 2);
                add(isPadding ? noise : static_cast<char>(std::stoi(pair, nullptr, 16)), isPadding);
                i += 2;
            }
        }
    }

    // Padding is filled with noise, which a reader that takes it for data would show.
    const std::string& bytes() const { return octets_; }
    // Empty when a writer may have written this, else what differs first.
    std::string differenceFrom(std::string_view written) const {
        for (size_t i = 0; i < octets_.size() && i < written.size(); ++i) {
            if (!padding_[i] && octets_[i] != written[i])
                return "at " + std::to_string(i) + ": " + hex(written.substr(i, 8)) + "instead of " +
                       hex(std::string_view(octets_).substr(i, 8));
        }
        return octets_.size() == written.size() ? ""
                                                : "length " + std::to_string(written.size()) +
                                                      " instead of " + std::to_string(octets_.size());
    }

private:
    static std::string hex(std::string_view octets) {
        std::string text;
        char pair[4];
        for (const char octet : octets) {
            std::snprintf(pair, sizeof pair, "%02X ", static_cast<unsigned char>(octet));
            text += pair;
        }
        return text;
    }

    static constexpr char noise = '\xee';

    void add(char octet, bool isPadding) {
        octets_.push_back(octet);
        padding_.push_back(isPadding);
    }

    std::string octets_;
    std::vector<bool> padding_;
};
