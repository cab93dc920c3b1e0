#include "stream/ncpriqueue.h"

#include <gtest/gtest.h>

#include <string>

namespace {

char names[] = "abcdefgh";

// Entries with these priorities, whose data points into `names`.
int enter(NCPriorityQueue& queue, std::initializer_list<uint8_t> priorities) {
    int refused = 0;
    const char* name = names;
    for (const uint8_t priority : priorities)
        refused += queue.enqueue(const_cast<char*>(name++), priority) == NCPriorityQueue::statusFull ? 1 : 0;
    return refused;
}

std::string drain(NCPriorityQueue& queue) {
    std::string left;
    int status = 0;
    while (const auto* name = static_cast<const char*>(queue.dequeue(status)))
        left += *name;
    EXPECT_EQ(status, -99);
    return left;
}

TEST(PriorityQueue, lowNumbersLeaveFirstAndEqualOnesInOrder) {
    NCPriorityQueue queue(8);
    EXPECT_EQ(queue.find(5), 0);
    EXPECT_EQ(enter(queue, {5, 3, 5, 7}), 0);
    const std::pair<uint8_t, int> places[] = {{255, 0}, {7, 0}, {6, 1}, {5, 1}, {4, 3}, {3, 3}, {0, 4}};
    for (const auto& [priority, place] : places)
        EXPECT_EQ(queue.find(priority), place) << "in front of equals: " << int{priority};
    EXPECT_EQ(drain(queue), "bacd");
    // Freed entries are used again, between full and empty.
    EXPECT_EQ(enter(queue, {255, 1, 255, 3, 255, 5, 255, 7}), 0);
    EXPECT_EQ(drain(queue), "bdfhaceg");
}

TEST(PriorityQueue, refusesWhenFullAndItsCapacityOnlyGrows) {
    NCPriorityQueue queue(1);
    int status = 0;
    EXPECT_EQ(queue.peek(status), nullptr);
    EXPECT_EQ(status, -99);
    EXPECT_EQ(enter(queue, {4, 2}), 1);
    EXPECT_EQ(queue.peek(status), names);
    EXPECT_EQ(status, 0);
    queue.setCapacity(3);
    queue.setCapacity(2);
    EXPECT_EQ(enter(queue, {6, 2, 1}), 1);
    EXPECT_EQ(drain(queue), "baa");
}

} // namespace
