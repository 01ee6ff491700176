// The parts that receiving mails is made of.
#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "display_text.h"
#include "mail_date.h"
#include "mail_manifest.h"
#include "mail_store.h"
#include "received_text.h"
#include "safe_name.h"
#include "seen_state.h"

#include "temporary_folder.h"

using namespace velorin::cli;
using velorin::CntsMLUTLMailType;

TEST(CliSafeName, IsSafeInAnyFolder)
{
    static const struct {
        const char* wanted;
        const char* name;
    } cases[] = {
        {"a.txt", "a.txt"},
        {"", ""},
        {"/", ""},
        {"..", "__"},
        {"...a", "___a"},
        {"a/../b", "b"},
        {"a\\b", "b"},
        {" a ", "_a"},
        {"   ", ""},
        {"-x", "_x"},
        {"a\tb\nc\x7F", "a_b_c_"},
        {"\xFFz", "_z"},
        {"\xC2\x85z", "_z"},
        {"\xE2\x80\xA8z", "_z"},
        {"\xE2\x80\xAEz", "_z"},
        {"\xEF\xBB\xBFz", "_z"},
        {"\xE5\x86\x99.png", "\xE5\x86\x99.png"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(row.name, safe_name(row.wanted, 200)) << row.wanted;
    EXPECT_EQ("_", safe_name(std::string("\0", 1), 200));
}

TEST(CliSafeName, IsCutBetweenCharactersAndKeepsItsExtension)
{
    std::string wide;
    for (int character = 0; character < 100; ++character)
        wide += "\xE6\x97\xA5";
    for (std::size_t limit = 1; limit < 60; ++limit) {
        const std::string name = safe_name(wide + ".pdf", limit);
        EXPECT_LE(name.size(), limit);
        const bool has_room = limit >= 7;  // for a character in front of the extension
        const std::string stem = has_room ? name.substr(0, name.size() - 4) : name;
        EXPECT_EQ(0u, stem.size() % 3) << limit;
        EXPECT_EQ(has_room, name.find(".pdf") != std::string::npos) << limit;
        EXPECT_NE(".", name.substr(0, 1)) << limit;
    }
    EXPECT_EQ("a b", safe_name("a b cd", 4));
    EXPECT_EQ("a-2.txt", numbered_name("a.txt", 2));
    EXPECT_EQ("a-10", numbered_name("a", 10));
    EXPECT_EQ(".x-3", numbered_name(".x", 3));
    EXPECT_EQ("a.b.c-2", numbered_mail("a.b.c", 2));
    EXPECT_EQ("a.b-2.eml", numbered_mail("a.b.eml", 2));
}

TEST(CliMailDate, IsReadInEveryForm)
{
    static const struct {
        const char* text;
        std::time_t moment;
    } cases[] = {
        {"Thu, 01 Jan 2026 12:00:00 +0100", 1767265200},
        {"1 Jan 2026 11:00 GMT", 1767265200},
        {"Thu,1 jan 26 11:00:00", 1767265200},
        {"Thu, 01 Jan 2026 06:00:00 EST (with (a) comment)", 1767265200},
        {"(c) Thu, 01 Jan 2026 10:30:00 -0030", 1767265200},
        {"Thu, 01 January 126 11:00:00 Z", 1767265200},
        {"Sun, 06 Nov 94 08:49:37 GMT", 784111777},
        {"Tue, 19 Jan 2038 12:14:08 +0900", 2147483648},
        {"Sun, 07 Feb 2106 06:28:16 +0000", 4294967296},
    };
    for (const auto& row : cases) {
        std::time_t moment = 0;
        EXPECT_TRUE(read_mail_date(row.text, moment)) << row.text;
        EXPECT_EQ(row.moment, moment) << row.text;
    }
    for (const char* const text :
         {"", "never", "1 Jan 2026", "32 Jan 2026 11:00", "1 Foo 2026 11:00", "1 Jan 2026 24:00",
          "1 Jan 2026 11", "1 Jan 1800 11:00", "1 Jan 2026 11:60:00", "1 Jan 99999 11:00", "\xFF"}) {
        std::time_t moment = 7;
        EXPECT_FALSE(read_mail_date(text, moment)) << text;
        EXPECT_EQ(7, moment);
    }
    EXPECT_EQ("20260101-110000", date_stamp(1767265200));
    EXPECT_EQ("20380119-031408", date_stamp(2147483648));
    EXPECT_EQ("21060207-062816", date_stamp(4294967296));
}

TEST(CliDisplayText, IsMeasuredInColumns)
{
    EXPECT_EQ(5u, display_width("hello"));
    EXPECT_EQ(4u, display_width("\xE6\x97\xA5\xE6\x9C\xAC"));
    EXPECT_EQ(1u, display_width("\xEF\xBD\xB1")) << "half-width kana";
    EXPECT_EQ(1u, display_width("e\xCC\x81")) << "a combining accent takes none";
    EXPECT_EQ("hello", cut_to_width("hello", 5));
    EXPECT_EQ("hel\xE2\x80\xA6", cut_to_width("hello", 4));
    EXPECT_EQ("\xE6\x97\xA5\xE2\x80\xA6", cut_to_width("\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", 4));
    EXPECT_EQ("", cut_to_width("hello", 0));
    EXPECT_EQ("\xE6\x97\xA5  ", padded("\xE6\x97\xA5", 4));
    EXPECT_EQ("  7", padded("7", 3, true));
    EXPECT_EQ("a b?c?", display_text("a\tb\x1B"
                                     "c\xFF"));
}

TEST(CliPartNumbers, CountLikeTheTreeTheyCameFrom)
{
    PartNumbers numbers;
    std::string all;
    for (const int depth : {1, 1, 2, 2, 3, 2, 1, 2, 3, 1})
        all += numbers.next(depth) + " ";
    EXPECT_EQ("1 2 2.1 2.2 2.2.1 2.3 3 3.1 3.1.1 4 ", all);
}

TEST(CliSeenText, ComesBackAndShowsEveryDamage)
{
    std::map<std::string, SeenMail> mails;
    SeenMail mail;
    mail.path = "/a b/\xE6\x97\xA5%\n";
    mail.seen = 1767265200;
    mails["uid 1%"] = mail;
    mail.fate = SeenMail::Fate::kDelete;
    mail.place = SeenMail::Place::kPending;
    mail.temporary = "/a/.incoming-1-2/3";
    mails["u"] = mail;
    const std::string text = write_seen("me@host:110", mails);
    std::string account;
    std::map<std::string, SeenMail> found;
    ASSERT_TRUE(read_seen(text, account, found)) << text;
    EXPECT_EQ("me@host:110", account);
    ASSERT_EQ(2u, found.size());
    EXPECT_EQ("/a b/\xE6\x97\xA5%\n", found.at("uid 1%").path);
    EXPECT_EQ(SeenMail::Place::kFetched, found.at("uid 1%").place);
    EXPECT_EQ(SeenMail::Fate::kDelete, found.at("u").fate);
    EXPECT_EQ("/a/.incoming-1-2/3", found.at("u").temporary);
    EXPECT_EQ(text, write_seen(account, found));
    for (std::size_t at = 0; at < text.size(); ++at) {
        std::string cut = text.substr(0, at);
        EXPECT_FALSE(read_seen(cut, account, found)) << at;
        std::string changed = text;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        EXPECT_FALSE(read_seen(changed, account, found)) << at;
        EXPECT_FALSE(read_seen(text.substr(0, at) + " " + text.substr(at), account, found)) << at;
    }
    EXPECT_EQ(2u, found.size()) << "a damaged text changes nothing";
}

namespace {

// A text of any length through the converter, as the file gets it.
std::string converted(const std::string& octets, CntsMLUTLMailType::eCharSet charset, bool& is_utf8)
{
    const TemporaryFolder folder;
    Spool spool;
    NewFile file;
    const std::string name = folder.path() + "/text";
    EXPECT_TRUE(spool.write(octets.data(), octets.size()));
    EXPECT_TRUE(file.open(AT_FDCWD, name));
    EXPECT_TRUE(write_received_text(spool, charset, file, is_utf8));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(file.size(), file_octets(name).size());
    return file_octets(name);
}

std::string repeated(const std::string& text, std::size_t times)
{
    std::string out;
    for (std::size_t time = 0; time < times; ++time)
        out += text;
    return out;
}

}  // namespace

TEST(CliReceivedText, IsConvertedWhateverItsSize)
{
    constexpr std::size_t kMany =
        200000;  // over the piece that is converted at once, and over what stays in memory
    static const struct {
        const char* label;
        CntsMLUTLMailType::eCharSet charset;
        std::string begin, octets, end;
        std::string utf8;
    } cases[] = {
        {"utf-8", CntsMLUTLMailType::eCharSetUtf8, "x", "\xE6\x97\xA5", "", "\xE6\x97\xA5"},
        {"latin", CntsMLUTLMailType::eCharSetIso8859_1, "x", "\xE9z", "", "\xC3\xA9z"},
        {"sjis", CntsMLUTLMailType::eCharSetShiftJis, "x", "\x93\xFA\xB1", "", "\xE6\x97\xA5\xEF\xBD\xB1"},
        {"jis", CntsMLUTLMailType::eCharSetIso2022Jp, "x\x1B$B", "F|", "\x1B(B", "\xE6\x97\xA5"},
        {"jis lines", CntsMLUTLMailType::eCharSetIso2022Jp, "x", "\x1B$BF|\x1B(B\r\n", "", "\xE6\x97\xA5\n"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.label);
        bool is_utf8 = false;
        const std::string text =
            converted(row.begin + repeated(row.octets, kMany) + row.end, row.charset, is_utf8);
        EXPECT_TRUE(is_utf8);
        EXPECT_TRUE(text == "x" + repeated(row.utf8, kMany));
    }
}

TEST(CliReceivedText, LineEndsAreMetAtEveryCut)
{
    bool is_utf8 = false;
    EXPECT_EQ("a\nb\rc\r\nd\r", converted("a\r\nb\rc\r\r\nd\r", CntsMLUTLMailType::eCharSetUtf8, is_utf8));
    EXPECT_EQ("", converted("", CntsMLUTLMailType::eCharSetUtf8, is_utf8));
    EXPECT_TRUE(is_utf8);
    const std::string piece(256 * 1024 - 1, 'x');  // the CR is the last octet that is read at once
    EXPECT_TRUE(piece + "\n" + piece ==
                converted(piece + "\r\n" + piece, CntsMLUTLMailType::eCharSetIso8859_2, is_utf8));
}

TEST(CliReceivedText, OneWrongOctetLeavesAllOfIt)
{
    const std::string front = repeated("ok\r\n", 100000);
    for (const auto charset : {CntsMLUTLMailType::eCharSetUtf8, CntsMLUTLMailType::eCharSetShiftJis,
                               CntsMLUTLMailType::eCharSetIso2022Jp, CntsMLUTLMailType::eCharSetUnknown}) {
        bool is_utf8 = true;
        const std::string octets = front + "\xFF\r\n" + front;
        EXPECT_TRUE(octets == converted(octets, charset, is_utf8)) << charset;
        EXPECT_FALSE(is_utf8) << charset;
    }
}

TEST(CliNewFile, NeverFollowsOrReplaces)
{
    const TemporaryFolder folder;
    folder.write("there", "mine");
    ASSERT_EQ(0, ::symlink("elsewhere", (folder.path() + "/link").c_str()));
    NewFile file;
    for (const char* const name : {"there", "link"}) {
        EXPECT_FALSE(file.open(AT_FDCWD, folder.path() + "/" + name)) << name;
        EXPECT_EQ(EEXIST, errno) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/elsewhere"));
    EXPECT_EQ("mine", file_octets(folder.path() + "/there"));
}

TEST(CliNewFile, TellsThatADiskIsFull)
{
    EXPECT_EQ("the disk is full", writing_failed(ENOSPC));
    EXPECT_EQ("the disk quota is used up", writing_failed(EDQUOT));
    EXPECT_NE("", writing_failed(EFBIG));
    EXPECT_NE(std::string::npos, writing_failed(EROFS).find("cannot be written: "));
}

TEST(CliMailStore, CompletesAnEarlierRunWhateverStandsThere)
{
    const TemporaryFolder folder;
    const auto pending = [&](const char* temporary, const char* name) {
        SeenMail mail;
        mail.place = SeenMail::Place::kPending;
        mail.temporary = folder.path() + "/" + temporary;
        mail.path = folder.path() + "/" + name;
        return mail;
    };
    Account account;
    account.pop_user = "me";
    account.pop_server = "host";
    Failure failure;
    {
        SeenState state;
        ASSERT_TRUE(state.open(folder.path() + "/state", account, failure)) << failure.sentence;
        folder.write("t1", "1");
        folder.write("t2", "2");
        folder.write("n2.eml", "another's");
        folder.write("n3", "3");
        state.mails()["waits"] = pending("t1", "n1");
        state.mails()["name-is-taken"] = pending("t2", "n2.eml");
        state.mails()["has-its-name"] = pending("t3", "n3");
        state.mails()["nobody-has-it"] = pending("t4", "n4");
        ASSERT_TRUE(complete_pending(state, failure)) << failure.sentence;
    }
    SeenState state;
    ASSERT_TRUE(state.open(folder.path() + "/state", account, failure)) << failure.sentence;
    EXPECT_TRUE(state.is_fetched("waits"));
    EXPECT_TRUE(state.is_fetched("name-is-taken"));
    EXPECT_TRUE(state.is_fetched("has-its-name"));
    EXPECT_FALSE(state.is_fetched("nobody-has-it"));
    EXPECT_EQ("1", file_octets(folder.path() + "/n1"));
    EXPECT_EQ("another's", file_octets(folder.path() + "/n2.eml"));
    EXPECT_EQ("2", file_octets(folder.path() + "/n2-2.eml"));
    EXPECT_EQ("3", file_octets(folder.path() + "/n3"));
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/t1"));
}

TEST(CliSeenState, ForgetsWhatTheServerHasNotHadForAMonth)
{
    const TemporaryFolder folder;
    Account account;
    Failure failure;
    SeenState state;
    ASSERT_TRUE(state.open(folder.path() + "/state", account, failure)) << failure.sentence;
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    for (const char* const uid : {"old-and-there", "old-and-gone", "new-and-gone"})
        state.mails()[uid].seen = now - 40 * 86400;
    state.mails()["new-and-gone"].seen = now - 86400;
    MailEntry there;
    there.key = "old-and-there";
    state.listed({there});
    EXPECT_TRUE(state.is_fetched("old-and-there"));
    EXPECT_FALSE(state.is_fetched("old-and-gone"));
    EXPECT_TRUE(state.is_fetched("new-and-gone"));
    EXPECT_GE(state.mails().at("old-and-there").seen, now);
}

TEST(CliSeenState, ForgetsAMailThatWasDeletedAndIsGone)
{
    const TemporaryFolder folder;
    Account account;
    Failure failure;
    SeenState state;
    ASSERT_TRUE(state.open(folder.path() + "/state", account, failure)) << failure.sentence;
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    const std::map<std::string, SeenMail::Fate> fates = {{"kept", SeenMail::Fate::kKeep},
                                                         {"no-verdict", SeenMail::Fate::kDelete},
                                                         {"deleted", SeenMail::Fate::kDeleted},
                                                         {"deleted-but-there", SeenMail::Fate::kDeleted}};
    for (const auto& [key, fate] : fates) {
        state.mails()[key].fate = fate;
        state.mails()[key].seen = now;
    }
    MailEntry there;
    there.key = "deleted-but-there";
    state.listed({there});
    EXPECT_TRUE(state.is_fetched("kept"));
    EXPECT_TRUE(state.is_fetched("deleted-but-there"));
    EXPECT_FALSE(state.is_fetched("deleted"));
    ASSERT_TRUE(state.is_fetched("no-verdict"));
    EXPECT_EQ(SeenMail::Fate::kDeleted, state.mails().at("no-verdict").fate);
    state.listed({there});
    EXPECT_TRUE(state.is_fetched("kept"));
    EXPECT_FALSE(state.is_fetched("no-verdict"));
}
