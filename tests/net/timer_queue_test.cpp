#include "loop_fixture.h"

#include "net/timer_queue.h"

using namespace harbolance;

namespace {

TEST(TimevalArithmetic, carriesAndBorrowsOneSecond) {
    const timeval sum = timeSum({1, 600000}, {2, 400000});
    EXPECT_EQ(std::pair(sum.tv_sec, sum.tv_usec), std::pair(4L, 0L));
    const timeval difference = timeDifference({5, 100000}, {2, 100001});
    EXPECT_EQ(std::pair(difference.tv_sec, difference.tv_usec), std::pair(2L, 999999L));
    EXPECT_TRUE(isEarlier({1, 999999}, {2, 0}) && isEarlier({2, 0}, {2, 1}) && !isEarlier({2, 1}, {2, 1}));
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

TEST_F(TimerQueue, firesWhatIsStrictlyEarlierAndOfEqualsTheFirstThenTheOthersBackwards) {
    for (const char name : {'a', 'b', 'c'})
        start(name, {10, 0});
    EXPECT_EQ(expire(), "acb");
    const std::pair<char, timeval> timers[] = {{'a', {10, 0}}, {'b', {20, 5}}, {'c', {20, 5}},
                                               {'d', {30, 0}}, {'e', {20, 4}}, {'f', {9, 0}}};
    for (const auto& [name, due] : timers)
        start(name, due);
    EXPECT_EQ(expire(20, 5), "fae");
    EXPECT_EQ(expire(), "cbd");
    EXPECT_EQ(handlers.back()->lastTime, 77) << "the time of day is told";
}

// What a callback may do to the queue that is calling it.
TEST_F(TimerQueue, callbacksMayStopOthersStartNewOnesAndExpireTheRest) {
    dpIOHandler* const victim = start('v', {40, 0});
    queue.insert({20, 0}, victim);
    start('a', {10, 0}, [&] { return queue.remove(victim) ? 1 : 0; });
    start('b', {30, 0});
    EXPECT_EQ(expire(), "abv") << "the earliest is removed, and no other";
    EXPECT_FALSE(queue.remove(victim));

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
