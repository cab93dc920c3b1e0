#include "base/hash_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

using namespace harbolance;

namespace {

// Keys that are their own hash, so that a test can place them; 0 is a free slot.
struct PlacedTraits : GrowWhenFull {
    using Entry = uint32_t;
    static bool isFree(uint32_t entry) { return entry == 0; }
    static uint32_t hash(uint32_t key) { return key; }
    static bool equal(uint32_t stored, uint32_t key) { return stored == key; }
};

struct StringEntry {
    std::string text;
    bool used = false;
};

struct WeakStringTraits : GrowWhenFull {
    using Entry = StringEntry;
    static bool isFree(const Entry& entry) { return !entry.used; }
    static uint32_t hash(const Entry& entry) { return stringHash(entry.text); }
    static bool equal(const Entry& stored, const Entry& key) {
        ++comparisons;
        return stored.text == key.text;
    }
    static inline uint64_t comparisons = 0;
};

struct FingerprintTraits : WeakStringTraits {
    static uint64_t fingerprint(const Entry& entry) { return stringFingerprint(entry.text); }
};

struct NineTenthsTraits : PlacedTraits {
    static bool full(uint32_t count, uint32_t capacity) { return GrowAtNineTenths::full(count, capacity); }
};

uint32_t homeIn32(uint32_t key) { return (key * 0x9E3779B9u) >> 27; }

// The first `count` keys whose start slot in a table of 32 is `slot`.
std::vector<uint32_t> keysAt(uint32_t slot, size_t count) {
    std::vector<uint32_t> keys;
    for (uint32_t key = 1; keys.size() < count; ++key) {
        if (homeIn32(key) == slot)
            keys.push_back(key);
    }
    return keys;
}

template <class Table>
std::vector<std::string> slotOrder(const Table& table) {
    std::vector<std::string> texts;
    for (uint32_t i = table.next(0); i < table.capacity(); i = table.next(i + 1))
        texts.push_back(std::to_string(i) + ' ' + table.slot(i).text);
    return texts;
}

TEST(StringHash, followsTheProtocol) {
    EXPECT_EQ(stringHash(""), 0u);
    EXPECT_EQ(stringHash("abc"), 0x123u);
    // Bytes are signed: 0xFF extends to all ones, and the top bit is masked.
    EXPECT_EQ(stringHash("\xff"), 0x7fffffffu);
    EXPECT_EQ(stringHash("\xff\x01"), 0x7fffffffu); // 0xFFFFFFFE xor 1
}

TEST(HashTable, sizesByTheArgument) {
    const std::map<uint32_t, uint32_t> slots = {{0, 2},   {1, 2},   {2, 4},    {3, 8},
                                                {16, 32}, {17, 64}, {256, 512}};
    for (const auto& [argument, capacity] : slots)
        EXPECT_EQ(HashTable<PlacedTraits>(argument).capacity(), capacity) << argument;
}

TEST(HashTable, probesDownwardsAndWraps) {
    HashTable<PlacedTraits> table(16);
    const auto keys = keysAt(1, 4);
    for (uint32_t key : keys)
        table.insert(key);
    EXPECT_EQ(table.slot(1), keys[0]);
    EXPECT_EQ(table.slot(0), keys[1]);
    EXPECT_EQ(table.slot(31), keys[2]);
    EXPECT_EQ(table.slot(30), keys[3]);
}

TEST(HashTable, growsWhenTheLastSlotIsTaken) {
    HashTable<PlacedTraits> table(16);
    for (uint32_t key = 1; key <= 31; ++key)
        table.insert(key);
    EXPECT_EQ(table.capacity(), 32u);
    const auto grown = table.insert(32);
    EXPECT_EQ(table.capacity(), 128u);
    EXPECT_TRUE(grown.added);
    EXPECT_EQ(*grown.entry, 32u);
    for (uint32_t key = 1; key <= 32; ++key)
        EXPECT_NE(table.find(key), nullptr) << key;
}

TEST(HashTable, growsAtNineTenthsForTheOtherRule) {
    HashTable<NineTenthsTraits> table(16);
    for (uint32_t key = 1; key <= 28; ++key)
        table.insert(key);
    EXPECT_EQ(table.capacity(), 32u);
    table.insert(29);
    EXPECT_EQ(table.capacity(), 128u);
}

TEST(HashTable, keepsTheFirstOfEqualEntries) {
    HashTable<PlacedTraits> table(16);
    EXPECT_TRUE(table.insert(7).added);
    EXPECT_FALSE(table.insert(7).added);
    EXPECT_EQ(table.size(), 1u);
}

TEST(HashTable, removalKeepsTheRestOfARunReachable) {
    // Two runs that share slots and wrap round slot 0; every order of removal.
    const auto low = keysAt(1, 3);
    const auto high = keysAt(0, 3);
    for (size_t first = 0; first < 6; ++first) {
        HashTable<PlacedTraits> table(16);
        std::vector<uint32_t> keys;
        for (size_t i = 0; i < 3; ++i) {
            keys.push_back(low[i]);
            keys.push_back(high[i]);
        }
        for (uint32_t key : keys)
            table.insert(key);
        EXPECT_EQ(table.take(keys[first]), keys[first]);
        EXPECT_EQ(table.take(keys[first]), 0u);
        for (size_t i = 0; i < keys.size(); ++i)
            EXPECT_EQ(table.find(keys[i]) != nullptr, i != first) << first << ' ' << i;
    }
}

TEST(HashTable, clearKeepsTheCapacity) {
    HashTable<PlacedTraits> table(2);
    for (uint32_t key = 1; key <= 100; ++key)
        table.insert(key);
    const uint32_t capacity = table.capacity();
    table.clear();
    EXPECT_EQ(table.size(), 0u);
    EXPECT_EQ(table.capacity(), capacity);
    EXPECT_EQ(table.next(0), capacity);
    EXPECT_EQ(table.find(5u), nullptr);
}

// The side index must be invisible: same slots as the plain walk, through growth and removal.
TEST(HashTable, crowdedTableHasTheSlotsOfThePlainOne) {
    HashTable<WeakStringTraits> plain(16);
    HashTable<FingerprintTraits> crowded(16);
    std::mt19937 random(4711);
    for (int step = 0; step < 6000; ++step) {
        const StringEntry entry{"object" + std::to_string(random() % 3000), true};
        if (random() % 4 == 0) {
            EXPECT_EQ(plain.take(entry).used, crowded.take(entry).used);
        } else {
            EXPECT_EQ(plain.insert(entry).added, crowded.insert(entry).added);
        }
    }
    EXPECT_EQ(plain.capacity(), crowded.capacity());
    EXPECT_EQ(slotOrder(plain), slotOrder(crowded));
}

// A hash whose start slot in a table of 1024 is the one given.
uint32_t hashFor(uint32_t slot) {
    uint32_t hash = 0;
    while (((hash * 0x9E3779B9u) >> 22) != slot)
        ++hash;
    return hash;
}

// Keys with 150 neighbouring start slots in a table of 1024.
struct NeighbourTraits : GrowWhenFull {
    using Entry = uint32_t;
    static bool isFree(uint32_t entry) { return entry == 0; }
    static uint32_t hash(uint32_t key) {
        static const auto hashes = [] {
            std::vector<uint32_t> result;
            for (uint32_t slot = 0; slot < 150; ++slot)
                result.push_back(hashFor(600 + slot));
            return result;
        }();
        return hashes[key * 37 % hashes.size()];
    }
    static bool equal(uint32_t stored, uint32_t key) { return stored == key; }
};

struct CrowdedNeighbourTraits : NeighbourTraits {
    static uint64_t fingerprint(uint32_t key) { return mixFingerprint(0, key); }
};

// Runs that meet in a table that no longer grows: what a removal opens has to be found again.
TEST(HashTable, crowdedRunsThatMeetAreRepaired) {
    const auto slots = [](const auto& table) {
        std::vector<uint32_t> result;
        for (uint32_t i = 0; i < table.capacity(); ++i)
            result.push_back(table.slot(i));
        return result;
    };
    for (unsigned seed = 0; seed < 20; ++seed) {
        HashTable<NeighbourTraits> plain(512);
        HashTable<CrowdedNeighbourTraits> crowded(512);
        std::mt19937 random(seed);
        for (int step = 0; step < 4000; ++step) {
            const auto key = static_cast<uint32_t>(random() % 400 + 1);
            if (random() % 2 == 0)
                plain.insert(key), crowded.insert(key);
            else
                plain.take(key), crowded.take(key);
            ASSERT_EQ(slots(plain), slots(crowded)) << seed << ' ' << step;
        }
    }
}

TEST(HashTable, namesThatDifferInDigitsStayLinear) {
    WeakStringTraits::comparisons = 0;
    HashTable<FingerprintTraits> table(16);
    constexpr uint32_t count = 100000;
    for (uint32_t i = 0; i < count; ++i)
        table.insert({"127.0.0.1_IDL:Thing:1.0_object" + std::to_string(100000 + i), true});
    EXPECT_EQ(table.size(), count);
    EXPECT_LT(WeakStringTraits::comparisons, uint64_t{count} * 2 * BlockCounts::slotsPerBlock);
}

} // namespace
