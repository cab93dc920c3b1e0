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

// The one hash table of the system: open addressing over a power of two of slots, multiplicative start slot,
// linear probing downwards, backward shift on removal. The slot order is visible behaviour: sets travel and
// print in it. So nothing here may change where an entry ends up.
//
// Most tables hold entries that carry their key: they are a `KeyedTable` (at the end of this file). Others
// say by a Traits class what is stored and how it compares:
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
// Entries move when the table grows or an entry is removed; pointers into it live until then.

// The growth rules. The first two are those of the protocol's tables, whose order can be seen.
struct GrowWhenFull {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity - 1; }
};
struct GrowAtNineTenths {
    static bool full(uint32_t count, uint32_t capacity) { return count > 0.9 * capacity; }
};
// For tables whose order cannot be seen from outside. A search that fails walks a whole run, and the emptier
// the table, the shorter the runs. A table that is cleared for each message is cheaper when it is smaller.
struct GrowAtHalf {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity / 2; }
};
struct GrowAtThreeQuarters {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity - capacity / 4; }
};

// Bits of the table asked for with a size argument: its bit length, plus one when it is no power of two.
// 16 gives 5, that is 32 slots. 0 and 1 give 1: the smallest table whose slot formula is defined.
constexpr uint32_t hashTableBits(uint32_t sizeArgument) {
    const auto bits = static_cast<uint32_t>(std::bit_width(sizeArgument));
    return bits + (std::has_single_bit(sizeArgument) ? 0 : 1);
}

// The largest size argument a table takes; what asks for more gets this and grows no further by asking.
constexpr uint32_t maxHashTableSize = 1u << 29;

template <class Traits>
class HashTable {
public:
    using Entry = typename Traits::Entry;

    struct Insertion {
        Entry* entry; // the one stored: the new one, or the equal one that was there
        bool added;
    };

    explicit HashTable(uint32_t sizeArgument) { resize(sizeArgument); }

    uint32_t size() const { return count_; }
    uint32_t capacity() const { return mask_ + 1; }
    uint32_t bits() const { return bits_; }

    // Walk: for (i = next(0); i < capacity(); i = next(i + 1)) slot(i), from slot 0 upwards.
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

    // The slot that holds an equal entry, or the free slot where one would go. The second form is for a
    // caller that is about to insert there.
    template <class Probe>
    uint32_t indexOf(const Probe& probe) const {
        const Place place = search(probe);
        // Not known: the walk was cut short, and the index says where it would have ended.
        return place.known ? place.slot : index_->firstFree(place.slot, occupied());
    }
    template <class Probe>
    uint32_t indexOf(const Probe& probe) {
        const Place place = search(probe);
        return place.known ? place.slot : index_->firstFreeToFill(place.slot, occupied());
    }

    // Keeps an equal entry that is there already and leaves `entry` unused then.
    Insertion insert(Entry&& entry) {
        const uint32_t index = indexOf(entry);
        // Looked up first: the caller keeps its entry when an equal one is stored.
        if (!Traits::isFree(slots_[index]))
            return {&slots_[index], false};
        return insertAt(index, std::move(entry));
    }
    Insertion insert(const Entry& entry) { return insert(Entry(entry)); }

    // Stores an entry in the free slot that `indexOf` gave for it.
    Insertion insertAt(uint32_t index, Entry&& entry) {
        store(index, std::move(entry));
        ++count_;
        // Growing comes after storing: done the other way round, the order of the slots would be another one.
        if (Traits::full(count_, capacity()))
            index = grow(index);
        return {&slots_[index], true};
    }

    // Takes the equal entry out; a free Entry when there is none.
    template <class Probe>
    Entry take(const Probe& probe) {
        const Place place = search(probe);
        if (!place.found)
            return Entry{};
        Entry taken = vacate(place.slot);
        --count_;
        // At once: a search ends at the first free slot, so a gap would hide the entries behind it.
        closeGap(place.slot);
        return taken;
    }

    // Frees every slot and keeps the capacity.
    void clear() {
        // An empty table costs nothing here: some tables are cleared for each message.
        if (count_ > 0) {
            for (Entry& entry : slots_)
                entry = Entry{};
            forgetRuns();
        }
        count_ = 0;
    }

    // Starts again, empty, with the table that `sizeArgument` gives.
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

    // Where a search ended: at an equal entry, at the free slot that ends its walk, or, with the index, at
    // the start slot and the certainty that nothing equal is stored.
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
        // Ends: each growth rule keeps at least one slot free between two operations.
        for (uint32_t steps = 0; !Traits::isFree(slots_[slot]); ++steps) {
            if (Traits::equal(slots_[slot], probe))
                return {slot, true, true};
            if constexpr (indexable) {
                // Most walks are shorter, and comparing a few entries costs less than a fingerprint.
                if (steps == CollisionIndex::shortProbe && index_)
                    return searchIndex(probe, hash, home);
            }
            slot = (slot - 1) & mask_;
        }
        return {slot, false, true};
    }

    // An equal entry with another hash does not count: the plain walk, which starts from the hash, would not
    // meet it either.
    template <class Probe>
    Place searchIndex(const Probe& probe, uint32_t hash, uint32_t home) const {
        const uint32_t slot = index_->find(Traits::fingerprint(probe), [&](uint32_t candidate) {
            return Traits::hash(slots_[candidate]) == hash && Traits::equal(slots_[candidate], probe);
        });
        const bool found = slot != CollisionIndex::none;
        return {found ? slot : home, found, found};
    }

    // The multiplier spreads keys that differ in a few bits over the upper bits, and the shift keeps these.
    // `bits_` is at least 1, so the shift is defined.
    uint32_t homeOf(uint32_t hash) const { return ((hash * 0x9E3779B9u) >> (32 - bits_)) & mask_; }

    auto occupied() const {
        return [this](uint32_t index) { return !Traits::isFree(slots_[index]); };
    }

    void store(uint32_t index, Entry&& entry) {
        slots_[index] = std::move(entry);
        if constexpr (indexable) {
            // While there is no index the counts tell when a block of slots is full: walks may be long from
            // then on.
            if (index_)
                index_->add(Traits::fingerprint(slots_[index]), index);
            else if (counts_.add(index))
                buildIndex();
        }
    }

    Entry vacate(uint32_t index) {
        if constexpr (indexable) {
            // The entry still stands in its slot here: its fingerprint is needed to find it.
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

    void forgetRuns() {
        index_.reset();
        if constexpr (indexable)
            counts_.reset(capacity());
    }

    // A rebuild with twice the capacity as size argument, which is four times the slots. Returns where the
    // entry of slot `watched` went.
    uint32_t grow(uint32_t watched) {
        std::vector<Entry> old = std::move(slots_);
        const uint32_t count = count_;
        // Sets the count to 0. `store` does not count, so the old value is put back at the end.
        resize(2 * static_cast<uint32_t>(old.size()));
        uint32_t moved = 0;
        // From slot 0 upwards: of entries that start at the same slot, the one that comes first gets it. That
        // order can be seen from outside.
        for (uint32_t i = 0; i < old.size(); ++i) {
            if (Traits::isFree(old[i]))
                continue;
            // Stored entries differ from each other, so none is compared here.
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

    // Moves entries of the run below a freed slot up, so that each stays reachable from its start slot.
    void closeGap(uint32_t hole) {
        for (uint32_t i = (hole - 1) & mask_; !Traits::isFree(slots_[i]); i = (i - 1) & mask_) {
            const uint32_t home = homeOf(Traits::hash(slots_[i]));
            // Both are distances upwards from the entry. One that starts below the hole has to stay: a search
            // for it, which walks downwards, would not pass the hole.
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
    std::unique_ptr<CollisionIndex> index_; // once a block of slots is full, null in most tables
};

// How keys of the usual kinds are hashed: text by the protocol's string hash, numbers as they are, pointers
// folded.
inline uint32_t keyHash(std::string_view key) { return stringHash(key); }
inline uint32_t keyHash(const void* key) { return pointerHash(key); }
template <std::integral Key>
uint32_t keyHash(Key key) {
    return static_cast<uint32_t>(key);
}

// Traits of entries that are found by a key which they carry. An entry is a pointer, an owner or a small
// class that converts to `bool`, false meaning a free slot. `keyOf` is a member of the entry, or of what it
// points to, or a function of the entry; it must not make a new text. Texts are compared by what they say,
// and a null C string counts as an empty one.
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
