#include "base/printable.h"

#include <gtest/gtest.h>

using namespace harbolance;

namespace {

// Quoted text is tested where it is used: its escapes in the tests of the CDR streams' text form.

TEST(Printable, keepsAPlaceForEachOctet) {
    EXPECT_EQ(printable("a\x1b ~\x7f\xc3\xbc"), "a. ~...");
    EXPECT_EQ(printable("\n", '?'), "?");
    EXPECT_EQ(printable(static_cast<const char*>(nullptr)), "");
}

TEST(Printable, withoutControlsIsTextForPeople) {
    const std::pair<std::string, std::string> cases[] = {
        {"a\x1b[2J\n\x7f", "a?[2J??"},
        {"gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80",
         "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80"},
        {"\xc2\x9bm", "?m"},        // the control character in UTF-8
        {"\x9bm\x80", "?m?"},       // and as an octet
        {"\xe0\x82\x9b", "\xe0??"}, // in more octets than it needs
        {"\xc3", "\xc3"},           // cut
        {"\xe2\x9bm\xff", "\xe2?m\xff"},
    };
    for (const auto& [text, shown] : cases)
        EXPECT_EQ(withoutControls(text), shown) << text;
}

} // namespace
