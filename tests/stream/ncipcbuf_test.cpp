#include "stream/ncipcbuf.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(NCipcbuf, growsWritingByTwiceTheNeedOrTwiceItsSize) {
    NCipcbuf buffer(16, 0);
    std::memcpy(buffer.wpos(), "0123456789", 10);
    buffer.advanceWrite(10);
    EXPECT_EQ(buffer.overflow(8), 0);
    EXPECT_EQ(buffer.wsize(), 32u);
    EXPECT_EQ(buffer.bytesWritten(), 10u);
    EXPECT_EQ(std::memcmp(buffer.wbuf(), "0123456789", 10), 0);
    EXPECT_EQ(buffer.wpos()[0], 0);
    EXPECT_EQ(buffer.overflow(32), 0);
    EXPECT_EQ(buffer.wsize(), 96u);
    EXPECT_TRUE(buffer.fitsWrite(86));
    EXPECT_FALSE(buffer.fitsWrite(87));
    EXPECT_EQ(buffer.overflow(NCipcbuf::maxSize), -1);
    EXPECT_EQ(buffer.wsize(), 96u);
}

TEST(NCipcbuf, growsReadingToTheSizeAskedFor) {
    NCipcbuf buffer(0, 8);
    std::memcpy(buffer.rbuf(), "abcdefgh", 8);
    buffer.advanceEnd(8);
    buffer.advanceRead(5);
    EXPECT_FALSE(buffer.fitsRead(1));
    EXPECT_EQ(buffer.growRead(12), 0);
    EXPECT_EQ(buffer.rsize(), 12u);
    EXPECT_EQ(buffer.rpos(), buffer.rbuf());
    EXPECT_EQ(buffer.bytesUnread(), 3u);
    EXPECT_EQ(std::memcmp(buffer.rpos(), "fgh", 3), 0);
    EXPECT_TRUE(buffer.fitsRead(9));
    EXPECT_EQ(buffer.growRead(2), -1) << "what is unread has to fit";
}

TEST(NCipcbuf, refillsNothing) {
    NCipcbuf buffer(0, 8);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(buffer.underflow(), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "NCipcbuf::underflow: Underflow occured\n");
}

TEST(NCipcbuf, copiesABorrowedAreaWhenItHasToGrow) {
    uint8_t area[4] = {1, 2, 3, 4};
    NCipcbuf buffer(area, 4, nullptr, 0, false);
    buffer.advanceWrite(4);
    EXPECT_EQ(buffer.overflow(4), 0);
    EXPECT_NE(buffer.wbuf(), area);
    EXPECT_EQ(std::memcmp(buffer.wbuf(), area, 4), 0);
}

} // namespace
