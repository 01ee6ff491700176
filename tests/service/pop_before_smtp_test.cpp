// A POP3 log-in before the mail.
#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "ca_file.h"
#include "loopback_pop3.h"
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
using velorin_test::LoopbackPop3;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::Pop3Options;
using velorin_test::quick_options;
using velorin_test::Rule;
using velorin_test::ServiceClient;
using velorin_test::Step;
using velorin_test::trusting;

class PopBeforeSmtp : public testing::Test {
protected:
    PopBeforeSmtp() : service(quick_options()), client(directly(service)) {}

    static Pop3Options pop_options()
    {
        Pop3Options options;
        options.users = {{kUser, kPassword}};
        return options;
    }

    std::uint32_t open(std::uint16_t pop_port, std::uint16_t smtp_port)
    {
        ntc_email_esu_pop3_settings& pop = *client.settings.mutable_p_pop3_settings();
        pop.set_c_server("127.0.0.1");
        pop.set_n_port(pop_port);
        if (!pop.has_c_user_id()) pop.set_c_user_id(kUser);
        if (!pop.has_c_passwd()) pop.set_c_passwd(kPassword);
        client.settings.set_auth_kind(5);
        return client.open(smtp_port);
    }

    MailService service;
    ServiceClient client;
    const LoopbackSmtp smtp;
};

TEST_F(PopBeforeSmtp, LogsInAndLeavesBeforeTheMail)
{
    const LoopbackPop3 pop(pop_options());
    ASSERT_EQ("ok", name_of(open(pop.port(), smtp.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(pop.wait_for_disconnect(1, kSoon));
    const Conversation conversation = pop.conversations()[0];
    EXPECT_EQ(kUser, conversation.user);
    EXPECT_TRUE(conversation.quit);
    EXPECT_EQ("EHLO client.example\n", smtp.conversations()[0].client_lines().substr(0, 20));
}

TEST_F(PopBeforeSmtp, TakesApopWhenAskedTo)
{
    Pop3Options options = pop_options();
    options.apop = true;
    const LoopbackPop3 pop(options);
    client.settings.mutable_p_pop3_settings()->set_is_apop(true);
    ASSERT_EQ("ok", name_of(open(pop.port(), smtp.port())));
    EXPECT_EQ("APOP", pop.conversations()[0].mechanism);
}

TEST_F(PopBeforeSmtp, RefusesApopThatIsNotOffered)
{
    const LoopbackPop3 pop(pop_options());
    client.settings.mutable_p_pop3_settings()->set_is_apop(true);
    EXPECT_EQ("no-common-method", name_of(open(pop.port(), smtp.port())));
    EXPECT_TRUE(smtp.conversations().empty());
}

TEST_F(PopBeforeSmtp, ThatIsRefusedSendsNothing)
{
    const struct {
        const char* reply;
        const char* code;
    } cases[] = {{"-ERR wrong", "login-refused"},
                 {"-ERR [AUTH] wrong", "login-refused"},
                 {"-ERR [IN-USE] locked", "mailbox-in-use"},
                 {"-ERR [SYS/TEMP] later", "try-later"}};
    for (const auto& one : cases) {
        Pop3Options options = pop_options();
        options.rules = {Rule(Step::kPass).reply(one.reply)};
        const LoopbackPop3 pop(options);
        EXPECT_EQ(one.code, name_of(open(pop.port(), smtp.port()))) << one.reply;
        EXPECT_EQ("wrong-order", name_of(client.header()));
    }
    EXPECT_TRUE(smtp.conversations().empty());
}

TEST_F(PopBeforeSmtp, BrokenServersAreTold)
{
    const struct {
        Rule rule;
        const char* code;
    } cases[] = {{Rule(Step::kConnect).reply("220 SMTP"), "reply-malformed"},
                 {Rule(Step::kConnect).close(), "connection-lost"},
                 {Rule(Step::kPass).close(), "connection-lost"},
                 {Rule(Step::kQuit).close(), "connection-lost"},
                 {Rule(Step::kUser).silence(), "time-out"},
                 {Rule(Step::kQuit).silence(), "time-out"}};
    for (const auto& one : cases) {
        Pop3Options options = pop_options();
        options.rules = {one.rule};
        const LoopbackPop3 pop(options);
        client.settings.mutable_p_pop3_settings()->set_n_timeout(1);
        EXPECT_EQ(one.code, name_of(open(pop.port(), smtp.port()))) << static_cast<int>(one.rule.step);
    }
    EXPECT_TRUE(smtp.conversations().empty());
}

TEST_F(PopBeforeSmtp, UnderTls)
{
    for (const std::uint32_t mode : {1u, 2u}) {
        Pop3Options options = pop_options();
        options.stls = mode == 1;
        options.implicit_tls = mode == 2;
        options.tls_required = true;
        const LoopbackPop3 pop(options);
        const CaFile ca(pop.certificates());
        MailService trusting_service(trusting(ca));
        client = ServiceClient(directly(trusting_service));
        client.settings.mutable_p_pop3_settings()->set_n_tls_mode(mode);
        EXPECT_EQ("ok", name_of(open(pop.port(), smtp.port()))) << mode;
        EXPECT_NE("", pop.conversations()[0].tls_version) << mode;
    }
    Pop3Options options = pop_options();
    const LoopbackPop3 pop(options);
    client = ServiceClient(directly(service));
    client.settings.mutable_p_pop3_settings()->set_n_tls_mode(1);
    EXPECT_EQ("tls-not-offered", name_of(open(pop.port(), smtp.port())));
}

TEST_F(PopBeforeSmtp, WaitsAsLongAsTheSettingsSay)
{
    const LoopbackPop3 pop(pop_options());
    client.settings.set_n_pop_wait_time(1);
    const auto begun = std::chrono::steady_clock::now();
    ASSERT_EQ("ok", name_of(open(pop.port(), smtp.port())));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(1000));
}

TEST_F(PopBeforeSmtp, IsLeftOutWithoutItsSettings)
{
    client.settings.set_auth_kind(5);
    ASSERT_EQ("ok", name_of(client.open(smtp.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
}

TEST_F(PopBeforeSmtp, IsPartOfATest)
{
    const LoopbackPop3 pop(pop_options());
    ASSERT_EQ("ok", name_of(open(pop.port(), smtp.port())));
    EXPECT_EQ("ok", name_of(client.test()));
    EXPECT_EQ(2u, pop.conversations().size());
}

// As when receiving: what nobody had asked for may be refused without the log-in being so.
TEST_F(PopBeforeSmtp, GoesOnWithUserAndPassBehindARefusedApop)
{
    Pop3Options options = pop_options();
    options.apop = true;
    options.rules = {Rule(Step::kApop).reply("-ERR no secret")};
    const LoopbackPop3 pop(options);
    ASSERT_EQ("ok", name_of(open(pop.port(), smtp.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(pop.wait_for_disconnect(2, kSoon));
    EXPECT_EQ(std::string::npos, pop.conversations()[0].client_lines().find("USER"));
    EXPECT_EQ("USER", pop.conversations()[1].mechanism);
    EXPECT_TRUE(pop.conversations()[1].quit);
}

TEST_F(PopBeforeSmtp, DoesNotGoOnBehindAnApopThatWasAskedFor)
{
    Pop3Options options = pop_options();
    options.apop = true;
    options.rules = {Rule(Step::kApop).reply("-ERR no secret")};
    const LoopbackPop3 pop(options);
    client.settings.mutable_p_pop3_settings()->set_is_apop(true);
    EXPECT_EQ("login-refused", name_of(open(pop.port(), smtp.port())));
    EXPECT_EQ(1u, pop.conversations().size());
    EXPECT_TRUE(smtp.conversations().empty());
}

TEST_F(PopBeforeSmtp, GoesOnWithUserAndPassBesideGssapiAlone)
{
    constexpr char kUserOfADomain[] = "user@example.com";
    Pop3Options options = pop_options();
    options.auth = {"GSSAPI"};
    options.users = {{kUserOfADomain, kPassword}};
    const LoopbackPop3 pop(options);
    client.settings.mutable_p_pop3_settings()->set_c_user_id(kUserOfADomain);
    ASSERT_EQ("ok", name_of(open(pop.port(), smtp.port())));
    const Conversation last = pop.conversations().back();
    EXPECT_EQ("USER", last.mechanism);
    EXPECT_EQ(kUserOfADomain, last.user);
    for (const Conversation& one : pop.conversations())
        EXPECT_EQ(std::string::npos, one.client_lines().find("GSSAPI"));
}

TEST_F(PopBeforeSmtp, IsTriedOnceMoreOnly)
{
    Pop3Options options = pop_options();
    options.apop = true;
    options.rules = {Rule(Step::kApop).every().reply("-ERR no secret"),
                     Rule(Step::kPass).every().reply("-ERR [AUTH] wrong")};
    const LoopbackPop3 pop(options);
    EXPECT_EQ("login-refused", name_of(open(pop.port(), smtp.port())));
    EXPECT_EQ(2u, pop.conversations().size());
    EXPECT_TRUE(smtp.conversations().empty());
}

TEST_F(PopBeforeSmtp, DoesNotMindWhatTheServerSaysToItsFarewell)
{
    Pop3Options options = pop_options();
    options.rules = {Rule(Step::kQuit).reply("-ERR [IN-USE] some other time")};
    const LoopbackPop3 pop(options);
    EXPECT_EQ("ok", name_of(open(pop.port(), smtp.port())));
}

// Only what belongs to the operation that failed is told.
TEST_F(PopBeforeSmtp, LeavesNoReplyBehind)
{
    const LoopbackPop3 pop(pop_options());
    std::uint16_t nobody = 0;
    {
        const LoopbackSmtp gone;
        nobody = gone.port();
    }
    EXPECT_EQ("connect-refused", name_of(open(pop.port(), nobody)));
    EXPECT_EQ("", velorin_test::last_reply_of(service));
}

}  // namespace
}  // namespace velorin::service
