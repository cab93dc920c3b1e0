#include "marshal/exception/vexcept.h"
#include "marshal/text/vstr.h"
#include "marshal/text/vstream.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

using namespace harbolance;

namespace {

// What a standard stream prints while this lives.
class Captured {
public:
    explicit Captured(std::ostream& stream) : stream_(stream), saved_(stream.rdbuf(text_.rdbuf())) {}
    ~Captured() { stream_.rdbuf(saved_); }
    std::string text() const { return text_.str(); }

private:
    std::ostream& stream_;
    std::ostringstream text_;
    std::streambuf* saved_;
};

template <class Write>
std::string written(Write write) {
    std::ostringstream text;
    TRXostream stream(text);
    write(stream);
    return text.str();
}

TEST(TextOutput, followsEachValueWithABlank) {
    const auto values = [](TRXostream& out) {
        out << 'A' << CORBA_Octet{200} << CORBA_Short{-2} << CORBA_UShort{3} << -4 << 5u << -6L << 7UL << 1.5f
            << 0.25 << -8LL << 9ULL << L'z' << L"ab";
    };
    EXPECT_EQ(written(values), "65 200 -2 3 -4 5 -6 7 1.5 0.25 -8 9 122 3 97 98 0 ");
    const int numbers[] = {1, 2, 3};
    EXPECT_EQ(written([&](TRXostream& out) { out.write(numbers, 3).put('x').write_raw("yz", 2); }),
              "1 2 3 xyz");
    EXPECT_EQ(written([](TRXostream& out) { out << std::endl; }), "\n");
}

TEST(TextOutput, quotesStringsBehindTheirLength) {
    EXPECT_EQ(written([](TRXostream& out) { out << "abc"; }), "4\"abc\"\n");
    EXPECT_EQ(written([](TRXostream& out) { out << "" << static_cast<const char*>(nullptr); }), "1 0 ");
    EXPECT_EQ(written([](TRXostream& out) { out << "\b\t\n\f\r\"\\{}\x01\xff"; }),
              R"(12"\b\t\n\f\r\"\\\[\]\x01\xff")"
              "\n");
}

TEST(TextOutput, isPlainOnTheConsole) {
    Captured out(std::cout);
    TRXostream stream(std::cout);
    stream << "two words" << static_cast<const char*>(nullptr) << 3 << "";
    EXPECT_EQ(out.text(), "two words3 ");
}

TEST(TextInput, readsWhatWasWritten) {
    std::stringstream text;
    TRXostream out(text);
    out << "a \"b\" {c}\\ \x01\xff\n"
        << 'A' << CORBA_Octet{200} << -6L << 0.25 << "" << L"wide" << static_cast<const char*>(nullptr) << 77;
    TRXistream in(text);
    CORBA_String_var string;
    CORBA_String_var empty;
    CORBA_String_var null;
    CORBA_WString_var wide;
    char letter = 0;
    CORBA_Octet octet = 0;
    long number = 0;
    double fraction = 0;
    int last = 0;
    in >> string >> letter >> octet >> number >> fraction >> empty >> wide >> null >> last;
    EXPECT_STREQ(string, "a \"b\" {c}\\ \x01\xff\n");
    EXPECT_EQ(letter, 'A');
    EXPECT_EQ(octet, 200);
    EXPECT_EQ(number, -6);
    EXPECT_EQ(fraction, 0.25);
    EXPECT_STREQ(empty, "");
    EXPECT_STREQ(wide, L"wide");
    EXPECT_EQ(null.in(), nullptr);
    EXPECT_EQ(last, 77);
    EXPECT_TRUE(text.good());
}

TEST(TextInput, decodesEscapesAndIgnoresRawNewlines) {
    std::istringstream text("  \"a\nb\\x41\\66\\[\"rest");
    TRXistream in(text);
    char buffer[8] = {};
    in.getCString(buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "abAB{");
    EXPECT_EQ(in.get(), 'r');
}

TEST(TextInput, reportsTextThatIsNoString) {
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"\"abcdefgh\"", "TRXistream::getCString: String Overflow\n"},
        {"\"abc", "TRXistream::getCString: Unexpected EOF\n"},
        {"\"abc\\", "TRXistream::getCString: Unexpected EOF\n"},
        {"  ", "TRXistream::getCString: Unexpected EOF\n"},
        {"abc", "TRXistream::getCString: Error reading Object from  stream. Make sure your 'write' "
                "function and constructor from stream are correct\n"},
    };
    for (const Case& c : cases) {
        std::istringstream text(c.text);
        TRXistream in(text);
        char buffer[8] = "before";
        Captured errors(std::cerr);
        in.getCString(buffer, sizeof buffer);
        EXPECT_EQ(errors.text(), c.message) << c.text;
        EXPECT_STREQ(buffer, "before") << c.text;
    }
}

// The announced length is an attacker's: what is allocated grows with what is there.
TEST(TextInput, doesNotTrustALength) {
    Captured errors(std::cerr);
    std::istringstream narrow("4294967295\"abc");
    CORBA_String_var string;
    TRXistream in(narrow);
    in >> string;
    EXPECT_STREQ(string, "");
    std::istringstream wide("4294967295 97 98 ");
    CORBA_WString_var holder;
    TRXistream fromWide(wide);
    fromWide >> holder;
    EXPECT_EQ(std::wstring(holder).substr(0, 2), L"ab");
    std::istringstream huge("99999999999 ");
    CORBA_ULong count = 1;
    TRXistream(huge) >> count;
    EXPECT_EQ(count, 0u);
}

TEST(TextInput, needsNothingBehindItsLastValue) {
    std::istringstream text("4\"abc\"");
    CORBA_String_var string;
    TRXistream in(text);
    in >> string;
    EXPECT_STREQ(string, "abc");
    EXPECT_FALSE(text.fail());
}

TEST(TextForm, isDecimalOnStreamsThatAreSetToAnother) {
    std::stringstream text;
    text << std::hex << std::showbase;
    TRXostream(text) << 255 << "0123456789abcdef";
    EXPECT_EQ(text.str(), "255 17\"0123456789abcdef\"\n");
    int number = 0;
    CORBA_String_var string;
    TRXistream in(text);
    in >> number >> string;
    EXPECT_EQ(number, 255);
    EXPECT_STREQ(string, "0123456789abcdef");
}

TEST(TypecodePositions, areRememberedUntilReset) {
    static int cleaned;
    cleaned = 0;
    int object;
    auto* typecode = reinterpret_cast<CORBA_TypeCode*>(&object);
    std::ostringstream text;
    {
        TRXostream out(text);
        out.cleanup([](CORBA_TypeCode*) { ++cleaned; });
        EXPECT_THROW(out.lookup_typecode(typecode), CORBA_OBJECT_NOT_EXIST);
        out.store_typecode(typecode);
        EXPECT_EQ(out.lookup_typecode(typecode), 0);
        EXPECT_THROW(out.store_typecode(typecode), CORBA_BAD_PARAM);
        out.depth(3);
        out.reset_typecodes();
        EXPECT_EQ(out.depth(), 0);
        EXPECT_EQ(cleaned, 1);
        EXPECT_THROW(out.lookup_typecode(typecode), CORBA_OBJECT_NOT_EXIST);
        out.store_typecode(typecode);
    }
    EXPECT_EQ(cleaned, 2);

    std::istringstream source;
    TRXistream in(source);
    in.store_typecode(8, typecode);
    EXPECT_EQ(in.lookup_typecode(8), typecode);
    EXPECT_THROW(in.lookup_typecode(4), CORBA_OBJECT_NOT_EXIST);
    int other;
    EXPECT_THROW(in.store_typecode(8, reinterpret_cast<CORBA_TypeCode*>(&other)), CORBA_BAD_PARAM);
}

} // namespace
