#include "marshal/exception/vexcept.h"
#include "marshal/support.h"
#include "marshal/text/vstr.h"

namespace {

TEST(Strings, nullIsItsOwnValueAndComesFirst) {
    EXPECT_EQ(CORBA_string_dup(nullptr), nullptr);
    EXPECT_EQ(CORBA_wstring_dup(nullptr), nullptr);
    EXPECT_EQ(CORBA_string_hash(nullptr), 0u);
    EXPECT_EQ(CORBA_wstring_hash(nullptr), 0u);
    CORBA_string_free(nullptr);
    CORBA_wstring_free(nullptr);
    EXPECT_EQ(CORBA_string_compare(nullptr, nullptr), 0);
    EXPECT_EQ(CORBA_string_compare(nullptr, ""), -1);
    EXPECT_EQ(CORBA_string_compare("", nullptr), 1);
    EXPECT_LT(CORBA_string_compare("a", "b"), 0);
    EXPECT_EQ(CORBA_wstring_compare(nullptr, L""), -1);
    EXPECT_GT(CORBA_wstring_compare(L"b", L"a"), 0);
    EXPECT_EQ(CORBA_wstring_hash(L"abc"), CORBA_string_hash("abc"));
    EXPECT_EQ(CORBA_wstring_hash(L"\x1ff"), 0x7fffffffu); // the low octet counts, signed
}

TEST(StringVar, ownsPointersAndCopiesTheRest) {
    CORBA_String_var empty;
    EXPECT_EQ(empty.inout(), TRXNullString);
    CORBA_string_free(empty); // ignored: the holder is destroyed after this as well
    char* owned = CORBA_string_dup("owned");
    CORBA_String_var a(owned), b = a;
    EXPECT_NE(static_cast<char*>(b), owned);
    EXPECT_STREQ(b, "owned");
    b = static_cast<const char*>("borrowed");
    const CORBA_String_var& self = a;
    a = self;
    CORBA_String_var taken(a._retn());
    EXPECT_EQ(static_cast<char*>(taken), owned);
    EXPECT_EQ(static_cast<char*>(a), TRXNullString);
    taken.out();
    std::ostringstream narrow;
    narrow << b << taken << CORBA_WString_var(L"z\u00e9\u20ac\U0001f600") << CORBA_WString_var();
    EXPECT_EQ(narrow.str(), "borrowed(null)z\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80(null)");
    std::wostringstream wide;
    wide << CORBA_WString_var(L"wide") << CORBA_WString_var();
    EXPECT_EQ(wide.str(), L"wide(null)");
}

TEST(Text, quotesStringsWhateverTheStreamIsSetToAndIsPlainOnTheConsole) {
    const char* const escapes = "\b\t\n\f\r\"\\{}\x01\xff";
    std::stringstream text;
    text << std::hex << std::showbase;
    TRXostream(text) << 255 << static_cast<const char*>(nullptr) << escapes << std::endl;
    EXPECT_EQ(text.str(), "255 0 "
                          R"(12"\b\t\n\f\r\"\\\[\]\x01\xff")"
                          "\n\n");
    text << "  \"a\nb\\x41\\66\\[\"rest"; // raw newlines are no part of a string
    TRXistream in(text);
    int number = 0;
    CORBA_String_var null, string;
    in >> number >> null >> string;
    EXPECT_EQ(number, 255);
    EXPECT_EQ(null.in(), nullptr);
    EXPECT_STREQ(string, escapes);
    char buffer[8] = {};
    in.getCString(buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "abAB{");
    EXPECT_EQ(in.get(), 'r');
    const Captured out(std::cout);
    TRXostream stream(std::cout);
    stream << "two words" << static_cast<const char*>(nullptr) << 3 << "";
    stream.put('x').write_raw("yz", 2);
    EXPECT_EQ(out.text(), "two words3 xyz");
}

TEST(TextInput, reportsTextThatIsNoString) {
    const std::pair<const char*, const char*> cases[] = {
        {"\"abcdefgh\"", "String Overflow\n"},
        {"\"abc", "Unexpected EOF\n"},
        {"\"abc\\", "Unexpected EOF\n"},
        {"  ", "Unexpected EOF\n"},
        {"abc", "Error reading Object from  stream. Make sure your 'write' function and constructor from "
                "stream are correct\n"},
    };
    for (const auto& [content, message] : cases) {
        std::istringstream text(content);
        char buffer[8] = "before";
        const Captured errors(std::cerr);
        TRXistream(text).getCString(buffer, sizeof buffer);
        EXPECT_EQ(errors.text(), std::string("TRXistream::getCString: ") + message) << content;
        EXPECT_STREQ(buffer, "before") << content;
    }
}

// The announced length is an attacker's: what is allocated grows with what is there.
TEST(TextInput, doesNotTrustALength) {
    const Captured errors(std::cerr);
    std::istringstream narrow("4294967295\"abc"), wide("4294967295 97 98 "), huge("99999999999 ");
    CORBA_String_var string;
    fromText(narrow, string);
    EXPECT_STREQ(string, "");
    CORBA_WString_var holder;
    fromText(wide, holder);
    EXPECT_EQ(std::wstring(holder).substr(0, 2), L"ab");
    CORBA_ULong count = 1;
    fromText(huge, count);
    EXPECT_EQ(count, 0u);
    std::istringstream last("4\"abc\""); // nothing needs to stand behind the last value
    fromText(last, string);
    EXPECT_STREQ(string, "abc");
    EXPECT_FALSE(last.fail());
}

TEST(StreamTypeCodes, areStoredOnceUntilReset) {
    std::stringstream text;
    TRXostream out(text);
    EXPECT_THROW(out.lookup_typecode(_tc_long), CORBA_OBJECT_NOT_EXIST);
    out.store_typecode(_tc_long);
    EXPECT_THROW(out.store_typecode(_tc_long), CORBA_BAD_PARAM);
    out.depth(3);
    out.reset_typecodes();
    EXPECT_EQ(out.depth(), 0);
    EXPECT_NO_THROW(out.store_typecode(_tc_long));
    TRXistream in(text);
    in.store_typecode(8, _tc_long);
    EXPECT_THROW(in.lookup_typecode(4), CORBA_OBJECT_NOT_EXIST);
    EXPECT_THROW(in.store_typecode(8, _tc_short), CORBA_BAD_PARAM);
}

} // namespace
