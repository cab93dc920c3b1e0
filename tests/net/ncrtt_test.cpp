#include "net/ncrtt.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

namespace {

class Rtt : public testing::Test, public NCrtt {
protected:
    int readClock(timeval& now) override {
        errno = EFAULT;
        now = broken ? now : clock;
        return broken ? -1 : 0;
    }
    // The wait for a reply ends at that time of the clock.
    void stopAt(long sec, long usec) {
        clock = {sec, usec};
        stop();
    }
    timeval clock{1000, 0};
    bool broken = false;
};

TEST_F(Rtt, silentPeerCostsThreeSixAndThenTwentySeconds) {
    for (const int expected : {3, 6, 20, 20, 20, 20, 20}) {
        EXPECT_EQ(start(), expected) << nrexmt;
        ++nrexmt;
    }
    valid = 0;
    nxtrto = 7;
    reset();
    EXPECT_EQ(valid, 1);
    EXPECT_EQ(nrexmt + nxtrto + currto, 0);
    EXPECT_EQ(start(), 3);
}

TEST_F(Rtt, firstTimeoutIsTruncatedAndBounded) {
    const struct {
        float srtt, rttdev;
        int timeout;
    } cases[] = {{0.25F, 0.1F, 2}, {30, 0.1F, 20},  {1.25F, 0.1F, 2}, {2, 0.25F, 3},
                 {10, 4.5F, 19},   {20.75F, 0, 20}, {-5, 0, 2},       {4e18F, 4e18F, 20}};
    for (const auto& each : cases) {
        srtt = each.srtt;
        rttdev = each.rttdev;
        EXPECT_EQ(start(), each.timeout) << each.srtt << ' ' << each.rttdev;
    }
}

TEST_F(Rtt, smoothsWhatItMeasuresAndReusesTheTimeoutOfARetransmittedExchange) {
    start();
    stopAt(1000, 500000);
    EXPECT_FLOAT_EQ(rtt, 0.5F);
    // Over the end of a second, and faster than the estimate.
    clock = {1000, 999999};
    start();
    stopAt(1001, 1);
    std::ostringstream text;
    text << static_cast<const NCrtt&>(*this);
    EXPECT_EQ(text.str(), " rtt = 2e-06, srtt = 0.0546877, rttdev = 0.953125, currto = 3\n");
    nrexmt = 1;
    EXPECT_EQ(start(), 6);
    stopAt(1009, 0);
    EXPECT_FLOAT_EQ(rtt, 2e-6F) << "it is not measured";
    nrexmt = 0;
    EXPECT_EQ(start(), 6);
    stopAt(1010, 0);
    EXPECT_FLOAT_EQ(rtt, 1);
    EXPECT_EQ(start(), 2) << "0.173 + 2 * 0.951 + 0.5";
}

TEST_F(Rtt, goesOnWithoutAClock) {
    broken = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(start(), 3);
    stop();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "gettimeofday:: Bad address\nNCrtt::start: gettimeofday error\n"
              "gettimeofday:: Bad address\nNCrtt::stop: gettimeofday error\n");
    EXPECT_FLOAT_EQ(rttdev, 1.125F);
}

} // namespace
