#include "loop_fixture.h"

#include "net/epoll_dispatcher.h"
#include "net/timer.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <ctime>
#include <vector>

using namespace harbolance;

// The wall clock of this program.
static long clockShift = 0;

extern "C" int gettimeofday(timeval* now, void*) noexcept {
    *now = {time(nullptr) + clockShift, 0};
    return 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const auto status = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    now->tv_sec += clock == CLOCK_REALTIME ? clockShift : 0;
    return status;
}

namespace {

template <class T>
std::unique_ptr<dpDispatcher> make() {
    return std::make_unique<T>();
}

// What holds for every dispatcher, however it waits. The pipes are linked for reading to `a` and `b`. Which
// of them goes first in a turn depends on the turns before, so what one does to the other is tested for both.
class Dispatcher : public testing::TestWithParam<std::unique_ptr<dpDispatcher> (*)()> {
protected:
    Dispatcher() {
        loop.link(number(0), 0, &a);
        loop.link(number(1), 0, &b);
    }
    int number(int index) const { return pipes[index].in.get(); }
    void fillBoth() const {
        pipes[0].fill();
        pipes[1].fill();
    }
    void markBoth() {
        loop.setReady(number(0), 0);
        loop.setReady(number(1), 0);
    }
    // When a handler is called it does this to itself and to the other one.
    void whenCalled(const std::function<int(int self, int other)>& action) {
        a.then = [action] { return action(0, 1); };
        b.then = [action] { return action(1, 0); };
    }
    // The calls of a turn: over what is ready at this moment, or waiting.
    std::string turn() {
        timeval atOnce{};
        log.clear();
        const bool served = loop.dispatch(&atOnce);
        EXPECT_EQ(served, !log.empty());
        return log;
    }
    std::string wait() {
        log.clear();
        loop.dispatch();
        return log;
    }

    const std::unique_ptr<dpDispatcher> owned = GetParam()();
    dpDispatcher& loop = *owned;
    Pipe pipes[2];
    std::string log;
    Recorder a{'a', log}, b{'b', log}, c{'c', log}, timer{'t', log};
};

INSTANTIATE_TEST_SUITE_P(Waiting, Dispatcher, testing::Values(make<dpDispatcher>, make<dpEpollDispatcher>),
                         [](const auto& each) { return each.index == 0 ? "select" : "epoll"; });

TEST_P(Dispatcher, callsTheHandlerOfTheMaskThatIsReady) {
    const auto [near, far] = tcpPair();
    for (const int mask : {0, 1, 2})
        loop.link(near.get(), mask, &c);
    EXPECT_EQ(turn(), "C");
    EXPECT_EQ(send(far.get(), "!", 1, MSG_OOB), 1);
    pollfd urgent{near.get(), POLLPRI, 0};
    ASSERT_EQ(poll(&urgent, 1, 10'000), 1);
    EXPECT_EQ(turn(), "C!");
    for (const int mask : {0, 1, 2})
        EXPECT_EQ(loop.setReady(near.get(), mask), 1);
    EXPECT_EQ(wait(), "cC!");
    loop.setReady(near.get(), 0);
    loop.unlink(near.get());
    EXPECT_EQ(loop.setReady(near.get(), 0), 0) << "needs a handler";
    EXPECT_FALSE(loop.anyReady());
    EXPECT_EQ(loop.handler(near.get(), 0), nullptr);
    pipes[0].fill();
    EXPECT_EQ(wait(), "a");
    pipes[0].drain();
    EXPECT_EQ(turn(), "");
}

TEST_P(Dispatcher, dropsADescriptorOnANegativeResult) {
    // It is marked for writing as well: dropping it in the read step keeps the write step out.
    whenCalled([](int, int) { return -1; });
    loop.link(number(0), 1, &c);
    loop.setReady(number(0), 1);
    markBoth();
    EXPECT_EQ(wait().size(), 2u);
    fillBoth();
    EXPECT_EQ(turn(), "");
    EXPECT_EQ(loop.nfds(), 0);
}

TEST_P(Dispatcher, callsAgainWithoutWaitingOnAPositiveResult) {
    int calls = 0;
    whenCalled([&](int self, int) {
        if (++calls == 1)
            pipes[self].drain();
        return calls < 3 ? 1 : 0;
    });
    pipes[0].fill();
    EXPECT_EQ(wait(), "a");
    // The pipe is empty: these turns would sleep if they asked the system.
    EXPECT_EQ(wait() + wait(), "aa");
    EXPECT_EQ(turn(), "");
}

TEST_P(Dispatcher, waitsForTimersThroughSignalsAndAWallClockThatIsSetBackAndFiresThemLast) {
    {
        const Interruptions interruptions;
        const auto enough = Interruptions::count + 3;
        for (const Deadline limit(20); Interruptions::count < enough && !limit.passed();) {
            loop.startTimer(0, 20'000, &timer);
            EXPECT_EQ(wait(), "t");
        }
    }
    loop.startTimer(0, 1000, &timer);
    clockShift = -3600;
    timeval limit{5, 0};
    EXPECT_FALSE(loop.dispatch(&limit));
    EXPECT_EQ(log, "tt");
    EXPECT_NEAR(static_cast<double>(timer.lastTime - time(nullptr)), -3600, 600) << "the time of day is told";
    clockShift = 0;
    pipes[0].fill();
    loop.startTimer(-1, 0, &timer);
    EXPECT_EQ(wait(), "at");
}

TEST_P(Dispatcher, limitBoundsTheWaitAndIsReplacedByWhatRemains) {
    loop.startTimer(LONG_MAX, 0, &timer); // in the far future, not at once
    long sec = 0;
    long usec = 1000;
    EXPECT_FALSE(loop.dispatch(sec, usec));
    EXPECT_EQ(sec + usec, 0);
    timeval limit{0, 1000};
    EXPECT_FALSE(loop.dispatch(&limit));
    EXPECT_EQ(limit.tv_usec, 1000);
    fillBoth();
    usec = 100'000'000;
    EXPECT_TRUE(loop.dispatch(sec, usec));
    EXPECT_TRUE(sec >= 80 && usec < 1'000'000);
    sec = LONG_MAX;
    usec = 999'999;
    fillBoth();
    EXPECT_TRUE(loop.dispatch(sec, usec));
    EXPECT_GT(sec, LONG_MAX / 2);
    EXPECT_EQ(log.find('t'), std::string::npos);
}

TEST_P(Dispatcher, aClosedDescriptorIsDroppedAndItsNumberServedOnceItIsLinkedAgain) {
    for (const int mask : {0, 1, 2}) {
        Pipe closed, last;
        const int fd = closed.in.get();
        loop.link(fd, mask, &c);
        EXPECT_EQ(turn(), "");
        closed.in.close();
        pipes[0].fill();
        EXPECT_EQ(wait(), "a") << "the others are served";
        pipes[0].drain();
        EXPECT_EQ(turn(), "");
        ASSERT_EQ(dup2(last.in.get(), fd), fd);
        closed.in.reset(fd);
        loop.link(fd, 0, &c);
        last.fill();
        EXPECT_EQ(wait(), "c");
        loop.unlink(fd);
        EXPECT_EQ(turn(), "");
    }
    // A file that came under the number of one that is open elsewhere.
    const Descriptor elsewhere(dup(number(0)));
    pipes[0].fill();
    const Pipe last;
    ASSERT_EQ(dup2(last.in.get(), number(0)), number(0));
    loop.link(number(0), 0, &c);
    EXPECT_EQ(turn(), "");
    last.fill();
    EXPECT_EQ(wait(), "c");
}

TEST_P(Dispatcher, knowsWhatIsAlwaysReadyAndSleepsOverUnwatchedStates) {
    {
        const std::unique_ptr<FILE, int (*)(FILE*)> file(tmpfile(), fclose);
        for (const int mask : {0, 1, 2})
            loop.link(fileno(file.get()), mask, &c);
        EXPECT_EQ(wait() + wait(), "cCcC");
        loop.unlink(fileno(file.get()));
        EXPECT_EQ(turn(), "");
    }
    Pipe ended;
    ended.out.close();
    loop.link(ended.in.get(), 2, &c);
    loop.startTimer(0, 50'000, &timer);
    const clock_t before = clock();
    EXPECT_EQ(wait(), "t");
    EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 40) << "processor time of a wait of 50 ms";
    loop.link(ended.in.get(), 0, &c);
    EXPECT_EQ(turn() + turn(), "cc");
}

TEST_P(Dispatcher, staysWholeWhenAChildGoesItsOwnWay) {
    EXPECT_EQ(turn(), "");
    {
        const PeerProcess child([&] {
            pipes[1].fill();
            const bool served = wait() == "b";
            pipes[1].drain();
            loop.unlink(number(0));
            return served;
        });
    }
    pipes[0].fill();
    EXPECT_EQ(turn(), "a");
}

TEST_P(Dispatcher, worksWithoutADescriptorOfItsOwn) {
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    const auto poor = GetParam()();
    const int fd = number(0);
    pipes[0].fill();
    EXPECT_EQ(wait(), "a"); // a sanitizer needs descriptors too, for what it has not met before
    log.clear();
    setrlimit(RLIMIT_NOFILE, &none);
    poor->link(fd, 0, &c);
    EXPECT_TRUE(poor->dispatch());
    setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_TRUE(poor->dispatch());
    EXPECT_EQ(log, "cc");
}

// The new link of its number neither.
TEST_P(Dispatcher, whatIsUnlinkedInTheTurnIsNotCalledInItNorIsItsResultHeeded) {
    const auto replace = [&](int which) {
        loop.unlink(number(which));
        pipes[which].drain();
        loop.link(number(which), 0, &c);
    };
    for (const int result : {-1, 1}) {
        whenCalled([&](int self, int) { return replace(self), result; });
        loop.link(number(0), 0, &a);
        pipes[0].fill();
        EXPECT_EQ(wait(), "a");
        EXPECT_EQ(loop.handler(number(0), 0), &c);
        EXPECT_FALSE(loop.anyReady());
    }
    whenCalled([&](int, int other) { return replace(other), 0; });
    loop.link(number(0), 0, &a);
    fillBoth();
    EXPECT_EQ(wait().size(), 1u);
    EXPECT_EQ(log.find('c'), std::string::npos);
}

TEST_P(Dispatcher, innerTurnTakesOverWhatTheOuterOneFound) {
    const auto innerTurn = [&] {
        timeval atOnce{};
        EXPECT_TRUE(log.size() != 1 || loop.dispatch(&atOnce));
        return 0;
    };
    // A second call for the same octet would block in `read`.
    whenCalled([&](int self, int) {
        pipes[self].drain();
        return innerTurn();
    });
    fillBoth();
    EXPECT_EQ(wait().size(), 2u);
    // Nothing is in the pipes: a mark that got lost would not come back from the system.
    whenCalled([&](int, int) { return innerTurn(); });
    markBoth();
    EXPECT_EQ(wait().size(), 2u);
    EXPECT_FALSE(loop.anyReady());
}

TEST_P(Dispatcher, aDrainingHandlerIsCalledForWhatIsNewOrLeftUnreadAndForTheEnd) {
    const bool edges = GetParam() == make<dpEpollDispatcher>;
    loop.linkDraining(number(0), &a);
    pipes[0].fill();
    EXPECT_EQ(turn(), "a");
    EXPECT_EQ(turn(), edges ? "" : "a");
    loop.leftUnread(number(0));
    EXPECT_EQ(wait(), "a");

    // What the outer turn has found and not served, although nothing new comes.
    loop.linkDraining(number(1), &b);
    a.then = b.then = [&] {
        timeval atOnce{};
        EXPECT_TRUE(log.size() != 1 || loop.dispatch(&atOnce));
        return 0;
    };
    fillBoth();
    std::string calls = wait();
    EXPECT_TRUE(calls.find('a') != calls.npos && calls.find('b') != calls.npos) << calls;
    // The same when the inner turn ends by an exception, which the handler of the outer one catches.
    const Pipe third;
    pipes[0].drain();
    pipes[0].drain();
    pipes[1].drain();
    loop.linkDraining(third.in.get(), &c);
    b.then = c.then = []() -> int { throw 1; };
    a.then = [&] {
        pipes[0].drain();
        pipes[1].fill();
        third.fill();
        EXPECT_THROW(loop.dispatch(), int);
        b.then = c.then = nullptr;
        return 0;
    };
    pipes[0].fill();
    calls = wait();
    a.then = nullptr;
    calls += wait();
    EXPECT_TRUE(calls.find('b') != calls.npos && calls.find('c') != calls.npos) << calls;
    loop.unlink(third.in.get());

    pipes[0].out.reset(); // what was read first need not be the end
    loop.unlink(number(1));
    EXPECT_EQ(wait(), "a");
    EXPECT_EQ(wait(), "a");
    loop.linkDraining(number(1), &b);
    loop.link(number(1), 0, &b);
    loop.unlink(number(0));
    EXPECT_EQ(wait(), "b");
    EXPECT_EQ(wait(), "b");
}

// The steps of a turn one by one, which all dispatchers share.
class Steps : public testing::Test, public dpDispatcher {
protected:
    struct : dpIOHandler {
        int inputReady(int fd) override { return called.push_back(fd), 0; }
        std::vector<int> called;
    } noted;

    std::vector<int> turn(int nfound, const std::vector<int>& ready) {
        noted.called.clear();
        dpFdMask r, w, e;
        for (const int fd : ready)
            r.set(fd);
        notify(nfound, r, w, e);
        return noted.called;
    }
};

TEST_F(Steps, startOneDescriptorFurtherWithEachTurn) {
    const std::vector<int> fds{2, 67, 130};
    for (const int fd : fds)
        link(fd, 0, &noted);
    int firstIs67 = 0;
    for (int i = 0; i < nfds(); ++i) {
        std::vector<int> seen = turn(3, fds);
        firstIs67 += seen.at(0) == 67 ? 1 : 0;
        std::rotate(seen.begin(), std::min_element(seen.begin(), seen.end()), seen.end());
        EXPECT_EQ(seen, fds);
    }
    EXPECT_EQ(firstIs67, 65) << "from just above its lower neighbour up to itself";

    // The number found ends the walk. A bit without a handler counts; bits above the highest linked
    // descriptor do not.
    EXPECT_EQ(turn(1, fds).size(), 1u);
    EXPECT_EQ(turn(-1, fds).size(), 0u);
    EXPECT_EQ(turn(1, {3}).size(), 0u);
    EXPECT_EQ(turn(1000, {67, 200, 1023}), std::vector{67});
    for (const auto& [fd, above] : {std::pair{67, 131}, {130, 3}, {300, 3}, {-1, 3}, {2, 0}}) {
        unlink(fd);
        EXPECT_EQ(nfds(), above) << fd;
    }
}

using StepsDeathTest = Steps;

TEST_F(StepsDeathTest, endTheProcessOnABadNumberAndAnUnknownError) {
    EXPECT_EXIT(link(256, 0, &noted), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(handler(3, 3), testing::KilledBySignal(SIGABRT), "");
    const auto fail = [&] {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        errno = EINVAL;
        handleError();
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(1),
                "Dispatcher: select: Invalid argument\nDispatcher::handleError: Select error \\(22\\)\n");
}

TEST(WaitingTimer, hasOnePeriodAtATimeAndStopsWithItsEnd) {
    dpDispatcher loop;
    DSTimer(&loop).start(-1, 0); // would be called after its end
    DSTimer timer(&loop);
    timer.start(-1, 0);
    timer.start(1000, 0);
    timeval atOnce{};
    EXPECT_FALSE(loop.dispatch(&atOnce));
    EXPECT_TRUE(timer.running && !timer.expired);
    timer.start(-1, 0);
    EXPECT_FALSE(loop.dispatch());
    EXPECT_TRUE(timer.expired && !timer.running);
}

} // namespace
