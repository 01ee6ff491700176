// A fetch that is killed at any moment loses no mail and fetches none twice.
#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include "cli_process.h"
#include "mailbox_support.h"

using velorin_test::Maildrop;
using velorin_test::Rule;
using velorin_test::Step;

namespace {

constexpr int kSoon = 10000;      // milliseconds
constexpr int kPatience = 30000;  // milliseconds
constexpr int kMostCalls = 500;   // far more than a run of a few mails makes

const char* const kAttachment =
    "Subject: parts\r\nDate: Thu, 01 Jan 2026 12:00:00 +0000\r\nContent-Type: multipart/mixed; "
    "boundary=b\r\n\r\n"
    "--b\r\n\r\ntext\r\n--b\r\nContent-Type: application/x; name=a.bin\r\n\r\noctets\r\n--b--\r\n";

Environment killing_at(const std::string& call)
{
    return {{"LD_PRELOAD", VELORIN_KILL_AT_CALL},
            {"KILL_AT_CALL", call},
            // The address sanitizer wants to be the first library, and does not need to be.
            {"ASAN_OPTIONS", "verify_asan_link_order=0"}};
}

// What each mail is when it is whole, without the numbers that depend on the run.
void expect_whole(const Tree& tree, const std::string& name, const Maildrop::Mail& mail, bool raw)
{
    if (raw) {
        EXPECT_EQ(mail.octets, tree.at(name));
        return;
    }
    EXPECT_NE(std::string::npos, tree.at(name + "mail.json").find("\"unique_id\": \"" + mail.uid + "\""));
    EXPECT_EQ('\n', tree.at(name + "mail.json").back());
    if (mail.octets == kAttachment) {
        EXPECT_EQ("text", tree.at(name + "text-1.txt"));
        EXPECT_EQ("octets", tree.at(name + "a.bin"));
    } else {
        const std::string text = mail.octets.substr(mail.octets.find("\r\n\r\n") + 4);
        EXPECT_EQ(text.substr(0, text.size() - 2) + "\n", tree.at(name + "text-1.txt"));
    }
}

std::string name_in_folder(const Maildrop::Mail& mail, bool raw)
{
    return raw ? "mail-" + mail.uid + ".eml" : "20260101-120000-" + mail.uid + "/";
}

// Whatever stands under a name is whole.
void expect_no_half_mail(const MailboxFixture& mailbox, const std::vector<Maildrop::Mail>& mails, bool raw)
{
    const Tree tree = tree_of(mailbox.out());
    for (const Maildrop::Mail& mail : mails)
        if (tree.count(name_in_folder(mail, raw)) != 0)
            expect_whole(tree, name_in_folder(mail, raw), mail, raw);
}

// Every mail is there once, and nothing else.
void expect_every_mail_once(const MailboxFixture& mailbox, const std::vector<Maildrop::Mail>& mails, bool raw)
{
    const Tree tree = tree_of(mailbox.out());
    for (const Maildrop::Mail& mail : mails) {
        ASSERT_EQ(1u, tree.count(name_in_folder(mail, raw))) << mail.uid;
        expect_whole(tree, name_in_folder(mail, raw), mail, raw);
    }
    std::size_t names = 0;
    for (const auto& [name, octets] : tree)
        if (name.find('/') == std::string::npos || name.find('/') + 1 == name.size()) ++names;
    EXPECT_EQ(mails.size(), names);
}

// A run that is killed at its nth call, a second one that is killed at some other, a third one that is not.
//   result  whether the first run was killed
bool kill_and_complete(const std::string& call, int second_call, const std::vector<std::string>& how)
{
    const bool raw = how.front() == "--raw";
    const bool deletes = how.back() == "--delete";
    std::vector<std::string> octets = small_mails(2);
    octets.emplace_back(kAttachment);
    const MailboxFixture mailbox(mailbox_options(octets));
    const std::vector<Maildrop::Mail> mails = mailbox.server.maildrop().mails();
    const auto run = [&](const std::string& at) {
        return run_cli(mailbox.state_arguments("fetch", how), "", killing_at(at));
    };
    const CliResult first = run(call);
    EXPECT_TRUE(first.in_time);
    expect_no_half_mail(mailbox, mails, raw);
    if (first.exit_code == 0) return false;
    EXPECT_EQ(-1, first.exit_code) << first.err;
    EXPECT_TRUE(run(std::to_string(second_call)).in_time);
    expect_no_half_mail(mailbox, mails, raw);
    expect_silent_success(mailbox.fetch(how));
    expect_every_mail_once(mailbox, mails, raw);
    EXPECT_EQ(deletes ? "" : "uid-1 uid-2 uid-3", mailbox.on_server());
    return true;
}

void kill_at_every_call(const char* after, const std::vector<std::string>& how)
{
    int call = 1;
    while (call < kMostCalls && !testing::Test::HasFailure()) {
        SCOPED_TRACE(call);
        if (!kill_and_complete(std::to_string(call) + after, 1 + call * 7 % 40, how)) break;
        ++call;
    }
    EXPECT_GT(call, 20) << "the calls are not counted";
    EXPECT_LT(call, kMostCalls);
}

}  // namespace

TEST(CliFetchKill, BeforeEachCall)
{
    kill_at_every_call("", {"--keep"});
}

TEST(CliFetchKill, AfterEachCallWhileDeleting)
{
    kill_at_every_call("+", {"--delete"});
}

TEST(CliFetchKill, BeforeEachCallWithRawMails)
{
    kill_at_every_call("", {"--raw", "--delete"});
}

TEST(CliFetchKill, InTheMiddleOfManyMails)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1100)));
    const std::vector<Maildrop::Mail> mails = mailbox.server.maildrop().mails();
    for (const char* const command : {"RETR 2", "RETR 500", "RETR 998", "RETR 1003", "RETR 1099"}) {
        CliProcess process(VELORIN_MAIL_PROGRAM, mailbox.state_arguments("fetch", {"--delete"}));
        if (mailbox.server.wait_for_command(command, kSoon)) process.send_signal(SIGKILL);
        EXPECT_TRUE(process.wait(kPatience).in_time);
        expect_no_half_mail(mailbox, mails, false);
    }
    expect_silent_success(mailbox.fetch({"--delete"}));
    expect_every_mail_once(mailbox, mails, false);
    EXPECT_EQ("", mailbox.on_server());
}

// The server has deleted, and nobody was there to hear it.
TEST(CliFetchKill, WhileTheVerdictIsAwaited)
{
    MailboxFixture mailbox(mailbox_options(small_mails(2)));
    const std::vector<Maildrop::Mail> mails = mailbox.server.maildrop().mails();
    mailbox.server.add_rule(Rule(Step::kQuit).silence());
    CliProcess process(VELORIN_MAIL_PROGRAM, mailbox.state_arguments("fetch", {"--delete"}));
    ASSERT_TRUE(mailbox.server.wait_for_command("QUIT", kSoon));
    process.send_signal(SIGKILL);
    EXPECT_EQ(-1, process.wait(kSoon).exit_code);
    mailbox.server.maildrop().remove({"uid-1"});
    expect_silent_success(mailbox.fetch({"--delete"}));
    EXPECT_EQ("", mailbox.on_server());
    expect_every_mail_once(mailbox, mails, false);
}
