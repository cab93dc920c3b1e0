#include "loop_fixture.h"

#include <stdexcept>

namespace {

// Two descriptors that are ready together. Which of them goes first depends on the turns before, so each
// handler does to the other one what the test is about, and says what must hold for either order.
class Reentry : public testing::Test {
protected:
    Reentry() {
        for (int i = 0; i < 2; ++i) {
            handlers[i] = std::make_unique<Recorder>([this, i](int) { return called(i); });
            loop.link(pipes[i].in(), 0, handlers[i].get());
        }
    }

    void fillBoth() const {
        pipes[0].fill();
        pipes[1].fill();
    }
    void markBoth() {
        loop.setReady(pipes[0].in(), 0);
        loop.setReady(pipes[1].in(), 0);
    }
    int called(int index) {
        ++calls;
        return action ? action(index, 1 - index) : 0;
    }

    OpenDispatcher loop;
    Pipe pipes[2];
    std::unique_ptr<Recorder> handlers[2];
    std::function<int(int self, int other)> action;
    int calls = 0;
};

TEST_F(Reentry, handlerUnlinkedAndDestroyedEarlierInTheTurnIsNotCalled) {
    action = [&](int, int other) {
        loop.unlink(pipes[other].in());
        handlers[other].reset();
        return 0;
    };
    fillBoth();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(calls, 2);
}

TEST_F(Reentry, numberLinkedAnewInTheTurnIsNotReadyYet) {
    Recorder fresh;
    action = [&](int, int other) {
        loop.unlink(pipes[other].in());
        pipes[other].drain();
        loop.link(pipes[other].in(), 0, &fresh);
        return 0;
    };
    fillBoth();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(fresh.inputs, 0);
}

TEST_F(Reentry, resultOfAnUnlinkedHandlerIsIgnored) {
    Recorder fresh;
    for (const int result : {-1, 1}) {
        action = [&](int self, int) {
            pipes[self].drain();
            loop.unlink(pipes[self].in());
            loop.link(pipes[self].in(), 0, &fresh);
            return result;
        };
        loop.link(pipes[0].in(), 0, handlers[0].get());
        pipes[0].fill();
        EXPECT_TRUE(loop.dispatch());
        EXPECT_EQ(loop.handler(pipes[0].in(), 0), &fresh);
        EXPECT_FALSE(loop.anyReady());
    }
    EXPECT_EQ(fresh.inputs, 0);
}

TEST_F(Reentry, handlerMayDestroyItself) {
    action = [&](int self, int) {
        pipes[self].drain();
        loop.unlink(pipes[self].in());
        handlers[self].reset();
        return -1;
    };
    fillBoth();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(loop.nfds(), 0);
}

TEST_F(Reentry, innerTurnConsumesWhatTheOuterOneFound) {
    // A second call for the same octet would block in `read`.
    action = [&](int self, int) {
        pipes[self].drain();
        if (calls == 1) {
            EXPECT_TRUE(loop.poll());
        }
        return 0;
    };
    fillBoth();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(calls, 2);
}

TEST_F(Reentry, innerTurnTakesOverWhatWasMarkedReady) {
    // Nothing is in the pipes: a mark that got lost would not come back from `select`.
    action = [&](int, int) {
        if (calls == 1) {
            EXPECT_TRUE(loop.poll());
        }
        return 0;
    };
    markBoth();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(handlers[0]->inputs, 1);
    EXPECT_EQ(handlers[1]->inputs, 1);
    EXPECT_FALSE(loop.anyReady());
}

TEST_F(Reentry, exceptionLeavesTheMarksOfTheOthers) {
    action = [&](int, int) -> int { throw std::runtime_error("from a handler"); };
    markBoth();
    EXPECT_THROW(loop.dispatch(), std::runtime_error);
    EXPECT_THROW(loop.dispatch(), std::runtime_error);
    EXPECT_EQ(handlers[0]->inputs, 1);
    EXPECT_EQ(handlers[1]->inputs, 1);
    EXPECT_FALSE(loop.poll());
}

TEST_F(Reentry, privateDispatcherKeepsTheOuterOneStill) {
    Recorder inner;
    action = [&](int self, int) {
        if (calls > 1)
            return 0;
        dpDispatcher alone;
        alone.link(pipes[self].in(), 0, &inner);
        EXPECT_TRUE(alone.dispatch());
        EXPECT_EQ(calls, 1);
        return 0;
    };
    fillBoth();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(inner.inputs, 1);
    EXPECT_EQ(calls, 2);
}

TEST_F(Reentry, linkingHigherDescriptorsAndDroppingTheTopKeepsEveryTurn) {
    Pipe higher;
    Recorder fresh;
    action = [&](int self, int) {
        loop.link(higher.out(), 1, &fresh);
        return self == 1 ? -1 : 0;
    };
    fillBoth();
    EXPECT_TRUE(loop.dispatch());
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(fresh.outputs, 0);
    loop.unlink(higher.out());
    EXPECT_EQ(loop.nfds(), pipes[0].in() + 1);
}

} // namespace
