// Unique ids that say less than they should: several mails of one, one that is given again, ones that make the
// same file name.
#include <gtest/gtest.h>

#include "cli_process.h"
#include "mailbox_support.h"

using velorin_test::Pop3Options;
using velorin_test::Rule;
using velorin_test::Step;

namespace {

// Two mails that differ under the unique id "same", and one beside them.
Pop3Options with_one_id_twice()
{
    Pop3Options options = mailbox_options({});
    const std::vector<std::string> mails = small_mails(3);
    options.maildrop->add(mails[0], "same");
    options.maildrop->add(mails[1], "other");
    options.maildrop->add(mails[2], "same");
    return options;
}

bool has_text(const MailboxFixture& mailbox, const std::string& folder, const std::string& text)
{
    return file_octets(mailbox.out() + "/20260101-120000-" + folder + "/text-1.txt") == text;
}

}  // namespace

TEST(CliFetchIds, EachMailOfOneIdIsFetchedBeforeItIsDeleted)
{
    const MailboxFixture mailbox(with_one_id_twice());
    expect_silent_success(mailbox.fetch({"--delete"}));
    EXPECT_EQ(9u, tree_of(mailbox.out()).size());
    EXPECT_TRUE(has_text(mailbox, "same", "text 1\n"));
    EXPECT_TRUE(has_text(mailbox, "other", "text 2\n"));
    EXPECT_TRUE(has_text(mailbox, "same-2", "text 3\n"));
    EXPECT_EQ("", mailbox.on_server());
}

TEST(CliFetchIds, AMailOfAnIdThatWasFetchedIsNotDeletedWithIt)
{
    const MailboxFixture mailbox(mailbox_options({}));
    mailbox.server.maildrop().add(small_mails(1)[0], "same");
    expect_silent_success(mailbox.fetch());
    mailbox.server.maildrop().add(small_mails(2)[1], "same");
    expect_silent_success(mailbox.remove({"--fetched"}));
    ASSERT_EQ("same", mailbox.on_server());
    EXPECT_EQ(small_mails(2)[1], mailbox.server.maildrop().mails().at(0).octets);
}

TEST(CliFetchIds, AskingForAnIdFetchesAllThatHaveIt)
{
    const MailboxFixture mailbox(with_one_id_twice());
    expect_silent_success(mailbox.fetch({"same", "--delete"}));
    EXPECT_TRUE(has_text(mailbox, "same", "text 1\n"));
    EXPECT_TRUE(has_text(mailbox, "same-2", "text 3\n"));
    EXPECT_EQ("other", mailbox.on_server());
}

TEST(CliFetchIds, AnIdThatTwoMailsHaveNamesNoneToDelete)
{
    const MailboxFixture mailbox(with_one_id_twice());
    expect_one_sentence(mailbox.remove({"other", "same"}), 76,
                        "delete same: more than one mail on the server has this unique id");
    EXPECT_EQ("same other same", mailbox.on_server());
}

TEST(CliFetchIds, AnIdIsGivenAgainOnceItsMailIsDeleted)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    expect_silent_success(mailbox.fetch({"--delete"}));
    expect_silent_success(mailbox.fetch());
    mailbox.server.maildrop().add(small_mails(2)[1], "uid-1");
    expect_silent_success(mailbox.fetch());
    EXPECT_TRUE(has_text(mailbox, "uid-1", "text 1\n"));
    EXPECT_TRUE(has_text(mailbox, "uid-1-2", "text 2\n"));
}

TEST(CliFetchIds, AnIdIsGivenAgainAfterAVerdictThatGotLost)
{
    MailboxFixture mailbox(mailbox_options(small_mails(1)));
    mailbox.server.add_rule(Rule(Step::kQuit, 1).close());
    expect_one_sentence(mailbox.fetch({"--delete"}), 75, "connection-lost");
    mailbox.server.maildrop().remove({"uid-1"});  // it was deleted after all
    expect_silent_success(mailbox.fetch({"--delete"}));
    mailbox.server.maildrop().add(small_mails(2)[1], "uid-1");
    expect_silent_success(mailbox.fetch({"--delete"}));
    EXPECT_EQ("uid-1", mailbox.on_server()) << "nobody has fetched it";
}

TEST(CliFetchIds, OddIdsMakeNamesThatStayInTheFolder)
{
    const std::vector<std::string> uids = {"../../up", "/etc/x", "a/b", "a:b", "a_b",
                                           "a_b-2",    ".",      "..",  "-x"};
    for (const bool raw : {false, true}) {
        const MailboxFixture mailbox(mailbox_options({}));
        for (const std::string& uid : uids)
            mailbox.server.maildrop().add(small_mails(1)[0], uid);
        std::vector<std::string> how;
        if (raw) how.emplace_back("--raw");
        expect_silent_success(mailbox.fetch(how));
        const Tree tree = tree_of(mailbox.out());
        EXPECT_EQ((raw ? 1u : 3u) * uids.size(), tree.size());
        const std::string front = raw ? "mail-" : "20260101-120000-";
        const std::string back = raw ? ".eml" : "";
        for (const char* const name :
             {".._.._up", "_etc_x", "a_b", "a_b-2", "a_b-3", "a_b-2-2", ".", "..", "-x"})
            EXPECT_EQ(1u, tree.count(front + name + back + (raw ? "" : "/"))) << name;
        expect_silent_success(mailbox.fetch(how));
        EXPECT_EQ(tree, tree_of(mailbox.out()));
    }
}

TEST(CliFetchIds, ASecondRunGoesOnWithTheNumbersOfNames)
{
    const MailboxFixture mailbox(mailbox_options({}));
    mailbox.server.maildrop().add(small_mails(1)[0], "a/b");
    mailbox.server.maildrop().add(small_mails(1)[0], "a:b");
    expect_silent_success(mailbox.fetch({"--raw"}));
    mailbox.server.maildrop().add(small_mails(1)[0], "a?b");
    mailbox.server.maildrop().add(small_mails(1)[0], "a*b");
    expect_silent_success(mailbox.fetch({"--raw"}));
    for (const char* const name : {"mail-a_b.eml", "mail-a_b-2.eml", "mail-a_b-3.eml", "mail-a_b-4.eml"})
        EXPECT_EQ(1u, tree_of(mailbox.out()).count(name)) << name;
}
