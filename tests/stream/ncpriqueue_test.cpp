#include "stream/ncpriqueue.h"

#include <gtest/gtest.h>

#include <string>

namespace {

char names[] = "abcdefgh";

// Entries with these priorities, whose data points into `names`; how many are refused.
int enter(NCPriorityQueue& queue, std::initializer_list<uint8_t> priorities) {
    int refused = 0;
    char* name = names;
    for (const uint8_t priority : priorities)
        refused += queue.enqueue(name++, priority) == NCPriorityQueue::statusFull ? 1 : 0;
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

TEST(PriorityQueue, lowNumbersLeaveFirstEqualOnesInOrderAndItsCapacityOnlyGrows) {
    NCPriorityQueue queue(4);
    EXPECT_EQ(enter(queue, {5, 3, 5, 7, 1}), 1);
    const std::pair<uint8_t, int> places[] = {{255, 0}, {7, 0}, {6, 1}, {5, 1}, {4, 3}, {3, 3}, {0, 4}};
    for (const auto& [priority, place] : places)
        EXPECT_EQ(queue.find(priority), place) << "in front of equals: " << int{priority};
    queue.setCapacity(8);
    queue.setCapacity(6);
    EXPECT_EQ(drain(queue), "bacd");
    // Freed entries are used again, between full and empty.
    EXPECT_EQ(enter(queue, {255, 1, 255, 3, 255, 5, 255, 7, 0}), 1);
    EXPECT_EQ(drain(queue), "bdfhaceg");
}

} // namespace
