// What a server, a disk and a list of fetched mails may do to a fetch: one sentence, the right exit code, and
// nothing deleted that was not safely written.
#include <csignal>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cli_process.h"
#include "mailbox_support.h"

using velorin_test::Pop3Options;
using velorin_test::Rule;
using velorin_test::Step;

namespace {

constexpr int kSoon = 10000;      // milliseconds
constexpr int kPatience = 30000;  // milliseconds

bool said_dele(const MailboxFixture& mailbox)
{
    for (const auto& conversation : mailbox.server.conversations())
        if (conversation.client_lines().find("DELE") != std::string::npos) return true;
    return false;
}

// velorin-mail in a shell that lets no file grow over a limit.
CliResult run_with_file_limit(unsigned half_kib, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words = {
        "-c", "ulimit -f " + std::to_string(half_kib) + " && exec \"$0\" \"$@\"", VELORIN_MAIL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return CliProcess("/bin/sh", words).wait(kPatience);
}

}  // namespace

TEST(CliFetchFailure, AWrongPassword)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    for (const char* const command : {"list", "fetch", "delete"}) {
        std::vector<std::string> arguments = mailbox.arguments(command);
        arguments.back() = mailbox.folder.write("wrong", "wrong\n");
        if (std::string(command) != "list") arguments.insert(arguments.end(), {"--state", mailbox.state()});
        if (std::string(command) == "fetch") arguments.insert(arguments.end(), {"--folder", mailbox.out()});
        if (std::string(command) == "delete") arguments.emplace_back("uid-1");
        const CliResult result = run_cli(arguments);
        expect_one_sentence(result, 77, "refuses the user or the password (login-refused");
        EXPECT_EQ("", result.out);
        EXPECT_EQ(std::string::npos, result.err.find("wrong\n"));
    }
    EXPECT_TRUE(tree_of(mailbox.out()).empty());
}

TEST(CliFetchFailure, AMailboxInUse)
{
    MailboxFixture mailbox(mailbox_options(small_mails(1)));
    mailbox.server.add_rule(Rule(Step::kPass).reply("-ERR [IN-USE] locked by somebody"));
    expect_one_sentence(mailbox.fetch({"--delete"}), 75,
                        "mailbox is in use by somebody else (mailbox-in-use");
    EXPECT_EQ("uid-1", mailbox.on_server());
}

TEST(CliFetchFailure, ALineThatDropsInMidMail)
{
    for (const bool raw : {false, true}) {
        std::vector<std::string> mails = small_mails(2);
        mails.push_back("Subject: large\r\n\r\n" + std::string(200000, 'x') + "\r\n");
        mails.push_back(small_mails(4)[3]);
        MailboxFixture mailbox(mailbox_options(mails));
        mailbox.server.add_rule(Rule(Step::kRetr, 3).close_inside());
        std::vector<std::string> how = {"--delete"};
        if (raw) how.emplace_back("--raw");
        expect_one_sentence(mailbox.fetch(how), 75,
                            "fetch uid-3: the connection to the server was lost (connection-lost");
        EXPECT_FALSE(said_dele(mailbox));
        EXPECT_EQ(raw ? 2u : 6u, tree_of(mailbox.out()).size())
            << "what came whole is there, no half mail is";
        EXPECT_EQ("uid-1 uid-2 uid-3 uid-4", mailbox.on_server());
        // The next run fetches the rest, and deletes all that the first one was to delete.
        expect_silent_success(mailbox.fetch(how));
        EXPECT_EQ(raw ? 4u : 12u, tree_of(mailbox.out()).size());
        EXPECT_EQ("", mailbox.on_server());
    }
}

TEST(CliFetchFailure, AMailDeletedBySomebodyElseMeanwhile)
{
    MailboxFixture mailbox(mailbox_options(small_mails(3)));
    mailbox.server.add_rule(Rule(Step::kRetr, 2).reply("-ERR no such mail any more"));
    const CliResult result = mailbox.fetch({"--delete"});
    expect_one_sentence(result, 66, "fetch uid-2: the server has no such mail (no-such-mail");
    EXPECT_NE(std::string::npos, result.err.find("\"-ERR no such mail any more\"")) << result.err;
    EXPECT_EQ(6u, tree_of(mailbox.out()).size());
    EXPECT_EQ("uid-2", mailbox.on_server()) << "the others are fetched and deleted";
}

TEST(CliFetchFailure, AnUnknownUniqueId)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(2)));
    const std::string sentence = "mail nobody: the server has no mail of this unique id";
    expect_one_sentence(mailbox.fetch({"uid-1", "nobody"}), 66, sentence);
    EXPECT_TRUE(tree_of(mailbox.out()).empty());
    expect_one_sentence(mailbox.remove({"uid-1", "nobody", "uid-2"}), 66, sentence);
    EXPECT_FALSE(said_dele(mailbox));
    EXPECT_EQ("uid-1 uid-2", mailbox.on_server());
}

TEST(CliFetchFailure, AFullDiskInAMail)
{
    std::vector<std::string> mails = small_mails(2);
    mails.push_back("Subject: large\r\n\r\n" + std::string(40000, 'x') + "\r\n");
    for (const bool raw : {false, true}) {
        const MailboxFixture mailbox(mailbox_options(mails));
        std::vector<std::string> how = {"--delete"};
        if (raw) how.emplace_back("--raw");
        const CliResult result = run_with_file_limit(32, mailbox.state_arguments("fetch", how));
        expect_one_sentence(result, 74,
                            std::string("fetch uid-3") + (raw ? "" : ", text-1.txt") +
                                ": the file would be larger than is allowed");
        EXPECT_FALSE(said_dele(mailbox));
        EXPECT_EQ("uid-1 uid-2 uid-3", mailbox.on_server());
        EXPECT_EQ(raw ? 2u : 6u, tree_of(mailbox.out()).size());
        expect_silent_success(mailbox.fetch(how));
        EXPECT_EQ("", mailbox.on_server());
        EXPECT_EQ(raw ? 3u : 9u, tree_of(mailbox.out()).size());
    }
}

TEST(CliFetchFailure, AFullDiskUnderALongText)
{
    const MailboxFixture mailbox(
        mailbox_options({"Subject: long\r\n\r\n" + std::string(3u << 20, 'x') + "\r\n"}));
    expect_one_sentence(run_with_file_limit(32, mailbox.state_arguments("fetch", {"--delete"})), 74,
                        "fetch uid-1, temporary file: the file would be larger than is allowed");
    EXPECT_TRUE(tree_of(mailbox.out()).empty());
    EXPECT_EQ("uid-1", mailbox.on_server());
}

TEST(CliFetchFailure, AFullDiskInTheListOfFetchedMails)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(12)));
    const CliResult result = run_with_file_limit(1, mailbox.state_arguments("fetch", {"--raw", "--delete"}));
    expect_one_sentence(result, 74, "list of fetched mails " + mailbox.state());
    EXPECT_FALSE(said_dele(mailbox));
    EXPECT_TRUE(tree_of(mailbox.out()).empty()) << "what is not written down has not been fetched";
    EXPECT_FALSE(std::filesystem::exists(mailbox.state()));
    expect_silent_success(mailbox.fetch({"--raw", "--delete"}));
    EXPECT_EQ(12u, tree_of(mailbox.out()).size());
    EXPECT_EQ("", mailbox.on_server());
}

TEST(CliFetchFailure, ADamagedListOfFetchedMails)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(2)));
    expect_silent_success(mailbox.fetch());
    const std::string good = file_octets(mailbox.state());
    const Tree before = tree_of(mailbox.out());
    std::string flipped = good;
    flipped[good.find("uid-1") + 4] = '7';
    for (const std::string& text :
         {std::string(), std::string("nonsense\n"), good.substr(0, good.size() / 2),
          good.substr(0, good.size() - 1), flipped, good + "x", std::string(5, '\0')}) {
        SCOPED_TRACE(text);
        mailbox.folder.write("state", text);
        for (const auto& result : {mailbox.fetch(), mailbox.fetch({"--delete"}),
                                   mailbox.remove({"--fetched"}), mailbox.remove({"uid-1"})}) {
            expect_one_sentence(result, 65, "list of fetched mails " + mailbox.state() + ": it is damaged");
        }
        EXPECT_EQ(text, file_octets(mailbox.state()));
    }
    EXPECT_EQ(1u, mailbox.server.conversations().size()) << "the server was not even asked";
    EXPECT_EQ(before, tree_of(mailbox.out()));
    mailbox.folder.write("state", good);
    expect_silent_success(mailbox.fetch());
    EXPECT_EQ(before, tree_of(mailbox.out()));
}

TEST(CliFetchFailure, AListOfFetchedMailsThatIsNoFile)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    const std::string pipe = mailbox.folder.path() + "/pipe";
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));  // nobody writes: to open it would wait for ever
    for (const std::string& file : {pipe, mailbox.folder.path()}) {
        const CliResult result =
            run_cli(mailbox.arguments("fetch", {"--folder", mailbox.out(), "--state", file}));
        expect_one_sentence(result, 65,
                            "list of fetched mails " + file + ": this is no file that can be written");
        EXPECT_FALSE(std::filesystem::exists(file + ".lock"));
    }
    EXPECT_TRUE(mailbox.server.conversations().empty());
}

TEST(CliFetchFailure, AListOfFetchedMailsBehindALinkStaysThere)
{
    MailboxFixture mailbox(mailbox_options(small_mails(2)));
    const std::string real = mailbox.folder.path() + "/real";
    expect_silent_success(
        run_cli(mailbox.arguments("fetch", {"uid-1", "--folder", mailbox.out(), "--state", real})));
    std::filesystem::create_symlink(real, mailbox.state());
    expect_silent_success(mailbox.fetch());
    EXPECT_TRUE(std::filesystem::is_symlink(mailbox.state()));
    EXPECT_EQ(6u, tree_of(mailbox.out()).size());
    mailbox.server.add_rule(Rule(Step::kUidl, 1).silence());
    CliProcess first(VELORIN_MAIL_PROGRAM, mailbox.state_arguments("fetch"));
    ASSERT_TRUE(mailbox.server.wait_for_connection(3, kSoon));
    expect_one_sentence(run_cli(mailbox.arguments("delete", {"--fetched", "--state", real})), 75,
                        "another velorin-mail is working with it");
    first.send_signal(SIGKILL);
    first.wait(kSoon);
}

TEST(CliFetchFailure, TheListOfAnotherAccount)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    const MailboxFixture other(mailbox_options(small_mails(1)));
    expect_silent_success(mailbox.fetch());
    expect_one_sentence(run_cli(other.arguments("delete", {"--fetched", "--state", mailbox.state()})), 78,
                        "it is that of another account, me@127.0.0.1:");
    EXPECT_EQ("uid-1", other.on_server());
}

TEST(CliFetchFailure, ASecondRunAtTheSameTime)
{
    MailboxFixture mailbox(mailbox_options(small_mails(1)));
    mailbox.server.add_rule(Rule(Step::kRetr).silence());
    CliProcess first(VELORIN_MAIL_PROGRAM, mailbox.state_arguments("fetch"));
    ASSERT_TRUE(mailbox.server.wait_for_command("RETR 1", kSoon));
    expect_one_sentence(mailbox.fetch(), 75, "another velorin-mail is working with it");
    expect_one_sentence(mailbox.remove({"--fetched"}), 75, "another velorin-mail is working with it");
    first.send_signal(SIGKILL);
    EXPECT_EQ(-1, first.wait(kSoon).exit_code);
    expect_silent_success(mailbox.fetch());
    EXPECT_EQ(3u, tree_of(mailbox.out()).size());
}

TEST(CliFetchFailure, AServerWithoutUniqueIds)
{
    Pop3Options options = mailbox_options(small_mails(1));
    options.uidl = false;
    const MailboxFixture mailbox(std::move(options));
    expect_one_sentence(mailbox.fetch({"--all"}), 76, "the server gives its mails no unique ids");
    EXPECT_TRUE(tree_of(mailbox.out()).empty());
}

TEST(CliFetchFailure, DeletionsHoldOnlyWhenTheServerSaysSo)
{
    MailboxFixture mailbox(mailbox_options(small_mails(2)));
    mailbox.server.add_rule(Rule(Step::kQuit, 1).reply("-ERR some messages not removed"));
    expect_one_sentence(mailbox.fetch({"--delete"}), 76, "did not carry out all deletions (not-deleted");
    EXPECT_EQ("uid-1 uid-2", mailbox.on_server());
    mailbox.server.add_rule(Rule(Step::kQuit, 1).close());
    expect_one_sentence(mailbox.fetch({"--delete"}), 75, "connection-lost");
    EXPECT_EQ(6u, tree_of(mailbox.out()).size());
    expect_silent_success(mailbox.fetch({"--delete"}));
    EXPECT_EQ("", mailbox.on_server());
    EXPECT_EQ(6u, tree_of(mailbox.out()).size());
}

TEST(CliFetchFailure, ADeletionThatIsRefusedDeletesNothing)
{
    MailboxFixture mailbox(mailbox_options(small_mails(3)));
    mailbox.server.add_rule(Rule(Step::kDele, 2).reply("-ERR never"));
    expect_one_sentence(mailbox.remove({"uid-1", "uid-2", "uid-3"}), 76, "delete uid-2: ");
    EXPECT_EQ("uid-1 uid-2 uid-3", mailbox.on_server());
    EXPECT_FALSE(mailbox.server.conversations().at(0).quit);
}

TEST(CliFetchFailure, CtrlCAtAServerThatSaysNothing)
{
    MailboxFixture mailbox(mailbox_options(small_mails(3)));
    mailbox.server.add_rule(Rule(Step::kRetr, 3).silence());
    CliProcess process(VELORIN_MAIL_PROGRAM, mailbox.state_arguments("fetch", {"--delete"}));
    ASSERT_TRUE(mailbox.server.wait_for_command("RETR 3", kSoon));
    process.send_signal(SIGINT);
    expect_one_sentence(process.wait(kSoon), 128 + SIGINT,
                        "interrupted, nothing was deleted on the server, and the next run goes on from here");
    EXPECT_FALSE(said_dele(mailbox));
    expect_silent_success(mailbox.fetch({"--delete"}));
    EXPECT_EQ(9u, tree_of(mailbox.out()).size());
    EXPECT_EQ("", mailbox.on_server());
}

TEST(CliFetchFailure, AFolderThatCannotBeHad)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    mailbox.folder.write("file", "");
    std::vector<std::string> arguments = mailbox.arguments("fetch", {"--state", mailbox.state()});
    for (const std::string& folder :
         {mailbox.folder.path() + "/file", mailbox.folder.path() + "/none/of/it"}) {
        std::vector<std::string> with_folder = arguments;
        with_folder.insert(with_folder.end(), {"--folder", folder});
        const bool is_file = folder.compare(folder.size() - 5, 5, "/file") == 0;
        expect_one_sentence(run_cli(with_folder), 74,
                            "folder " + folder + ": cannot be " +
                                (is_file ? "opened: Not a directory" : "made: No such file or directory"));
    }
    EXPECT_TRUE(mailbox.server.conversations().empty());
}

TEST(CliFetchFailure, WrongCommandLines)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    expect_one_sentence(mailbox.remove(), 64,
                        "nothing to delete, give the unique ids of mails, or --fetched");
    expect_one_sentence(mailbox.fetch({"--all", "uid-1"}), 64, "--all");
    expect_one_sentence(mailbox.fetch({"--delete", "--keep"}), 64, "--keep");
    expect_one_sentence(run_cli({"list", "--server", "127.0.0.1"}), 64, "no user, give --user NAME");
    expect_one_sentence(run_cli({"list", "--user", "me"}), 64, "no server, give --server HOST");
    EXPECT_TRUE(mailbox.server.conversations().empty());
}
