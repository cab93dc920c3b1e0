#pragma once

#include "base/collision_index.h"
#include "base/string_hash.h"

#include <bit>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace harbolance {

// The one hash table of the system: open addressing over a power of two of slots, multiplicative start slot,
// linear probing downwards, backward shift on removal. The slot order is visible behaviour: sets travel and
// print in it. So nothing here may change where an entry ends up.
//
// A Traits class says what is stored and how it compares:
//
//     using Entry = ...;                               // movable; Entry{} is a free slot
//     static bool isFree(const Entry&);
//     static uint32_t hash(const Entry&);              // and one overload for each kind of probe
//     static bool equal(const Entry&, const Probe&);
//     static bool full(uint32_t count, uint32_t capacity);   // from GrowWhenFull or GrowAtNineTenths
//     static uint64_t fingerprint(const Entry&);       // optional, with an overload for each kind of probe
//
// `fingerprint` gives equal values for equal entries and, unlike the protocol's hash, different values for
// different ones. Adding to such a table and searching it stay linear however its hashes collide
// (see crowd.h). Taking an entry out walks its run.
//
// Entries move when the table grows or an entry is removed; pointers into it live until then.

struct GrowWhenFull {
    static bool full(uint32_t count, uint32_t capacity) { return count > capacity - 1; }
};

struct GrowAtNineTenths {
    static bool full(uint32_t count, uint32_t capacity) { return count > 0.9 * capacity; }
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

    // The slot that holds an equal entry, or the free slot where one would go.
    template <class Probe>
    uint32_t indexOf(const Probe& probe) const {
        const uint32_t hash = Traits::hash(probe);
        uint32_t index = homeOf(hash);
        for (uint32_t steps = 0; !Traits::isFree(slots_[index]); ++steps) {
            if (Traits::equal(slots_[index], probe))
                return index;
            if constexpr (indexable) {
                if (steps == patience())
                    return indexAmongCollisions(probe, hash);
            }
            index = (index - 1) & mask_;
        }
        return index;
    }

    // The stored entry that equals the probe, or null.
    template <class Probe>
    Entry* find(const Probe& probe) {
        Entry& found = slots_[indexOf(probe)];
        return Traits::isFree(found) ? nullptr : &found;
    }
    template <class Probe>
    const Entry* find(const Probe& probe) const {
        return const_cast<HashTable*>(this)->find(probe);
    }

    // Keeps an equal entry that is there already and leaves `entry` unused then.
    Insertion insert(Entry&& entry) {
        const uint32_t index = indexOf(entry);
        if (!Traits::isFree(slots_[index]))
            return {&slots_[index], false};
        return insertAt(index, std::move(entry));
    }
    Insertion insert(const Entry& entry) { return insert(Entry(entry)); }

    // Stores an entry in the free slot that `indexOf` gave for it.
    Insertion insertAt(uint32_t index, Entry&& entry) {
        store(index, std::move(entry));
        ++count_;
        if (Traits::full(count_, capacity()))
            index = grow(index);
        return {&slots_[index], true};
    }

    // Takes the equal entry out; a free Entry when there is none.
    template <class Probe>
    Entry take(const Probe& probe) {
        const uint32_t index = indexOf(probe);
        if (Traits::isFree(slots_[index]))
            return Entry{};
        if (collisions_)
            forget(index);
        Entry taken = std::exchange(slots_[index], Entry{});
        --count_;
        closeGap(index);
        return taken;
    }

    // Frees every slot and keeps the capacity.
    void clear() {
        if (count_ > 0) {
            for (Entry& entry : slots_)
                entry = Entry{};
        }
        count_ = 0;
        collisions_.reset();
    }

    // Starts again, empty, with the table that `sizeArgument` gives.
    void resize(uint32_t sizeArgument) {
        bits_ = hashTableBits(sizeArgument < maxHashTableSize ? sizeArgument : maxHashTableSize);
        mask_ = (1u << bits_) - 1;
        slots_ = std::vector<Entry>(mask_ + 1u);
        count_ = 0;
        collisions_.reset();
    }

private:
    static constexpr bool indexable = requires(const Entry& e) { Traits::fingerprint(e); };

    // Steps of a probe before it turns to the side index.
    uint32_t patience() const { return collisions_ ? CollisionIndex::shortProbe : CollisionIndex::longProbe; }

    uint32_t homeOf(uint32_t hash) const { return ((hash * 0x9E3779B9u) >> (32 - bits_)) & mask_; }

    auto occupied() const {
        return [this](uint32_t index) { return !Traits::isFree(slots_[index]); };
    }

    void store(uint32_t index, Entry&& entry) {
        slots_[index] = std::move(entry);
        if constexpr (indexable) {
            if (collisions_)
                collisions_->add(Traits::fingerprint(slots_[index]), index);
        }
    }

    void forget(uint32_t index) {
        if constexpr (indexable)
            collisions_->remove(Traits::fingerprint(slots_[index]), index);
    }

    // A rebuild with twice the capacity as size argument, which is four times the slots. Returns where the
    // entry of slot `watched` went.
    uint32_t grow(uint32_t watched) {
        std::vector<Entry> old = std::move(slots_);
        const uint32_t count = count_;
        resize(2 * static_cast<uint32_t>(old.size()));
        uint32_t moved = 0;
        for (uint32_t i = 0; i < old.size(); ++i) {
            if (Traits::isFree(old[i]))
                continue;
            const uint32_t index = freeFrom(homeOf(Traits::hash(old[i])));
            store(index, std::move(old[i]));
            if (i == watched)
                moved = index;
        }
        count_ = count;
        return moved;
    }

    uint32_t freeFrom(uint32_t index) {
        const uint32_t home = index;
        for (uint32_t steps = 0; !Traits::isFree(slots_[index]); ++steps) {
            if constexpr (indexable) {
                if (steps == patience())
                    return collisions().freeFrom(home, occupied());
            }
            index = (index - 1) & mask_;
        }
        return index;
    }

    // Moves entries of the run below a freed slot up, so that each stays reachable from its start slot.
    void closeGap(uint32_t hole) {
        for (uint32_t i = (hole - 1) & mask_; !Traits::isFree(slots_[i]); i = (i - 1) & mask_) {
            const uint32_t home = homeOf(Traits::hash(slots_[i]));
            const bool reachable = ((home - i) & mask_) < ((hole - i) & mask_);
            if (reachable)
                continue;
            if (collisions_)
                forget(i);
            store(hole, std::exchange(slots_[i], Entry{}));
            hole = i;
        }
        if (collisions_)
            collisions_->reopened(hole, occupied());
    }

    CollisionIndex& collisions() const {
        if (!collisions_) {
            collisions_ = std::make_unique<CollisionIndex>(mask_);
            for (uint32_t i = next(0); i <= mask_; i = next(i + 1))
                collisions_->add(Traits::fingerprint(slots_[i]), i);
        }
        return *collisions_;
    }

    // Only an entry with the probe's own hash lies on the probe's way.
    template <class Probe>
    uint32_t indexAmongCollisions(const Probe& probe, uint32_t hash) const {
        const uint32_t found = collisions().find(Traits::fingerprint(probe), [&](uint32_t slot) {
            return Traits::hash(slots_[slot]) == hash && Traits::equal(slots_[slot], probe);
        });
        return found != CollisionIndex::none ? found : collisions_->freeFrom(homeOf(hash), occupied());
    }

    std::vector<Entry> slots_;
    uint32_t count_ = 0;
    uint32_t bits_ = 0;
    uint32_t mask_ = 0;
    mutable std::unique_ptr<CollisionIndex> collisions_; // built by the first long probe, null in most tables
};

} // namespace harbolance
