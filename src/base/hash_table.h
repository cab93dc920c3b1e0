#pragma once

#include "base/collision_index.h"
#include "base/string_hash.h"

#include <bit>
#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace harbolance {

// The hash table of the whole system: open addressing over a power of two of slots, multiplicative start
// slot, linear probing downwards, backward shift on removal. The order of the slots can be seen from outside,
// because sets are sent and printed in it; no change may move an entry to another slot.
//
// Most tables hold entries that contain their key: use KeyedTable (at the end of this file). Other tables
// describe their entries in a Traits class:
//
//     using Entry = ...;                               // movable; Entry{} is a free slot
//     static bool isFree(const Entry&);
//     static uint32_t hash(const Entry&);              // and one overload for each kind of probe
//     static bool equal(const Entry&, const Probe&);
//     static bool full(uint32_t count, uint32_t capacity);   // from one of the growth rules below
//     static uint64_t fingerprint(const Entry&);       // optional, with an overload for each kind of probe
//
// `fingerprint` gives equal values for equal entries and, unlike the protocol's hash, different values for
// different ones. Adding to such a table and searching it stay linear however its hashes collide: when its
// probe runs grow long, an insertion builds a side index (collision_index.h), which look-ups then use. Taking
// an entry out walks its run.
//
// Entries move when the table grows or an entry is removed, which invalidates pointers to them.

// The growth rules. Tables of the protocol use one of the first two; their order can be seen from outside.
struct GrowWhenFull {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity - 1; }
};
struct GrowAtNineTenths {
    static bool full(uint32_t count, uint32_t capacity) { return count > 0.9 * capacity; }
};
// For tables whose order is not visible outside. A failed search walks a whole run, and runs are shorter in a
// table that is emptier; half full is a compromise, because a table that is cleared for each message should
// be small.
struct GrowAtHalf {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity / 2; }
};
struct GrowAtThreeQuarters {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity - capacity / 4; }
};

// The number of bits of a table made with this size argument: its bit length, plus one when it is not a power
// of two. 16 gives 5, that is 32 slots. 0 and 1 give 1, the smallest table for which the slot formula is
// defined.
constexpr uint32_t hashTableBits(uint32_t sizeArgument) {
    const auto bits = static_cast<uint32_t>(std::bit_width(sizeArgument));
    return bits + (std::has_single_bit(sizeArgument) ? 0 : 1);
}

// The largest size argument; larger ones count as this.
constexpr uint32_t maxHashTableSize = 1u << 29;

template <class Traits>
class HashTable {
public:
    using Entry = typename Traits::Entry;

    struct Insertion {
        Entry* entry; // the stored entry: the new one, or the equal one that was there
        bool added;
    };

    explicit HashTable(uint32_t sizeArgument) { resize(sizeArgument); }

    uint32_t size() const { return count_; }
    uint32_t capacity() const { return mask_ + 1; }
    uint32_t bits() const { return bits_; }

    // Iteration: for (i = next(0); i < capacity(); i = next(i + 1)) slot(i), from slot 0 upwards.
    uint32_t next(uint32_t from) const {
        while (from <= mask_ && Traits::isFree(slots_[from]))
            ++from;
        return from;
    }
    const Entry& slot(uint32_t index) const { return slots_[index]; }
    Entry& slot(uint32_t index) { return slots_[index]; }

    // The stored entry that equals the probe, or null.
    template <class Probe>
    const Entry* find(const Probe& probe) const {
        const Place place = search(probe);
        return place.found ? &slots_[place.slot] : nullptr;
    }
    template <class Probe>
    Entry* find(const Probe& probe) {
        return const_cast<Entry*>(std::as_const(*this).find(probe));
    }

    // The slot that holds an equal entry, or the free slot where the entry would go. The non-const form is
    // for a caller that is about to insert there.
    template <class Probe>
    uint32_t indexOf(const Probe& probe) const {
        const Place place = search(probe);
        // The search stopped early because of the index, which then gives the free slot.
        return place.known ? place.slot : index_->firstFree(place.slot, occupied());
    }
    template <class Probe>
    uint32_t indexOf(const Probe& probe) {
        const Place place = search(probe);
        return place.known ? place.slot : index_->firstFreeToFill(place.slot, occupied());
    }

    // Does not store `entry`, and leaves it unchanged, when an equal entry is there already.
    Insertion insert(Entry&& entry) {
        const uint32_t index = indexOf(entry);
        // The slot is tested before the move: the caller keeps its entry when an equal one is stored.
        if (!Traits::isFree(slots_[index]))
            return {&slots_[index], false};
        return insertAt(index, std::move(entry));
    }
    Insertion insert(const Entry& entry) { return insert(Entry(entry)); }

    // Stores an entry in the free slot that `indexOf` gave for it.
    Insertion insertAt(uint32_t index, Entry&& entry) {
        store(index, std::move(entry));
        ++count_;
        // The table grows after the entry is stored. Growing first would give another order of the slots.
        if (Traits::full(count_, capacity()))
            index = grow(index);
        return {&slots_[index], true};
    }

    // Removes the entry that equals the probe and returns it; a free Entry when there is none.
    template <class Probe>
    Entry take(const Probe& probe) {
        const Place place = search(probe);
        if (!place.found)
            return Entry{};
        Entry taken = vacate(place.slot);
        --count_;
        // The gap is closed at once: a search ends at the first free slot and would miss the entries behind
        // it.
        closeGap(place.slot);
        return taken;
    }

    // Frees every slot and keeps the capacity.
    void clear() {
        // Tables that are cleared for each message are often empty, which must cost nothing.
        if (count_ > 0)
            freeSlots();
    }

    // Removes everything and takes the capacity that `sizeArgument` gives.
    void resize(uint32_t sizeArgument) {
        bits_ = hashTableBits(sizeArgument < maxHashTableSize ? sizeArgument : maxHashTableSize);
        mask_ = (1u << bits_) - 1;
        slots_ = std::vector<Entry>(mask_ + 1u);
        count_ = 0;
        forgetRuns();
    }

private:
    static constexpr bool indexable = requires(const Entry& e) { Traits::fingerprint(e); };
    struct NoCounts {};
    using Counts = std::conditional_t<indexable, BlockCounts, NoCounts>;

    // The result of a search: an equal entry, or the free slot that ended the probe; with the index, possibly
    // only the start slot and the fact that no equal entry is stored.
    struct Place {
        uint32_t slot;
        bool found;
        bool known; // `slot` is what `indexOf` gives
    };

    template <class Probe>
    Place search(const Probe& probe) const {
        const uint32_t hash = Traits::hash(probe);
        const uint32_t home = homeOf(hash);
        uint32_t slot = home;
        // This loop ends: each growth rule leaves at least one slot free.
        for (uint32_t steps = 0; !Traits::isFree(slots_[slot]); ++steps) {
            if (Traits::equal(slots_[slot], probe))
                return {slot, true, true};
            if constexpr (indexable) {
                // Most probes are shorter than this, and comparing a few entries costs less than a
                // fingerprint.
                if (steps == CollisionIndex::shortProbe && index_)
                    return searchIndex(probe, hash, home);
            }
            slot = (slot - 1) & mask_;
        }
        return {slot, false, true};
    }

    // An equal entry with another hash does not count, because plain probing starts from the hash and would
    // not find it either.
    template <class Probe>
    Place searchIndex(const Probe& probe, uint32_t hash, uint32_t home) const {
        const uint32_t slot = index_->find(Traits::fingerprint(probe), [&](uint32_t candidate) {
            return Traits::hash(slots_[candidate]) == hash && Traits::equal(slots_[candidate], probe);
        });
        const bool found = slot != CollisionIndex::none;
        return {found ? slot : home, found, found};
    }

    // The multiplier moves differences in a few low bits to the upper bits, which the shift keeps. `bits_` is
    // at least 1, so the shift is defined.
    uint32_t homeOf(uint32_t hash) const { return ((hash * 0x9E3779B9u) >> (32 - bits_)) & mask_; }

    auto occupied() const {
        return [this](uint32_t index) { return !Traits::isFree(slots_[index]); };
    }

    void store(uint32_t index, Entry&& entry) {
        slots_[index] = std::move(entry);
        if constexpr (indexable) {
            // Without an index, the block counts tell when a block of slots becomes full; from then on probes
            // may be long.
            if (index_)
                index_->add(Traits::fingerprint(slots_[index]), index);
            else if (counts_.add(index))
                buildIndex();
        }
    }

    Entry vacate(uint32_t index) {
        if constexpr (indexable) {
            // The entry must still be in its slot here, since the index finds it by its fingerprint.
            if (index_)
                index_->remove(Traits::fingerprint(slots_[index]), index);
            else
                counts_.remove(index);
        }
        return std::exchange(slots_[index], Entry{});
    }

    void buildIndex() {
        index_ = std::make_unique<CollisionIndex>(mask_);
        for (uint32_t i = next(0); i <= mask_; i = next(i + 1))
            index_->add(Traits::fingerprint(slots_[i]), i);
    }

    // `freeSlots` and `grow` are rare and large. As functions of their own they cost nothing to a caller that
    // adds an entry to a table with room.
    [[gnu::noinline]] void freeSlots() {
        for (Entry& entry : slots_)
            entry = Entry{};
        count_ = 0;
        forgetRuns();
    }

    void forgetRuns() {
        index_.reset();
        if constexpr (indexable)
            counts_.reset(capacity());
    }

    // Rebuilds the table with twice the capacity as size argument, which gives four times the slots. Returns
    // the new slot of the entry that was in slot `watched`.
    [[gnu::noinline]] uint32_t grow(uint32_t watched) {
        std::vector<Entry> old = std::move(slots_);
        const uint32_t count = count_;
        // resize sets the count to 0 and `store` does not count, so the count is restored at the end.
        resize(2 * static_cast<uint32_t>(old.size()));
        uint32_t moved = 0;
        // Entries are moved from slot 0 upwards: of two with one start slot the earlier gets it. This order
        // can be seen from outside.
        for (uint32_t i = 0; i < old.size(); ++i) {
            if (Traits::isFree(old[i]))
                continue;
            // Stored entries all differ, so they are not compared here.
            const uint32_t index = freeFrom(homeOf(Traits::hash(old[i])));
            store(index, std::move(old[i]));
            if (i == watched)
                moved = index;
        }
        count_ = count;
        return moved;
    }

    uint32_t freeFrom(uint32_t index) {
        if (index_)
            return index_->firstFreeToFill(index, occupied());
        while (!Traits::isFree(slots_[index]))
            index = (index - 1) & mask_;
        return index;
    }

    // Moves entries of the run below a freed slot upwards, so that a search from their start slots still
    // finds them.
    void closeGap(uint32_t hole) {
        for (uint32_t i = (hole - 1) & mask_; !Traits::isFree(slots_[i]); i = (i - 1) & mask_) {
            const uint32_t home = homeOf(Traits::hash(slots_[i]));
            // Both distances are counted upwards from the entry. An entry that starts below the hole must
            // stay: a search for it walks downwards and would not reach the hole.
            const bool reachable = ((home - i) & mask_) < ((hole - i) & mask_);
            if (reachable)
                continue;
            store(hole, vacate(i));
            hole = i;
        }
        if (index_)
            index_->reopened(hole, occupied());
    }

    std::vector<Entry> slots_;
    uint32_t count_ = 0;
    uint32_t bits_ = 0;
    uint32_t mask_ = 0;
    [[no_unique_address]] Counts counts_;
    std::unique_ptr<CollisionIndex> index_; // made when a block of slots is full; null in most tables
};

// How keys of the usual kinds are hashed: text by the protocol's string hash, numbers as they are, pointers
// folded.
inline uint32_t keyHash(std::string_view key) { return stringHash(key); }
inline uint32_t keyHash(const void* key) { return pointerHash(key); }
template <std::integral Key>
uint32_t keyHash(Key key) {
    return static_cast<uint32_t>(key);
}

// Traits for entries that contain their key. An entry is a pointer, an owner or a small class that converts
// to `bool`; false means a free slot. `keyOf` is a member of the entry or of the object it points to, or a
// function of the entry; it must not return a newly made text. Texts are compared by content, and a null C
// string counts as an empty one.
template <class EntryType, auto keyOf, class Growth>
struct KeyedTraits : Growth {
    using Entry = EntryType;
    using Found = std::invoke_result_t<decltype(keyOf), const Entry&>;
    static constexpr bool isText = std::is_convertible_v<Found, std::string_view>;
    static_assert(std::is_lvalue_reference_v<Found> || !std::is_same_v<Found, std::string>);
    using Key = std::conditional_t<isText, std::string_view, std::remove_cvref_t<Found>>;

    static Key key(const Entry& entry) {
        if constexpr (std::is_convertible_v<Found, const char*>)
            return textKey(std::invoke(keyOf, entry));
        else
            return std::invoke(keyOf, entry);
    }
    static bool isFree(const Entry& entry) { return !entry; }
    static uint32_t hash(const Key& key) { return keyHash(key); }
    static uint32_t hash(const Entry& entry) requires(!std::is_same_v<Entry, Key>) {
        return keyHash(key(entry));
    }
    static uint32_t hash(const char* text) requires isText { return keyHash(textKey(text)); }
    static bool equal(const Entry& stored, const Key& other) { return key(stored) == other; }
    static bool equal(const Entry& stored, const Entry& entry) requires(!std::is_same_v<Entry, Key>) {
        return key(stored) == key(entry);
    }
    static bool equal(const Entry& stored, const char* text) requires isText {
        return key(stored) == textKey(text);
    }

private:
    static std::string_view textKey(const char* text) { return text ? text : ""; }
};

template <class Entry, auto keyOf, class Growth = GrowAtNineTenths>
using KeyedTable = HashTable<KeyedTraits<Entry, keyOf, Growth>>;

} // namespace harbolance
