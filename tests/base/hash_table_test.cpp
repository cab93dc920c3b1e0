#include "base/hash_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

using namespace harbolance;

namespace {

// Keys that are their own hash, so that a test can place them; 0 is a free slot.
template <class Growth>
struct Placed : Growth {
    using Entry = uint32_t;
    static bool isFree(uint32_t entry) { return entry == 0; }
    static uint32_t hash(uint32_t key) { return key; }
    static bool equal(uint32_t stored, uint32_t key) { return ++comparisons, stored == key; }
    static inline uint64_t comparisons = 0;
};
using PlacedTable = HashTable<Placed<GrowWhenFull>>;

// The first `count` keys whose start slot in a table of 32 is `slot`.
std::vector<uint32_t> keysAt(uint32_t slot, size_t count) {
    std::vector<uint32_t> keys;
    for (uint32_t key = 1; keys.size() < count; ++key) {
        if ((key * 0x9E3779B9u) >> 27 == slot)
            keys.push_back(key);
    }
    return keys;
}

TEST(StringHash, takesOctetsAsSignedAndMasksTheTopBit) {
    EXPECT_EQ(stringHash("abc"), 0x123u);
    EXPECT_EQ(stringHash("\xff\x01"), 0x7fffffffu); // 0xFFFFFFFE xor 1
}

TEST(HashTable, sizesByTheArgumentAndGrowsByItsRule) {
    const std::map<uint32_t, uint32_t> slots = {{0, 2},   {1, 2},   {2, 4},    {3, 8},
                                                {16, 32}, {17, 64}, {256, 512}};
    for (const auto& [argument, capacity] : slots)
        EXPECT_EQ(PlacedTable(argument).capacity(), capacity) << argument;

    PlacedTable whenFull(16);
    HashTable<Placed<GrowAtNineTenths>> atNineTenths(16);
    for (uint32_t key = 1; key <= 32; ++key) {
        const auto insertion = whenFull.insert(key);
        EXPECT_EQ(*insertion.entry, key);
        atNineTenths.insert(key);
        EXPECT_EQ(whenFull.capacity(), key < 32 ? 32u : 128u);
        EXPECT_EQ(atNineTenths.capacity(), key < 29 ? 32u : 128u);
    }
    for (uint32_t key = 1; key <= 32; ++key)
        EXPECT_FALSE(whenFull.insert(key).added) << key;
    EXPECT_EQ(whenFull.size(), 32u);
    whenFull.clear();
    EXPECT_EQ(whenFull.size(), 0u);
    EXPECT_EQ(whenFull.next(0), 128u) << "the capacity stays";
    EXPECT_EQ(whenFull.find(5u), nullptr);
}

TEST(HashTable, probesDownwardsAndWraps) {
    PlacedTable table(16);
    const auto keys = keysAt(1, 4);
    for (uint32_t key : keys)
        table.insert(key);
    const uint32_t slots[] = {1, 0, 31, 30};
    for (size_t i = 0; i < keys.size(); ++i)
        EXPECT_EQ(table.slot(slots[i]), keys[i]);
}

TEST(HashTable, removalKeepsTheRestOfARunReachable) {
    // Two runs that share slots and wrap round slot 0; every order of removal.
    const auto low = keysAt(1, 3);
    const auto high = keysAt(0, 3);
    const uint32_t keys[] = {low[0], high[0], low[1], high[1], low[2], high[2]};
    for (const uint32_t first : keys) {
        PlacedTable table(16);
        for (uint32_t key : keys)
            table.insert(key);
        EXPECT_EQ(table.take(first), first);
        EXPECT_EQ(table.take(first), 0u);
        for (uint32_t key : keys)
            EXPECT_EQ(table.find(key) != nullptr, key != first) << first << ' ' << key;
    }
}

// Keys with few start slots, close together, so that runs grow long and meet.
template <uint32_t spread>
struct Colliding : Placed<GrowWhenFull> {
    // The inverse of the slot formula: in a table of 1024 the start slots are 600 and those above it.
    static uint32_t hash(uint32_t key) { return (key * 37 % spread + 600) * (1u << 22) * 0x144CBC89u; }
};
template <uint32_t spread>
struct Indexed : Colliding<spread> {
    static uint64_t fingerprint(uint32_t key) { return mixFingerprint(0, key); }
};

template <uint32_t spread>
void expectSameSlots(uint32_t sizeArgument, uint32_t keys, int steps) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        HashTable<Colliding<spread>> plain(sizeArgument);
        HashTable<Indexed<spread>> indexed(sizeArgument);
        std::mt19937 random(seed);
        for (int step = 0; step < steps; ++step) {
            const auto key = static_cast<uint32_t>(random() % keys + 1);
            if (random() % 5 < 3)
                EXPECT_EQ(plain.insert(key).added, indexed.insert(key).added);
            else
                EXPECT_EQ(plain.take(key), indexed.take(key));
            EXPECT_EQ(plain.indexOf(key), std::as_const(indexed).indexOf(key));
        }
        ASSERT_EQ(plain.capacity(), indexed.capacity());
        for (uint32_t i = 0; i < plain.capacity(); ++i)
            ASSERT_EQ(plain.slot(i), indexed.slot(i)) << seed << ' ' << i;
    }
}

TEST(CollisionIndex, isInvisible) {
    expectSameSlots<150>(512, 400, 4000); // in a table that does not grow
    expectSameSlots<7>(16, 900, 3000);    // through growth
}

TEST(CollisionIndex, keepsCollidingKeysLinear) {
    using Traits = Indexed<4>;
    Traits::comparisons = 0;
    HashTable<Traits> table(16);
    constexpr uint32_t count = 100'000;
    for (uint32_t key = 1; key <= count; ++key)
        table.insert(key);
    for (uint32_t key = 1; key <= 2 * count; ++key)
        EXPECT_EQ(std::as_const(table).find(key) != nullptr, key <= count);
    EXPECT_LT(Traits::comparisons, uint64_t{count} * 2 * BlockCounts::slotsPerBlock);
}

} // namespace
