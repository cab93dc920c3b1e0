#pragma once

#include <string>
#include <vector>

// Octets of a message as a person writes them down: pairs of hexadecimal digits, text in single quotes, and
// `..` for an octet of padding that a writer may set as it likes and a reader has to ignore. Blanks mean
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

    // Padding is noise here, to see that nobody takes it for data.
    const std::string& octets() const { return octets_; }
    // Whether a writer must put exactly this octet there.
    bool isFixed(size_t index) const { return !padding_[index]; }

private:
    static constexpr char noise = '\xee';

    void add(char octet, bool isPadding) {
        octets_.push_back(octet);
        padding_.push_back(isPadding);
    }

    std::string octets_;
    std::vector<bool> padding_;
};
