#include "command_line.h"
#include "location/locate_init.h"

#include <gtest/gtest.h>

namespace {

TEST(LocateInitializer, takesItsOptionsWhereverTheyStand) {
    LocateInitializer options;
    EXPECT_FALSE(options.debug());
    EXPECT_FALSE(options.verify());
    EXPECT_EQ(options.timeout(), 1u);
    CommandLine line{"prog", "-LOCtimeout", "5", "-LOCverify", "1", "-LOCtimeoutx", "5", "-LOCdebug", "10"};
    options.ORB_init(line.argc, line.argv(), nullptr);
    EXPECT_EQ(line.left(), (Words{"prog", "-LOCtimeoutx", "5"}));
    EXPECT_TRUE(options.debug()); // the first character counts
    EXPECT_TRUE(options.verify());
    EXPECT_EQ(options.timeout(), 5u);
    CommandLine later{"-LOCdebug", "0", "word"};
    options.ORB_init(later.argc, later.argv(), nullptr);
    EXPECT_EQ(later.left(), Words{"word"});
    EXPECT_FALSE(options.debug());
    EXPECT_TRUE(options.verify());
}

TEST(LocateInitializerDeathTest, badValueEndsTheProcess) {
    const auto parse = [](CommandLine line) {
        LocateInitializer().ORB_init(line.argc, line.argv(), nullptr);
    };
    const auto failed = testing::ExitedWithCode(1);
    const std::string heading = "^Location Service initialization error:\n\t";
    for (const char* option : {"-LOCdebug", "-LOCverify"}) {
        const std::string text = heading + option + " must be followed by a 0 or 1\n$";
        EXPECT_EXIT(parse({"prog", option, "2"}), failed, text);
        EXPECT_EXIT(parse({"prog", option, ""}), failed, text);
        EXPECT_EXIT(parse({"prog", option}), failed, text);
    }
    const std::string text = heading + "-LOCtimeout must be followed by an unsigned long\n$";
    EXPECT_EXIT(parse({"prog", "-LOCtimeout", "soon"}), failed, text);
    EXPECT_EXIT(parse({"prog", "-LOCtimeout"}), failed, text);
}

} // namespace
