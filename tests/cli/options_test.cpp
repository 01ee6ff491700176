#include "options.h"

#include <gtest/gtest.h>

using namespace velorin::cli;

namespace {

bool parse(const std::vector<std::string>& arguments, Options& options, Failure& failure)
{
    return parse_options(arguments, options, failure);
}

Options parsed(const std::vector<std::string>& arguments)
{
    Options options;
    Failure failure;
    EXPECT_TRUE(parse(arguments, options, failure)) << failure.sentence;
    return options;
}

Failure refused(const std::vector<std::string>& arguments)
{
    Options options;
    Failure failure;
    EXPECT_FALSE(parse(arguments, options, failure));
    EXPECT_EQ(kExitUsage, failure.exit_code);
    EXPECT_EQ(std::string::npos, failure.sentence.find('\n')) << failure.sentence;
    EXPECT_FALSE(failure.sentence.empty());
    return failure;
}

}  // namespace

TEST(CliOptions, SendTakesEveryField)
{
    const Options options = parsed({"send",
                                    "--from",
                                    "a@b",
                                    "--to",
                                    "c@d",
                                    "e@f",
                                    "--to",
                                    "g@h",
                                    "--cc",
                                    "i@j",
                                    "--bcc",
                                    "k@l",
                                    "--subject",
                                    "Hi",
                                    "--text",
                                    "body.txt",
                                    "--mdn",
                                    "m@n",
                                    "--fax",
                                    "--charset",
                                    "iso-2022-jp",
                                    "--message-id",
                                    "id1",
                                    "--in-reply-to",
                                    "id2",
                                    "--references",
                                    "id3",
                                    "--date",
                                    "Thu, 01 Jan 2026 12:00:00 +0000",
                                    "--server",
                                    "mx",
                                    "--port",
                                    "25",
                                    "--tls",
                                    "none",
                                    "--json",
                                    "--quiet"});
    EXPECT_EQ(Command::kSend, options.command);
    EXPECT_EQ((std::vector<std::string>{"c@d", "e@f", "g@h"}), options.mail.to);
    EXPECT_EQ(std::vector<std::string>{"i@j"}, options.mail.cc);
    EXPECT_EQ(std::vector<std::string>{"k@l"}, options.mail.bcc);
    EXPECT_EQ("Hi", options.mail.subject);
    EXPECT_EQ("body.txt", options.mail.text_file);
    EXPECT_FALSE(options.mail.has_text_string);
    EXPECT_EQ("m@n", options.mail.mdn);
    EXPECT_TRUE(options.mail.fax);
    EXPECT_EQ("id1", options.mail.message_id);
    EXPECT_EQ("id2", options.mail.in_reply_to);
    EXPECT_EQ("id3", options.mail.references);
    EXPECT_EQ("Thu, 01 Jan 2026 12:00:00 +0000", options.mail.date);
    EXPECT_TRUE(options.json);
    EXPECT_TRUE(options.quiet);
    EXPECT_FALSE(options.verbose);
    EXPECT_EQ(
        (Settings{
            {"from", "a@b"}, {"charset", "iso-2022-jp"}, {"server", "mx"}, {"port", "25"}, {"tls", "none"}}),
        options.account);
}

TEST(CliOptions, SwitchesOfAnAccountCanBeGivenBothWays)
{
    EXPECT_EQ("true", parsed({"check", "--daemon"}).account["daemon"]);
    EXPECT_EQ("false", parsed({"check", "--daemon=false"}).account["daemon"]);
    EXPECT_EQ(0u, parsed({"check"}).account.count("daemon"));
}

TEST(CliOptions, AnEmptyTextStringIsAText)
{
    const Options options = parsed({"send", "--text-string", ""});
    EXPECT_TRUE(options.mail.has_text_string);
    EXPECT_EQ("", options.mail.text_string);
}

TEST(CliOptions, ATypeBelongsToTheFileBeforeIt)
{
    const Options options = parsed({"send", "--attach", "a", "--attach", "b", "--attach-type", "image/png",
                                    "--subject", "x", "--attach", "c", "d", "--attach-type", "text/csv"});
    ASSERT_EQ(4u, options.mail.attachments.size());
    const char* const files[] = {"a", "b", "c", "d"};
    const char* const types[] = {"", "image/png", "", "text/csv"};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(files[i], options.mail.attachments[i].file);
        EXPECT_EQ(types[i], options.mail.attachments[i].type);
    }
    refused({"send", "--attach-type", "image/png", "--attach", "a"});
    refused({"send", "--attach", "a", "--attach-type", "image/png", "--attach-type", "image/gif"});
}

TEST(CliOptions, APasswordOnTheCommandLineIsRefusedWithoutRepeatingIt)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"send", "--password", "hunter2"},
          {"check", "--password=hunter2"},
          {"check", "--pop-password", "hunter2"},
          {"--password=hunter2", "check"}}) {
        const Failure failure = refused(arguments);
        EXPECT_EQ(std::string::npos, failure.sentence.find("hunter2"));
        EXPECT_NE(std::string::npos, failure.sentence.find("--password-command"));
    }
}

TEST(CliOptions, WhatNobodyKnowsIsNamedWithoutItsValue)
{
    const Failure failure = refused({"check", "--passwd=hunter2"});
    EXPECT_EQ("there is no option --passwd", failure.sentence);
    EXPECT_EQ(std::string::npos, refused({"check", "hunter2"}).sentence.find("hunter2"));
}

TEST(CliOptions, WrongCommandLinesGetOneSentence)
{
    refused({});
    refused({"receive"});
    refused({"send", "--to"});
    refused({"trace"});
    refused({"send", "--text", "a", "--text-string", "b"});
    refused({"check", "--from", "a@b"});
}

TEST(CliOptions, HelpIsOfTheCommandThatAsks)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, {"send", "--help"}, {"check", "--help"}, {"trace", "--help"}}) {
        const Options options = parsed(arguments);
        EXPECT_EQ(Command::kHelp, options.command);
        EXPECT_FALSE(options.help.empty());
    }
    EXPECT_NE(std::string::npos, parsed({"send", "--help"}).help.find("--attach-type"));
    EXPECT_EQ(std::string::npos, parsed({"check", "--help"}).help.find("--attach-type"));
}

TEST(CliOptions, VersionIsPrintedLikeHelp)
{
    const Options options = parsed({"--version"});
    EXPECT_EQ(Command::kHelp, options.command);
    EXPECT_EQ(0u, options.help.find("velorin-mail "));
    EXPECT_EQ('\n', options.help.back());
}

TEST(CliOptions, EverySettingIsAnOption)
{
    for (const SettingRow* row = kSettingRows; row->name != nullptr; ++row) {
        std::vector<std::string> arguments = {"send", std::string("--") + row->name};
        if (row->placeholder != nullptr) arguments.push_back("value");
        const Options options = parsed(arguments);
        EXPECT_EQ(row->placeholder != nullptr ? "value" : "true", options.account.at(row->name)) << row->name;
    }
}

TEST(CliOptions, AMailboxGoesByShortAndLongNames)
{
    const Options by_short = parsed({"list", "--server", "h", "--port", "1", "--tls", "none", "--user", "u",
                                     "--apop", "--password-file", "f", "--password-command=c"});
    const Options by_long =
        parsed({"list", "--pop-server", "h", "--pop-port", "1", "--pop-tls", "none", "--pop-user", "u",
                "--pop-apop", "--pop-password-file", "f", "--pop-password-command=c"});
    EXPECT_EQ(Command::kList, by_short.command);
    const Settings expected = {
        {"pop-server", "h"},  {"pop-port", "1"},          {"pop-tls", "none"},          {"pop-user", "u"},
        {"pop-apop", "true"}, {"pop-password-file", "f"}, {"pop-password-command", "c"}};
    EXPECT_EQ(expected, by_short.account);
    EXPECT_EQ(expected, by_long.account);
}

TEST(CliOptions, FetchAndDeleteTakeUniqueIds)
{
    const Options fetch =
        parsed({"fetch", "a", "--folder", "d", "--uid", "b", "--raw", "--delete", "--state", "s", "--json"});
    EXPECT_EQ(Command::kFetch, fetch.command);
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), fetch.mailbox.uids);
    EXPECT_EQ("d", fetch.mailbox.folder);
    EXPECT_EQ("s", fetch.mailbox.state_file);
    EXPECT_TRUE(fetch.mailbox.raw && fetch.mailbox.delete_fetched && fetch.json);
    const Options unasked = parsed({"fetch", "--keep"});
    EXPECT_EQ("mail", unasked.mailbox.folder);
    EXPECT_FALSE(unasked.mailbox.raw || unasked.mailbox.delete_fetched || unasked.mailbox.all);
    EXPECT_EQ((std::vector<std::string>{"-x"}), parsed({"delete", "--uid=-x"}).mailbox.uids);
    EXPECT_TRUE(parsed({"delete", "--fetched"}).mailbox.fetched);
    refused({"delete"});
    refused({"delete", "--fetched", "a"});
    refused({"fetch", "--all", "a"});
    refused({"fetch", "--keep", "--delete"});
    refused({"list", "a"});
    refused({"fetch", "--password", "p"});
}

TEST(CliOptions, AnUnknownCommandIsNamed)
{
    EXPECT_EQ(0u, refused({"frobnicate"}).sentence.find("there is no command frobnicate, give send, "));
    EXPECT_EQ(0u, refused({"fro\nb", "--x"}).sentence.find("there is no option --x"));
    EXPECT_EQ(0u, refused({}).sentence.find("no command, give send, "));
    EXPECT_EQ(std::string::npos, refused({"send", "secret"}).sentence.find("secret"));
}
