#include "command_line.h"
#include "location/locate_init.h"

#include <gtest/gtest.h>

namespace {

TEST(LocateInitializer, takesItsOptionsWhereverTheyStand) {
    LocateInitializer options;
    EXPECT_FALSE(options.debug());
    EXPECT_FALSE(options.verify());
    EXPECT_EQ(options.timeout(), 1u);
    CommandLine line{"prog", "-LOCtimeout", "5s", "-LOCverify", "1", "-LOCtimeoutx", "5", "-LOCdebug", "10"};
    options.ORB_init(line.argc, line.argv(), nullptr);
    EXPECT_EQ(line.left(), (Words{"prog", "-LOCtimeoutx", "5"}));
    EXPECT_TRUE(options.debug()); // the first character counts
    EXPECT_TRUE(options.verify());
    EXPECT_EQ(options.timeout(), 5u); // up to what is no digit
    CommandLine later{"-LOCdebug", "0", "word"};
    options.ORB_init(later.argc, later.argv(), nullptr);
    EXPECT_EQ(later.left(), Words{"word"});
    EXPECT_FALSE(options.debug());
    EXPECT_TRUE(options.verify());
}

} // namespace
