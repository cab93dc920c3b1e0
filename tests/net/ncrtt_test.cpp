#include "net/ncrtt.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

namespace {

class ManualRtt : public NCrtt {
public:
    // One exchange whose reply comes after that time.
    void exchange(long sec, long usec) {
        nrexmt = 0;
        start();
        clock.tv_sec += sec;
        clock.tv_usec += usec;
        stop();
    }

    timeval clock{1000, 0};
    bool broken = false;

protected:
    int readClock(timeval& now) override {
        if (broken) {
            errno = EFAULT;
            return -1;
        }
        now = clock;
        return 0;
    }
};

TEST(Rtt, silentPeerCostsThreeSixAndThenTwentySeconds) {
    ManualRtt rtt;
    for (const int expected : {3, 6, 20, 20, 20}) {
        EXPECT_EQ(rtt.start(), expected) << rtt.nrexmt;
        ++rtt.nrexmt;
    }
    EXPECT_GT(rtt.nrexmt, NCrtt::maxRetransmissions);
    for (; rtt.nrexmt < 8; ++rtt.nrexmt)
        EXPECT_EQ(rtt.start(), 20) << rtt.nrexmt;
}

TEST(Rtt, firstTimeoutIsTruncatedAndBounded) {
    struct {
        float srtt, rttdev;
        int timeout;
    } const cases[] = {{0.25F, 0.1F, 2}, {30, 0.1F, 20},    {1.25F, 0.1F, 2}, {2, 0.125F, 2},
                       {2, 0.25F, 3},    {10, 4.5F, 19},    {19.5F, 0, 20},   {20.75F, 0, 20},
                       {-5, 0, 2},       {4e18F, 4e18F, 20}};
    for (const auto& [srtt, rttdev, timeout] : cases) {
        ManualRtt rtt;
        rtt.srtt = srtt;
        rtt.rttdev = rttdev;
        EXPECT_EQ(rtt.start(), timeout) << srtt << ' ' << rttdev;
        EXPECT_EQ(rtt.currto, timeout);
    }
}

TEST(Rtt, smoothsWhatItMeasures) {
    ManualRtt rtt;
    rtt.exchange(0, 500000);
    EXPECT_FLOAT_EQ(rtt.rtt, 0.5F);
    EXPECT_FLOAT_EQ(rtt.srtt, 0.0625F);
    EXPECT_FLOAT_EQ(rtt.rttdev, 1.25F);
    // Over a second's end, and a reply that is faster than the estimate.
    rtt.clock = {1000, 999999};
    rtt.exchange(1, -999998);
    EXPECT_FLOAT_EQ(rtt.rtt, 0.000002F);
    EXPECT_FLOAT_EQ(rtt.srtt, 0.05468775F);
    EXPECT_FLOAT_EQ(rtt.rttdev, 0.9531245F);
}

TEST(Rtt, retransmittedExchangeIsNotMeasuredAndItsTimeoutIsReused) {
    ManualRtt rtt;
    rtt.start();
    rtt.nrexmt = 1;
    EXPECT_EQ(rtt.start(), 6);
    rtt.clock.tv_sec += 9;
    rtt.stop();
    EXPECT_EQ(rtt.nxtrto, 6);
    EXPECT_EQ(rtt.rtt, 0);
    EXPECT_EQ(rtt.srtt, 0);

    rtt.nrexmt = 0;
    EXPECT_EQ(rtt.start(), 6);
    EXPECT_EQ(rtt.nxtrto, 0);
    EXPECT_EQ(rtt.started.tv_sec, 1009);
    rtt.clock.tv_sec += 1;
    rtt.stop();
    EXPECT_FLOAT_EQ(rtt.rtt, 1);
    // 0.125 + 2 * 1.375 + 0.5
    EXPECT_EQ(rtt.start(), 3);
}

TEST(Rtt, resetRestoresTheInitialValues) {
    ManualRtt rtt;
    rtt.exchange(19, 0);
    rtt.nrexmt = 5;
    rtt.start();
    rtt.stop();
    rtt.valid = 0;
    rtt.reset();
    EXPECT_EQ(rtt.valid, 1);
    EXPECT_EQ(rtt.nrexmt, 0);
    EXPECT_EQ(rtt.currto, 0);
    EXPECT_EQ(rtt.nxtrto, 0);
    EXPECT_EQ(rtt.rtt, 0);
    EXPECT_EQ(rtt.start(), 3);
}

TEST(Rtt, goesOnWithoutAClock) {
    ManualRtt rtt;
    rtt.broken = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(rtt.start(), 3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "gettimeofday:: Bad address\nNCrtt::start: gettimeofday error\n");
    testing::internal::CaptureStderr();
    rtt.stop();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "gettimeofday:: Bad address\nNCrtt::stop: gettimeofday error\n");
    EXPECT_EQ(rtt.rtt, 0);
    EXPECT_FLOAT_EQ(rtt.rttdev, 1.125F);
}

TEST(Rtt, printsItsEstimate) {
    NCrtt rtt;
    rtt.rtt = 0.25F;
    rtt.srtt = 0.5F;
    rtt.currto = 3;
    std::ostringstream out;
    out << rtt;
    EXPECT_EQ(out.str(), " rtt = 0.25, srtt = 0.5, rttdev = 1.5, currto = 3\n");
}

} // namespace
