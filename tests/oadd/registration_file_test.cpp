#include "oadd/registration_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace oadd;

namespace {

const std::string head = "oadd registrations 1\n";
const std::string one = "implementation\ninterface \"IDL:A:1.0\"\npath \"/bin/a\"\n";

Registration full() {
    return {{"IDL:B/C:1.0", "na\"me {1}"}, std::string("\0\xff\n", 3), "/srv/a b", SERVER_PER_METHOD,
            {"", "-v", "line\nline"},      {"HOME=/srv", "A="}};
}

class Files : public testing::Test {
protected:
    Files() {
        std::string pattern = testing::TempDir() + "oaddXXXXXX";
        folder = ::mkdtemp(pattern.data());
        path = folder + "/registrations";
    }
    ~Files() override { std::filesystem::remove_all(folder); }

    static std::string read(const std::string& name) {
        std::ostringstream text;
        text << std::ifstream(name).rdbuf();
        return std::move(text).str();
    }

    std::string folder;
    std::string path;
};

} // namespace

TEST(RegistrationFileText, whatIsWrittenIsReadAgain) {
    Registry registry;
    registry.destroyOnUnregister = true;
    for (const Registration& each : {full(), Registration{{"*", "service"}, "", "/bin/s", 0, {}, {}}})
        registry.entries[each.object] = std::make_shared<const Registration>(each);
    const auto parsed = std::get<Registry>(parseRegistry(formatRegistry(registry)));
    EXPECT_TRUE(parsed.destroyOnUnregister);
    ASSERT_EQ(parsed.entries.size(), 2U);
    EXPECT_EQ(*parsed.entries.at(full().object), full());
    EXPECT_EQ(parsed.entries.at({"*", "service"})->path, "/bin/s");
}

TEST(RegistrationFileText, byHand) {
    const auto parsed = std::get<Registry>(parseRegistry(
        "# comment\n\n" + head + "\n  implementation  \n\tname \"x\\x41\\65\"\r\npolicy unshared\n" +
        "interface  \"IDL:A:1.0\" \npath \"/a\"\n  # more\nargument \"1\"\nargument \"2\"\nend\n\n"));
    const Registration& read = *parsed.entries.at({"IDL:A:1.0", "xAA"});
    EXPECT_EQ(read.policy, UNSHARED_SERVER);
    EXPECT_EQ(read.arguments, (std::vector<std::string>{"1", "2"}));
}

TEST(RegistrationFileText, faultsAreNamedWithTheirLine) {
    const struct {
        std::string text;
        size_t line;
        const char* what;
    } cases[] = {
        {"", 1, "the first line is not 'oadd registrations 1'"},
        {"oadd registrations 2\nend\n", 1, "the first line is not 'oadd registrations 1'"},
        {head + one, 4, "the last line is not 'end': the file has been cut short"},
        {head + "end\nend\n", 2, "there is more behind 'end'"},
        {head + "path \"/a\"\nend\n", 2, "'path' stands before the first 'implementation'"},
        {head + "destroy-on-unregister maybe\nend\n", 2, "destroy-on-unregister is yes or no"},
        {head + one + "colour \"red\"\nend\n", 5, "'colour' is no known word"},
        {head + one + "policy none\nend\n", 5, "the policy is none of shared, unshared and per-method"},
        {head + one + "path \"/b\"\nend\n", 5, "this was said before"},
        {head + one + "name x\nend\n", 5, "this is no text in quotes"},
        {head + one + "name \"x\nend\n", 5, "this is no text in quotes"},
        {head + one + "name \"x\" y\nend\n", 5, "there is more behind the text"},
        {head + "implementation\nend\n", 3, "the implementation that ends here: there is no interface"},
        {head + "implementation\ninterface \"A\"\npath \"a\"\nend\n", 5,
         "the implementation that ends here: the path does not begin with '/'"},
        {head + one + "name \"a\\x00\"\nend\n", 6,
         "the implementation that ends here: a text has a zero octet"},
        {head + one + "variable \"1=2\"\nend\n", 6,
         "the implementation that ends here: the variable '1=2' is not of the form NAME=VALUE"},
        {head + one + "variable \"LD_PRELOAD=x\"\nend\n", 6,
         "the implementation that ends here: the variable LD_PRELOAD could make the program load other code "
         "than "
         "its own"},
        {head + one + one + "end\n", 8, "the implementation that ends here stands in the file twice"},
    };
    for (const auto& [text, line, what] : cases) {
        const auto parsed = parseRegistry(text);
        const auto* fault = std::get_if<FileFault>(&parsed);
        ASSERT_TRUE(fault) << text;
        EXPECT_EQ(fault->what, what) << text;
        EXPECT_EQ(fault->line, line) << text;
    }
}

TEST_F(Files, aFileIsReplacedAsAWhole) {
    RegistrationFile file(path);
    Registry registry;
    EXPECT_EQ(file.open(registry), std::nullopt);
    std::ofstream(path + ".new") << "what a crash has left";
    registry.entries[full().object] = std::make_shared<const Registration>(full());
    ASSERT_TRUE(file.save(registry));
    EXPECT_EQ(read(path), formatRegistry(registry));
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    EXPECT_NE(RegistrationFile(path).open(registry)->find("another oadd uses"), std::string::npos);
    std::filesystem::create_directory(path + ".new");
    const std::string before = read(path);
    EXPECT_FALSE(file.save(Registry()));
    EXPECT_EQ(read(path), before);
}

TEST_F(Files, aFileThatCannotBeReadIsLeftAlone) {
    std::ofstream(path) << head << "rubbish\n";
    Registry registry;
    EXPECT_EQ(
        RegistrationFile(path).open(registry),
        path + ":2: 'rubbish' stands before the first 'implementation'; mend the file or move it away, it is "
               "left as it is");
    EXPECT_EQ(read(path), head + "rubbish\n");
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(RegistrationFile(path).open(registry), "cannot read " + path + ": Is a directory");
}
