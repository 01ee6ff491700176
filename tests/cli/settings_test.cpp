#include "settings.h"

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "temporary_folder.h"

using namespace velorin::cli;

TEST(CliSettings, ReadsKeysSwitchesAndComments)
{
    Settings settings;
    Failure failure;
    ASSERT_TRUE(parse_config("f",
                             "# account\r\n\n  server = mail.example.com  \r\nuser=me = you\ndaemon = "
                             "yes\nno-verify=off\nport =\t587",
                             settings, failure))
        << failure.sentence;
    EXPECT_EQ((Settings{{"server", "mail.example.com"},
                        {"user", "me = you"},
                        {"daemon", "true"},
                        {"no-verify", "false"},
                        {"port", "587"}}),
              settings);
}

TEST(CliSettings, SaysWhichLineIsWrong)
{
    static const struct {
        const char* text;
        const char* part;
    } cases[] = {
        {"server mail", "line 1: the line is not of the form"},
        {"server = a\n\nserver = b", "line 3: the line gives server a second time"},
        {"\ncolour = red", "line 2: the line has an unknown key"},
        {"daemon = perhaps", "must say yes or no for daemon"},
        {"= x", "unknown key"},
    };
    for (const auto& c : cases) {
        Settings settings = {{"kept", "kept"}};
        Failure failure;
        EXPECT_FALSE(parse_config("mail.conf", c.text, settings, failure)) << c.text;
        EXPECT_EQ(kExitConfig, failure.exit_code);
        EXPECT_NE(std::string::npos, failure.sentence.find(c.part)) << failure.sentence;
        EXPECT_EQ(1u, settings.count("kept"));
    }
}

TEST(CliSettings, APasswordInTheFileIsRefusedAndNotRepeated)
{
    for (const char* key : {"password", "pop-password"}) {
        Settings settings;
        Failure failure;
        EXPECT_FALSE(parse_config("mail.conf", std::string(key) + " = hunter2", settings, failure));
        EXPECT_EQ(std::string::npos, failure.sentence.find("hunter2"));
        EXPECT_NE(std::string::npos, failure.sentence.find(std::string(key) + "-file"));
    }
}

TEST(CliSettings, TheCommandLineWins)
{
    const Settings merged =
        merge({{"server", "a"}, {"password-file", "f"}},
              {{"server", "b"}, {"port", "25"}, {"password-command", "c"}, {"pop-password-command", "d"}});
    EXPECT_EQ(
        (Settings{{"server", "a"}, {"port", "25"}, {"password-file", "f"}, {"pop-password-command", "d"}}),
        merged);
}

TEST(CliSettings, TheOwnFileMayBeMissingTheNamedOneMayNot)
{
    const TemporaryFolder folder;
    ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    Settings settings;
    Failure failure;
    EXPECT_TRUE(load_config("", settings, failure)) << failure.sentence;
    EXPECT_TRUE(settings.empty());
    EXPECT_FALSE(load_config(folder.path() + "/none.conf", settings, failure));
    EXPECT_EQ(kExitConfig, failure.exit_code);

    ASSERT_EQ(0, ::mkdir((folder.path() + "/velorin").c_str(), 0700));
    folder.write("velorin/mail.conf", "server = own\n");
    folder.write("other.conf", "server = other\n");
    EXPECT_TRUE(load_config("", settings, failure));
    EXPECT_EQ("own", settings["server"]);
    EXPECT_TRUE(load_config(folder.path() + "/other.conf", settings, failure));
    EXPECT_EQ("other", settings["server"]);
    ::unsetenv("XDG_CONFIG_HOME");
}

TEST(CliSettings, AFolderIsNoConfigurationFile)
{
    const TemporaryFolder folder;
    Settings settings;
    Failure failure;
    EXPECT_FALSE(load_config(folder.path(), settings, failure));
    EXPECT_EQ(kExitConfig, failure.exit_code);
}
