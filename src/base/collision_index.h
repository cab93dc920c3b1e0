#pragma once

#include <cstdint>
#include <vector>

namespace harbolance {

// What lets a hash table find out cheaply that its probe runs have grown long: the number of occupied slots
// in each block of neighbouring ones. A walk over occupied slots that is two blocks long passes over a full
// block, so while no block is full every walk is shorter than that.
class BlockCounts {
public:
    static constexpr uint32_t slotsPerBlock = 64;

    // For a table of that many slots, all of them free.
    void reset(uint32_t slots) { counts_.assign((slots + slotsPerBlock - 1) / slotsPerBlock, 0); }
    // True when the block of this slot has become full.
    bool add(uint32_t slot) { return ++counts_[slot / slotsPerBlock] == slotsPerBlock; }
    void remove(uint32_t slot) { --counts_[slot / slotsPerBlock]; }

private:
    std::vector<uint8_t> counts_;
};

// The side index of a hash table whose probe runs have grown long. The protocol's string hash gives names
// that differ in a few digits the same start slots, so a set of 100,000 such names, or one that a hostile
// peer made, would be searched in quadratic time. The index answers both questions of a probe directly: where
// an equal entry stands, by a fingerprint that hardly ever collides, and which slot a new entry falls to, by
// jumps over what is known to be occupied. It gives exactly the slot that the plain walk gives.
class CollisionIndex {
public:
    // Steps that a probe walks before it asks the index.
    static constexpr uint32_t shortProbe = 2;

    // `mask` is that of the table: its slots less one.
    explicit CollisionIndex(uint32_t mask)
        : mask_(mask), below_(mask + 1u), places_(2 * (uint64_t{mask} + 1)) {
        // Each slot knows its neighbour only. Longer jumps arise where insertions pass (`firstFreeToFill`).
        for (uint32_t i = 0; i <= mask; ++i)
            below_[i] = (i - 1) & mask;
    }

    void add(uint64_t fingerprint, uint32_t slot) {
        uint64_t place = homeOf(fingerprint);
        // Ends: a table has at most as many entries as slots, so half of the places are free.
        while (places_[place].used)
            place = next(place);
        // The mask changes nothing: it shows the compiler that the value fits in 31 bits.
        places_[place] = {fold(fingerprint), slot & slotMask, 1};
    }

    void remove(uint64_t fingerprint, uint32_t slot) {
        for (uint64_t place = homeOf(fingerprint); places_[place].used; place = next(place)) {
            // A slot is entered once, so it identifies the entry.
            if (places_[place].slot == slot) {
                free(place);
                return;
            }
        }
    }

    // The first slot among those whose entries may have this fingerprint that `matches` accepts; `none`
    // without one.
    static constexpr uint32_t none = UINT32_MAX;
    template <class Matches>
    uint32_t find(uint64_t fingerprint, Matches matches) const {
        for (uint64_t place = homeOf(fingerprint); places_[place].used; place = next(place)) {
            if (places_[place].print == fold(fingerprint) && matches(places_[place].slot))
                return places_[place].slot;
        }
        return none;
    }

    // The first free slot at or below `slot`, wrapping round. There has to be one.
    template <class Occupied>
    uint32_t firstFree(uint32_t slot, Occupied occupied) const {
        while (occupied(slot))
            slot = below_[slot];
        return slot;
    }
    // The same for a caller that fills the slot: each jump on the way becomes about twice as long, which
    // keeps a series of insertions nearly linear.
    template <class Occupied>
    uint32_t firstFreeToFill(uint32_t slot, Occupied occupied) {
        while (occupied(slot)) {
            uint32_t& below = below_[slot];
            // Two jumps become one. All slots between are occupied; when one becomes free, `reopened` takes
            // the jump back.
            if (occupied(below))
                below = below_[below];
            slot = below;
        }
        return slot;
    }

    // `slot` has become free: nothing above it may jump over it any longer.
    template <class Occupied>
    void reopened(uint32_t slot, Occupied occupied) {
        below_[slot] = (slot - 1) & mask_;
        // A jump never passes a free slot, so those over `slot` start in the run directly above it.
        for (uint32_t i = (slot + 1) & mask_; occupied(i); i = (i + 1) & mask_)
            below_[i] = (i - 1) & mask_;
    }

private:
    static constexpr uint32_t slotMask = (1u << 31) - 1;
    struct Place {
        uint32_t print = 0;
        uint32_t slot : 31 = 0; // a table has at most 2^31 slots
        uint32_t used : 1 = 0;
    };

    static uint32_t fold(uint64_t fingerprint) { return static_cast<uint32_t>(fingerprint >> 32); }
    // Depends on the 32 folded bits only, which a place keeps: its home is found without the entry.
    uint64_t homeOf(uint64_t fingerprint) const { return homeOfPrint(fold(fingerprint)); }
    uint64_t homeOfPrint(uint32_t print) const {
        // Taken from the upper half of the product, which depends on all bits of the print.
        return (print * uint64_t{0x9E3779B97F4A7C15u} >> 32) & (places_.size() - 1);
    }
    uint64_t next(uint64_t place) const { return (place + 1) & (places_.size() - 1); }

    // Closes the gap in the run behind a place.
    void free(uint64_t hole) {
        for (uint64_t i = next(hole); places_[i].used; i = next(i)) {
            // An entry whose home lies behind the hole has to stay: a search, which starts at the home, would
            // not meet it in the hole. Distances count back from the entry and so hold across the end.
            const uint64_t home = homeOfPrint(places_[i].print);
            if (((i - home) & (places_.size() - 1)) >= ((i - hole) & (places_.size() - 1))) {
                places_[hole] = places_[i];
                hole = i;
            }
        }
        places_[hole] = {};
    }

    uint32_t mask_;
    std::vector<uint32_t> below_; // for an occupied slot: a slot below it, with nothing free in between
    std::vector<Place> places_;   // never more than half full
};

} // namespace harbolance
