// What a server refuses, and what the caller is told.
#include <string>

#include <gtest/gtest.h>

#include "last_replies.h"
#include "loopback_smtp.h"
#include "service_client.h"

namespace velorin::service {
namespace {

using velorin_test::directly;
using velorin_test::kSoon;
using velorin_test::last_reply_of;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::Rule;
using velorin_test::ServiceClient;
using velorin_test::SmtpOptions;
using velorin_test::Step;

struct Case {
    Step step;
    const char* reply;
    const char* code;
    bool stays;  // connected, ready for the next mail
};

// What SendHeader says.
const Case envelope_cases[] = {
    {Step::kMail, "550 5.7.1 not you", "sender-refused", true},
    {Step::kMail, "501 5.1.7 bad sender", "sender-refused", true},
    {Step::kMail, "530 5.7.0 log in first", "login-required", true},
    {Step::kMail, "552 5.3.4 too big", "too-large", true},
    {Step::kMail, "552 too big", "too-large", true},
    {Step::kMail, "552 5.2.2 mailbox full", "sender-refused", true},
    {Step::kMail, "451 4.3.0 not now", "try-later", true},
    {Step::kMail, "452 4.3.1 no room", "try-later", true},
    {Step::kMail, "421 4.3.2 closing", "try-later", false},
    {Step::kMail, "what?", "reply-malformed", false},
    {Step::kRcpt, "550 5.1.1 nobody", "recipient-refused", true},
    {Step::kRcpt, "553 5.1.3 bad address", "recipient-refused", true},
    {Step::kRcpt, "450 4.2.1 later", "recipient-deferred", true},
    {Step::kRcpt, "452 4.5.3 too many", "recipient-deferred", true},
    {Step::kRcpt, "421 4.3.2 closing", "try-later", false},
    {Step::kData, "554 5.5.1 no", "mail-refused", true},
    {Step::kData, "451 4.3.0 later", "try-later", true},
    {Step::kData, "250 what", "reply-malformed", false},
    {Step::kData, "421 4.3.2 closing", "try-later", false},
};

TEST(Refusal, OfTheEnvelope)
{
    for (const bool pipelining : {false, true}) {
        for (const Case& one : envelope_cases) {
            SmtpOptions options;
            options.pipelining = pipelining;
            options.rules = {Rule(one.step).reply(one.reply)};
            const LoopbackSmtp server(options);
            MailService service(quick_options());
            ServiceClient client(directly(service));
            ASSERT_EQ("ok", name_of(client.open(server.port())));
            EXPECT_EQ(one.code, name_of(client.header())) << one.reply;
            if (std::string(one.code) != "reply-malformed") {
                EXPECT_EQ(one.reply, last_reply_of(service));
            }
            EXPECT_EQ("wrong-order", name_of(client.body("x"))) << one.reply;
            if (one.stays) {
                EXPECT_EQ("ok", name_of(client.send("the next"))) << one.reply;
                EXPECT_TRUE(server.wait_for_command("RSET", kSoon)) << one.reply;
                EXPECT_EQ(1u, server.mails().size()) << one.reply;
            } else {
                EXPECT_EQ("wrong-order", name_of(client.header())) << one.reply;
                EXPECT_EQ("ok", name_of(client.connect())) << one.reply;
            }
        }
    }
}

TEST(Refusal, OfOneRecipientRefusesTheMail)
{
    for (const bool pipelining : {false, true}) {
        SmtpOptions options;
        options.pipelining = pipelining;
        options.refused_recipients = {{"two@example.org", "550 5.1.1 no such user"}};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.mail.mutable_c_to()->set_c_address("one@example.org, two@example.org, three@example.org");
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        EXPECT_EQ("recipient-refused", name_of(client.header()));
        EXPECT_EQ("550 5.1.1 no such user", last_reply_of(service));
        ASSERT_EQ("ok", name_of(client.destroy()));
        ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
        EXPECT_TRUE(server.mails().empty());
        EXPECT_TRUE(server.unfinished().empty());
        const std::string said = server.conversations()[0].client_lines();
        EXPECT_EQ(std::string::npos, said.find("DATA"));
        EXPECT_NE(std::string::npos, said.find("RSET\nQUIT\n"));
    }
}

// What Close says.
const Case mail_cases[] = {
    {Step::kDot, "554 5.7.1 spam", "mail-refused", true},
    {Step::kDot, "552 5.3.4 too big", "too-large", true},
    {Step::kDot, "552 too big", "too-large", true},
    {Step::kDot, "552 5.2.2 mailbox full", "mail-refused", true},
    {Step::kDot, "451 4.3.0 later", "try-later", true},
    {Step::kDot, "421 4.3.2 closing", "try-later", false},
    {Step::kDot, "354 what", "not-confirmed", false},
    {Step::kDot, "what?", "not-confirmed", false},
    {Step::kDot, "250-a\r\n550 b", "not-confirmed", false},
};

TEST(Refusal, OfTheMail)
{
    for (const Case& one : mail_cases) {
        SmtpOptions options;
        options.rules = {Rule(one.step).reply(one.reply)};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        EXPECT_EQ(one.code, name_of(client.send("x"))) << one.reply;
        if (one.stays) {
            EXPECT_EQ(one.reply, last_reply_of(service));
            EXPECT_EQ("ok", name_of(client.send("the next"))) << one.reply;
        } else {
            EXPECT_EQ("wrong-order", name_of(client.header())) << one.reply;
        }
    }
}

TEST(Refusal, OfAMailThatIsTooLargeForTheServer)
{
    SmtpOptions options;
    options.size_limit = 1000;
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("too-large", name_of(client.send(std::string(2000, 'x'))));
    EXPECT_EQ("ok", name_of(client.send("small")));
}

TEST(Refusal, BeforeAnythingIsSaid)
{
    const struct {
        const char* reply;
        const char* code;
    } cases[] = {{"554 5.3.2 go away", "server-refused"},
                 {"421 4.3.2 busy", "try-later"},
                 {"hello", "reply-malformed"},
                 {"+OK POP3", "reply-malformed"},
                 {"220-a\r\n554 b", "reply-malformed"}};
    for (const auto& one : cases) {
        SmtpOptions options;
        options.rules = {Rule(Step::kConnect).reply(one.reply)};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        EXPECT_EQ(one.code, name_of(client.open(server.port()))) << one.reply;
        EXPECT_EQ("ok", name_of(client.connect())) << one.reply;
    }
}

TEST(Refusal, OfTheGreeting)
{
    const struct {
        const char* reply;
        const char* code;
    } cases[] = {{"550 5.7.1 not you", "server-refused"}, {"450 4.7.1 later", "try-later"}};
    for (const auto& one : cases) {
        SmtpOptions options;
        options.rules = {Rule(Step::kEhlo).every().reply(one.reply),
                         Rule(Step::kHelo).every().reply(one.reply)};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        EXPECT_EQ(one.code, name_of(client.open(server.port()))) << one.reply;
    }
}

// A reply that comes unasked must never be taken for a verdict.
TEST(Refusal, OfARepliesTooMany)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kBody).after(1).reply("250 2.0.0 taken")};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.body(std::string(200000, 'x'))));
    ASSERT_TRUE(server.wait_for_octets(150000, kSoon));
    EXPECT_EQ("reply-malformed", name_of(client.close()));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(server.mails().empty());
}

TEST(Refusal, InTheMiddleOfAMailIsTheMailsOwn)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kBody).after(1).reply("552 5.3.4 enough")};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.body(std::string(200000, 'x'))));
    ASSERT_TRUE(server.wait_for_octets(150000, kSoon));
    EXPECT_EQ("too-large", name_of(client.close()));
}

TEST(LastReply, BelongsToTheOperationThatAsked)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kMail).reply("550 \x1B[31mno\x80")};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    EXPECT_EQ("", last_reply_of(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("250 8BITMIME", last_reply_of(service));
    EXPECT_EQ("sender-refused", name_of(client.header()));
    EXPECT_EQ("550 ?[31mno?", last_reply_of(service));
    // Nothing was asked of the server here.
    client.mail.clear_c_date();
    EXPECT_EQ("header-not-composed", name_of(client.header()));
    EXPECT_EQ("", last_reply_of(service));
    EXPECT_EQ("ok", name_of(client.destroy()));
    EXPECT_EQ("", last_reply_of(service));
}

TEST(LastReply, IsNobodyElses)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    velorin_channel::Caller other = velorin_test::this_caller();
    other.start_time += 1;
    std::string line(512, '\0');
    std::uint32_t length = 99;
    EXPECT_TRUE(service.answer_diagnosis(other, line.data(), 512, length));
    EXPECT_EQ(0u, length);
    EXPECT_FALSE(service.answer_diagnosis(velorin_test::this_caller(), line.data(), 3, length));
}

}  // namespace
}  // namespace velorin::service
