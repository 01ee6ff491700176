// Mails that arrive: what stands on the wire, octet by octet.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "loopback_smtp.h"
#include "octets.h"
#include "return_codes.h"
#include "service_client.h"

namespace velorin::service {
namespace {

using velorin_test::directly;
using velorin_test::kSoon;
using velorin_test::LoopbackMail;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::octet_difference;
using velorin_test::plain_header;
using velorin_test::quick_options;
using velorin_test::ServiceClient;
using velorin_test::SmtpOptions;

constexpr char kMultipartStart[] = "Date: Thu, 01 Jan 2026 00:00:00 +0000\r\n"
                                   "From: The Sender <sender@example.com>\r\n"
                                   "Subject: A test\r\n"
                                   "To: one@example.org\r\n"
                                   "Message-Id: <id@example.com>\r\n"
                                   "Mime-Version: 1.0\r\n"
                                   "Content-Type: multipart/mixed;\r\n\tboundary=\"cut\"\r\n"
                                   "Content-Transfer-Encoding: 8bit\r\n"
                                   "\r\n"
                                   "--cut\r\n"
                                   "Content-Type: text/plain; charset=\"us-ascii\"\r\n"
                                   "Content-Transfer-Encoding: 7bit\r\n"
                                   "\r\n";

std::string part_header(const std::string& file_name)
{
    return "Content-Type: application/pdf;\r\n\tname=\"" + file_name +
           "\"\r\nContent-Disposition: attachment;\r\n\tfilename=\"" + file_name +
           "\"\r\nContent-Transfer-Encoding: base64\r\n\r\n";
}

class Sending : public testing::Test {
protected:
    Sending() : service(quick_options()), client(directly(service)) {}

    MailService service;
    ServiceClient client;
};

TEST_F(Sending, DeliversASinglePartMail)
{
    const LoopbackSmtp server;
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.send("Hello,\nworld.\n.\n..dots\r\n")));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    const LoopbackMail mail = server.mails()[0];
    EXPECT_EQ("MAIL FROM:<sender@example.com> BODY=8BITMIME", mail.mail_line);
    EXPECT_EQ(std::vector<std::string>{"one@example.org"}, mail.recipients);
    EXPECT_EQ("", octet_difference(plain_header() + "Hello,\r\nworld.\r\n..\r\n...dots\r\n", mail.wire));
    EXPECT_EQ("", octet_difference(plain_header() + "Hello,\r\nworld.\r\n.\r\n..dots\r\n", mail.octets()));
    EXPECT_EQ("ok", name_of(client.destroy()));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(server.conversations()[0].quit);
    EXPECT_EQ("client.example", server.conversations()[0].hello);
    EXPECT_EQ(0, server.conversations()[0].bare_line_ends);
}

TEST_F(Sending, DeliversAMailWithoutABody)
{
    const LoopbackSmtp server;
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.header()));
    EXPECT_EQ("ok", name_of(client.close()));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ("", octet_difference(plain_header(), server.mails()[0].wire));
}

TEST_F(Sending, TakesABodyInAnySlices)
{
    const std::string body = ".first\r\nsecond\r.third\n\r\n....\r\nlast";
    const std::string expected = plain_header() + "..first\r\nsecond\r\n..third\r\n\r\n.....\r\nlast\r\n";
    const LoopbackSmtp server;
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    for (std::size_t cut = 0; cut <= body.size(); ++cut) {
        ASSERT_EQ("ok", name_of(client.header()));
        ASSERT_EQ("ok", name_of(client.body(body.substr(0, cut))));
        ASSERT_EQ("ok", name_of(client.body(body.substr(cut))));
        ASSERT_EQ("ok", name_of(client.close())) << cut;
        ASSERT_TRUE(server.wait_for_mail(cut + 1, kSoon));
        EXPECT_EQ("", octet_difference(expected, server.mails()[cut].wire)) << cut;
    }
    EXPECT_EQ(1u, server.conversations().size());
}

TEST_F(Sending, DeliversAMultipartMail)
{
    const LoopbackSmtp server;
    client.make_multipart();
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.body("Text")));
    client.set_part("a.pdf");
    ASSERT_EQ("ok", name_of(client.part_header()));
    ASSERT_EQ("ok", name_of(client.part_body("QUJD\r\n")));
    ASSERT_EQ("ok", name_of(client.part_body("REVG\r\n")));
    client.set_part("b.pdf");
    ASSERT_EQ("ok", name_of(client.part_header()));
    ASSERT_EQ("ok", name_of(client.close()));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    const std::string expected = kMultipartStart + std::string("Text\r\n--cut\r\n") + part_header("a.pdf") +
                                 "QUJD\r\nREVG\r\n\r\n--cut\r\n" + part_header("b.pdf") + "\r\n--cut--\r\n";
    EXPECT_EQ("", octet_difference(expected, server.mails()[0].wire));
}

// The line end before a boundary belongs to the boundary, whatever the body before it ends with.
TEST_F(Sending, EndsEveryPartWithALineEndOfItsOwn)
{
    const struct {
        const char* body;
        const char* wire;
    } cases[] = {{"", ""},         {"a", "a"},  {"a\r\n", "a\r\n"}, {"a\r", "a\r\n"},
                 {"a\n", "a\r\n"}, {".", ".."}, {"a\n.", "a\r\n.."}};
    const LoopbackSmtp server;
    client.make_multipart();
    client.set_part("a.pdf");
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    std::size_t count = 0;
    for (const auto& one : cases) {
        ASSERT_EQ("ok", name_of(client.header()));
        ASSERT_EQ("ok", name_of(client.body(one.body)));
        ASSERT_EQ("ok", name_of(client.part_header()));
        ASSERT_EQ("ok", name_of(client.part_body(one.body)));
        ASSERT_EQ("ok", name_of(client.close()));
        ASSERT_TRUE(server.wait_for_mail(++count, kSoon));
        const std::string expected = kMultipartStart + std::string(one.wire) + "\r\n--cut\r\n" +
                                     part_header("a.pdf") + one.wire + "\r\n--cut--\r\n";
        EXPECT_EQ("", octet_difference(expected, server.mails()[count - 1].wire)) << one.body;
    }
}

TEST_F(Sending, UsesTheBoundaryOfTheHeaderToTheEnd)
{
    const LoopbackSmtp server;
    client.make_multipart();
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    client.mail.set_c_boundary_string("other\r\n.\r\nQUIT");
    ASSERT_EQ("ok", name_of(client.close()));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ("", octet_difference(kMultipartStart + std::string("\r\n--cut--\r\n"), server.mails()[0].wire));
}

TEST_F(Sending, AsksForEveryRecipientOnce)
{
    for (const bool pipelining : {false, true}) {
        SmtpOptions options;
        options.pipelining = pipelining;
        const LoopbackSmtp server(options);
        ServiceClient sender(directly(service), pipelining ? 2 : 1);
        sender.mail.mutable_c_to()->set_c_address("\"Last, First\" <one@example.org>; two@example.org");
        sender.mail.mutable_c_cc()->set_c_address("Three <three@example.org>,one@EXAMPLE.ORG");
        sender.mail.mutable_c_bcc()->set_c_address("hidden@example.org");
        ASSERT_EQ("ok", name_of(sender.open(server.port())));
        ASSERT_EQ("ok", name_of(sender.send("x")));
        ASSERT_TRUE(server.wait_for_mail(1, kSoon));
        const LoopbackMail mail = server.mails()[0];
        EXPECT_EQ((std::vector<std::string>{"one@example.org", "two@example.org", "three@example.org",
                                            "hidden@example.org"}),
                  mail.recipients);
        EXPECT_EQ(std::string::npos, mail.wire.find("hidden"));
        EXPECT_EQ(pipelining, server.conversations()[0].early_commands > 0);
    }
}

TEST_F(Sending, AsksForManyRecipients)
{
    for (const bool pipelining : {false, true}) {
        SmtpOptions options;
        options.pipelining = pipelining;
        const LoopbackSmtp server(options);
        ServiceClient sender(directly(service), pipelining ? 2 : 1);
        std::string bcc;
        for (int number = 0; number < 300; ++number)
            bcc += "user" + std::to_string(number) + "@example.org,";
        sender.mail.mutable_c_bcc()->set_c_address(bcc);
        ASSERT_EQ("ok", name_of(sender.open(server.port())));
        ASSERT_EQ("ok", name_of(sender.send("x")));
        ASSERT_TRUE(server.wait_for_mail(1, kSoon));
        EXPECT_EQ(301u, server.mails()[0].recipients.size());
    }
}

TEST_F(Sending, SendsSeveralMailsOnOneConnection)
{
    const LoopbackSmtp server;
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    for (std::size_t number = 1; number <= 20; ++number) {
        client.mail.set_c_subject("Mail " + std::to_string(number));
        ASSERT_EQ("ok", name_of(client.send("x\r")));
        ASSERT_TRUE(server.wait_for_mail(number, kSoon));
        EXPECT_NE(std::string::npos,
                  server.mails()[number - 1].wire.find("Subject: Mail " + std::to_string(number)));
    }
    EXPECT_EQ(1u, server.conversations().size());
}

TEST_F(Sending, NamesTheSenderWhoSends)
{
    const LoopbackSmtp server;
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    client.mail.mutable_c_sender()->set_c_address("Secretary <secretary@example.com>");
    ASSERT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ("secretary@example.com", server.mails()[0].from);
}

TEST_F(Sending, DeclaresTheSizeThatWasJudged)
{
    const struct {
        const char* label;
        std::uint64_t offered;
        std::uint32_t judged;
        std::string parameters;
    } cases[] = {{"judged", 100000, 5000, "SIZE=5000 BODY=8BITMIME"},
                 {"not judged", 100000, 0, "BODY=8BITMIME"},
                 {"no limit", 0, 5000, "SIZE=5000 BODY=8BITMIME"},
                 {"less than the header", 100000, 1,
                  "SIZE=" + std::to_string(plain_header().size()) + " BODY=8BITMIME"}};
    for (const auto& one : cases) {
        SmtpOptions options;
        options.size_limit = one.offered;
        const LoopbackSmtp server(options);
        ServiceClient sender(directly(service));
        ASSERT_EQ("ok", name_of(sender.open(server.port())));
        if (one.judged != 0) {
            ASSERT_EQ("ok", name_of(sender.judge(one.judged)));
        }
        ASSERT_EQ("ok", name_of(sender.send("x")));
        ASSERT_TRUE(server.wait_for_mail(1, kSoon));
        EXPECT_EQ(one.parameters, server.mails()[0].parameters) << one.label;
        // A size is that of one mail.
        ASSERT_EQ("ok", name_of(sender.send("x")));
        ASSERT_TRUE(server.wait_for_mail(2, kSoon));
        EXPECT_EQ("BODY=8BITMIME", server.mails()[1].parameters) << one.label;
    }
}

TEST_F(Sending, AsksForNothingThatIsNotOffered)
{
    SmtpOptions options;
    options.eight_bit_mime = false;
    const LoopbackSmtp server(options);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.judge(5000)));
    ASSERT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ("MAIL FROM:<sender@example.com>", server.mails()[0].mail_line);
}

TEST_F(Sending, TalksToAServerThatKnowsHeloOnly)
{
    SmtpOptions options;
    options.ehlo = false;
    const LoopbackSmtp server(options);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ("MAIL FROM:<sender@example.com>", server.mails()[0].mail_line);
}

TEST_F(Sending, GreetsWithAnAddressInBrackets)
{
    const LoopbackSmtp server;
    client.settings.set_c_host_name("2001:db8::1");
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("[IPv6:2001:db8::1]", server.conversations()[0].hello);
}

TEST_F(Sending, CarriesOctetsOfEveryKindAndSize)
{
    SmtpOptions options;
    const LoopbackSmtp server(options);
    std::string body;
    for (int number = 0; number < 300000; ++number) {
        body += static_cast<char>(number * 7 % 251);
        if (number % 60 == 0) body += "\r\n.";
    }
    std::string expected;
    for (std::size_t at = 0; at < body.size(); ++at) {
        const bool line_end = body[at] == '\r' || body[at] == '\n';
        if (line_end && body[at] == '\r' && at + 1 < body.size() && body[at + 1] == '\n') ++at;
        expected += line_end ? std::string("\r\n") : std::string(1, body[at]);
    }
    expected += "\r\n";
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    for (std::size_t at = 0, length = 1; at < body.size(); at += length, length = length * 3 + 1) {
        ASSERT_EQ("ok", name_of(client.body(body.substr(at, length))));
    }
    ASSERT_EQ("ok", name_of(client.close()));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ("", octet_difference(plain_header() + expected, server.mails()[0].octets()));
}

// The length beside the octets is taken for what is really there.
TEST_F(Sending, TrustsTheOctetsMoreThanTheirLength)
{
    const struct {
        std::int32_t length;
        const char* sent;
    } cases[] = {{3, "abc\r\n"}, {5, "abcde\r\n"}, {2147483647, "abcde\r\n"}, {0, ""}, {-1, ""}};
    const LoopbackSmtp server;
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    std::size_t count = 0;
    for (const auto& one : cases) {
        ASSERT_EQ("ok", name_of(client.header()));
        ntc_email_esu_smtp_method request;
        request.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_SEND_BODY);
        request.mutable_send_body_req()->set_session_id(client.session_id());
        auto& part = *request.mutable_send_body_req()->mutable_c_mail()->mutable_my_part();
        part.set_p_buffer("abcde");
        part.set_n_length(one.length);
        bool answered = false;
        ASSERT_EQ(0, client.ask(request, answered).send_body_res().retcode());
        ASSERT_EQ("ok", name_of(client.close()));
        ASSERT_TRUE(server.wait_for_mail(++count, kSoon));
        EXPECT_EQ("", octet_difference(plain_header() + one.sent, server.mails()[count - 1].wire))
            << one.length;
    }
}

TEST_F(Sending, JudgesASizeByBothLimits)
{
    SmtpOptions options;
    options.size_limit = 2000;
    const LoopbackSmtp server(options);
    client.settings.set_n_size_limit(1000);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.judge(0)));
    EXPECT_EQ("ok", name_of(client.judge(1000)));
    EXPECT_EQ("too-large", name_of(client.judge(1001)));
    ServiceClient unlimited(directly(service), 2);
    ASSERT_EQ("ok", name_of(unlimited.open(server.port())));
    EXPECT_EQ("ok", name_of(unlimited.judge(2000)));
    EXPECT_EQ("too-large", name_of(unlimited.judge(2001)));
}

// The limits are for whoever asks; on a mail that nobody asked about, the server's word counts.
TEST_F(Sending, LimitsNoMailThatWasNotJudged)
{
    SmtpOptions options;
    options.size_limit = 5000;
    const LoopbackSmtp server(options);
    client.settings.set_n_size_limit(100);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.send(std::string(2000, 'x'))));
    EXPECT_EQ("too-large", name_of(client.judge(101)));
    EXPECT_EQ("ok", name_of(client.send("after a size that was too large")));
    EXPECT_EQ("too-large", name_of(client.send(std::string(6000, 'x'))));  // the server's verdict
}

// RFC 5321, 4.1.2; without angle brackets the quotes would be a display name's.
TEST_F(Sending, AsksForALocalPartInQuotes)
{
    const LoopbackSmtp server;
    client.mail.mutable_c_from()->set_c_address("John <\"john doe\"@example.com>");
    client.mail.mutable_c_to()->set_c_address("<\"jane doe\"@example.org>");
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.send("x")));
    const std::string lines = server.conversations()[0].client_lines();
    EXPECT_NE(std::string::npos, lines.find("MAIL FROM:<\"john doe\"@example.com> BODY=8BITMIME\n")) << lines;
    EXPECT_NE(std::string::npos, lines.find("RCPT TO:<\"jane doe\"@example.org>\n")) << lines;
    client.mail.mutable_c_to()->set_c_address("\"jane doe\"@example.org");
    EXPECT_EQ("bad-address", name_of(client.header()));
    EXPECT_EQ(std::string::npos, server.conversations()[0].client_lines().find("<@"));
}

}  // namespace
}  // namespace velorin::service
