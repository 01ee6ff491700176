#include "loopback_pop3.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "octets.h"
#include "plain_client.h"

namespace velorin_test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr int kSoon = 10000;
constexpr char kWrong[] = "-ERR [AUTH] user or password is wrong";
constexpr char kMail[] = "Subject: x\r\n\r\n.first\r\nsecond\r\nthird\r\n";

Pop3Options with_user()
{
    Pop3Options options;
    options.users = {{"tim", "tanstaaf"}};
    return options;
}

// A multi-line reply, its lines joined by "|".
std::string say(PlainClient& client, std::string_view command)
{
    std::string text = client.say(command);
    for (std::string line = text; line != "." && line[0] != '(' && line[0] != '-';) {
        line = client.line();
        text += "|" + line;
    }
    return text;
}

void log_in(PlainClient& client)
{
    ASSERT_EQ("+OK localhost POP3 ready", client.line());
    ASSERT_EQ("+OK password", client.say("USER tim"));
    ASSERT_EQ("+OK welcome", client.say("PASS tanstaaf"));
}

TEST(LoopbackPop3, LogsInByUserAndPass)
{
    const LoopbackPop3 server(with_user());
    PlainClient client(server.port());
    EXPECT_EQ("+OK localhost POP3 ready", client.line());
    EXPECT_EQ("-ERR log in first", client.say("STAT"));
    EXPECT_EQ("-ERR not now", client.say("PASS tanstaaf"));
    EXPECT_EQ("+OK password", client.say("USER tim"));
    EXPECT_EQ(kWrong, client.say("PASS wrong"));
    EXPECT_EQ("+OK welcome", client.say("PASS tanstaaf"));
    EXPECT_EQ("+OK 0 0", client.say("STAT"));
    EXPECT_EQ("+OK", client.say("NOOP"));
    EXPECT_EQ("+OK bye", client.say("QUIT"));
    EXPECT_EQ("(end)", client.rest());
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("tim", server.conversations().at(0).user);
    EXPECT_EQ("USER", server.conversations().at(0).mechanism);
    EXPECT_EQ(Ending::kQuit, server.conversations().at(0).ending);
}

TEST(LoopbackPop3, LogsInByApop)
{
    Pop3Options options = with_user();
    options.apop = true;
    options.user = false;
    const LoopbackPop3 server(options);
    PlainClient client(server.port());
    const std::string greeting = client.line();
    ASSERT_THAT(greeting, StartsWith("+OK localhost POP3 ready <"));
    const std::string challenge = greeting.substr(greeting.find('<'));
    EXPECT_EQ("-ERR not now", client.say("USER tim"));
    EXPECT_EQ(kWrong, client.say("APOP tim " + md5_hex(challenge + "wrong")));
    EXPECT_EQ("-ERR not now", client.say("APOP tim"));
    EXPECT_EQ("+OK welcome", client.say("APOP tim " + md5_hex(challenge + "tanstaaf")));
    EXPECT_EQ("APOP", server.conversations().at(0).mechanism);
}

TEST(LoopbackPop3, LogsInByAuth)
{
    Pop3Options options = with_user();
    options.auth = {"PLAIN", "LOGIN", "CRAM-MD5"};
    const LoopbackPop3 server(options);
    const auto connect = [](PlainClient& client) { EXPECT_THAT(client.line(), StartsWith("+OK")); };
    {
        PlainClient client(server.port());
        connect(client);
        EXPECT_EQ("+OK|USER|UIDL|TOP|SASL PLAIN LOGIN CRAM-MD5|.", say(client, "CAPA"));
        EXPECT_EQ("-ERR not now", client.say("AUTH XOAUTH2"));
        EXPECT_EQ("-ERR malformed", client.say("AUTH PLAIN !"));
        EXPECT_EQ("+ ", client.say("AUTH PLAIN"));
        EXPECT_EQ("-ERR cancelled", client.say("*"));
        EXPECT_EQ(kWrong, client.say("AUTH PLAIN " + base64_encode(std::string_view("\0tim\0wrong", 10))));
        EXPECT_EQ("+OK welcome",
                  client.say("AUTH PLAIN " + base64_encode(std::string_view("\0tim\0tanstaaf", 13))));
    }
    {
        PlainClient client(server.port());
        connect(client);
        EXPECT_EQ("+ VXNlcm5hbWU6", client.say("AUTH LOGIN"));
        EXPECT_EQ("+ UGFzc3dvcmQ6", client.say(base64_encode("tim")));
        EXPECT_EQ("+OK welcome", client.say(base64_encode("tanstaaf")));
    }
    PlainClient client(server.port());
    connect(client);
    const std::string challenge = client.say("AUTH CRAM-MD5");
    std::string text;
    ASSERT_TRUE(base64_decode(challenge.substr(2), text));
    EXPECT_EQ("+OK welcome", client.say(base64_encode("tim " + hmac_md5_hex("tanstaaf", text))));
    EXPECT_EQ("CRAM-MD5", server.conversations().at(2).mechanism);
}

TEST(LoopbackPop3, ShowsAndDeletesMails)
{
    Pop3Options options = with_user();
    options.maildrop = std::make_shared<Maildrop>();
    options.maildrop->add(kMail, "uid-a");
    options.maildrop->add("no line end");
    options.maildrop->add("");
    const LoopbackPop3 server(options);
    PlainClient client(server.port());
    log_in(client);
    EXPECT_EQ("+OK 3 48", client.say("STAT"));
    EXPECT_EQ("+OK|1 37|2 11|3 0|.", say(client, "LIST"));
    EXPECT_EQ("+OK|1 uid-a|2 loopback-1|3 loopback-2|.", say(client, "UIDL"));
    EXPECT_EQ("+OK 1 uid-a", client.say("UIDL 1"));
    EXPECT_EQ("+OK 2 11", client.say("LIST 2"));
    EXPECT_EQ("-ERR no such mail", client.say("LIST 4"));
    EXPECT_EQ("-ERR no such mail", client.say("RETR 0"));
    EXPECT_EQ("+OK|Subject: x||..first|second|third|.", say(client, "RETR 1"));
    EXPECT_EQ("+OK|no line end|.", say(client, "RETR 2"));
    EXPECT_EQ("+OK|.", say(client, "RETR 3"));
    EXPECT_EQ("+OK|Subject: x||.", say(client, "TOP 1 0"));
    EXPECT_EQ("+OK|Subject: x||..first|second|.", say(client, "TOP 1 2"));
    EXPECT_EQ("+OK|Subject: x||..first|second|third|.", say(client, "TOP 1 9"));
    EXPECT_EQ("-ERR no such mail", client.say("TOP 1"));
    EXPECT_EQ("+OK", client.say("DELE 2"));
    EXPECT_EQ("-ERR no such mail", client.say("DELE 2"));
    EXPECT_EQ("+OK", client.say("RSET"));
    EXPECT_EQ("+OK", client.say("DELE 1"));
    EXPECT_EQ("+OK|2 11|3 0|.", say(client, "LIST"));
    EXPECT_EQ(3U, server.maildrop().mails().size());
    EXPECT_EQ("+OK bye", client.say("QUIT"));
    EXPECT_EQ(2U, server.maildrop().mails().size());
}

TEST(LoopbackPop3, DeletesNothingWithoutQuit)
{
    Pop3Options options = with_user();
    options.maildrop = std::make_shared<Maildrop>();
    options.maildrop->add(kMail);
    LoopbackPop3 server(options);
    {
        PlainClient client(server.port());
        log_in(client);
        EXPECT_EQ("+OK", client.say("DELE 1"));
    }
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(Ending::kClientClosed, server.conversations().at(0).ending);
    EXPECT_EQ(1U, server.maildrop().mails().size());

    server.add_rule(Rule(Step::kQuit).reply("-ERR some were not removed"));
    PlainClient client(server.port());
    log_in(client);
    EXPECT_EQ("+OK", client.say("DELE 1"));
    EXPECT_EQ("-ERR some were not removed", client.say("QUIT"));
    EXPECT_EQ(1U, server.maildrop().mails().size());
}

TEST(LoopbackPop3, SpeaksTls)
{
    Pop3Options options = with_user();
    options.stls = true;
    options.tls_required = true;
    options.clear_capabilities = std::vector<std::string>{"SASL PLAIN"};
    const LoopbackPop3 server(options);
    PlainClient client(server.port());
    client.line();
    EXPECT_EQ("+OK|SASL PLAIN|STLS|.", say(client, "CAPA"));
    EXPECT_EQ("-ERR not now", client.say("USER tim"));
    EXPECT_EQ("+OK begin", client.say("STLS"));
    ASSERT_EQ("", client.start_tls(server.certificates()->ca_pem()));
    EXPECT_EQ("+OK|USER|UIDL|TOP|.", say(client, "CAPA"));
    EXPECT_EQ("-ERR not now", client.say("STLS"));
    EXPECT_EQ("+OK password", client.say("USER tim"));
    EXPECT_EQ("+OK welcome", client.say("PASS tanstaaf"));
    EXPECT_EQ("TLSv1.3", server.conversations().at(0).tls_version);

    options = with_user();
    options.implicit_tls = true;
    const LoopbackPop3 other(options);
    PlainClient direct(other.port());
    ASSERT_EQ("", direct.start_tls(other.certificates()->ca_pem()));
    log_in(direct);
}

TEST(LoopbackPop3, ObeysRulesAtEveryCommand)
{
    Pop3Options options = with_user();
    options.maildrop = std::make_shared<Maildrop>();
    options.maildrop->add(kMail);
    LoopbackPop3 server(options);
    PlainClient client(server.port());
    client.line();
    const struct {
        Step step;
        const char* command;
    } before[] = {{Step::kCapa, "CAPA"},       {Step::kStls, "STLS"},     {Step::kApop, "APOP a b"},
                  {Step::kAuth, "AUTH PLAIN"}, {Step::kUser, "USER tim"}, {Step::kPass, "PASS tanstaaf"},
                  {Step::kOther, "XYZZY"}};
    for (const auto& row : before) {
        server.add_rule(Rule(row.step).reply(std::string("-ERR not that: ") + row.command));
        EXPECT_EQ(std::string("-ERR not that: ") + row.command, client.say(row.command));
    }
    EXPECT_EQ("+OK password", client.say("USER tim"));
    EXPECT_EQ("+OK welcome", client.say("PASS tanstaaf"));
    const struct {
        Step step;
        const char* command;
    } after[] = {{Step::kStat, "STAT"},   {Step::kList, "LIST"},   {Step::kUidl, "UIDL"},
                 {Step::kRetr, "RETR 1"}, {Step::kTop, "TOP 1 0"}, {Step::kDele, "DELE 1"},
                 {Step::kNoop, "NOOP"},   {Step::kRset, "RSET"}};
    for (const auto& row : after) {
        server.add_rule(Rule(row.step).reply(std::string("-ERR not that: ") + row.command));
        EXPECT_EQ(std::string("-ERR not that: ") + row.command, client.say(row.command));
    }
    EXPECT_EQ("+OK 1 37", client.say("STAT"));
    server.add_rule(Rule(Step::kRetr).close_inside());
    client.write("RETR 1\r\n");
    EXPECT_EQ("+OK\r\nSubject: x\r\n\r\n..fi(end)", client.rest());
}

}  // namespace
}  // namespace velorin_test
