#include "locd/clients.h"

#include <gtest/gtest.h>

using locd::RequestMemory;
using State = RequestMemory::State;

TEST(LocdRequestMemory, keepsTheAnswersOfTheLatestRequestsUpToALimit) {
    RequestMemory memory;
    const std::vector<uint8_t> small{1, 2, 3};
    const std::vector<uint8_t> large(RequestMemory::mostOctets / 2);
    memory.begin(1);
    memory.begin(2);
    memory.answered(2, small);
    EXPECT_TRUE(memory.isUnderWay(1));
    memory.answered(1, large);
    EXPECT_EQ(memory.answerTo(2).size(), small.size());
    memory.begin(3);
    memory.answered(3, large);
    EXPECT_EQ(memory.stateOf(1), State::forgotten) << "the oldest answer gives way";
    EXPECT_EQ(memory.stateOf(3), State::answered);
    for (uint32_t number = 10; number < 10 + RequestMemory::mostRequests; ++number)
        memory.begin(number);
    EXPECT_EQ(memory.stateOf(3), State::fresh);
    memory.answered(3, large); // it took too long
    memory.answered(10, large);
    memory.answered(11, large);
    EXPECT_EQ(memory.stateOf(10), State::answered);
}
