// Deletions: which mails they take, and when they hold.
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::client_lines;
using velorin_test::info;
using velorin_test::kSoon;
using velorin_test::name_of;
using velorin_test::Pop3Client;
using velorin_test::Pop3Fixture;
using velorin_test::Pop3Options;
using velorin_test::quick_options;
using velorin_test::Rule;
using velorin_test::small_mails;
using velorin_test::Step;
using velorin_test::text_of;
using velorin_test::with_mails;

using Info = ntc_email_esu_pop3_mail_info;

TEST(Pop3Delete, HoldsAtClose)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.mean(2, "uid-2");
    EXPECT_EQ("ok", name_of(client.remove()));
    EXPECT_EQ("no-such-mail", name_of(client.remove())) << "gone for this session";
    EXPECT_EQ("no-such-mail", name_of(client.header()));
    EXPECT_EQ("ok", name_of(client.stat()));
    EXPECT_EQ(2, client.count);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("1:uid-1:1 3:uid-3:1", text_of(client.list));
    EXPECT_EQ(3u, fixture.server.maildrop().mails().size());
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_EQ(2u, fixture.server.maildrop().mails().size());
}

// A number alone may be another mail's by now.
TEST(Pop3Delete, WantsTheUniqueId)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.mean(2);
    EXPECT_EQ("no-such-mail", name_of(client.remove()));
    ASSERT_EQ("ok", name_of(client.update()));
    client.mean(2, "", client.list.c_list(1).n_size());
    EXPECT_EQ("no-such-mail", name_of(client.remove())) << "of the right size, too";
    *client.list.mutable_c_list(1) = info(2, "", 2);
    EXPECT_EQ("ok", name_of(client.remove_by_uid()));
    EXPECT_EQ("1:uid-1:1 2::2 3:uid-3:1", text_of(client.list));
    EXPECT_EQ(std::string::npos, client_lines(fixture).find("DELE"));
    client.mean(2);
    ASSERT_EQ("ok", name_of(client.header_only())) << "reading harms nothing";
    EXPECT_EQ("ok", name_of(client.remove())) << "the header has brought the unique id";
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_EQ(2u, fixture.server.maildrop().mails().size());
}

// Where the server has none, the number counts for mails that this connection has shown.
TEST(Pop3Delete, WithoutUniqueIdsWantsAMailOfThisConnection)
{
    Pop3Options options = with_mails(small_mails(3));
    options.uidl = false;
    Pop3Fixture fixture(std::move(options));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.mean(2);
    EXPECT_EQ("no-such-mail", name_of(client.remove()));
    ASSERT_EQ("ok", name_of(client.header_only()));
    EXPECT_EQ("ok", name_of(client.remove()));
    client.list.set_n_max_list_size(1);
    ASSERT_EQ("ok", name_of(client.update()));
    ASSERT_EQ("1::1", text_of(client.list));
    client.mean(3);
    EXPECT_EQ("no-such-mail", name_of(client.remove())) << "not in the list";
    client.mean(1);
    EXPECT_EQ("ok", name_of(client.remove()));
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_EQ(1u, fixture.server.maildrop().mails().size());
}

TEST(Pop3Delete, WithoutCloseNothingIsDeleted)
{
    struct {
        const char* label;
        void (*end)(Pop3Fixture&);
    } const ends[] = {
        {"destroy", [](Pop3Fixture& fixture) { EXPECT_EQ("ok", name_of(fixture.client.destroy())); }},
        {"a new session", [](Pop3Fixture& fixture) { EXPECT_EQ("ok", name_of(fixture.client.create())); }},
        {"shutting down", [](Pop3Fixture& fixture) { fixture.service.shut_down(1); }},
    };
    for (const auto& one : ends) {
        Pop3Fixture fixture(with_mails(small_mails(3)));
        ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
        fixture.client.mean(2, "uid-2");
        ASSERT_EQ("ok", name_of(fixture.client.remove()));
        one.end(fixture);
        ASSERT_TRUE(fixture.server.wait_for_disconnect(1, kSoon));
        EXPECT_FALSE(fixture.server.conversations()[0].quit) << one.label;
        EXPECT_EQ(3u, fixture.server.maildrop().mails().size()) << one.label;
    }
}

// Nothing is marked: then a farewell harms nothing.
TEST(Pop3Delete, WithoutDeletionsASessionLeavesPolitely)
{
    Pop3Fixture fixture(with_mails(small_mails(1)));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    ASSERT_EQ("ok", name_of(fixture.client.destroy()));
    ASSERT_TRUE(fixture.server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(fixture.server.conversations()[0].quit);
}

TEST(Pop3Delete, ByUidTakesMarkedEntriesOfTheServer)
{
    Pop3Fixture fixture(with_mails(small_mails(5)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    *client.list.add_c_list() = info(1, "uid-4", 2);
    *client.list.add_c_list() = info(2, "uid-2", 1);
    *client.list.add_c_list() = info(3, "gone", 2);
    *client.list.add_c_list() = info(5, "uid-5", 2);
    EXPECT_EQ("ok", name_of(client.remove_by_uid()));
    EXPECT_EQ("2:uid-2:1 3:gone:2", text_of(client.list));
    EXPECT_EQ("ok", name_of(client.close()));
    const auto left = fixture.server.maildrop().mails();
    ASSERT_EQ(3u, left.size());
    EXPECT_EQ("uid-1", left[0].uid);
    EXPECT_EQ("uid-2", left[1].uid);
    EXPECT_EQ("uid-3", left[2].uid);
}

// The unique id is asked for again before each deletion, where the listing is not of this moment.
TEST(Pop3Delete, ByUidAsksAgain)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    ASSERT_EQ("ok", name_of(client.update()));
    client.list.mutable_c_list(0)->set_n_status(2);
    client.list.mutable_c_list(2)->set_n_status(2);
    fixture.server.add_rule(Rule(Step::kUidl, 1).reply("+OK 1 uid-2"));
    EXPECT_EQ("no-such-mail", name_of(client.remove_by_uid()));
    EXPECT_EQ("1:uid-1:2 2:uid-2:1", text_of(client.list));
    const std::string lines = client_lines(fixture);
    EXPECT_NE(std::string::npos, lines.find("UIDL 1\nUIDL 3\nDELE 3\n")) << lines;
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_EQ(2u, fixture.server.maildrop().mails().size());
}

TEST(Pop3Delete, ARefusalTouchesNoOtherDeletion)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    ASSERT_EQ("ok", name_of(client.update()));
    for (Info& entry : *client.list.mutable_c_list())
        entry.set_n_status(2);
    fixture.server.add_rule(Rule(Step::kDele, 2).reply("-ERR read only"));
    EXPECT_EQ("command-refused", name_of(client.remove_by_uid()));
    EXPECT_EQ("2:uid-2:2", text_of(client.list));
    EXPECT_EQ("ok", name_of(client.noop()));
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_EQ(1u, fixture.server.maildrop().mails().size());
}

// When the connection goes between two deletions neither holds: the entries are all there again.
TEST(Pop3Delete, ALostConnectionKeepsTheList)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    ASSERT_EQ("ok", name_of(client.update()));
    for (Info& entry : *client.list.mutable_c_list())
        entry.set_n_status(2);
    const std::string before = client.list.SerializeAsString();
    fixture.server.add_rule(Rule(Step::kDele, 2).close());
    EXPECT_EQ("connection-lost", name_of(client.remove_by_uid()));
    EXPECT_EQ(before, client.list.SerializeAsString());
    EXPECT_EQ("wrong-order", name_of(client.noop()));
    EXPECT_EQ(3u, fixture.server.maildrop().mails().size());
}

struct Verdict {
    const char* label;
    Rule rule;
    bool deleting;
    const char* code;
    std::size_t left;
};

TEST(Pop3Delete, TheServersVerdictOnQuitCounts)
{
    const Verdict verdicts[] = {
        {"fine", Rule(Step::kQuit).reply("+OK bye"), true, "ok", 1},
        {"some messages not deleted", Rule(Step::kQuit).reply("-ERR some not removed"), true, "not-deleted",
         2},
        {"refused without deletions", Rule(Step::kQuit).reply("-ERR no"), false, "command-refused", 2},
        // The server did it, but nobody was told.
        {"closed", Rule(Step::kQuit).close(), true, "connection-lost", 1},
        {"silent", Rule(Step::kQuit).silence(), true, "time-out", 1},
        {"garbage", Rule(Step::kQuit).reply("bye"), true, "reply-malformed", 2},
    };
    for (const Verdict& one : verdicts) {
        Pop3Options options = with_mails(small_mails(2));
        options.rules = {one.rule};
        MailServiceOptions quick = quick_options();
        quick.data_timeout = 1;
        Pop3Fixture fixture(std::move(options), quick);
        fixture.client.settings.set_n_timeout(1);
        ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
        fixture.client.mean(1, "uid-1");
        if (one.deleting) {
            ASSERT_EQ("ok", name_of(fixture.client.remove()));
        }
        EXPECT_EQ(one.code, name_of(fixture.client.close())) << one.label;
        EXPECT_EQ("wrong-order", name_of(fixture.client.close())) << one.label;
        ASSERT_TRUE(fixture.server.wait_for_disconnect(1, kSoon));
        EXPECT_EQ(one.left, fixture.server.maildrop().mails().size()) << one.label;
    }
}

}  // namespace
}  // namespace velorin::service
