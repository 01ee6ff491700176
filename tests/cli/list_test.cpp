// The table of a mailbox.
#include <csignal>

#include <gtest/gtest.h>

#include "cli_process.h"
#include "mailbox_support.h"
#include "terminal_process.h"

using velorin_test::Pop3Options;
using velorin_test::Rule;
using velorin_test::Step;

namespace {

const char* const kJapanese =
    "From: =?utf-8?B?5bGx55Sw?= <y@example.jp>\r\nSubject: =?iso-2022-jp?B?GyRCJDMkcyRLJEEkTxsoQg==?=\r\n"
    "Date: Fri, 02 Jan 2026 08:30:00 +0900\r\n\r\nx\r\n";
const char* const kPlain =
    "From: a@example.com\r\nSubject: plain\r\nDate: Thu, 1 Jan 2026 12:00 GMT\r\n\r\nhello\r\n";

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

}  // namespace

TEST(CliList, AlignsByWhatCharactersTakeOnAScreen)
{
    const MailboxFixture mailbox(mailbox_options({kPlain, kJapanese}));
    const CliResult result = mailbox.list();
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.err);
    EXPECT_EQ("no.  unique id  size  from                 subject     date\n"
              "  1  uid-1        79  a@example.com        plain       2026-01-01 12:00\n"
              "  2  uid-2       140  \xE5\xB1\xB1\xE7\x94\xB0 <y@example.jp>  "
              "\xE3\x81\x93\xE3\x82\x93\xE3\x81\xAB\xE3\x81\xA1\xE3\x81\xAF  2026-01-01 23:30\n",
              result.out);
    // Nothing but headers was asked for, and the server was left politely.
    const auto conversation = mailbox.server.conversations().at(0);
    EXPECT_EQ(std::string::npos, conversation.client_lines().find("RETR"));
    EXPECT_TRUE(conversation.quit);
}

TEST(CliList, AnEmptyMailboxIsATableWithoutLines)
{
    const MailboxFixture mailbox(mailbox_options({}));
    const CliResult result = mailbox.list();
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("no.  unique id  size  from  subject  date\n", result.out);
}

TEST(CliList, JsonHasTheTextsWhole)
{
    const MailboxFixture mailbox(
        mailbox_options({"From: \"a \\\"b\\\"\" <a@b>\r\nSubject: " + std::string(300, 's') +
                         "\r\nDate: never\r\nMessage-ID: <1@x>\r\n\r\nx\r\n"}));
    const CliResult result = mailbox.list({"--json"});
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ(0u, result.out.find(
                      "{\"command\":\"list\",\"status\":\"listed\",\"exit_code\":0,\"mails\":[{\"number\":1,"
                      "\"unique_id\":\"uid-1\",\"size\":"))
        << result.out;
    EXPECT_NE(std::string::npos, result.out.find("\"from\":\"\\\"a \\\\\\\"b\\\\\\\"\\\" <a@b>\""))
        << result.out;
    EXPECT_NE(std::string::npos, result.out.find("\"subject\":\"" + std::string(300, 's') + "\""));
    EXPECT_NE(std::string::npos, result.out.find("\"date\":\"never\",\"message_id\":\"<1@x>\"}]"))
        << result.out;
}

TEST(CliList, TextsOfAMailDoNothingToATerminal)
{
    const MailboxFixture mailbox(mailbox_options(
        {"From: =?utf-8?Q?=1B[31mtitle=07?= <a@b>\r\n"
         "Subject: =?utf-8?Q?up=0D=0Adown=C2=9B31m=E2=80=AEdlrow?=\r\nDate: \x1B[2J\r\n\r\nx\r\n"}));
    const CliResult result = mailbox.list();
    EXPECT_EQ(0, result.exit_code) << result.err;
    const auto lines = lines_of(result.out);
    ASSERT_EQ(2u, lines.size()) << result.out;
    for (const char octet : result.out)
        EXPECT_TRUE(octet == '\n' || static_cast<unsigned char>(octet) >= 0x20) << result.out;
    EXPECT_NE(std::string::npos, lines[1].find("?[31mtitle? <a@b>")) << lines[1];
    EXPECT_NE(std::string::npos, lines[1].find("up  down?31m?dlrow")) << lines[1];
    EXPECT_NE(std::string::npos, lines[1].find("?[2J")) << lines[1];
}

TEST(CliList, IsCutToTheWidthOfATerminal)
{
    std::string subject;
    for (int character = 0; character < 60; ++character)
        subject += "\xE6\x97\xA5";
    const MailboxFixture mailbox(
        mailbox_options({"From: " + std::string(60, 'f') + "@example.com\r\nSubject: " + subject +
                         "\r\nDate: Thu, 01 Jan 2026 12:00:00 +0000\r\n\r\nx\r\n"}));
    for (const int columns : {200, 80, 60, 20, 1}) {
        SCOPED_TRACE(columns);
        TerminalProcess process(mailbox.arguments("list", {"--quiet"}), static_cast<unsigned short>(columns));
        EXPECT_EQ(0, process.wait()) << process.seen();
        const auto lines = lines_of(process.seen());
        ASSERT_EQ(2u, lines.size()) << process.seen();
        std::size_t width = 0;
        for (std::size_t at = 0; at < lines[1].size() && lines[1][at] != '\r'; ++at) {
            const auto octet = static_cast<unsigned char>(lines[1][at]);
            if ((octet & 0xC0) == 0x80) continue;
            width += octet >= 0xE3 ? 2 : 1;  // of these texts: the ellipsis begins with E2
        }
        const auto room = static_cast<std::size_t>(columns);
        EXPECT_LE(width, room);
        if (columns < 60) continue;
        EXPECT_NE(std::string::npos, lines[1].find("2026-01-01")) << lines[1];
        EXPECT_GE(width + 1, room) << "what fits is shown: " << lines[1];
    }
}

TEST(CliList, AServerWithoutTopIsReadOver)
{
    Pop3Options options = mailbox_options({kPlain, kJapanese, kPlain});
    options.top = false;
    const MailboxFixture mailbox(std::move(options));
    const CliResult result = mailbox.list();
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ(4u, lines_of(result.out).size()) << result.out;
    EXPECT_NE(std::string::npos, result.out.find("  3  uid-3")) << result.out;
    const std::string said = mailbox.server.conversations().at(0).client_lines();
    EXPECT_EQ(said.find("TOP "), said.rfind("TOP ")) << "asked for once: " << said;
}

TEST(CliList, AServerWithoutUniqueIdsIsListed)
{
    Pop3Options options = mailbox_options({kPlain});
    options.uidl = false;
    const MailboxFixture mailbox(std::move(options));
    const CliResult result = mailbox.list();
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_NE(std::string::npos, result.out.find("a@example.com")) << result.out;
}

TEST(CliList, AMailThatIsGoneMeanwhileIsLeftOut)
{
    MailboxFixture mailbox(mailbox_options(small_mails(3)));
    mailbox.server.add_rule(Rule(Step::kTop, 2).reply("-ERR gone"));
    mailbox.server.add_rule(Rule(Step::kRetr, 1).reply("-ERR gone"));
    const CliResult result = mailbox.list();
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ(std::string::npos, result.out.find("mail 2")) << result.out;
    EXPECT_NE(std::string::npos, result.out.find("mail 3")) << result.out;
}

TEST(CliList, ShowsHowFarItIsAndEndsAtCtrlC)
{
    MailboxFixture mailbox(mailbox_options(small_mails(400)));
    mailbox.server.add_rule(Rule(Step::kTop).every().delay(20));
    TerminalProcess process(mailbox.arguments("list"));
    ASSERT_TRUE(process.wait_for_text(" of 400 uid-")) << process.seen();
    process.type("\x03");
    EXPECT_EQ(128 + SIGINT, process.wait());
    EXPECT_NE(std::string::npos, process.seen().find("interrupted, nothing was changed")) << process.seen();
    EXPECT_EQ(std::string::npos, process.seen().find("unique id")) << process.seen();
}

TEST(CliList, AnOutputThatTakesNothingIsToldOf)
{
    const MailboxFixture mailbox(mailbox_options({kPlain}));
    const auto run_to = [&](const std::string& output, const std::vector<std::string>& arguments) {
        std::vector<std::string> words = {"-c", "exec \"$0\" \"$@\" " + output, VELORIN_MAIL_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return CliProcess("/bin/sh", words).wait(30000);
    };
    for (const char* const output : {"> /dev/full", ">&-"}) {
        SCOPED_TRACE(output);
        expect_one_sentence(run_to(output, mailbox.arguments("list")), 74,
                            "the table cannot be written to standard output");
        expect_one_sentence(run_to(output, mailbox.state_arguments("fetch", {"--json"})), 74,
                            "the work is done, but the result cannot be written to standard output");
        expect_one_sentence(run_to(output, {"list", "--help"}), 74, "standard output cannot be written");
    }
    EXPECT_EQ(3u, tree_of(mailbox.out()).size());
}
