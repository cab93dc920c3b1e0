#include "marshal/exception/vexcept.h"
#include "marshal/text/vstr.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

using namespace harbolance;

namespace {

TEST(Strings, nullIsItsOwnValue) {
    EXPECT_EQ(CORBA_string_dup(nullptr), nullptr);
    EXPECT_EQ(CORBA_wstring_dup(nullptr), nullptr);
    EXPECT_EQ(CORBA_string_hash(nullptr), 0u);
    EXPECT_EQ(CORBA_wstring_hash(nullptr), 0u);
    CORBA_string_free(nullptr);
    CORBA_wstring_free(nullptr);
}

TEST(Strings, nullComesBeforeTheEmptyString) {
    EXPECT_EQ(CORBA_string_compare(nullptr, nullptr), 0);
    EXPECT_EQ(CORBA_string_compare(nullptr, ""), -1);
    EXPECT_EQ(CORBA_string_compare("", nullptr), 1);
    EXPECT_LT(CORBA_string_compare("a", "b"), 0);
    EXPECT_EQ(CORBA_wstring_compare(nullptr, L""), -1);
    EXPECT_EQ(CORBA_wstring_compare(L"", nullptr), 1);
    EXPECT_GT(CORBA_wstring_compare(L"b", L"a"), 0);
}

TEST(Strings, wideHashTakesTheLowOctetSigned) {
    EXPECT_EQ(CORBA_wstring_hash(L"abc"), CORBA_string_hash("abc"));
    EXPECT_EQ(CORBA_wstring_hash(L"\x1ff"), 0x7fffffffu);
}

TEST(StringVar, startsWithTheSharedNullString) {
    CORBA_String_var text;
    EXPECT_EQ(text.inout(), TRXNullString);
    EXPECT_STREQ(text, "");
    CORBA_string_free(text); // ignored: the holder is destroyed after this as well
}

TEST(StringVar, ownsPointersAndCopiesTheRest) {
    char* owned = CORBA_string_dup("owned");
    const char* borrowed = "borrowed";
    CORBA_String_var a(owned);
    EXPECT_EQ(static_cast<char*>(a), owned);
    CORBA_String_var b = a;
    EXPECT_NE(static_cast<char*>(b), owned);
    EXPECT_STREQ(b, "owned");
    b = borrowed;
    EXPECT_STREQ(b, "borrowed");
    const CORBA_String_var& self = a;
    a = self;
    EXPECT_EQ(static_cast<char*>(a), owned);
    CORBA_String_var taken(a._retn());
    EXPECT_EQ(static_cast<char*>(taken), owned);
    EXPECT_EQ(static_cast<char*>(a), TRXNullString);
}

TEST(StringVar, printsNullAsText) {
    std::ostringstream narrow;
    CORBA_String_var text("some");
    narrow << text;
    text.out();
    narrow << text;
    EXPECT_EQ(narrow.str(), "some(null)");
    std::wostringstream wide;
    wide << CORBA_WString_var(L"wide") << CORBA_WString_var();
    EXPECT_EQ(wide.str(), L"wide(null)");
    std::ostringstream encoded;
    encoded << CORBA_WString_var(L"z\u00e9\u20ac\U0001f600") << CORBA_WString_var();
    EXPECT_EQ(encoded.str(), "z\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80(null)");
}

} // namespace
