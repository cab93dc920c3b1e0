#pragma once

#include <cstdint>
#include <vector>

namespace harbolance {

// Tells a hash table when its probe runs have become long: it counts the occupied slots in each block of
// adjacent slots. A probe that is two blocks long covers one block completely, so as long as no block is full
// every probe is shorter.
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

// A side index for a hash table with long probe runs. The protocol's string hash gives the same start slots
// to names that differ in a few digits, so a search among 100,000 such names, or among names chosen by a
// hostile peer, would take quadratic time. The index finds an equal entry by a fingerprint that hardly ever
// collides, and a free slot by jumps over slots known to be occupied. It always gives the same slot as plain
// probing.
class CollisionIndex {
public:
    // Steps that a probe walks before it asks the index.
    static constexpr uint32_t shortProbe = 2;

    // `mask` is that of the table: its slots less one.
    explicit CollisionIndex(uint32_t mask)
        : mask_(mask), below_(mask + 1u), places_(2 * (uint64_t{mask} + 1)) {
        // Each slot begins with a jump to its neighbour. `firstFreeToFill` makes the jumps longer.
        for (uint32_t i = 0; i <= mask; ++i)
            below_[i] = (i - 1) & mask;
    }

    void add(uint64_t fingerprint, uint32_t slot) {
        uint64_t place = homeOf(fingerprint);
        // This loop ends: a table has at most as many entries as slots, so at least half of the places are
        // free.
        while (places_[place].used)
            place = next(place);
        // The mask changes no value; it tells the compiler that the slot fits in 31 bits.
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

    // The first slot, among those whose entries may have this fingerprint, that `matches` accepts, or `none`.
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
    // As `firstFree`, for a caller that fills the slot. Each jump on the way becomes about twice as long,
    // which keeps a series of insertions nearly linear.
    template <class Occupied>
    uint32_t firstFreeToFill(uint32_t slot, Occupied occupied) {
        while (occupied(slot)) {
            uint32_t& below = below_[slot];
            // Joins two jumps. All slots between are occupied; when one of them becomes free, `reopened`
            // shortens the jumps again.
            if (occupied(below))
                below = below_[below];
            slot = below;
        }
        return slot;
    }

    // Call when `slot` has become free: no jump from above may pass it any longer.
    template <class Occupied>
    void reopened(uint32_t slot, Occupied occupied) {
        below_[slot] = (slot - 1) & mask_;
        // A jump never passes a free slot, so the jumps that pass `slot` start in the occupied run directly
        // above it.
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
    // Depends only on the 32 folded bits, which a place stores, so a place's home is found without its entry.
    uint64_t homeOf(uint64_t fingerprint) const { return homeOfPrint(fold(fingerprint)); }
    uint64_t homeOfPrint(uint32_t print) const {
        // Uses the upper half of the product, which depends on all bits of the print.
        return (print * uint64_t{0x9E3779B97F4A7C15u} >> 32) & (places_.size() - 1);
    }
    uint64_t next(uint64_t place) const { return (place + 1) & (places_.size() - 1); }

    // Removes a place and closes the gap in the run behind it.
    void free(uint64_t hole) {
        for (uint64_t i = next(hole); places_[i].used; i = next(i)) {
            // An entry whose home lies behind the hole must stay, since a search for it starts at its home
            // and would not reach the hole. Distances are counted back from the entry, so that they hold
            // across the end of the array.
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
