#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

// The side index of a hash table whose probe runs have grown long. The protocol's string hash gives names
// that differ in a few digits the same start slots, so a set of 100,000 such names, or one that a hostile
// peer made, would be searched in quadratic time. The index answers both questions of a probe directly: where
// an equal entry stands, by a fingerprint that hardly collides, and which slot a new entry falls to, by leaps
// over what is known to be occupied. It gives exactly the slot that the plain walk gives.
class Crowd {
public:
    // Steps of plain walking that make a table set the index up, and those before it asks one that is there.
    static constexpr uint32_t longProbe = 64;
    static constexpr uint32_t shortProbe = 2;

    explicit Crowd(uint32_t mask) : mask_(mask), leap_(mask + 1u) {
        for (uint32_t i = 0; i <= mask; ++i)
            leap_[i] = (i - 1) & mask;
        slots_.reserve(leap_.size() / 2);
    }

    void add(uint64_t fingerprint, uint32_t slot) { slots_.emplace(fingerprint, slot); }

    void remove(uint64_t fingerprint, uint32_t slot) {
        const auto [first, last] = slots_.equal_range(fingerprint);
        for (auto it = first; it != last; ++it) {
            if (it->second == slot) {
                slots_.erase(it);
                return;
            }
        }
    }

    // Slots whose entries may equal what has this fingerprint.
    auto candidates(uint64_t fingerprint) const { return slots_.equal_range(fingerprint); }

    // The first free slot at or below `slot`, wrapping round. There has to be one.
    template <class Occupied>
    uint32_t freeFrom(uint32_t slot, Occupied occupied) {
        while (occupied(slot)) {
            uint32_t& below = leap_[slot];
            if (occupied(below))
                below = leap_[below]; // halve the path for the next who comes by
            slot = below;
        }
        return slot;
    }

    // `slot` has become free: nothing above it may leap over it any longer.
    template <class Occupied>
    void reopened(uint32_t slot, Occupied occupied) {
        for (uint32_t i = (slot + 1) & mask_; occupied(i); i = (i + 1) & mask_)
            leap_[i] = (i - 1) & mask_;
    }

private:
    uint32_t mask_;
    std::vector<uint32_t> leap_; // for an occupied slot: a slot below it, with nothing free in between
    std::unordered_multimap<uint64_t, uint32_t> slots_;
};
