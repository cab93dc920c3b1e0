#include "loop_fixture.h"

#include "net/timer_queue.h"

#include <string>
#include <vector>

using namespace harbolance;

namespace {

TEST(TimevalArithmetic, carriesAndBorrowsOneSecond) {
    const timeval sum = timeSum({1, 600000}, {2, 400000});
    EXPECT_EQ(sum.tv_sec, 4);
    EXPECT_EQ(sum.tv_usec, 0);
    const timeval difference = timeDifference({5, 100000}, {2, 100001});
    EXPECT_EQ(difference.tv_sec, 2);
    EXPECT_EQ(difference.tv_usec, 999999);
    EXPECT_TRUE(isEarlier({1, 999999}, {2, 0}));
    EXPECT_TRUE(isEarlier({2, 0}, {2, 1}));
    EXPECT_FALSE(isEarlier({2, 1}, {2, 1}));
}

// Timers with one-letter names; `fired` spells the order in which they were called.
class TimerQueue : public testing::Test {
protected:
    dpIOHandler* named(char name, std::function<void()> then = nullptr) {
        handlers.push_back(std::make_unique<Recorder>());
        handlers.back()->onTimer = [this, name, then = std::move(then)] {
            fired += name;
            if (then)
                then();
        };
        return handlers.back().get();
    }
    std::string expireAll() {
        fired.clear();
        queue.expire({1000000, 0}, {});
        return fired;
    }

    dpTimerQueue queue;
    std::vector<std::unique_ptr<Recorder>> handlers;
    std::string fired;
};

TEST_F(TimerQueue, equalOfTheHeadGoesSecondAndLaterEqualsGoInFront) {
    queue.insert({10, 0}, named('a'));
    queue.insert({10, 0}, named('b'));
    queue.insert({10, 0}, named('c'));
    EXPECT_EQ(expireAll(), "acb");

    queue.insert({10, 0}, named('a'));
    queue.insert({20, 5}, named('b'));
    queue.insert({20, 5}, named('c'));
    queue.insert({30, 0}, named('d'));
    queue.insert({20, 4}, named('e'));
    queue.insert({9, 0}, named('f'));
    EXPECT_EQ(expireAll(), "faecbd");
}

TEST_F(TimerQueue, expiresStrictlyEarlierTimersWithThePresentTime) {
    struct : dpIOHandler {
        void timerExpired(long sec, long usec) override { seen.push_back({sec, usec}); }
        std::vector<std::pair<long, long>> seen;
    } handler;
    for (const timeval due : {timeval{10, 0}, timeval{10, 5}, timeval{10, 6}, timeval{11, 0}})
        queue.insert(due, &handler);
    queue.expire({10, 6}, {77, 7});
    EXPECT_EQ(handler.seen, (std::vector<std::pair<long, long>>{{77, 7}, {77, 7}}));
    ASSERT_NE(queue.head(), nullptr);
    EXPECT_EQ(queue.head()->usec, 6);
    queue.expire({12, 0}, {77, 8});
    EXPECT_EQ(handler.seen.size(), 4u);
    EXPECT_TRUE(queue.empty());
}

TEST_F(TimerQueue, removeTakesTheEarliestOfAHandlerOnly) {
    dpIOHandler* twice = named('t');
    queue.insert({30, 0}, twice);
    queue.insert({20, 0}, named('o'));
    queue.insert({10, 0}, twice);
    EXPECT_TRUE(queue.remove(twice));
    EXPECT_EQ(queue.head()->sec, 20);
    EXPECT_TRUE(queue.remove(twice));
    EXPECT_FALSE(queue.remove(twice));
    EXPECT_EQ(expireAll(), "o");
}

TEST_F(TimerQueue, timerStoppedByAnEarlierCallbackStaysStopped) {
    dpIOHandler* victim = named('v');
    queue.insert({10, 0}, named('a', [&] { queue.remove(victim); }));
    queue.insert({20, 0}, victim);
    queue.insert({30, 0}, named('b'));
    EXPECT_EQ(expireAll(), "ab");
    EXPECT_TRUE(queue.empty());
}

TEST_F(TimerQueue, timerStartedByACallbackWaitsForTheNextCall) {
    // Each one is due at once and starts the next: without a bound the turn would never end.
    dpIOHandler* eager = nullptr;
    eager = named('e', [&] { queue.insert({1, 0}, eager); });
    queue.insert({10, 0}, eager);
    queue.insert({20, 0}, named('o'));
    EXPECT_EQ(expireAll(), "eo");
    EXPECT_EQ(expireAll(), "e");
    EXPECT_FALSE(queue.empty());
}

TEST_F(TimerQueue, innerTurnFiresTheRestOfTheOuterOne) {
    queue.insert({10, 0}, named('a', [&] {
                     queue.expire({1000000, 0}, {});
                     fired += '.';
                 }));
    queue.insert({20, 0}, named('b'));
    queue.insert({30, 0}, named('c'));
    EXPECT_EQ(expireAll(), "abc.");
}

TEST_F(TimerQueue, handlerMayDestroyItselfInItsTimer) {
    dpIOHandler* self = named('s', [&] { fired += '!'; });
    handlers.back()->onTimer = [&] {
        auto gone = std::move(handlers.back());
        handlers.pop_back();
    };
    queue.insert({10, 0}, self);
    expireAll();
    EXPECT_TRUE(handlers.empty());
    EXPECT_TRUE(queue.empty());
}

} // namespace
