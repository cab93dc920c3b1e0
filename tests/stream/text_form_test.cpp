#include "stream/records.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace {

std::string written(const std::function<void(NCostream&)>& write) {
    std::ostringstream text;
    NCostream out(text);
    write(out);
    return text.str();
}

TEST(TextForm, putsABlankBehindEachScalar) {
    EXPECT_EQ(
        written([](NCostream& out) {
            const short values[] = {1, -2};
            out.write('c').write(static_cast<unsigned char>(65)).write(static_cast<short>(-3)).write(7u);
            out.write(-8L).write(1.5f).write(0.25).write(values, size_t{2}).put('p');
        }),
        "c 65 -3 7 -8 1.5 0.25 1 -2 p ");
}

TEST(TextForm, readsScalarsBack) {
    std::istringstream text("c 65 -3 7 -8 1.5 0.25 1 -2 ");
    NCistream in(text);
    char c = 0;
    unsigned char uc = 0;
    short s = 0;
    unsigned int ui = 0;
    long l = 0;
    float f = 0;
    double d = 0;
    short values[2] = {};
    in.read(c).read(uc).read(s).read(ui).read(l).read(f).read(d).read(values, size_t{2});
    EXPECT_FALSE(in.failed());
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(uc, 65);
    EXPECT_EQ(s, -3);
    EXPECT_EQ(ui, 7u);
    EXPECT_EQ(l, -8);
    EXPECT_EQ(f, 1.5f);
    EXPECT_EQ(d, 0.25);
    EXPECT_EQ(values[1], -2);
    in.read(s);
    EXPECT_TRUE(in.failed());
    EXPECT_EQ(s, -3);
}

TEST(TextForm, countsAStringAndItsNul) {
    EXPECT_EQ(
        written([](NCostream& out) { out.write(static_cast<const char*>(nullptr)).write("").write("ab"); }),
        "0 1 3\"ab\"\n");
    std::istringstream text("0 1 3\"ab\"\n9 ");
    NCistream in(text);
    char* string = nullptr;
    in.read(string);
    EXPECT_EQ(string, nullptr);
    in.read(string);
    EXPECT_STREQ(string, "");
    delete[] string;
    in.read(string);
    EXPECT_STREQ(string, "ab");
    delete[] string;
    int behind = 0;
    in.read(behind);
    EXPECT_EQ(behind, 9);
}

TEST(TextForm, escapesWhatWouldNotSurvive) {
    const char text[] = "\b\t\n\f\r\"\\{}a \x01\x7f\xff";
    const std::string quoted = R"("\b\t\n\f\r\"\\\[\]a \x01\x7f\xff")"
                               "\n";
    EXPECT_EQ(written([&](NCostream& out) { out.writeCString(text); }), quoted);
    std::istringstream source(quoted);
    NCistream in(source);
    char back[64] = {};
    in.getCString(back, 64);
    EXPECT_STREQ(back, text);
}

TEST(TextForm, readsDecimalAndShortEscapesAndDropsNewlines) {
    std::istringstream source(" \n \"a\\65 b\\x9\nc\"\n8 ");
    NCistream in(source);
    char back[8] = {};
    int behind = 0;
    in.getCString(back, 8).read(behind);
    EXPECT_STREQ(back, "aAb\tc");
    EXPECT_EQ(behind, 8);
}

TEST(TextForm, tellsWhatIsWrongWithAString) {
    const struct {
        const char* source;
        const char* complaint;
    } cases[] = {
        {"  ", "NCistream::getCString: Unexpected EOF\n"},
        {"abc",
         "NCistream::getCString: Error reading Object from  stream. Make sure your 'write' function and "
         "constructor from stream are correct\n"},
        {"\"abcdef\"\n", "NCistream::getCString: String Overflow\n"},
        {"\"abcd\"\n", "NCistream::getCString: String overflow\n"},
    };
    for (const auto& each : cases) {
        std::istringstream source(each.source);
        NCistream in(source);
        char back[5] = {};
        ::testing::internal::CaptureStderr();
        in.getCString(back, 4);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), each.complaint) << each.source;
        EXPECT_TRUE(in.failed());
    }
    for (const char* cut : {"\"abc", "\"ab\\", "\"ab\\x", "\"ab\\q\""}) {
        std::istringstream source(cut);
        NCistream in(source);
        char back[64] = {};
        in.getCString(back, 64);
        EXPECT_TRUE(in.failed()) << cut;
    }
}

TEST(TextForm, carriesAGraph) {
    std::string text;
    {
        const NCRef<TestNode> a(new TestNode("first {one}"));
        a->left = a->right = NCRef<TestNode>(new TestNode("b"));
        text = written([&](NCostream& out) { out.writeObject(a.get()); });
        EXPECT_EQ(text, ": \"TestNode\"\n11 \"first \\[one\\]\"\n# 0 1 \"b\"\n: \"::\"\n: \"::\"\n@ 2 ");
        std::istringstream source(text);
        NCistream in(source);
        const NCRef<TestNode> back(nc_cast<TestNode>(in.readObject()));
        ASSERT_TRUE(back);
        EXPECT_EQ(back->name, "first {one}");
        EXPECT_EQ(back->left->name, "b");
        EXPECT_EQ(back->left.get(), back->right.get());
    }
    for (size_t length = 0; length + 2 < text.size(); ++length) {
        std::istringstream source(text.substr(0, length));
        NCistream in(source);
        ::testing::internal::CaptureStderr();
        const NCRef<TestNode> back(nc_cast<TestNode>(in.readObject()));
        ::testing::internal::GetCapturedStderr();
        EXPECT_FALSE(back) << length;
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(PrintForm, isBareTextWithOneBlankOnTheConsole) {
    const NCString string("ab");
    ::testing::internal::CaptureStdout();
    std::cout << string;
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "\nClassName: NCString\n len:  2 str:  ab \n ");
    ::testing::internal::CaptureStderr();
    NCostream(std::cerr).write("Msg Type:").write(6);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Msg Type: 6 ");
    // On any other stream it is the text encoding of the fields.
    std::ostringstream text;
    string.print(text);
    EXPECT_EQ(text.str(), "2 \"ab\"\n");
}

} // namespace
