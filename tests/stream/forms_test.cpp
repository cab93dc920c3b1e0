#include "console.h"
#include "stream/records.h"

#include <array>
#include <bit>
#include <functional>
#include <sstream>

namespace {

using Object = NCRef<Counted>; // an outermost one

void put(NCostream& out, const auto& value) { out.write(value); }
void put(NCostream& out, const std::string& text) { out.writeCString(text.c_str()); }
void put(NCostream& out, const Object& object) { out.writeObject(object.get()); }
template <class T, size_t count>
void put(NCostream& out, const std::array<T, count>& values) {
    out.write(values.data(), count);
}

void get(NCistream& in, auto& value) { in.read(value); }
void get(NCistream& in, std::string& text) { in.getText(text); }
void get(NCistream& in, Object& object) { object = nc_cast<Counted>(in.readObject()); }
template <class T, size_t count>
void get(NCistream& in, std::array<T, count>& values) {
    in.read(values.data(), count);
}

std::string inOctets(const std::function<void(NCostream&)>& write) {
    NCipcbuf buffer(8, 0);
    NCipcstream out(&buffer);
    write(out);
    return writtenTo(buffer);
}

std::string inText(const std::function<void(NCostream&)>& write) {
    std::ostringstream text;
    NCostream out(text);
    write(out);
    return text.str();
}

// What both forms of values or graphs look like, how they are written, and how they are read and written
// again.
template <class... T>
void expectForms(const std::string& octets, const std::string& text, const T&... values) {
    SCOPED_TRACE(text);
    const OctetListing expected(octets);
    const auto write = [&](NCostream& out) { (put(out, values), ...); };
    const auto copyOne = [](NCistream& in, NCostream& out, auto value) {
        get(in, value);
        put(out, value);
    };
    const auto copy = [&](NCistream& in, NCostream& out) { (copyOne(in, out, T{}), ...); };
    EXPECT_EQ(expected.differenceFrom(inOctets(write)), "");
    EXPECT_EQ(inText(write), text);

    NCipcbuf buffer(0, 64);
    NCipcstream in(&buffer);
    fill(buffer, expected.bytes());
    EXPECT_EQ(inText([&](NCostream& out) { copy(in, out); }), text);
    EXPECT_EQ(buffer.bytesUnread(), 0u);

    std::istringstream source(text + "7 ");
    NCistream textIn(source);
    EXPECT_EQ(expected.differenceFrom(inOctets([&](NCostream& out) { copy(textIn, out); })), "");
    int behind = 0;
    textIn.read(behind);
    EXPECT_EQ(behind, 7);
}

NCRef<TestNode> node(const char* name, const NCRef<TestNode>& left = {}, const NCRef<TestNode>& right = {}) {
    NCRef<TestNode> made(new TestNode(name));
    made->left = left;
    made->right = right;
    return made;
}

// A node without neighbours.
const std::string lone = " t'b' nil nil ";
const std::string noneText = ": \"::\"\n";
const std::string loneText = "1 \"b\"\n" + noneText + noneText;

using Forms = StreamTest;

TEST_F(Forms, sayTheSameInOctetsAndInText) {
    const auto shared = node("b");
    const auto holder = node("a", node("b"));
    Counted* const held = holder->left.get(); // has one holder; whoever borrows it may pass it
    const NCRef<Counted> borrower(new TestPair({}, {}, held));
    // Floating-point values are in the byte order of the host.
    const bool little = std::endian::native == std::endian::little;
    const auto octet = static_cast<unsigned char>(254);
    const auto sixteen = static_cast<unsigned short>(0x1234);
    expectForms("'c' .. .. .. FE .. .. ..", "c 254 ", 'c', octet);
    expectForms("FF FE .. .. 12 34 .. .. FF FF FF FD 89 AB CD EF", "-2 4660 -3 2309737967 ", short{-2},
                sixteen, -3, 0x89ABCDEFu);
    expectForms("FF FF FF FC 12 34 56 78", "-4 305419896 ", -4L, 0x12345678UL);
    expectForms(little ? "00 00 80 3F 00 00 00 00 00 00 04 C0" : "3F 80 00 00 C0 04 00 00 00 00 00 00",
                "1 -2.5 ", 1.0F, -2.5);
    expectForms("", "", std::array<char, 0>{});
    expectForms("'fivee' .. .. ..", "f i v e e ", std::array{'f', 'i', 'v', 'e', 'e'});
    expectForms("00 01 .. .. FF FF .. ..", "1 -1 ", std::array<short, 2>{1, -1});
    expectForms("00 00 00 05 FF FF FF FF", "5 -1 ", std::array<long, 2>{5, -1});
    expectForms("+0 +0 +0 +0", "0 0 ", std::array<double, 2>{});
    expectForms("00 00 00 04 00 .. .. ..", "\"\"\n", std::string(""));
    expectForms("00 00 00 04 'abc' 00", "\"abc\"\n", std::string("abc"));
    expectForms("00 00 00 08 'abcd' 00 .. .. ..", "\"abcd\"\n", std::string("abcd"));
    expectForms("nil :TestLeaf #0", noneText + ": \"TestLeaf\"\n# 0 ", Object(), Object(new TestLeaf),
                Object(new TestLeaf));
    expectForms(":TestNode" + lone + "#0" + lone, ": \"TestNode\"\n" + loneText + "# 0 " + loneText,
                Object(shared), Object(shared));
    expectForms(":TestNode t'a' #0" + lone + "@2", ": \"TestNode\"\n1 \"a\"\n# 0 " + loneText + "@ 2 ",
                Object(node("a", shared, shared)));
    // Written by its only holder and then borrowed, and the other way round.
    expectForms(":TestPair nil :TestNode t'a' #1" + lone + "nil @3",
                ": \"TestPair\"\n" + noneText + ": \"TestNode\"\n1 \"a\"\n# 1 " + loneText + noneText +
                    "@ 3 ",
                Object(new TestPair({}, holder, held)));
    expectForms(":TestPair #0 nil nil :TestNode" + lone + "#1 t'a' @2 nil nil",
                ": \"TestPair\"\n# 0 " + noneText + noneText + ": \"TestNode\"\n" + loneText +
                    "# 1 1 \"a\"\n@ 2 " + noneText + noneText,
                Object(new TestPair(borrower, holder, nullptr)));
}

TEST_F(Forms, spellAClassAgainOnlyWhenToldToForget) {
    const TestLeaf leaf;
    // The only holder of an outermost object may be inside it.
    auto* const ring = new TestNode("a");
    ring->left = ring;
    const std::string written = inOctets([&](NCostream& out) {
        out.writeObject(&leaf).writeObject(&leaf);
        out.resetTypes();
        out.writeObject(&leaf);
        out.resetTypes();
        out.writeObject(ring);
    });
    const NCRef<TestNode> held = std::move(ring->left);
    const OctetListing expected(":TestLeaf #0 :TestLeaf :TestNode t'a' @0 nil");
    EXPECT_EQ(expected.differenceFrom(written), "");
}

TEST(BinaryForm, copiesACStringUpToTheLimitAndLeavesAllAsItIsWhenDataIsShort) {
    NCipcbuf buffer(0, 64);
    NCipcstream in(&buffer);
    fill(buffer, octets("00 00 00 08 'abcdef' 00 .. 00 00 00 00 00 00 00 07 FF FF"));
    char copy[4] = {'-', '-', '-', '-'};
    in.getCString(copy, 3);
    EXPECT_EQ(std::string(copy, 4), "abc-");
    in.getCString(copy, 3);
    EXPECT_EQ(copy[0], '\0');
    int value = 0;
    double wide = 1.5;
    const Captured complaints(std::cout);
    in.read(wide);
    EXPECT_EQ(wide, 1.5);
    EXPECT_TRUE(in.failed());
    in.read(value).read(value);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(buffer.bytesUnread(), 2u);
    const std::string underflow = "NCipcbuf::underflow: Underflow occured\n";
    EXPECT_EQ(complaints.text(), underflow + underflow);

    NCipcstream loose;
    loose.write(1).writeCString("x").writeObject(nullptr);
    loose.read(value);
    EXPECT_EQ(value, 7) << "without a buffer nothing happens";
}

TEST(TextForm, countsAStringAndTakesEveryEscape) {
    const std::string text =
        inText([](NCostream& out) { out.write(static_cast<const char*>(nullptr)).write("").write("ab"); });
    EXPECT_EQ(text, "0 1 3\"ab\"\n");
    std::istringstream source(text + "9 \n \"a\\65 b\\x9\nc\"\n9 ");
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
        {"\"ab\\x", ""},
        {"\"ab\\q\"", ""},
        {"\"a\\x00\"", ""},
    };
    for (const auto& [text, complaint] : cases) {
        std::istringstream source(text);
        NCistream in(source);
        char back[5] = {};
        const Captured complaints(std::cerr);
        in.getCString(back, 4);
        EXPECT_EQ(complaints.text(), complaint) << text;
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
    EXPECT_EQ(printed(string), "\nClassName: NCString\n len:  2 str:  ab \n ");
    const Captured errors(std::cerr);
    NCostream(std::cerr).write("Msg Type:").write(6);
    EXPECT_EQ(errors.text(), "Msg Type: 6 ");
    std::ostringstream text;
    string.print(text);
    EXPECT_EQ(text.str(), "2 \"ab\"\n") << "on any other stream the text form of the fields";
}

} // namespace
