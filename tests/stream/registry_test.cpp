#include "stream/records.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

extern const NCTypeInfo lateBase;
const NCTypeInfo nameless(nullptr, nullptr);
const NCTypeInfo earlyDerived("TestEarly", nullptr, {&lateBase, &nameless, &NCObject::info});
const NCTypeInfo lateBase("TestLate", nullptr);

// What this program prints on the standard output when it starts with DEBUG_STATIC set and only lists tests.
std::string startUpTrace() {
    std::array<char, 4096> chunk{};
    const ssize_t length = readlink("/proc/self/exe", chunk.data(), chunk.size());
    if (length <= 0)
        return "";
    const std::string program(chunk.data(), static_cast<size_t>(length));
    FILE* pipe = popen(("DEBUG_STATIC= '" + program + "' --gtest_list_tests").c_str(), "r");
    std::string trace;
    while (pipe && fgets(chunk.data(), static_cast<int>(chunk.size()), pipe))
        trace += chunk.data();
    if (pipe)
        pclose(pipe);
    return trace;
}

TEST(ClassRegistry, keepsTheFirstOfAName) {
    static const NCTypeInfo first("TestTwice", nullptr);
    static const NCTypeInfo second("TestTwice", nullptr, {&NCObject::info});
    EXPECT_EQ(NCTypeInfo::find("TestTwice"), &first);
    EXPECT_EQ(NCTypeInfo::find("TestNever"), nullptr);
}

TEST(ClassRegistry, knowsIndirectBases) {
    EXPECT_TRUE(TestNode::info.hasBase(NCObject::info));
    EXPECT_FALSE(TestNode::info.hasBase(TestNode::info));
    EXPECT_TRUE(TestNode::info.isSameOrDerived(TestNode::info));
    EXPECT_FALSE(NCObject::info.isSameOrDerived(TestNode::info));
    TestLeaf leaf;
    EXPECT_EQ(nc_cast<Counted>(static_cast<NCTransObject*>(&leaf)), &leaf);
    EXPECT_EQ(nc_cast<TestNode>(static_cast<NCTransObject*>(&leaf)), nullptr);
    EXPECT_EQ(nc_cast<TestNode>(static_cast<NCTransObject*>(nullptr)), nullptr);
}

// Whether registrations are traced is decided by the process's first one, so this takes another process.
TEST(ClassRegistry, tracesRegistrationsWhenTheEnvironmentAsks) {
    const std::string trace = startUpTrace();
    EXPECT_NE(trace.find(
                  "Static initializating class: NCString\nThe class has the following base:\n'NCObject'\n\n"),
              std::string::npos);
    EXPECT_NE(
        trace.find(
            "Static initializating class: NCObject\nThe class is directly derived from NCTransObject\n\n"),
        std::string::npos);
    EXPECT_NE(trace.find("Static initializating class: TestEarly\nThe class has the following base:\n"
                         "(null)\n(null)\n'NCObject'\n\n"),
              std::string::npos);
    EXPECT_NE(trace.find("Static initializing class: (null)\n"), std::string::npos);
}

TEST(NCString, isNeverNullAndStaysInItsBounds) {
    NCString string(nullptr);
    EXPECT_STREQ(string.str(), "");
    string = "abc";
    string += static_cast<const char*>(nullptr);
    EXPECT_EQ(string + "d", "abcd");
    EXPECT_EQ(string + NCString("e"), "abce");
    EXPECT_EQ(string.at(2), 'c');
    EXPECT_EQ(string.at(3), '\0');
    EXPECT_EQ(string.put(0, 'X'), 1);
    EXPECT_EQ(string.put(3, 'X'), 0);
    EXPECT_EQ(string.len(), 3u);
    EXPECT_TRUE(string < "a" && string != NCString("abc") && string >= "Xbc");
    const NCString same("Xbc");
    EXPECT_TRUE(string.isEqual(&same));
    EXPECT_FALSE(string.isSame(&same));
}

} // namespace
