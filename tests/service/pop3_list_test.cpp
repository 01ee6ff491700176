// The list of mails: what List and ListNext make of it.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mailbox.h"
#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::client_lines;
using velorin_test::info;
using velorin_test::name_of;
using velorin_test::Pop3Client;
using velorin_test::Pop3Fixture;
using velorin_test::Pop3Options;
using velorin_test::small_mails;
using velorin_test::text_of;
using velorin_test::with_mails;

using Info = ntc_email_esu_pop3_mail_info;

int count_of(const std::string& text, const std::string& word)
{
    int count = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++count;
    return count;
}

TEST(Pop3List, StatCounts)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    EXPECT_EQ("ok", name_of(fixture.client.stat()));
    EXPECT_EQ(3, fixture.client.count);
}

TEST(Pop3List, NewMailsAreRegistered)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("1:uid-1:1 2:uid-2:1 3:uid-3:1", text_of(client.list));
    EXPECT_EQ(200, client.list.n_max_list_size());
    EXPECT_EQ(27u, client.list.c_list(0).n_size());
}

TEST(Pop3List, AnEmptyMailboxIsAnEmptyList)
{
    Pop3Fixture fixture(with_mails({}));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    *client.list.add_c_list() = info(1, "gone", 0);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("", text_of(client.list));
    EXPECT_EQ("no-more-mail", name_of(client.next()));
}

// Known ones keep their status and order and take the new number; the others go.
TEST(Pop3List, KnownMailsAreFoundAgain)
{
    Pop3Fixture fixture(with_mails(small_mails(4)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    *client.list.add_c_list() = info(9, "uid-3", 0);
    *client.list.add_c_list() = info(2, "gone", 1);
    *client.list.add_c_list() = info(0, "uid-1", 77);
    *client.list.add_c_list() = info(4, "", 1);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("3:uid-3:0 1:uid-1:77 2:uid-2:1 4:uid-4:1", text_of(client.list));
    EXPECT_EQ(27u, client.list.c_list(0).n_size()) << "the server's, not the caller's";
    const std::string before = client.list.SerializeAsString();
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ(before, client.list.SerializeAsString());
    EXPECT_EQ(1, count_of(client_lines(fixture), "UIDL")) << "once a connection";
}

TEST(Pop3List, AListHasRoomForSoMany)
{
    Pop3Fixture fixture(with_mails(small_mails(5)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.list.set_n_max_list_size(3);
    *client.list.add_c_list() = info(0, "uid-2", 0);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("2:uid-2:0 1:uid-1:1 3:uid-3:1", text_of(client.list));
    // The first entry goes, another comes.
    client.list.mutable_c_list()->DeleteSubrange(1, 1);
    client.list.set_n_max_list_size(0);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("2:uid-2:0 3:uid-3:1", text_of(client.list));
    client.list.set_n_max_list_size(-1);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("2:uid-2:0 3:uid-3:1", text_of(client.list));
}

TEST(Pop3List, AnAnswerHasRoomForSoMany)
{
    Pop3Options options = with_mails({});
    for (int number = 1; number <= 500; ++number)
        options.maildrop->add("Subject: x\r\n\r\n", std::string(66, 'u') + std::to_string(1000 + number));
    Pop3Fixture fixture(std::move(options));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.list.set_n_max_list_size(1000);
    EXPECT_EQ("ok", name_of(client.update()));
    const int fitted = client.list.c_list_size();
    EXPECT_GT(fitted, 90);
    EXPECT_LT(fitted, 110);
    // ListNext still fits beside its list, and goes on where the list ends.
    client.info.set_n_id(0);
    for (int number = 1; number <= 500; ++number) {
        ASSERT_EQ("ok", name_of(client.next())) << number;
        ASSERT_EQ(number, client.info.n_id());
        ASSERT_EQ(1, client.info.n_status());
    }
    EXPECT_EQ("no-more-mail", name_of(client.next()));
    EXPECT_EQ(500, client.info.n_id());
    EXPECT_EQ(fitted, client.list.c_list_size());
}

// What a caller has marked is worth more than what comes again.
TEST(Pop3List, ACallersListThatDoesNotFitLosesRegisteredEntriesFirst)
{
    Pop3Options options = with_mails({});
    for (int number = 1; number <= 300; ++number)
        options.maildrop->add("Subject: x\r\n\r\n", std::string(60, 'u') + std::to_string(1000 + number));
    Pop3Fixture fixture(std::move(options));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.list.set_n_max_list_size(1000);
    for (int number = 1; number <= 200; ++number) {
        *client.list.add_c_list() =
            info(number, std::string(60, 'u') + std::to_string(1000 + number), number % 4 == 0 ? 5 : 1);
    }
    EXPECT_EQ("answer-cut", name_of(client.update()));
    int marked = 0;
    for (const Info& entry : client.list.c_list())
        marked += entry.n_status() == 5 ? 1 : 0;
    EXPECT_EQ(50, marked);
    EXPECT_GT(client.list.c_list_size(), 80);
}

TEST(Pop3List, NextIsTheRegisteredMailWithTheLowestNumberAbove)
{
    Pop3Fixture fixture(with_mails(small_mails(6)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    ASSERT_EQ("ok", name_of(client.update()));
    client.list.mutable_c_list(1)->set_n_status(0);
    client.list.mutable_c_list(4)->set_n_status(2);
    client.list.mutable_c_list()->SwapElements(2, 3);
    const std::string before = client.list.SerializeAsString();
    client.info = info(0, "", 0);
    for (const int expected : {1, 3, 4, 6}) {
        EXPECT_EQ("ok", name_of(client.next()));
        EXPECT_EQ(expected, client.info.n_id());
        EXPECT_EQ("uid-" + std::to_string(expected), client.info.c_uniq_id());
    }
    EXPECT_EQ("no-more-mail", name_of(client.next()));
    EXPECT_EQ(6, client.info.n_id());
    client.info.set_n_id(-5);
    EXPECT_EQ("ok", name_of(client.next()));
    EXPECT_EQ(1, client.info.n_id());
    EXPECT_EQ(before, client.list.SerializeAsString());
}

TEST(Pop3List, NextGoesOnBehindAListThatIsFull)
{
    Pop3Fixture fixture(with_mails(small_mails(5)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.list.set_n_max_list_size(2);
    client.info = info(0, "", 0);
    for (int number = 1; number <= 5; ++number) {
        ASSERT_EQ("ok", name_of(client.next()));
        EXPECT_EQ(number, client.info.n_id());
    }
    EXPECT_EQ("no-more-mail", name_of(client.next()));
    EXPECT_EQ("1:uid-1:1 2:uid-2:1", text_of(client.list)) << "while there was room";
}

TEST(Pop3List, WithoutUidlEntriesLastAsLongAsTheConnection)
{
    Pop3Options options = with_mails(small_mails(3));
    options.uidl = false;
    Pop3Fixture fixture(std::move(options));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    *client.list.add_c_list() = info(2, "", 5, 27);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("1::1 2::1 3::1", text_of(client.list)) << "made on another connection";
    client.list.mutable_c_list(1)->set_n_status(0);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("1::1 2::0 3::1", text_of(client.list));
    client.list.mutable_c_list(0)->set_n_status(2);
    EXPECT_EQ("no-unique-ids", name_of(client.remove_by_uid()));
    EXPECT_EQ("1::2 2::0 3::1", text_of(client.list));
    client.mean(3, "", 26);
    EXPECT_EQ("no-such-mail", name_of(client.remove())) << "of another size";
    client.mean(3, "", 27);
    EXPECT_EQ("ok", name_of(client.remove()));
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_EQ(2u, fixture.server.maildrop().mails().size());
}

// Copies of a mail may have one unique id; none of them is lost or taken for the other.
TEST(Pop3List, CopiesOfAMailKeepApart)
{
    Pop3Options options = with_mails({});
    for (int copy = 0; copy < 3; ++copy)
        options.maildrop->add("Subject: " + std::to_string(copy) + "\r\n\r\n", "same");
    Pop3Fixture fixture(std::move(options));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    *client.list.add_c_list() = info(2, "same", 0);
    *client.list.add_c_list() = info(9, "same", 7);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("2:same:0 1:same:7 3:same:1", text_of(client.list));
    client.list.clear_c_list();
    *client.list.add_c_list() = info(1, "same", 0);
    *client.list.add_c_list() = info(9, "same", 7);
    EXPECT_EQ("ok", name_of(client.update()));
    EXPECT_EQ("1:same:0 2:same:7 3:same:1", text_of(client.list));
    client.mean(3, "same");
    EXPECT_EQ("ok", name_of(client.header_only()));
    EXPECT_EQ("2", client.mail.c_subject());
    client.mean(9, "same");
    EXPECT_EQ("no-such-mail", name_of(client.header_only())) << "nobody knows which";
    EXPECT_EQ("no-such-mail", name_of(client.remove()));
}

TEST(Pop3List, AMailIsFoundByItsUniqueIdWhateverItsNumber)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    client.mean(1, "uid-3");
    EXPECT_EQ("ok", name_of(client.header()));
    EXPECT_EQ("mail 3", client.mail.c_subject());
    EXPECT_EQ(3, client.mail.c_mail_info().n_id());
    EXPECT_EQ("ok", name_of(client.body()));
    client.mean(2, "uid-9");
    EXPECT_EQ("no-such-mail", name_of(client.header()));
    EXPECT_EQ("no-such-mail", name_of(client.remove()));
    for (const std::int32_t number : {0, -1, 4, 0x7FFFFFFF}) {
        client.mean(number);
        EXPECT_EQ("no-such-mail", name_of(client.header())) << number;
        EXPECT_EQ("no-such-mail", name_of(client.remove())) << number;
    }
    EXPECT_EQ(0, count_of(client_lines(fixture), "DELE"));
    EXPECT_EQ("ok", name_of(client.close()));
}

TEST(Pop3List, AMailboxOfManyMailsIsWalkedThrough)
{
    constexpr int kCount = 3000;
    Pop3Options options = with_mails({});
    for (int number = 1; number <= kCount; ++number)
        options.maildrop->add("Subject: x\r\n\r\n", "uid-" + std::to_string(number));
    Pop3Fixture fixture(std::move(options));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    ASSERT_EQ("ok", name_of(client.update()));
    client.info.set_n_id(0);
    int met = 0;
    while (client.next() == 0)
        ASSERT_EQ(++met, client.info.n_id());
    EXPECT_EQ(kCount, met);
    EXPECT_EQ(1, count_of(client_lines(fixture), "UIDL"));
}

struct LineCase {
    const char* line;
    bool sound;
    std::uint32_t number = 0;
    const char* rest = "";
};

TEST(Mailbox, ReadsLinesOfUidl)
{
    const std::string longest(255, 'x');
    const std::string too_long(256, 'x');
    const LineCase cases[] = {
        {"1 a", true, 1, "a"},
        {"2147483647 !~", true, 2147483647, "!~"},
        {"1  a", true, 1, "a"},
        {"1 a ", true, 1, "a"},
        {"01 a", true, 1, "a"},
        {"0 a", false},
        {"-1 a", false},
        {"+1 a", false},
        {" 1 a", false},
        {"2147483648 a", false},
        {"4294967297 a", false},
        {"99999999999999999999999 a", false},
        {"1", false},
        {"1 ", false},
        {"1a", false},
        {"1\ta", false},
        {"1 a b", false},
        {"1 a\x7F", false},
        {"1 \xE3", false},
        {"", false},
        {"x", false},
    };
    for (const LineCase& one : cases) {
        std::uint32_t number = 0;
        std::string_view uid;
        EXPECT_EQ(one.sound, read_uid_line(one.line, number, uid)) << one.line;
        if (!one.sound) continue;
        EXPECT_EQ(one.number, number) << one.line;
        EXPECT_EQ(one.rest, uid) << one.line;
    }
    std::uint32_t number = 0;
    std::string_view uid;
    EXPECT_TRUE(read_uid_line("1 " + longest, number, uid));
    EXPECT_FALSE(read_uid_line("1 " + too_long, number, uid));
}

TEST(Mailbox, ReadsLinesOfList)
{
    const struct {
        const char* line;
        bool sound;
        std::uint32_t number;
        std::uint32_t size;
    } cases[] = {
        {"1 2", true, 1, 2},
        {"1 0", true, 1, 0},
        {"1 2 more", true, 1, 2},
        {"1 2147483647", true, 1, 2147483647},
        {"1 4294967296", true, 1, 2147483647},
        {"1 18446744073709551615", true, 1, 2147483647},
        {"1 18446744073709551616", false, 0, 0},
        {"1 -2", false, 0, 0},
        {"1 2x", false, 0, 0},
        {"1 x", false, 0, 0},
        {"1", false, 0, 0},
        {"0 2", false, 0, 0},
    };
    for (const auto& one : cases) {
        std::uint32_t number = 0;
        std::uint32_t size = 0;
        EXPECT_EQ(one.sound, read_size_line(one.line, number, size)) << one.line;
        if (!one.sound) continue;
        EXPECT_EQ(one.number, number) << one.line;
        EXPECT_EQ(one.size, size) << one.line;
    }
}

}  // namespace
}  // namespace velorin::service
