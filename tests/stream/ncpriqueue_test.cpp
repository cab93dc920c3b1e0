#include "stream/ncpriqueue.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Takes everything out; each entry's data points into `names`.
std::string drain(NCPriorityQueue& queue) {
    std::string left;
    int status = 0;
    while (const auto* name = static_cast<const char*>(queue.dequeue(status)))
        left += *name;
    EXPECT_EQ(status, -99);
    return left;
}

char names[] = "abcdefgh";

TEST(PriorityQueue, lowNumbersLeaveFirstAndEqualOnesInOrder) {
    NCPriorityQueue queue(8);
    const uint8_t priorities[] = {5, 3, 5, 7};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(queue.enqueue(names + i, priorities[i]), 0);
    EXPECT_EQ(queue.size(), 4);
    EXPECT_EQ(drain(queue), "bacd");

    // Freed entries are used again, between full and empty.
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(queue.enqueue(names + i, static_cast<uint8_t>(i % 2 == 0 ? 255 : i)), 0);
    EXPECT_EQ(drain(queue), "bdfhaceg");
}

TEST(PriorityQueue, findsThePlaceInFrontOfEquals) {
    NCPriorityQueue queue(8);
    EXPECT_EQ(queue.find(5), 0);
    for (const uint8_t priority : {uint8_t{9}, uint8_t{7}, uint8_t{7}, uint8_t{3}})
        queue.enqueue(names, priority);
    EXPECT_EQ(queue.find(255), 0);
    EXPECT_EQ(queue.find(9), 0);
    EXPECT_EQ(queue.find(8), 1);
    EXPECT_EQ(queue.find(7), 1);
    EXPECT_EQ(queue.find(5), 3);
    EXPECT_EQ(queue.find(3), 3);
    EXPECT_EQ(queue.find(0), 4);
}

TEST(PriorityQueue, refusesWhenFullAndReportsEmpty) {
    NCPriorityQueue queue(1);
    int status = 0;
    EXPECT_EQ(queue.peek(status), nullptr);
    EXPECT_EQ(status, -99);
    EXPECT_EQ(queue.enqueue(names, 1), 0);
    EXPECT_EQ(queue.enqueue(names + 1, 0), -100);
    EXPECT_EQ(queue.peek(status), names);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_EQ(drain(queue), "a");
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(NCPriorityQueue(0).enqueue(names, 1), -100);
}

TEST(PriorityQueue, capacityOnlyGrowsAndKeepsTheEntries) {
    NCPriorityQueue queue(1);
    queue.enqueue(names, 4);
    queue.setCapacity(3);
    EXPECT_EQ(queue.capacity(), 3);
    EXPECT_EQ(queue.enqueue(names + 1, 2), 0);
    EXPECT_EQ(queue.enqueue(names + 2, 6), 0);
    EXPECT_EQ(queue.enqueue(names + 3, 6), -100);
    queue.setCapacity(2);
    EXPECT_EQ(queue.capacity(), 3);
    EXPECT_EQ(drain(queue), "bac");
}

} // namespace
