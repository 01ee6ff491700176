// TLS modes and ways to log in.
#include <string>

#include <gtest/gtest.h>

#include "ca_file.h"
#include "loopback_smtp.h"
#include "service_client.h"

namespace velorin::service {
namespace {

using velorin_test::CaFile;
using velorin_test::Conversation;
using velorin_test::directly;
using velorin_test::kPassword;
using velorin_test::kSoon;
using velorin_test::kUser;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::Rule;
using velorin_test::ServiceClient;
using velorin_test::SmtpOptions;
using velorin_test::Step;
using velorin_test::trusting;

SmtpOptions with_users(std::vector<std::string> mechanisms)
{
    SmtpOptions options;
    options.auth = std::move(mechanisms);
    options.users = {{kUser, kPassword}};
    options.auth_required = true;
    return options;
}

TEST(Login, ByEveryKind)
{
    const struct {
        std::int32_t kind;
        const char* offered;
        const char* used;  // null: refused
    } cases[] = {{1, "PLAIN", "PLAIN"},     {1, "LOGIN", "LOGIN"}, {1, "CRAM-MD5", "CRAM-MD5"},
                 {2, "PLAIN", "PLAIN"},     {3, "LOGIN", "LOGIN"}, {4, "CRAM-MD5", "CRAM-MD5"},
                 {6, "XOAUTH2", "XOAUTH2"}, {2, "LOGIN", nullptr}, {3, "PLAIN", nullptr},
                 {4, "PLAIN", nullptr},     {6, "PLAIN", nullptr}, {1, "X-UNKNOWN", nullptr}};
    for (const auto& one : cases) {
        const LoopbackSmtp server(with_users({one.offered}));
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.log_in(one.kind);
        const std::string code = name_of(client.open(server.port()));
        EXPECT_EQ(one.used != nullptr ? "ok" : "no-common-method", code) << one.kind << " " << one.offered;
        if (one.used == nullptr) continue;
        EXPECT_EQ("ok", name_of(client.send("x")));
        const Conversation conversation = server.conversations()[0];
        EXPECT_EQ(kUser, conversation.user);
        EXPECT_EQ(one.used, conversation.mechanism);
    }
}

TEST(Login, ByTheStrongestMethodThatIsOffered)
{
    const LoopbackSmtp server(with_users({"PLAIN", "LOGIN", "CRAM-MD5"}));
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.log_in(1);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("CRAM-MD5", server.conversations()[0].mechanism);
}

TEST(Login, ByTheKindThatIsAskedFor)
{
    for (const std::int32_t kind : {2, 3}) {
        const LoopbackSmtp server(with_users({"PLAIN", "LOGIN", "CRAM-MD5"}));
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.log_in(kind);
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        EXPECT_EQ(kind == 2 ? "PLAIN" : "LOGIN", server.conversations()[0].mechanism);
    }
}

TEST(Login, WithAWrongPasswordIsRefused)
{
    for (const char* const mechanism : {"PLAIN", "LOGIN", "CRAM-MD5", "XOAUTH2"}) {
        const LoopbackSmtp server(with_users({mechanism}));
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.log_in(std::string(mechanism) == "XOAUTH2" ? 6 : 1);
        client.settings.set_c_paswd("wrong");
        EXPECT_EQ("login-refused", name_of(client.open(server.port()))) << mechanism;
        EXPECT_EQ("wrong-order", name_of(client.header())) << mechanism;
    }
}

// Some servers say the command again that they do not like.
TEST(Login, TellsNoReplyWithThePasswordInIt)
{
    const struct {
        const char* mechanism;
        Step step;
        const char* reply;
        const char* told;
    } cases[] = {
        {"PLAIN", Step::kAuthReply, "535 5.7.8 AUTH PLAIN AHVzZXIAc2VjcmV0LXB3",
         "535 5.7.8 AUTH PLAIN *****"},
        {"LOGIN", Step::kAuthReply, "535 c2VjcmV0LXB3 (secret-pw) is wrong", "535 ***** (*****) is wrong"},
        {"PLAIN", Step::kAuthReply, "235 welcome secret-pw", nullptr},
    };
    for (const auto& one : cases) {
        SmtpOptions options = with_users({one.mechanism});
        options.rules = {Rule(one.step).every().reply(one.reply)};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.log_in(1);
        const std::string code = name_of(client.open(server.port()));
        const std::string told = velorin_test::last_reply_of(service);
        EXPECT_EQ(one.told != nullptr ? "login-refused" : "ok", code) << one.reply;
        EXPECT_EQ(std::string::npos, told.find(kPassword)) << told;
        if (one.told != nullptr) {
            EXPECT_EQ(one.told, told);
        }
    }
}

TEST(Login, ThatTheServerPutsOffIsTriedLater)
{
    SmtpOptions options = with_users({"PLAIN"});
    options.rules = {Rule(Step::kAuth).reply("454 4.7.0 not now")};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.log_in(2);
    EXPECT_EQ("try-later", name_of(client.open(server.port())));
}

// The server's silence about AUTH must not pass for a log-in.
TEST(Login, WhereNoneIsOfferedIsNone)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    for (const std::int32_t kind : {1, 2, 3, 4, 6}) {
        ServiceClient client(directly(service));
        client.log_in(kind);
        EXPECT_EQ("no-common-method", name_of(client.open(server.port()))) << kind;
        EXPECT_EQ("wrong-order", name_of(client.header())) << kind;
    }
    EXPECT_TRUE(server.mails().empty());
}

TEST(Login, IsNotSaidWhereNoneIsAskedFor)
{
    const LoopbackSmtp server(with_users({"PLAIN"}));
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.log_in(0);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("EHLO client.example\n", server.conversations()[0].client_lines());
    EXPECT_EQ("login-required", name_of(client.header()));
    ServiceClient nobody(directly(service), 2);
    nobody.settings.set_auth_kind(1);
    EXPECT_EQ("ok", name_of(nobody.open(server.port())));
}

TEST(Login, WithAUserThatCannotBeSaidIsRefusedUnsaid)
{
    const LoopbackSmtp server(with_users({"PLAIN"}));
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.log_in(2);
    client.settings.set_c_usr_id("user\r\nMAIL FROM:<x>");
    EXPECT_EQ("unsafe-text", name_of(client.open(server.port())));
    EXPECT_EQ("unsafe-text", name_of(client.test()));
    EXPECT_TRUE(server.conversations().empty());
}

TEST(Tls, OnRequestAndFromTheStart)
{
    for (const bool from_start : {false, true}) {
        SmtpOptions options = with_users({"PLAIN"});
        options.starttls = !from_start;
        options.implicit_tls = from_start;
        options.tls_required = true;
        const LoopbackSmtp server(options);
        const CaFile ca(server.certificates());
        MailService service(trusting(ca));
        ServiceClient client(directly(service));
        client.log_in(2);
        client.settings.set_tlsmode(from_start ? 2 : 1);
        ASSERT_EQ("ok", name_of(client.open(server.port()))) << from_start;
        // Enough for many records, sent and acknowledged.
        std::string body;
        for (int line = 0; line < 20000; ++line)
            body += "line " + std::to_string(line) + "\r\n";
        EXPECT_EQ("ok", name_of(client.send(body)));
        EXPECT_EQ("ok", name_of(client.send("another")));
        ASSERT_TRUE(server.wait_for_mail(2, kSoon));
        EXPECT_EQ(velorin_test::plain_header() + body, server.mails()[0].wire);
        EXPECT_NE("", server.conversations()[0].tls_version);
        EXPECT_EQ(kUser, server.mails()[1].user);
    }
}

TEST(Tls, TakesTheVersionThatIsAskedFor)
{
    const struct {
        int highest;
        std::uint32_t encryption;
        const char* code;
    } cases[] = {{0x0303, 0, "ok"}, {0x0304, 0, "ok"}, {0x0304, 1, "ok"}, {0x0303, 1, "tls-failed"}};
    for (const auto& one : cases) {
        SmtpOptions options;
        options.starttls = true;
        options.tls.max_version = one.highest;
        const LoopbackSmtp server(options);
        const CaFile ca(server.certificates());
        MailService service(trusting(ca));
        ServiceClient client(directly(service));
        client.settings.set_tlsmode(1);
        client.settings.set_sslencrypt(one.encryption);
        EXPECT_EQ(one.code, name_of(client.open(server.port()))) << one.highest << " " << one.encryption;
    }
}

TEST(Tls, OlderThanOnePointTwoIsRefused)
{
    SmtpOptions options;
    options.starttls = true;
    options.tls.min_version = 0x0301;
    options.tls.max_version = 0x0302;
    const LoopbackSmtp server(options);
    const CaFile ca(server.certificates());
    MailService service(trusting(ca));
    ServiceClient client(directly(service));
    client.settings.set_tlsmode(1);
    EXPECT_EQ("tls-failed", name_of(client.open(server.port())));
}

// Where TLS is asked for, nothing is ever said in clear that could be of use.
TEST(Tls, ThatIsNotOfferedIsNotDoneWithout)
{
    const LoopbackSmtp server(with_users({"PLAIN"}));
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.log_in(2);
    client.settings.set_tlsmode(1);
    EXPECT_EQ("tls-not-offered", name_of(client.open(server.port())));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(std::string::npos, server.conversations()[0].client_lines().find("AUTH"));
}

TEST(Tls, ThatComesToNothingIsTold)
{
    const struct {
        Rule rule;
        const char* code;
    } cases[] = {{Rule(Step::kStartTls).reply("454 4.7.0 not now"), "tls-failed"},
                 {Rule(Step::kTls).fail_tls(), "tls-failed"},
                 {Rule(Step::kTls).silence(), "time-out"}};
    for (const auto& one : cases) {
        SmtpOptions options;
        options.starttls = true;
        options.rules = {one.rule};
        const LoopbackSmtp server(options);
        const CaFile ca(server.certificates());
        MailService service(trusting(ca));
        ServiceClient client(directly(service));
        client.settings.set_tlsmode(1);
        client.settings.set_n_tmo(1);
        EXPECT_EQ(one.code, name_of(client.open(server.port())));
        EXPECT_TRUE(server.mails().empty());
    }
}

TEST(Tls, ThatIsGarbageIsTold)
{
    SmtpOptions options;
    options.starttls = true;
    options.rules = {Rule(Step::kTls).reply("garbage garbage garbage")};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.settings.set_tlsmode(1);
    client.settings.set_sslauth(1);
    // It depends on whether it comes together with the reply to STARTTLS, or after it.
    const std::string code = name_of(client.open(server.port()));
    EXPECT_TRUE(code == "tls-failed" || code == "reply-malformed") << code;
}

TEST(Tls, TrustsNoCertificateThatIsWrong)
{
    const struct {
        const char* label;
        bool expired, wrong_host, untrusted;
    } cases[] = {{"expired", true, false, false},
                 {"another host's", false, true, false},
                 {"nobody's", false, false, true}};
    for (const auto& one : cases) {
        for (const bool from_start : {false, true}) {
            SmtpOptions options;
            options.starttls = !from_start;
            options.implicit_tls = from_start;
            options.tls.expired = one.expired;
            options.tls.wrong_host = one.wrong_host;
            options.tls.untrusted = one.untrusted;
            const LoopbackSmtp server(options);
            const CaFile ca(server.certificates());
            MailService service(trusting(ca));
            ServiceClient client(directly(service));
            client.settings.set_tlsmode(from_start ? 2 : 1);
            EXPECT_EQ("certificate-refused", name_of(client.open(server.port()))) << one.label << from_start;
            ServiceClient careless(directly(service), 2);
            careless.settings.set_tlsmode(from_start ? 2 : 1);
            careless.settings.set_sslauth(1);
            EXPECT_EQ("ok", name_of(careless.open(server.port()))) << one.label << from_start;
        }
    }
}

TEST(Tls, TrustsTheSystemsAuthoritiesOnlyWhenNoneAreNamed)
{
    SmtpOptions options;
    options.starttls = true;
    const LoopbackSmtp server(options);
    ::unsetenv("SSL_CERT_FILE");
    {
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.settings.set_tlsmode(1);
        EXPECT_EQ("certificate-refused", name_of(client.open(server.port())));
    }
    const CaFile ca(server.certificates());
    ::setenv("SSL_CERT_FILE", ca.path().c_str(), 1);
    {
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.settings.set_tlsmode(1);
        EXPECT_EQ("ok", name_of(client.open(server.port())));
    }
    ::unsetenv("SSL_CERT_FILE");
}

TEST(Tls, NeedsAFileOfAuthoritiesThatCanBeRead)
{
    SmtpOptions options;
    options.starttls = true;
    const LoopbackSmtp server(options);
    MailServiceOptions service_options = quick_options();
    service_options.ca_file = "/nonexistent/ca.pem";
    MailService service(service_options);
    ServiceClient client(directly(service));
    client.settings.set_tlsmode(1);
    EXPECT_EQ("ca-unusable", name_of(client.open(server.port())));
}

// What is offered in clear may come from anybody in between.
TEST(Tls, ForgetsWhatWasOfferedInClear)
{
    SmtpOptions options;
    options.starttls = true;
    options.clear_extensions = {{"SIZE 10", "PIPELINING", "8BITMIME"}};
    options.eight_bit_mime = false;
    const LoopbackSmtp server(options);
    const CaFile ca(server.certificates());
    MailService service(trusting(ca));
    ServiceClient client(directly(service));
    client.settings.set_tlsmode(1);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.judge(100000)));
    EXPECT_EQ("ok", name_of(client.send("x")));
    EXPECT_EQ("MAIL FROM:<sender@example.com>", server.mails()[0].mail_line);
}

}  // namespace
}  // namespace velorin::service
