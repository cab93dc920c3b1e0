// Who may do what, and which programs may be started.

#include "oadd/access.h"
#include "oadd/options.h"
#include "oadd/programs.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

using namespace oadd;

TEST(OaddAccess, networks) {
    const struct {
        const char* text;
        const char* inside;
        const char* outside;
    } cases[] = {{"10.1.0.0/16", "10.1.255.255", "10.2.0.0"},
                 {"10.1.2.3/16", "10.1.0.0", "10.0.255.255"},
                 {"10.1.2.3", "10.1.2.3", "10.1.2.2"},
                 {"128.0.0.0/1", "255.0.0.1", "127.0.0.1"},
                 {"1.2.3.4/31", "1.2.3.5", "1.2.3.6"}};
    for (const auto& [text, inside, outside] : cases) {
        ASSERT_TRUE(networkOf(text)) << text;
        EXPECT_TRUE(networkOf(text)->contains(inet_addr(inside))) << text;
        EXPECT_FALSE(networkOf(text)->contains(inet_addr(outside))) << text;
    }
    EXPECT_TRUE(networkOf("0.0.0.0/0")->contains(inet_addr("8.8.8.8")));
    for (const char* text :
         {"", "/8", "10.1.0.0/", "10.1.0.0/33", "10.1.0.0/-1", "10.1.0.0/8x", "host", "10.1.0.0/8/8"})
        EXPECT_FALSE(networkOf(text)) << text;
}

TEST(OaddAccess, peersOfThisHostAndOfTheNetworksGiven) {
    const Access access({*networkOf("192.0.2.0/24")});
    const struct {
        const char* peer;
        const char* local;
        bool trusted;
    } cases[] = {{"127.0.0.1", "127.0.0.1", true},       {"127.9.9.9", "127.0.0.1", true},
                 {"198.51.100.7", "198.51.100.7", true}, {"198.51.100.8", "198.51.100.7", false},
                 {"192.0.2.1", "198.51.100.7", true},    {"128.0.0.1", "127.0.0.1", false}};
    for (const auto& [peer, local, trusted] : cases)
        EXPECT_EQ(access.isTrusted(inet_addr(peer), inet_addr(local)), trusted) << peer;
    for (const char* closed : {"reg_implementation", "get_implementation", "boa_activate_obj", "unknown", ""})
        EXPECT_FALSE(Access::isOpenToAll(closed)) << closed;
}

TEST(OaddPrograms, belowTheFoldersOnly) {
    namespace fs = std::filesystem;
    std::string pattern = testing::TempDir() + "oaddXXXXXX";
    const fs::path root = fs::canonical(::mkdtemp(pattern.data()));
    for (const char* folder : {"in/sub", "inside", "out"})
        fs::create_directories(root / folder);
    for (const char* file : {"in/program", "in/sub/script", "in/data", "out/program", "inside/program"}) {
        std::ofstream(root / file) << (std::string(file).ends_with("script") ? "#!/bin/sh\n" : "\x7f");
        ::chmod((root / file).c_str(), std::string(file).ends_with("data") ? 0644 : 0755);
    }
    fs::create_symlink("../out/program", root / "in/leaving");
    fs::create_symlink("../out", root / "in/away");
    fs::create_symlink("in", root / "alias");
    ::mkfifo((root / "in/pipe").c_str(), 0755);
    Programs programs;
    EXPECT_EQ(std::get<std::string>(programs.open("/bin/sh")),
              "no program may be started: oadd was started without --programs FOLDER");
    EXPECT_TRUE(programs.add(root / "missing")->ends_with("No such file or directory"));
    EXPECT_TRUE(programs.add(root / "in/data")->ends_with("this is no folder"));
    ASSERT_EQ(programs.add(root / "alias"), std::nullopt);

    const std::string below = "is not below a folder given with --programs";
    const std::pair<std::string, std::string> refused[] = {
        {"in/program", "does not begin with '/'"},
        {root / "in/missing", "No such file or directory"},
        {root / "out/program", below},
        {root / "inside/program", below},
        {root / "in/../out/program", below},
        {root / "in/leaving", below},
        {root / "in/away/program", below},
        {root / "in", below},
        {root / "in/sub", "is no file"},
        {root / "in/pipe", "is no file"},
        {root / "in/data", "is not executable for this user"}};
    for (const auto& [path, why] : refused)
        EXPECT_EQ(std::get<std::string>(programs.open(path))
                          .substr(("the path '" + path + "' ").size())
                          .find(why) != std::string::npos,
                  true)
            << path;
    const auto program = programs.open(root / "alias/sub/../program");
    EXPECT_EQ(std::get<Programs::Program>(program).path, root / "in/program");
    EXPECT_FALSE(std::get<Programs::Program>(program).script);
    EXPECT_TRUE(std::get<Programs::Program>(programs.open(root / "in/sub/script")).script);
    fs::remove_all(root);
}

TEST(OaddOptions, wordsAndComplaints) {
    const auto read = [](std::vector<const char*> words, const char* state = nullptr) {
        words.insert(words.begin(), "oadd");
        return readCommand(static_cast<int>(words.size()), words.data(), state);
    };
    const auto [action, options, complaint] =
        read({"--programs=/a", "-OAport", "7", "--programs", "/b", "-a", "127.0.0.5", "--allow=10.0.0.0/8",
              "-v", "--start-limit", "3", "--max-servers=9"},
             "/state");
    EXPECT_EQ(complaint, "");
    EXPECT_EQ(options.programs, (std::vector<std::string>{"/a", "/b"}));
    EXPECT_EQ(options.adapterWords, (std::vector<std::string>{"-OAport", "7", "-OAipaddr", "127.0.0.5"}));
    EXPECT_EQ(options.file, "/state/registrations");
    EXPECT_EQ(options.limits.most, 9U);
    EXPECT_EQ(options.logLevel, LogLevel::info);
    EXPECT_EQ(read({}).options.file, "/var/lib/oadd/registrations");
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"--wrong=1"}, "unknown option '--wrong'"},
        {{"--as-root=1"}, "option '--as-root' takes no value"},
        {{"-ahost"}, "--address: 'host' is no IPv4 address in dotted form"},
        {{"--allow", "10.0.0.0/40"}, "--allow: '10.0.0.0/40' is no network, such as 10.1.0.0/16"},
        {{"--end-limit", "0"}, "--end-limit: '0' is no number of seconds from 1 to 86400"},
        {{"--log-level=debug"}, "--log-level: 'debug' is none of error, warning, info"}};
    for (const auto& [words, expected] : cases)
        EXPECT_EQ(read(words).complaint, expected);
}
