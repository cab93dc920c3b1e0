#include "stream/records.h"

#include <array>
#include <bit>
#include <functional>
#include <iostream>
#include <sstream>

namespace {

// One value or graph: what both forms look like, how it is written, and how it is read and written again.
struct Form {
    std::string octets;
    std::string text;
    std::function<void(NCostream&)> write;
    std::function<void(NCistream&, NCostream&)> copy;
};

template <class T>
void copyValue(NCistream& in, NCostream& out) {
    T value{};
    in.read(value);
    out.write(value);
}
template <class... T>
Form values(std::string octets, std::string text, T... values) {
    return {std::move(octets), std::move(text), [=](NCostream& out) { (out.write(values), ...); },
            [](NCistream& in, NCostream& out) { (copyValue<T>(in, out), ...); }};
}

template <class T, size_t count>
Form array(std::string octets, std::string text, std::array<T, count> values) {
    return {std::move(octets), std::move(text), [=](NCostream& out) { out.write(values.data(), count); },
            [](NCistream& in, NCostream& out) {
                std::array<T, count> read{};
                in.read(read.data(), count);
                out.write(read.data(), count);
            }};
}

Form string(std::string octets, std::string text, const char* value) {
    return {std::move(octets), std::move(text), [=](NCostream& out) { out.writeCString(value); },
            [](NCistream& in, NCostream& out) {
                std::string read;
                in.getText(read);
                out.writeCString(read.c_str());
            }};
}

// Each an outermost object, or nothing.
Form objects(std::string octets, std::string text, const std::vector<NCRef<Counted>>& list) {
    const auto write = [list](NCostream& out) {
        for (const auto& object : list)
            out.writeObject(object.get());
    };
    return {std::move(octets), std::move(text), write, [count = list.size()](NCistream& in, NCostream& out) {
                for (size_t i = 0; i < count; ++i)
                    out.writeObject(NCRef<Counted>(nc_cast<Counted>(in.readObject())).get());
            }};
}

NCRef<TestNode> node(const char* name, const NCRef<TestNode>& left = {}, const NCRef<TestNode>& right = {}) {
    NCRef<TestNode> made(new TestNode(name));
    made->left = left;
    made->right = right;
    return made;
}

const std::string none = "3A .. .. .. 00 00 00 04 '::' 00 .. ";
const std::string noneText = ": \"::\"\n";
const std::string nodeTag = "3A .. .. .. 00 00 00 0C 'TestNode' 00 .. .. .. ";
const std::string leafTag = "3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. ";
const std::string pairTag = "3A .. .. .. 00 00 00 0C 'TestPair' 00 .. .. .. ";
const std::string a = "00 00 00 01 00 00 00 04 'a' 00 .. .. ";
const std::string b = "00 00 00 01 00 00 00 04 'b' 00 .. .. ";

std::string known(int type) { return "23 .. .. .. 00 00 00 0" + std::to_string(type) + ' '; }
std::string again(int id) { return "40 .. .. .. 00 00 00 0" + std::to_string(id) + ' '; }

std::vector<Form> forms() {
    const auto shared = node("b");
    const auto holder = node("a", node("b"));
    Counted* const held = holder->left.get(); // has one holder; whoever borrows it may pass it
    NCRef<Counted> borrower(new TestPair({}, {}, held));
    // Floating-point values are in the byte order of the host.
    const bool little = std::endian::native == std::endian::little;
    const auto octet = static_cast<unsigned char>(254);
    const auto sixteen = static_cast<unsigned short>(0x1234);
    return {
        values("'c' .. .. .. FE .. .. ..", "c 254 ", 'c', octet),
        values("FF FE .. .. 12 34 .. .. FF FF FF FD 89 AB CD EF", "-2 4660 -3 2309737967 ", short{-2},
               sixteen, -3, 0x89ABCDEFu),
        values("FF FF FF FC 12 34 56 78", "-4 305419896 ", -4L, 0x12345678UL),
        values(little ? "00 00 80 3F 00 00 00 00 00 00 04 C0" : "3F 80 00 00 C0 04 00 00 00 00 00 00",
               "1 -2.5 ", 1.0F, -2.5),
        array("", "", std::array<char, 0>{}),
        array("'fivee' .. .. ..", "f i v e e ", std::array{'f', 'i', 'v', 'e', 'e'}),
        array("00 01 .. .. FF FF .. ..", "1 -1 ", std::array<short, 2>{1, -1}),
        array("00 00 00 05 FF FF FF FF", "5 -1 ", std::array<long, 2>{5, -1}),
        array("00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", "0 0 ", std::array<double, 2>{}),
        string("00 00 00 04 00 .. .. ..", "\"\"\n", ""),
        string("00 00 00 04 'abc' 00", "\"abc\"\n", "abc"),
        string("00 00 00 08 'abcd' 00 .. .. ..", "\"abcd\"\n", "abcd"),
        string("00 00 00 10 08 09 0A 0C 0D 22 5C 7B 7D 61 20 01 7F FF 00 ..",
               R"("\b\t\n\f\r\"\\\[\]a \x01\x7f\xff")"
               "\n",
               "\b\t\n\f\r\"\\{}a \x01\x7f\xff"),
        objects(none + leafTag + known(0), noneText + ": \"TestLeaf\"\n# 0 ",
                {nullptr, new TestLeaf, new TestLeaf}),
        objects(nodeTag + b + none + none + known(0) + b + none + none,
                ": \"TestNode\"\n1 \"b\"\n" + noneText + noneText + "# 0 1 \"b\"\n" + noneText + noneText,
                {shared, shared}),
        objects(nodeTag + a + known(0) + b + none + none + again(2),
                ": \"TestNode\"\n1 \"a\"\n# 0 1 \"b\"\n" + noneText + noneText + "@ 2 ",
                {node("a", shared, shared)}),
        // Written by its only holder and then borrowed, and the other way round.
        objects(pairTag + none + nodeTag + a + known(1) + b + none + none + none + again(3),
                ": \"TestPair\"\n" + noneText + ": \"TestNode\"\n1 \"a\"\n# 1 1 \"b\"\n" + noneText +
                    noneText + noneText + "@ 3 ",
                {new TestPair({}, holder, held)}),
        objects(pairTag + known(0) + none + none + nodeTag + b + none + none + known(1) + a + again(2) +
                    none + none,
                ": \"TestPair\"\n# 0 " + noneText + noneText + ": \"TestNode\"\n1 \"b\"\n" + noneText +
                    noneText + "# 1 1 \"a\"\n@ 2 " + noneText + noneText,
                {new TestPair(borrower, holder, nullptr)}),
    };
}

TEST(Forms, sayTheSameInOctetsAndInText) {
    for (const Form& form : forms()) {
        NCipcbuf outBuffer(8, 0);
        NCipcbuf inBuffer(0, 64);
        NCipcstream out(&outBuffer);
        NCipcstream in(&inBuffer);
        form.write(out);
        EXPECT_EQ(OctetListing(form.octets).differenceFrom(writtenTo(outBuffer)), "") << form.text;
        std::ostringstream text;
        NCostream textOut(text);
        form.write(textOut);
        EXPECT_EQ(text.str(), form.text);

        fill(inBuffer, octets(form.octets));
        std::ostringstream copied;
        NCostream copyOut(copied);
        form.copy(in, copyOut);
        EXPECT_EQ(copied.str(), form.text);
        EXPECT_EQ(inBuffer.bytesUnread(), 0u) << form.text;

        std::istringstream source(form.text + "7 ");
        NCistream textIn(source);
        outBuffer.resetWrite();
        out.resetTypes();
        form.copy(textIn, out);
        EXPECT_EQ(OctetListing(form.octets).differenceFrom(writtenTo(outBuffer)), "") << form.text;
        int behind = 0;
        textIn.read(behind);
        EXPECT_EQ(behind, 7) << form.text;
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(Forms, spellAClassAgainOnlyWhenToldToForget) {
    NCipcbuf buffer(64, 0);
    NCipcstream out(&buffer);
    const TestLeaf leaf;
    out.writeObject(&leaf).writeObject(&leaf);
    out.resetTypes();
    out.writeObject(&leaf);
    // The only holder of an outermost object may be inside it.
    auto* const ring = new TestNode("a");
    ring->left = ring;
    out.resetTypes();
    out.writeObject(ring);
    const NCRef<TestNode> held = std::move(ring->left);
    EXPECT_EQ(OctetListing(leafTag + known(0) + leafTag + nodeTag + a + again(0) + none)
                  .differenceFrom(writtenTo(buffer)),
              "");
}

TEST(BinaryForm, copiesACStringUpToTheLimitAndSkipsTheRest) {
    NCipcbuf buffer(0, 64);
    NCipcstream in(&buffer);
    fill(buffer, octets("00 00 00 08 'abcdef' 00 .. 00 00 00 00 00 00 00 07"));
    char copy[4] = {'-', '-', '-', '-'};
    in.getCString(copy, 3);
    EXPECT_EQ(std::string(copy, 4), "abc-");
    in.getCString(copy, 3);
    EXPECT_EQ(copy[0], '\0');
    int behind = 0;
    in.read(behind);
    EXPECT_EQ(behind, 7);
}

TEST(BinaryForm, leavesDestinationAndPositionWhenDataIsShort) {
    NCipcbuf buffer(0, 64);
    NCipcstream in(&buffer);
    fill(buffer, octets("00 00 00 05 FF FF"));
    int value = 0;
    double wide = 1.5;
    ::testing::internal::CaptureStdout();
    in.read(wide);
    EXPECT_EQ(wide, 1.5);
    EXPECT_TRUE(in.failed());
    in.read(value).read(value);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(buffer.bytesUnread(), 2u);
    const std::string underflow = "NCipcbuf::underflow: Underflow occured\n";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), underflow + underflow);

    NCipcstream loose;
    loose.write(1).writeCString("x").writeObject(nullptr);
    loose.read(value);
    EXPECT_EQ(value, 5) << "without a buffer nothing happens";
}

TEST(TextForm, countsAStringAndTakesEveryEscape) {
    std::ostringstream text;
    NCostream(text).write(static_cast<const char*>(nullptr)).write("").write("ab");
    EXPECT_EQ(text.str(), "0 1 3\"ab\"\n");
    std::istringstream source(text.str() + "9 \n \"a\\65 b\\x9\nc\"\n9 ");
    NCistream in(source);
    for (const char* expected : {static_cast<const char*>(nullptr), "", "ab", "aAb\tc"}) {
        char* string = nullptr;
        in.read(string);
        EXPECT_STREQ(string, expected);
        delete[] string;
    }
    int behind = 0;
    in.read(behind).read(behind);
    EXPECT_TRUE(in.failed());
    EXPECT_EQ(behind, 9);
}

TEST(TextForm, tellsWhatIsWrongWithAString) {
    const std::string eof = "NCistream::getCString: Unexpected EOF\n";
    const std::pair<const char*, std::string> cases[] = {
        {"  ", eof},
        {"abc",
         "NCistream::getCString: Error reading Object from  stream. Make sure your 'write' function and "
         "constructor from stream are correct\n"},
        {"\"abcdef\"\n", "NCistream::getCString: String Overflow\n"},
        {"\"abcd\"\n", "NCistream::getCString: String overflow\n"},
        {"\"ab", ""},
        {"\"ab\\", ""},
        {"\"ab\\x", ""},
        {"\"ab\\q\"", ""},
        {"\"a\\x00\"", ""},
    };
    for (const auto& [text, complaint] : cases) {
        std::istringstream source(text);
        NCistream in(source);
        char back[5] = {};
        ::testing::internal::CaptureStderr();
        in.getCString(back, 4);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), complaint) << text;
        EXPECT_TRUE(in.failed()) << text;
    }
}

TEST(TextForm, takesAWordOfTheStandardInputAsItIs) {
    std::istringstream typed("longer words");
    std::streambuf* const keyboard = std::cin.rdbuf(typed.rdbuf());
    NCistream in(std::cin);
    char buffer[16] = "x";
    char* text = buffer;
    in.read(text);
    EXPECT_STREQ(buffer, "longer");
    std::cin.width(4);
    in.read(text);
    EXPECT_STREQ(buffer, "wor") << "the width bounds it";
    std::cin.rdbuf(keyboard);
}

TEST(PrintForm, isBareTextWithOneBlankOnTheConsole) {
    const NCString string("ab");
    ::testing::internal::CaptureStdout();
    std::cout << string;
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "\nClassName: NCString\n len:  2 str:  ab \n ");
    ::testing::internal::CaptureStderr();
    NCostream(std::cerr).write("Msg Type:").write(6);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Msg Type: 6 ");
    std::ostringstream text;
    string.print(text);
    EXPECT_EQ(text.str(), "2 \"ab\"\n") << "on any other stream the text form of the fields";
}

} // namespace
