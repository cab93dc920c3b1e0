#include "stream/octets.h"
#include "stream/records.h"

#include "stream/ncipcstream.h"

#include <gtest/gtest.h>

#include <bit>

namespace {

class BinaryForm : public ::testing::Test {
protected:
    // Reads an object from octets, in the way of a carrier: what failed before is forgotten.
    template <class T>
    NCRef<T> read(const std::string& pattern) {
        fill(inBuffer, Octets(pattern).bytes());
        in.clearFailed();
        return nc_cast<T>(in.readObject());
    }

    NCipcbuf outBuffer{64, 0};
    NCipcbuf inBuffer{0, 64};
    NCipcstream out{&outBuffer};
    NCipcstream in{&inBuffer};
};

TEST_F(BinaryForm, countsAStringTwice) {
    const struct {
        const char* text;
        const char* octets;
    } cases[] = {{"", "00 00 00 00 00 00 00 04 00 .. .. .."},
                 {"abc", "00 00 00 03 00 00 00 04 'abc' 00"},
                 {"abcd", "00 00 00 04 00 00 00 08 'abcd' 00 .. .. .."}};
    for (const auto& each : cases) {
        outBuffer.resetWrite();
        NCString(each.text).write(out);
        EXPECT_TRUE(Octets(each.octets).written(outBuffer)) << each.text;
        fill(inBuffer, Octets(each.octets).bytes());
        EXPECT_EQ(NCString(in), each.text);
        in.resetObjects();
    }
}

TEST_F(BinaryForm, givesEveryScalarWholeSlots) {
    out.write('c').write(static_cast<unsigned char>(0xFE)).put('p');
    out.write(static_cast<short>(-2)).write(static_cast<unsigned short>(0x1234));
    out.write(-3).write(0x89ABCDEFu).write(-4L).write(0x12345678UL);
    const Octets expected(
        "'c' .. .. .. FE .. .. .. 'p' .. .. .. FF FE .. .. 12 34 .. .. FF FF FF FD 89 AB CD EF "
        "FF FF FF FC 12 34 56 78");
    EXPECT_TRUE(expected.written(outBuffer));

    fill(inBuffer, expected.bytes());
    char c = 0;
    unsigned char uc = 0;
    short s = 0;
    unsigned short us = 0;
    int i = 0;
    unsigned int ui = 0;
    long l = 0;
    unsigned long ul = 0;
    in.read(c).read(uc);
    EXPECT_EQ(in.get(), 'p');
    in.read(s).read(us).read(i).read(ui).read(l).read(ul);
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(uc, 0xFE);
    EXPECT_EQ(s, -2);
    EXPECT_EQ(us, 0x1234);
    EXPECT_EQ(i, -3);
    EXPECT_EQ(ui, 0x89ABCDEFu);
    EXPECT_EQ(l, -4L);
    EXPECT_EQ(ul, 0x12345678UL);
    EXPECT_FALSE(in.failed());
}

TEST_F(BinaryForm, leavesFloatingPointInHostOrder) {
    out.write(1.0f).write(-2.5);
    const Octets expected(std::endian::native == std::endian::little ? "00 00 80 3F 00 00 00 00 00 00 04 C0"
                                                                     : "3F 80 00 00 C0 04 00 00 00 00 00 00");
    EXPECT_TRUE(expected.written(outBuffer));
    fill(inBuffer, expected.bytes());
    float f = 0;
    double d = 0;
    in.read(f).read(d);
    EXPECT_EQ(f, 1.0f);
    EXPECT_EQ(d, -2.5);
}

TEST_F(BinaryForm, writesArraysAndBlocksWithoutCount) {
    const short shorts[] = {1, -1};
    const long longs[] = {5, -1};
    const double doubles[] = {0.0};
    out.write("xyz", size_t{0}).write("fivee", size_t{5});
    out.write(shorts, size_t{2}).write(longs, size_t{2}).write(doubles, size_t{1});
    const Octets expected("'fivee' .. .. .. 00 01 .. .. FF FF .. .. 00 00 00 05 FF FF FF FF "
                          "00 00 00 00 00 00 00 00");
    EXPECT_TRUE(expected.written(outBuffer));

    fill(inBuffer, expected.bytes());
    char block[5] = {};
    short shortsBack[2] = {};
    long longsBack[2] = {};
    double doublesBack[1] = {1.0};
    in.read(block, size_t{0}).read(block, size_t{5});
    in.read(shortsBack, size_t{2}).read(longsBack, size_t{2}).read(doublesBack, size_t{1});
    EXPECT_EQ(std::string(block, 5), "fivee");
    EXPECT_EQ(shortsBack[1], -1);
    EXPECT_EQ(longsBack[1], -1L);
    EXPECT_EQ(doublesBack[0], 0.0);
    EXPECT_EQ(inBuffer.bytesUnread(), 0u);
}

TEST_F(BinaryForm, copiesACStringUpToTheLimitAndSkipsTheRest) {
    fill(inBuffer, Octets("00 00 00 08 'abcdef' 00 .. 00 00 00 00 00 00 00 07").bytes());
    char buffer[4] = {'-', '-', '-', '-'};
    in.getCString(buffer, 3);
    EXPECT_EQ(std::string(buffer, 4), "abc-");
    in.getCString(buffer, 3);
    EXPECT_EQ(buffer[0], '\0');
    int behind = 0;
    in.read(behind);
    EXPECT_EQ(behind, 7);
}

// Node 0 "a" holds twice the same node 2 "b"; ids 1 and 3 are those of the embedded names.
const std::string sharedOctets =
    "3A .. .. .. 00 00 00 0C 'TestNode' 00 .. .. .. 00 00 00 01 00 00 00 04 'a' 00 .. .. "
    "23 .. .. .. 00 00 00 00 00 00 00 01 00 00 00 04 'b' 00 .. .. "
    "3A .. .. .. 00 00 00 04 '::' 00 .. 3A .. .. .. 00 00 00 04 '::' 00 .. "
    "40 .. .. .. 00 00 00 02";

TEST_F(BinaryForm, refersToKnownClassesAndObjectsById) {
    {
        const NCRef<TestNode> a(new TestNode("a"));
        a->left = a->right = NCRef<TestNode>(new TestNode("b"));
        out.writeObject(a.get());
        EXPECT_TRUE(Octets(sharedOctets).written(outBuffer));

        const auto back = read<TestNode>(sharedOctets);
        ASSERT_TRUE(back);
        EXPECT_EQ(back->left->name, "b");
        EXPECT_EQ(back->left.get(), back->right.get());
        EXPECT_EQ(back->refCount(), 1u);
        EXPECT_EQ(back->left->refCount(), 2u);
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST_F(BinaryForm, forgetsObjectsAtTheTopAndClassesOnlyWhenTold) {
    const TestLeaf leaf;
    const std::string spelled = "3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. ";
    const std::string known = "23 .. .. .. 00 00 00 00 ";
    out.writeObject(&leaf).writeObject(&leaf);
    out.resetTypes();
    out.writeObject(&leaf);
    EXPECT_TRUE(Octets(spelled + known + spelled).written(outBuffer));
}

TEST_F(BinaryForm, spendsNoIdsOnNull) {
    const TestLeaf leaf;
    out.writeObject(nullptr).writeObject(&leaf).writeObject(&leaf);
    EXPECT_TRUE(Octets("3A .. .. .. 00 00 00 04 '::' 00 .. 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. "
                       "23 .. .. .. 00 00 00 00")
                    .written(outBuffer));
    fill(inBuffer, std::vector<uint8_t>(outBuffer.wbuf(), outBuffer.wpos()));
    EXPECT_EQ(in.readObject(), nullptr);
    EXPECT_FALSE(in.failed());
    const NCRef<Counted> first = nc_cast<Counted>(in.readObject());
    const NCRef<Counted> second = nc_cast<Counted>(in.readObject());
    EXPECT_TRUE(first && second);
}

TEST_F(BinaryForm, doesNothingWithoutABuffer) {
    NCipcstream loose;
    int value = 7;
    loose.write(1).writeCString("x").writeObject(nullptr);
    loose.read(value);
    EXPECT_EQ(value, 7);
}

TEST_F(BinaryForm, leavesDestinationAndPositionWhenDataIsShort) {
    fill(inBuffer, Octets("00 00 00 05 FF FF").bytes());
    int first = 0;
    double wide = 1.5;
    ::testing::internal::CaptureStdout();
    in.read(wide);
    EXPECT_EQ(wide, 1.5);
    EXPECT_TRUE(in.failed());
    in.read(first);
    EXPECT_EQ(first, 5);
    in.read(first);
    const std::string underflow = "NCipcbuf::underflow: Underflow occured\n";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), underflow + underflow);
    EXPECT_EQ(first, 5);
    EXPECT_EQ(inBuffer.bytesUnread(), 2u);
}

} // namespace
