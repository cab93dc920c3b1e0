#include "base/list.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TRXList<int> listOf(int count) {
    TRXList<int> list;
    for (int i = 0; i < count; ++i)
        list.append(i);
    return list;
}

std::vector<int> contents(const TRXList<int>& list) { return {list.begin(), list.end()}; }

TEST(List, keepsOneSlotFree) {
    EXPECT_EQ(listOf(0).capacity(), 0u);
    EXPECT_EQ(listOf(15).capacity(), 16u);
    EXPECT_EQ(listOf(16).capacity(), 32u);
    EXPECT_EQ(listOf(16).at(15), 15);
}

TEST(List, insertsAndRemovesInOrder) {
    TRXList<int> list = listOf(4);
    list.insert(1, 9);
    EXPECT_EQ(contents(list), (std::vector{0, 9, 1, 2, 3}));
    EXPECT_TRUE(list.remove(1));
    EXPECT_FALSE(list.remove(77));
    const TRXList<int> copy = list;
    EXPECT_TRUE(list.remove(0));
    EXPECT_EQ(contents(copy), (std::vector{0, 9, 2, 3}));
    EXPECT_EQ(contents(list), (std::vector{9, 2, 3}));
}

TEST(ListDeathTest, indexBeyondTheEndEndsTheProcess) {
    TRXList<int> list = listOf(2);
    EXPECT_DEATH(list.at(2), "i < _count.*vlist.*72");
}

} // namespace
