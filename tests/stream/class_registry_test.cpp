#include "stream/records.h"

namespace {

TEST(ClassRegistry, keepsTheFirstOfANameAndKnowsIndirectBases) {
    static const NCTypeInfo first("TestTwice", nullptr);
    static const NCTypeInfo second("TestTwice", nullptr, {&NCObject::info});
    EXPECT_EQ(NCTypeInfo::find("TestTwice"), &first);
    EXPECT_EQ(NCTypeInfo::find("TestNever"), nullptr);

    EXPECT_TRUE(TestNode::info.hasBase(NCObject::info));
    EXPECT_FALSE(TestNode::info.hasBase(TestNode::info));
    EXPECT_TRUE(TestNode::info.isSameOrDerived(TestNode::info));
    EXPECT_FALSE(NCObject::info.isSameOrDerived(TestNode::info));
    TestLeaf leaf;
    EXPECT_EQ(nc_cast<Counted>(static_cast<NCTransObject*>(&leaf)), &leaf);
    EXPECT_EQ(nc_cast<TestNode>(static_cast<NCTransObject*>(&leaf)), nullptr);
    EXPECT_EQ(nc_cast<TestNode>(static_cast<NCTransObject*>(nullptr)), nullptr);
}

TEST(NCString, isNeverNullAndStaysInItsBounds) {
    NCString string(nullptr);
    EXPECT_STREQ(string.str(), "");
    string = "abc";
    string += static_cast<const char*>(nullptr);
    EXPECT_EQ(string + "d" + NCString("e"), "abcde");
    EXPECT_TRUE(string.put(0, 'X') == 1 && string.put(3, 'X') == 0 && string.at(3) == '\0');
    EXPECT_TRUE(string < "a" && string != NCString("abc") && string >= "Xbc");
    const NCString same("Xbc");
    EXPECT_TRUE(string.isEqual(&same) && !string.isSame(&same));
}

TEST(NCipcbuf, growsAndKeepsWhatIsInIt) {
    uint8_t area[16] = {'0', '1'};
    NCipcbuf buffer(area, sizeof area, nullptr, 0, false);
    buffer.advanceWrite(2);
    EXPECT_EQ(buffer.overflow(8), 0) << "to twice its size";
    EXPECT_NE(buffer.wbuf(), area);
    EXPECT_EQ(writtenTo(buffer), "01");
    EXPECT_EQ(buffer.wsize(), 32u);
    EXPECT_EQ(buffer.overflow(32), 0) << "by twice the need";
    EXPECT_EQ(buffer.wsize(), 96u);
    EXPECT_TRUE(buffer.fitsWrite(94) && !buffer.fitsWrite(95));
    EXPECT_EQ(buffer.overflow(NCipcbuf::maxSize), -1);

    fill(buffer, "abcdefgh");
    buffer.advanceRead(5);
    EXPECT_EQ(buffer.growRead(12), 0);
    EXPECT_EQ(std::string(buffer.rbuf(), buffer.rend()), "fgh");
    EXPECT_TRUE(buffer.fitsRead(9));
    EXPECT_EQ(buffer.growRead(2), -1) << "what is unread has to fit";
}

} // namespace
