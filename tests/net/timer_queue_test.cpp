#include "loop_fixture.h"

#include "net/timer_queue.h"

using namespace harbolance;

namespace {

TEST(TimevalArithmetic, carriesAndBorrowsOneSecond) {
    const timeval sum = timeSum({1, 600000}, {2, 400000});
    EXPECT_EQ(std::pair(sum.tv_sec, sum.tv_usec), std::pair(4L, 0L));
    const timeval difference = timeDifference({5, 100000}, {2, 100001});
    EXPECT_EQ(std::pair(difference.tv_sec, difference.tv_usec), std::pair(2L, 999999L));
    EXPECT_TRUE(isEarlier({1, 999999}, {2, 0}));
    EXPECT_TRUE(isEarlier({2, 0}, {2, 1}));
    EXPECT_FALSE(isEarlier({2, 1}, {2, 1}));
}

// Timers with one-letter names.
class TimerQueue : public testing::Test {
protected:
    Recorder* start(char name, const timeval& due, std::function<int()> then = nullptr) {
        handlers.push_back(std::make_unique<Recorder>(name, fired));
        handlers.back()->then = std::move(then);
        queue.insert(due, handlers.back().get());
        return handlers.back().get();
    }
    // The order in which everything that is earlier was called.
    std::string expire(long sec = 1000, long usec = 0) {
        fired.clear();
        queue.expire({sec, usec}, {77, 7});
        return fired;
    }

    dpTimerQueue queue;
    std::vector<std::unique_ptr<Recorder>> handlers;
    std::string fired;
};

TEST_F(TimerQueue, equalOfTheHeadGoesSecondAndLaterEqualsGoInFront) {
    for (const char name : {'a', 'b', 'c'})
        start(name, {10, 0});
    EXPECT_EQ(expire(), "acb");
    const std::pair<char, timeval> timers[] = {{'a', {10, 0}}, {'b', {20, 5}}, {'c', {20, 5}},
                                               {'d', {30, 0}}, {'e', {20, 4}}, {'f', {9, 0}}};
    for (const auto& [name, due] : timers)
        start(name, due);
    EXPECT_EQ(expire(), "faecbd");
}

TEST_F(TimerQueue, expiresWhatIsStrictlyEarlierWithTheTimeOfDay) {
    start('b', {10, 5});
    start('c', {10, 6});
    const Recorder* const first = start('a', {10, 0});
    EXPECT_EQ(expire(10, 6), "ab");
    EXPECT_EQ(first->lastTime, 77);
    EXPECT_EQ(expire(11, 0), "c");
}

TEST_F(TimerQueue, removeTakesTheEarliestOfAHandlerOnly) {
    dpIOHandler* const twice = start('t', {30, 0});
    start('o', {20, 0});
    queue.insert({10, 0}, twice);
    EXPECT_TRUE(queue.remove(twice));
    EXPECT_EQ(queue.head()->sec, 20);
    EXPECT_TRUE(queue.remove(twice));
    EXPECT_FALSE(queue.remove(twice));
    EXPECT_EQ(expire(), "o");
}

// What a callback may do to the queue that is calling it.
TEST_F(TimerQueue, callbacksMayStopOthersStartNewOnesAndExpireTheRest) {
    dpIOHandler* const victim = start('v', {20, 0});
    start('a', {10, 0}, [&] { return queue.remove(victim) ? 1 : 0; });
    start('b', {30, 0});
    EXPECT_EQ(expire(), "ab");

    // Each one is due at once and starts the next: without a bound the turn would never end.
    dpIOHandler* eager = nullptr;
    eager = start('e', {10, 0}, [&] { return queue.insert({1, 0}, eager), 0; });
    start('o', {20, 0});
    EXPECT_EQ(expire(), "eo");
    EXPECT_EQ(expire(), "e");
    EXPECT_TRUE(queue.remove(eager));

    start('a', {10, 0}, [&] {
        queue.expire({1000, 0}, {});
        fired += '.';
        return 0;
    });
    start('b', {20, 0});
    start('c', {30, 0});
    EXPECT_EQ(expire(), "abc.");
    EXPECT_TRUE(queue.empty());
}

} // namespace
