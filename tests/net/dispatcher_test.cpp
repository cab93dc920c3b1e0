#include "loop_fixture.h"

#include "net/sockets.h"
#include "net/timer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <vector>

namespace {

TEST(FdMask, hasTheLayoutOfFdSet) {
    dpFdMask mask;
    EXPECT_FALSE(mask.anySet());
    for (const int fd : {0, 63, 64, 255, 1023}) {
        mask.set(fd);
        EXPECT_TRUE(FD_ISSET(fd, mask.forSelect())) << fd;
    }
    EXPECT_EQ(mask.count(), 5);
    mask.reset(64);
    EXPECT_FALSE(mask.test(64));
    FD_SET(65, mask.forSelect());
    EXPECT_TRUE(mask.test(65));
    EXPECT_TRUE(mask.anySet());
    mask.clear();
    EXPECT_FALSE(mask.anySet());
}

TEST(Dispatcher, callsTheHandlerOfTheMaskThatIsReady) {
    OpenDispatcher loop;
    Pipe pipe;
    Recorder reader;
    Recorder writer;
    loop.link(pipe.in(), 0, &reader);
    loop.link(pipe.out(), 1, &writer);
    EXPECT_EQ(loop.handler(pipe.in(), 0), &reader);
    EXPECT_EQ(loop.handler(pipe.in(), 1), nullptr);

    EXPECT_TRUE(loop.poll());
    EXPECT_EQ(reader.inputs, 0);
    EXPECT_EQ(writer.outputs, 1);

    pipe.fill();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(reader.inputs, 1);
    EXPECT_EQ(writer.outputs, 2);

    loop.unlink(pipe.out());
    pipe.drain();
    EXPECT_FALSE(loop.poll());
    EXPECT_EQ(writer.outputs, 2);
}

TEST(Dispatcher, dropsDescriptorOnNegativeResult) {
    OpenDispatcher loop;
    Pipe pipe;
    Recorder other;
    Recorder reader([](int) { return -1; });
    // The same descriptor is marked for writing: dropping it in the read step keeps the write step out.
    loop.link(pipe.in(), 0, &reader);
    loop.link(pipe.in(), 1, &other);
    loop.setReady(pipe.in(), 0);
    loop.setReady(pipe.in(), 1);
    pipe.fill();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(reader.inputs, 1);
    EXPECT_EQ(other.outputs, 0);
    EXPECT_EQ(loop.nfds(), 0);
    EXPECT_FALSE(loop.anyReady());
    EXPECT_FALSE(loop.poll());
    EXPECT_EQ(reader.inputs, 1);
}

TEST(Dispatcher, callsAgainWithoutSelectOnPositiveResult) {
    OpenDispatcher loop;
    Pipe pipe;
    Recorder reader;
    reader.onInput = [&](int) {
        if (reader.inputs == 1)
            pipe.drain();
        return reader.inputs < 3 ? 1 : 0;
    };
    loop.link(pipe.in(), 0, &reader);
    pipe.fill();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_TRUE(loop.anyReady());
    // The pipe is empty: these turns would sleep if they asked `select`.
    EXPECT_TRUE(loop.dispatch());
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(reader.inputs, 3);
    EXPECT_FALSE(loop.anyReady());
    EXPECT_FALSE(loop.poll());
}

TEST(Dispatcher, setReadyServesEachMaskAndNeedsAHandler) {
    OpenDispatcher loop;
    Pipe pipe;
    Recorder handler;
    EXPECT_EQ(loop.setReady(pipe.in(), 0), 0);
    for (const int mask : {0, 1, 2}) {
        loop.link(pipe.in(), mask, &handler);
        EXPECT_EQ(loop.setReady(pipe.in(), mask), 1);
    }
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(handler.inputs, 1);
    EXPECT_EQ(handler.outputs, 1);
    EXPECT_EQ(handler.exceptions, 1);

    loop.setReady(pipe.in(), 0);
    loop.unlink(pipe.in());
    EXPECT_FALSE(loop.anyReady());
}

TEST(Dispatcher, nfdsFallsToTheNextDescriptorWithAHandler) {
    dpDispatcher loop;
    Recorder handler;
    loop.link(7, 0, &handler);
    loop.link(40, 1, &handler);
    loop.link(63, 2, &handler);
    loop.link(255, 0, &handler);
    EXPECT_EQ(loop.nfds(), 256);
    loop.unlink(63);
    EXPECT_EQ(loop.nfds(), 256);
    loop.unlink(255);
    EXPECT_EQ(loop.nfds(), 41);
    loop.unlink(300);
    loop.unlink(-1);
    loop.unlink(40);
    EXPECT_EQ(loop.nfds(), 8);
    loop.unlink(7);
    EXPECT_EQ(loop.nfds(), 0);
}

TEST(DispatcherDeathTest, descriptorOrMaskOutOfRangeAborts) {
    dpDispatcher loop;
    Recorder handler;
    EXPECT_EXIT(loop.link(256, 0, &handler), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(loop.link(3, 3, &handler), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(loop.handler(256, 0), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(loop.handler(-1, 0), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(loop.handler(3, -1), testing::KilledBySignal(SIGABRT), "");
}

// Three linked descriptors and the orders in which consecutive turns called them.
class Rotation : public testing::Test {
protected:
    Rotation() {
        for (const int fd : fds)
            loop.link(fd, 0, &handler);
    }

    std::vector<int> turn(int nfound, const std::vector<int>& ready) {
        order.clear();
        dpFdMask r;
        dpFdMask w;
        dpFdMask e;
        for (const int fd : ready)
            r.set(fd);
        loop.notify(nfound, r, w, e);
        return order;
    }

    const std::vector<int> fds{2, 67, 130};
    std::vector<int> order;
    OpenDispatcher loop;
    Recorder handler{[this](int fd) {
        order.push_back(fd);
        return 0;
    }};
};

TEST_F(Rotation, startsOneDescriptorFurtherWithEachTurn) {
    std::vector<int> firsts;
    for (int i = 0; i < loop.nfds(); ++i) {
        std::vector<int> seen = turn(3, fds);
        ASSERT_EQ(seen.size(), 3u);
        firsts.push_back(seen.front());
        std::rotate(seen.begin(), std::min_element(seen.begin(), seen.end()), seen.end());
        EXPECT_EQ(seen, fds);
    }
    // Each descriptor goes first from just above its lower neighbour up to itself.
    EXPECT_EQ(std::count(firsts.begin(), firsts.end(), 2), 3);
    EXPECT_EQ(std::count(firsts.begin(), firsts.end(), 67), 65);
    EXPECT_EQ(std::count(firsts.begin(), firsts.end(), 130), 63);
}

TEST_F(Rotation, stopsWhenTheNumberFoundIsUsedUp) {
    EXPECT_EQ(turn(1, fds).size(), 1u);
    EXPECT_EQ(turn(0, fds).size(), 0u);
    EXPECT_EQ(turn(-1, fds).size(), 0u);
    // A bit without a handler counts; more announced than there is, or bits above the highest linked
    // descriptor, end the walk.
    EXPECT_EQ(turn(1, {3}).size(), 0u);
    EXPECT_EQ(turn(1000, {67, 200, 1023}), std::vector{67});
    for (const int fd : fds)
        loop.unlink(fd);
    EXPECT_EQ(turn(3, fds).size(), 0u);
}

TEST(DispatcherTimers, waitsForTheEarliestTimerOrTheShorterLimit) {
    OpenDispatcher loop;
    Recorder handler;
    timeval limit{5, 0};
    EXPECT_EQ(loop.calculateTimeout(&limit), &limit);
    EXPECT_EQ(loop.calculateTimeout(nullptr), nullptr);

    loop.startTimer(1000, 0, &handler);
    EXPECT_EQ(loop.calculateTimeout(&limit), &limit);
    timeval longer{2000, 0};
    for (timeval* given : {&longer, static_cast<timeval*>(nullptr)}) {
        const timeval* wait = loop.calculateTimeout(given);
        ASSERT_NE(wait, given);
        ASSERT_NE(wait, nullptr);
        EXPECT_LE(wait->tv_sec, 1000);
        EXPECT_GE(wait->tv_sec, 990);
    }

    loop.startTimer(-1, 0, &handler);
    const timeval* wait = loop.calculateTimeout(&limit);
    EXPECT_EQ(wait->tv_sec, 0);
    EXPECT_EQ(wait->tv_usec, 0);
}

TEST(DispatcherTimers, limitShorterThanTheTimerFiresNothing) {
    dpDispatcher loop;
    Recorder handler;
    loop.startTimer(1000, 0, &handler);
    long sec = 0;
    long usec = 1000;
    EXPECT_FALSE(loop.dispatch(sec, usec));
    EXPECT_EQ(sec, 0);
    EXPECT_EQ(usec, 0);
    timeval limit{0, 1000};
    EXPECT_FALSE(loop.dispatch(&limit));
    EXPECT_EQ(limit.tv_usec, 1000);
    EXPECT_EQ(handler.timers, 0);
}

TEST(DispatcherTimers, dueTimerFiresInTheSameTurnBehindTheDescriptors) {
    dpDispatcher loop;
    Pipe pipe;
    std::vector<char> order;
    Recorder reader([&](int) {
        order.push_back('r');
        return 0;
    });
    Recorder timer;
    timer.onTimer = [&] { order.push_back('t'); };
    loop.startTimer(-1, 0, &timer);
    EXPECT_FALSE(loop.dispatch());
    loop.link(pipe.in(), 0, &reader);
    pipe.fill();
    loop.startTimer(-1, 0, &timer);
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(order, (std::vector{'t', 'r', 't'}));
}

TEST(DispatcherTimers, limitIsReplacedByWhatRemains) {
    dpDispatcher loop;
    Pipe pipe;
    Recorder reader;
    loop.link(pipe.in(), 0, &reader);
    pipe.fill();
    long sec = 100;
    long usec = 1500000;
    EXPECT_TRUE(loop.dispatch(sec, usec));
    EXPECT_LE(sec, 101);
    EXPECT_GE(sec, 90);
    EXPECT_LT(usec, 1000000);
}

TEST(DispatcherTimers, waitingTimerStopsWithItsEnd) {
    dpDispatcher loop;
    {
        DSTimer unfinished(&loop);
        unfinished.start(-1, 0);
    }
    DSTimer timer(&loop);
    timer.start(1000, 0);
    timer.start(-1, 0);
    EXPECT_TRUE(timer.running);
    // One turn fires it and nothing else: the destroyed timer and the first period are out of the queue.
    EXPECT_FALSE(loop.dispatch());
    EXPECT_TRUE(timer.expired);
    EXPECT_FALSE(timer.running);
    timer.start(1000, 0);
    EXPECT_FALSE(timer.expired);
}

// Repeats a signal until the loop has met it often enough, then lets the wait end.
class Interrupted : public OpenDispatcher {
public:
    void handleError() override {
        EXPECT_EQ(errno, EINTR);
        if (++errors == 2)
            pipe.fill();
        OpenDispatcher::handleError();
    }

    Pipe pipe;
    int errors = 0;
};

TEST(DispatcherErrors, signalDoesNotEndTheWait) {
    Interrupted loop;
    Recorder reader;
    loop.link(loop.pipe.in(), 0, &reader);
    {
        const Interruptions interruptions;
        EXPECT_TRUE(loop.dispatch());
    }
    EXPECT_GE(loop.errors, 2);
    EXPECT_EQ(reader.inputs, 1);
}

TEST(DispatcherErrors, closedDescriptorIsDroppedAndTheRestServed) {
    for (const int mask : {0, 1, 2}) {
        dpDispatcher loop;
        Pipe alive;
        Pipe closed;
        Recorder reader;
        Recorder lost;
        loop.link(alive.in(), 0, &reader);
        loop.link(closed.in(), mask, &lost);
        const int fd = closed.in();
        closed.closeRead();
        alive.fill();
        EXPECT_TRUE(loop.dispatch());
        EXPECT_EQ(reader.inputs, 1);
        EXPECT_EQ(loop.handler(fd, mask), nullptr) << mask;
        EXPECT_EQ(loop.handler(alive.in(), 0), &reader);
        EXPECT_EQ(lost.inputs + lost.outputs + lost.exceptions, 0);
    }
}

TEST(DispatcherErrors, connectionCheckLooksAtReadersOnly) {
    OpenDispatcher loop;
    Pipe readOnly;
    Pipe writeOnly;
    Recorder handler;
    const int reader = readOnly.in();
    const int writer = writeOnly.in();
    loop.link(reader, 0, &handler);
    loop.link(writer, 1, &handler);
    readOnly.closeRead();
    writeOnly.closeRead();
    loop.checkConnections();
    EXPECT_EQ(loop.handler(reader, 0), nullptr);
    EXPECT_EQ(loop.handler(writer, 1), &handler);
}

TEST(DispatcherErrorsDeathTest, otherErrorEndsTheProcess) {
    OpenDispatcher loop;
    const auto fail = [&] {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        errno = EINVAL;
        loop.handleError();
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(1),
                testing::AllOf(testing::HasSubstr("Dispatcher: select: Invalid argument\n"),
                               testing::HasSubstr("Dispatcher::handleError: Select error (22)\n")));
}

TEST(DispatcherInstance, isMadeOnceAndCanBeReplaced) {
    dpDispatcher* const first = dpDispatcher::instance();
    EXPECT_EQ(dpDispatcher::instance(), first);
    dpDispatcher other;
    dpDispatcher::instance(&other);
    EXPECT_EQ(dpDispatcher::instance(), &other);
    dpDispatcher::instance(first);
}

} // namespace
