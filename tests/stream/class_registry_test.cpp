#include "stream/records.h"

#include <cstdio>
#include <filesystem>

namespace {

extern const NCTypeInfo lateBase;
const NCTypeInfo nameless(nullptr, nullptr);
const NCTypeInfo earlyDerived("TestEarly", nullptr, {&lateBase, &nameless, &NCObject::info});
const NCTypeInfo lateBase("TestLate", nullptr);

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

// What this program prints when it starts with DEBUG_STATIC set and only lists its tests. Whether
// registrations are traced is decided by the first one of a process, so this takes another.
TEST(ClassRegistry, tracesRegistrationsWhenTheEnvironmentAsks) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    FILE* pipe = popen(("DEBUG_STATIC= '" + program + "' --gtest_list_tests").c_str(), "r");
    std::string trace(1 << 16, '\0');
    trace.resize(fread(trace.data(), 1, trace.size(), pipe));
    pclose(pipe);
    for (const char* expected :
         {"Static initializating class: NCString\nThe class has the following base:\n'NCObject'\n\n",
          "Static initializating class: NCObject\nThe class is directly derived from NCTransObject\n\n",
          "Static initializating class: TestEarly\nThe class has the following "
          "base:\n(null)\n(null)\n'NCObject'\n\n",
          "Static initializing class: (null)\n"})
        EXPECT_NE(trace.find(expected), std::string::npos) << expected;
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
