#include "stream/ncpriqueue.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Entries with these priorities go in, and out again as long as there are any: their letters, "-" for one
// that is refused.
std::string pass(NCPriorityQueue& queue, std::initializer_list<uint8_t> priorities) {
    static char letters[] = "abcdefghi";
    std::string left;
    char* letter = letters;
    for (const uint8_t priority : priorities)
        left += queue.enqueue(letter++, priority) == NCPriorityQueue::statusFull ? "-" : "";
    int status = 0;
    while (const auto* next = static_cast<const char*>(queue.dequeue(status)))
        left += *next;
    EXPECT_EQ(status, -99);
    return left;
}

TEST(PriorityQueue, lowNumbersLeaveFirstEqualOnesInOrderAndItsCapacityOnlyGrows) {
    NCPriorityQueue queue(4);
    EXPECT_EQ(pass(queue, {5, 3, 5, 7, 1}), "-bacd");
    queue.setCapacity(8);
    queue.setCapacity(6);
    // Freed entries are used again, between full and empty.
    EXPECT_EQ(pass(queue, {255, 1, 255, 3, 255, 5, 255, 7, 0}), "-bdfhaceg");
}

} // namespace
