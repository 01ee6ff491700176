// Whole mails from a server to the pieces an application gets.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "octets.h"
#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::name_of;
using velorin_test::octet_difference;
using velorin_test::Pop3Client;
using velorin_test::Pop3Fixture;
using velorin_test::ReceivedPart;
using velorin_test::with_mails;

constexpr std::size_t kAtLeast = 6 * 1024;  // octets of a piece that is not the last one

// A server with one mail and a client that has connected.
struct OneMail : Pop3Fixture {
    explicit OneMail(const std::string& octets) : Pop3Fixture(with_mails({octets}))
    {
        EXPECT_EQ("ok", name_of(client.open(server.port())));
    }

    std::vector<ReceivedPart> receive(bool convert = true)
    {
        std::vector<ReceivedPart> parts;
        EXPECT_EQ("ok", name_of(client.receive(parts, convert)));
        EXPECT_FALSE(client.mail.is_has_next());
        EXPECT_EQ(0, client.mail.n_part_depth());
        EXPECT_EQ("ok", name_of(client.noop())) << "the mail is read to its end";
        return parts;
    }
};

// "depth type octets" of each part, the octets printable.
std::vector<std::string> summary(const std::vector<ReceivedPart>& parts)
{
    std::vector<std::string> out;
    for (const ReceivedPart& part : parts) {
        out.push_back(std::to_string(part.depth) + " " + part.facts.c_content_type() + " " +
                      velorin_test::printable(part.joined()));
    }
    return out;
}

TEST(Pop3Receive, FillsTheMembersOfTheMail)
{
    OneMail one(
        "Return-Path: <bounce@example.com>\r\nReceived: from somewhere\r\n"
        "From: =?utf-8?B?44GC?= <a@example.com>\r\nTo: b@example.com,\r\n c@example.com\r\nTo: "
        "d@example.com\r\n"
        "Cc: \r\nReply-To: r@example.com\r\nDisposition-Notification-To: n@example.com\r\n"
        "Subject: =?iso-2022-jp?B?GyRCJCIbKEI=?=\r\nDate: Thu, 01 Jan 2026 00:00:00 +0000\r\n"
        "Message-ID: <1@example.com>\r\nIn-Reply-To: <0@example.com>\r\nReferences: <x@y>\r\n <z@y>\r\n"
        "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=iso-2022-jp; name=\"n.txt\"\r\n"
        "Content-Transfer-Encoding: 7bit\r\nContent-Disposition: inline\r\nContent-X-CIAJWNETFAX: IGNORE\r\n"
        "\r\nbody\r\n");
    one.receive();
    const auto& mail = one.client.mail;
    EXPECT_EQ("<bounce@example.com>", mail.c_return_path().c_address());
    EXPECT_EQ("\xE3\x81\x82 <a@example.com>", mail.c_from().c_address());
    EXPECT_EQ("b@example.com, c@example.com, d@example.com", mail.c_to().c_address());
    EXPECT_TRUE(mail.c_cc().has_c_address());
    EXPECT_EQ("", mail.c_cc().c_address());
    EXPECT_EQ("r@example.com", mail.c_reply_to().c_address());
    EXPECT_EQ("n@example.com", mail.c_notification_to().c_address());
    EXPECT_EQ("\xE3\x81\x82", mail.c_subject());
    EXPECT_EQ("Thu, 01 Jan 2026 00:00:00 +0000", mail.c_date());
    EXPECT_EQ("<1@example.com>", mail.c_message_id());
    EXPECT_EQ("<0@example.com>", mail.c_in_reply_to());
    EXPECT_EQ("<x@y> <z@y>", mail.c_references());
    EXPECT_EQ(0, mail.my_part().e_content_type());
    EXPECT_EQ(5, mail.my_part().e_char_set());
    EXPECT_EQ(0, mail.my_part().e_transfer_encoding());
    EXPECT_EQ(0, mail.my_part().e_content_disposition());
    EXPECT_EQ("text/plain", mail.my_part().c_content_type());
    EXPECT_EQ("text/plain; charset=iso-2022-jp; name=\"n.txt\"", mail.my_part().c_content_type_string());
    EXPECT_EQ("7bit", mail.my_part().c_transfer_encoding());
    EXPECT_EQ("n.txt", mail.my_part().c_file_name());
    EXPECT_EQ("txt", mail.my_part().c_extension());
    EXPECT_EQ("IGNORE", mail.my_part().ignore_content_xciajwnetfax());
    EXPECT_FALSE(mail.my_part().has_p_buffer()) << "it would be appended to what the library holds";
    EXPECT_EQ(1, mail.c_mail_info().n_id());
    EXPECT_EQ("uid-1", mail.c_mail_info().c_uniq_id());
    EXPECT_EQ(1, mail.c_mail_info().n_status());
}

TEST(Pop3Receive, WithoutConversionTextsStayAsTheyCame)
{
    OneMail one("From: =?utf-8?B?44GC?=\r\n <a@example.com>\r\nSubject: \x1B$B$\"\x1B(B\r\n\r\nbody\r\n");
    one.receive(false);
    EXPECT_EQ("=?utf-8?B?44GC?= <a@example.com>", one.client.mail.c_from().c_address());
    EXPECT_EQ("\x1B$B$\"\x1B(B", one.client.mail.c_subject());
}

TEST(Pop3Receive, AbsentFieldsStayAbsent)
{
    OneMail one("X: y\r\n\r\nbody\r\n");
    one.receive();
    const auto& mail = one.client.mail;
    EXPECT_FALSE(mail.has_c_from() || mail.has_c_to() || mail.has_c_subject() || mail.has_c_date() ||
                 mail.has_c_message_id() || mail.has_c_return_path());
    EXPECT_EQ(0, mail.my_part().e_content_type()) << "text/plain";
    EXPECT_FALSE(mail.my_part().has_c_content_type());
    EXPECT_EQ(5, mail.my_part().e_transfer_encoding());
    EXPECT_EQ(3, mail.my_part().e_content_disposition());
    EXPECT_EQ(12, mail.my_part().e_char_set());
}

TEST(Pop3Receive, HeaderOnlyReadsNoBody)
{
    OneMail one("Subject: a\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\n--b--\r\n");
    ASSERT_EQ("ok", name_of(one.client.header_only()));
    EXPECT_EQ("a", one.client.mail.c_subject());
    EXPECT_EQ(3, one.client.mail.my_part().e_content_type());
    EXPECT_EQ(0, one.client.mail.n_part_depth());
    EXPECT_FALSE(one.client.mail.is_has_next());
    EXPECT_EQ("wrong-order", name_of(one.client.part_header()));
    EXPECT_EQ(1u, one.receive().size());
}

struct StructureCase {
    const char* label;
    const char* mail;
    std::vector<std::string> parts;
};

#define MIXED(boundary) "Content-Type: multipart/mixed; boundary=" boundary "\r\n\r\n"

const StructureCase structures[] = {
    {"one part", "X: y\r\n\r\na\r\nb", {"0  a\\r\\nb\\r\\n"}},
    {"two parts",
     MIXED("b") "pre\r\n--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\nepi\r\n",
     {"1  one", "1  two"}},
    {"empty parts", MIXED("b") "--b\r\n\r\n--b\r\n\r\n\r\n--b\r\n--b--\r\n", {"1  ", "1  ", "1  "}},
    {"nested",
     MIXED("b") "--b\r\n" MIXED(
         "c") "--c\r\n\r\none\r\n--c\r\n\r\ntwo\r\n--c--\r\nepi\r\n--b\r\n\r\nthree\r\n--b--\r\n",
     {"2 multipart/mixed ", "2  one", "2  two", "1  three"}},
    {"boundaries that begin alike",
     MIXED("b") "--b\r\n" MIXED("bb") "--bb\r\n\r\none\r\n--bb--\r\n--b\r\n\r\n--bbb\r\n--b--\r\n",
     {"2 multipart/mixed ", "2  one", "1  --bbb"}},
    {"the same boundary inside",
     MIXED("b") "--b\r\n" MIXED("b") "--b\r\n\r\none\r\n--b--\r\n--b\r\n\r\ntwo\r\n--b--\r\n",
     {"2 multipart/mixed ", "2  one", "1  two"}},
    {"padding behind boundaries", MIXED("b") "--b \t\r\n\r\none\r\n--b-- \r\n", {"1  one"}},
    {"a CR too many behind every line",
     "Content-Type: multipart/mixed; boundary=b\r\r\n\r\r\n--b\r\r\nContent-Type: "
     "text/html\r\r\n\r\r\none\r\r\n"
     "--b--\r\r\n",
     {"1 text/html one\\r"}},
    {"what only looks like one",
     MIXED("b") "--b\r\n\r\n--bx\r\n--b-\r\n --b\r\n--b--x\r\n- -b\r\n--b--\r\n",
     {"1  --bx\\r\\n--b-\\r\\n --b\\r\\n--b--x\\r\\n- -b"}},
    {"no closing boundary", MIXED("b") "--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n", {"1  one", "1  two\\r\\n"}},
    {"inner closing missing",
     MIXED("b") "--b\r\n" MIXED("c") "--c\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\n",
     {"2 multipart/mixed ", "2  one", "1  two"}},
    {"inner and outer closing missing",
     MIXED("b") "--b\r\n" MIXED("c") "--c\r\n\r\none\r\n",
     {"2 multipart/mixed ", "2  one\\r\\n"}},
    {"outer closed inside the inner",
     MIXED("b") "--b\r\n" MIXED("c") "--c\r\n\r\none\r\n--b--\r\n",
     {"2 multipart/mixed ", "2  one"}},
    {"closed twice", MIXED("b") "--b\r\n\r\none\r\n--b--\r\n--b\r\n\r\ntwo\r\n--b--\r\n", {"1  one"}},
    {"a boundary line at the very end", MIXED("b") "--b\r\n\r\none\r\n--b\r\n", {"1  one", "1  "}},
    {"no boundary line at all", MIXED("b") "just\r\ntext\r\n", {"1  just\\r\\ntext\\r\\n"}},
    {"a closing one only", MIXED("b") "just\r\ntext\r\n--b--\r\nmore\r\n", {"1  just\\r\\ntext"}},
    {"nothing behind the header", MIXED("b") "", {"1  "}},
    {"no boundary line in the inner",
     MIXED("b") "--b\r\n" MIXED("c") "text\r\n--b\r\n\r\ntwo\r\n--b--\r\n",
     {"2 multipart/mixed ", "2  text", "1  two"}},
    {"an empty inner", MIXED("b") "--b\r\n" MIXED("c") "--b--\r\n", {"2 multipart/mixed ", "2  "}},
    {"no boundary parameter",
     "Content-Type: multipart/mixed\r\n\r\n--b\r\n\r\none\r\n--b--\r\n",
     {"0 multipart/mixed --b\\r\\n\\r\\none\\r\\n--b--\\r\\n"}},
    {"no blank line in a part",
     MIXED("b") "--b\r\nContent-Type: text/html\r\nThis is text\r\n--b--\r\n",
     {"1 text/html This is text"}},
    {"no header in a part", MIXED("b") "--b\r\nThis is text\r\n--b--\r\n", {"1  This is text"}},
    {"a boundary inside a header",
     MIXED("b") "--b\r\nContent-Type: text/html\r\n--b\r\n\r\ntwo\r\n--b--\r\n",
     {"1 text/html ", "1  two"}},
    {"bare LF",
     "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n\ntwo\n\n--b--\n",
     {"1  one", "1  two\\n"}},
    {"CR LF and LF", MIXED("b") "--b\n\r\none\r\n--b\r\n\ntwo\n--b--\r\n", {"1  one", "1  two"}},
    {"dots", MIXED(".b") "--.b\r\n\r\n.\r\n..\r\n.x\r\n--.b--\r\n", {"1  .\\r\\n..\\r\\n.x"}},
    {"a mail inside",
     MIXED("b") "--b\r\nContent-Type: message/rfc822\r\n\r\n" MIXED("c") "--c\r\n\r\nx\r\n--c--\r\n--b--\r\n",
     {"1 message/rfc822 Content-Type: multipart/mixed; boundary=c\\r\\n\\r\\n--c\\r\\n\\r\\nx\\r\\n--c--"}},
    {"a digest",
     "Content-Type: multipart/digest; boundary=b\r\n\r\n--b\r\n\r\nSubject: x\r\n\r\n--b\r\nContent-Type: "
     "text/plain\r\n\r\ny\r\n--b--\r\n",
     {"1 message/rfc822 Subject: x\\r\\n", "1 text/plain y"}},
};

TEST(Pop3Receive, TakesEveryStructureApart)
{
    for (const StructureCase& one : structures) {
        OneMail mail(one.mail);
        EXPECT_EQ(one.parts, summary(mail.receive())) << one.label;
    }
}

TEST(Pop3Receive, TellsWhereTheReadingStands)
{
    OneMail one(MIXED("b") "--b\r\n" MIXED("c") "--c\r\n\r\none\r\n--c--\r\n--b\r\n\r\ntwo\r\n--b--\r\n");
    Pop3Client& client = one.client;
    const auto flags = [&] {
        std::string out = std::to_string(client.mail.n_part_depth());
        for (const auto& boundary : client.mail.c_boundary_string())
            out += " " + boundary;
        out += client.mail.is_has_next() ? " next" : " end";
        if (client.mail.is_boundary_detected()) out += " boundary";
        if (client.part().is_terminate()) out += " last";
        return out;
    };
    ASSERT_EQ("ok", name_of(client.header()));
    EXPECT_EQ("1 b next", flags());
    ASSERT_EQ("ok", name_of(client.part_header()));
    EXPECT_EQ("2 b c next last", flags()) << "a multipart has no body of its own";
    ASSERT_EQ("ok", name_of(client.part_header()));
    EXPECT_EQ("2 b c next", flags());
    ASSERT_EQ("ok", name_of(client.part_body()));
    EXPECT_EQ("1 b next boundary last", flags());
    ASSERT_EQ("ok", name_of(client.part_header()));
    EXPECT_EQ("1 b next", flags());
    ASSERT_EQ("ok", name_of(client.part_body()));
    EXPECT_EQ("0 b end boundary last", flags()) << "an answer cannot empty the stack, the depth counts";
    EXPECT_EQ("wrong-order", name_of(client.part_header()));
}

// The library would trace an empty block as a failure.
TEST(Pop3Receive, AnEmptyPieceHasNoBuffer)
{
    OneMail one("Subject: x\r\n\r\n");
    ASSERT_EQ("ok", name_of(one.client.header()));
    ASSERT_EQ("ok", name_of(one.client.body()));
    EXPECT_TRUE(one.client.part().is_terminate());
    EXPECT_TRUE(one.client.part().has_n_length());
    EXPECT_EQ(0, one.client.part().n_length());
    EXPECT_FALSE(one.client.part().has_p_buffer());
}

TEST(Pop3Receive, ANestedMultipartMayBeAskedForItsBody)
{
    OneMail one(MIXED("b") "--b\r\n" MIXED("c") "--c\r\n\r\none\r\n--c--\r\n--b--\r\n");
    Pop3Client& client = one.client;
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.part_header()));
    EXPECT_EQ("ok", name_of(client.part_body()));
    EXPECT_EQ("", client.part().p_buffer());
    EXPECT_TRUE(client.part().is_terminate());
    EXPECT_TRUE(client.mail.is_has_next());
    ASSERT_EQ("ok", name_of(client.part_header()));
    ASSERT_EQ("ok", name_of(client.part_body()));
    EXPECT_EQ("one", client.part().p_buffer());
}

TEST(Pop3Receive, PartsArePassedOver)
{
    const std::string mail =
        MIXED("b") "pre\r\n--b\r\n" MIXED("c") "--c\r\n\r\none\r\n--c\r\n\r\ntwo\r\n--c--\r\n"
                                               "--b\r\n\r\nthree\r\n--b\r\n\r\nfour\r\n--b--\r\n";
    const auto body = [](Pop3Client& client) {
        EXPECT_EQ("ok", name_of(client.part_body()));
        return client.part().p_buffer();
    };
    {  // the whole inner multipart
        OneMail one(mail);
        ASSERT_EQ("ok", name_of(one.client.header()));
        ASSERT_EQ("ok", name_of(one.client.part_header()));
        EXPECT_EQ("ok", name_of(one.client.skip_part()));
        EXPECT_EQ(1, one.client.mail.n_part_depth());
        EXPECT_TRUE(one.client.mail.is_has_next() && one.client.mail.is_boundary_detected());
        ASSERT_EQ("ok", name_of(one.client.part_header()));
        EXPECT_EQ("three", body(one.client));
    }
    {  // one part of it, without its header
        OneMail one(mail);
        ASSERT_EQ("ok", name_of(one.client.header()));
        EXPECT_EQ("ok", name_of(one.client.skip_part())) << "what stands before the first part";
        EXPECT_EQ("wrong-order", name_of(one.client.skip_part()));
        ASSERT_EQ("ok", name_of(one.client.part_header()));
        ASSERT_EQ("ok", name_of(one.client.part_header()));
        EXPECT_EQ("ok", name_of(one.client.skip_part()));
        ASSERT_EQ("ok", name_of(one.client.part_header()));
        EXPECT_EQ("two", body(one.client));
        EXPECT_EQ(1, one.client.mail.n_part_depth());
        ASSERT_EQ("ok", name_of(one.client.part_header()));
        ASSERT_EQ("ok", name_of(one.client.part_header())) << "the next header passes over the body as well";
        EXPECT_EQ("four", body(one.client));
        EXPECT_FALSE(one.client.mail.is_has_next());
    }
    {  // the last part
        OneMail one(mail);
        ASSERT_EQ("ok", name_of(one.client.header()));
        for (int part = 0; part < 5; ++part)
            ASSERT_EQ("ok", name_of(one.client.part_header()));
        EXPECT_EQ("no-more-part", name_of(one.client.part_header()));
        EXPECT_FALSE(one.client.mail.is_has_next());
        EXPECT_EQ("ok", name_of(one.client.noop()));
    }
    {  // the mail
        OneMail one(mail);
        ASSERT_EQ("ok", name_of(one.client.header()));
        ASSERT_EQ("ok", name_of(one.client.part_header()));
        EXPECT_EQ("ok", name_of(one.client.skip_mail()));
        EXPECT_FALSE(one.client.mail.is_has_next());
        EXPECT_EQ("ok", name_of(one.client.noop()));
    }
    {  // what is left of a single part
        OneMail one("X: y\r\n\r\n" + std::string(100000, 'x') + "\r\n");
        ASSERT_EQ("ok", name_of(one.client.header()));
        ASSERT_EQ("ok", name_of(one.client.body()));
        EXPECT_TRUE(one.client.mail.is_has_next());
        EXPECT_EQ("ok", name_of(one.client.skip_part()));
        EXPECT_FALSE(one.client.mail.is_has_next());
        EXPECT_EQ("ok", name_of(one.client.noop()));
    }
}

// Boundaries of 20 levels; the multipart inside the 20th is a body.
TEST(Pop3Receive, GoesTwentyLevelsDeep)
{
    std::string mail;
    const int levels = 22;
    for (int level = 1; level <= levels; ++level) {
        const std::string boundary = std::string(69, 'b') + static_cast<char>('a' + level);
        mail += "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
    }
    mail += "\r\ninnermost\r\n";
    OneMail one(mail);
    const auto parts = one.receive();
    ASSERT_EQ(20u, parts.size());
    for (int index = 0; index < 19; ++index)
        EXPECT_EQ(index + 2, parts[static_cast<std::size_t>(index)].depth);
    EXPECT_EQ(20, parts[19].depth);
    EXPECT_NE(std::string::npos, parts[19].joined().find("innermost\r\n"));
    EXPECT_EQ("multipart/mixed", parts[19].facts.c_content_type());
}

TEST(Pop3Receive, TheThousandthPartGoesToTheEnd)
{
    std::string mail = MIXED("b");
    for (int part = 1; part <= 1005; ++part)
        mail += "--b\r\n\r\npart " + std::to_string(part) + "\r\n";
    mail += "--b--\r\n";
    OneMail one(mail);
    const auto parts = one.receive();
    ASSERT_EQ(1000u, parts.size());
    EXPECT_EQ("part 999", parts[998].joined());
    EXPECT_EQ("part 1000\r\n--b\r\n\r\npart 1001\r\n", parts[999].joined().substr(0, 29));
    EXPECT_EQ("--b--\r\n", parts[999].joined().substr(parts[999].joined().size() - 7));
}

// More text than a hint before the first boundary line is nothing to pass over.
TEST(Pop3Receive, ALongPreambleIsAPart)
{
    std::string text;
    while (text.size() < 200 * 1024)
        text += "A line of text where nobody expects one.\r\n";
    OneMail one(MIXED("b") + text + "--b\r\n\r\none\r\n--b--\r\n");
    const auto parts = one.receive();
    ASSERT_EQ(2u, parts.size());
    EXPECT_EQ("", octet_difference(text.substr(0, text.size() - 2), parts[0].joined()));
    EXPECT_EQ("one", parts[1].joined());
}

TEST(Pop3Receive, LongHeaderTextsAreCutAndToldSo)
{
    std::string to;
    for (int count = 0; count < 1000; ++count)
        to += (count == 0 ? "" : ",\r\n ") + std::string("person-") + std::to_string(count) + "@example.com";
    std::string subject;
    for (int count = 0; count < 3000; ++count)
        subject += "\xE3\x81\x82";
    OneMail one("From: a@b\r\nTo: " + to + "\r\nSubject: " + subject + "\r\nDate: today\r\n\r\nbody\r\n");
    ASSERT_EQ("answer-cut", name_of(one.client.header()));
    const auto& mail = one.client.mail;
    EXPECT_EQ("a@b", mail.c_from().c_address());
    EXPECT_EQ("today", mail.c_date());
    EXPECT_GT(mail.c_to().c_address().size(), 3000u);
    EXPECT_EQ("@example.com", mail.c_to().c_address().substr(mail.c_to().c_address().size() - 12));
    EXPECT_GT(mail.c_subject().size(), 3000u);
    EXPECT_EQ(0u, mail.c_subject().size() % 3);
    EXPECT_EQ("ok", name_of(one.client.body()));
    EXPECT_EQ("body\r\n", one.client.part().p_buffer());
}

TEST(Pop3Receive, ALongFileNameLeavesRoomForOctets)
{
    const std::string name(5000, 'n');
    std::string body;
    while (body.size() < 100000)
        body += "A line of the body, of which there are many.\r\n";
    OneMail one(MIXED("b") "--b\r\nContent-Disposition: attachment; filename=\"" + name + ".pdf\"\r\n\r\n" +
                body + "--b--\r\n");
    const auto parts = one.receive();
    ASSERT_EQ(1u, parts.size());
    EXPECT_EQ(name + ".pdf", parts[0].facts.c_file_name());
    EXPECT_EQ("", octet_difference(body.substr(0, body.size() - 2), parts[0].joined()));
    for (std::size_t index = 0; index + 1 < parts[0].pieces.size(); ++index)
        EXPECT_GE(parts[0].pieces[index].size(), kAtLeast);
}

TEST(Pop3Receive, EveryPieceRepeatsTheFactsOfItsPart)
{
    OneMail one(
        MIXED("b") "--b\r\nContent-Type: application/pdf; name=a.pdf\r\nContent-Transfer-Encoding: base64\r\n"
                   "Content-Disposition: attachment\r\n\r\n" +
        std::string(20000, 'A') + "\r\n--b--\r\n");
    Pop3Client& client = one.client;
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.part_header()));
    do {
        ASSERT_EQ("ok", name_of(client.part_body()));
        EXPECT_EQ(7, client.part().e_content_type());
        EXPECT_EQ(2, client.part().e_transfer_encoding());
        EXPECT_EQ(1, client.part().e_content_disposition());
        EXPECT_EQ(12, client.part().e_char_set());
        EXPECT_EQ("application/pdf", client.part().c_content_type());
        EXPECT_EQ("base64", client.part().c_transfer_encoding());
        EXPECT_EQ("a.pdf", client.part().c_file_name());
        EXPECT_EQ("pdf", client.part().c_extension());
    } while (!client.part().is_terminate());
}

TEST(Pop3Receive, LinesOfAnyLength)
{
    for (const std::size_t length : {4094u, 4095u, 4096u, 4097u, 8192u, 65535u, 65536u, 65537u, 300000u}) {
        const std::string line(length, 'x');
        OneMail single("X: y\r\n\r\n" + line + "\r\n" + line + "\r\n");
        EXPECT_EQ("", octet_difference(line + "\r\n" + line + "\r\n", single.receive()[0].joined()))
            << length;
        OneMail multi(MIXED("b") "--b\r\n\r\n" + line + "\r\n--b\r\n\r\n--b" + line + "\r\n--b--\r\n");
        const auto parts = multi.receive();
        ASSERT_EQ(2u, parts.size()) << length;
        EXPECT_EQ("", octet_difference(line, parts[0].joined())) << length;
        EXPECT_EQ("", octet_difference("--b" + line, parts[1].joined())) << length;
    }
}

}  // namespace
}  // namespace velorin::service
