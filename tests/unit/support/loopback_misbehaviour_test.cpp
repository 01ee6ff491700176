#include "loopback_smtp.h"

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "octets.h"
#include "plain_client.h"

namespace velorin_test {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kSoon = 10000;
constexpr int kAWhile = 50;  // to see that nothing comes

SmtpOptions with(const Rule& rule)
{
    SmtpOptions options;
    options.rules = {rule};
    return options;
}

void open_mail(PlainClient& client)
{
    client.line();
    client.say("EHLO me");
    client.say("MAIL FROM:<a@b>");
    client.say("RCPT TO:<c@d>");
    ASSERT_THAT(client.say("DATA"), StartsWith("354"));
}

Ending ending_of(const LoopbackSmtp& server)
{
    return server.wait_for_disconnect(1, kSoon) ? server.conversations().at(0).ending : Ending::kOpen;
}

TEST(Misbehaviour, ReplyDecidesWhatTheServerDoes)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kMail).reply("451 4.0.0 later"),
                     Rule(Step::kRcpt, 2).reply("550-5.1.1 no\r\n550 really"),
                     Rule(Step::kRset).reply("garbage"), Rule(Step::kDot).reply("554 5.6.0 spam")};
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    client.line();
    client.say("EHLO me");
    EXPECT_EQ("451 4.0.0 later", client.say("MAIL FROM:<a@b>"));
    EXPECT_EQ("503 5.5.1 MAIL first", client.say("DATA"));
    EXPECT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<a@b>"));
    EXPECT_EQ("250 2.1.5 fine", client.say("RCPT TO:<c@d>"));
    EXPECT_EQ("550-5.1.1 no|550 really", client.say("RCPT TO:<e@f>"));
    EXPECT_EQ("garbage", client.say("RSET"));
    EXPECT_EQ("354 go on, dot ends it", client.say("DATA"));
    EXPECT_EQ("554 5.6.0 spam", client.say("x\r\n."));
    const LoopbackMail mail = server.mails().at(0);
    EXPECT_FALSE(mail.accepted);
    EXPECT_THAT(mail.recipients, testing::ElementsAre("c@d"));
}

TEST(Misbehaviour, RulesComeWhileTheServerRuns)
{
    LoopbackSmtp server;
    PlainClient client(server.port());
    client.line();
    EXPECT_EQ("250 2.0.0 fine", client.say("NOOP"));
    server.add_rule(Rule(Step::kNoop).reply("421 enough").close_after());
    EXPECT_EQ("421 enough", client.say("NOOP"));
    EXPECT_EQ("(end)", client.rest());
    EXPECT_EQ(Ending::kServerClosed, ending_of(server));
}

TEST(Misbehaviour, SendsOctetsAsTheyAre)
{
    const std::string octets("2\0\xff\r no line end", 16);
    const LoopbackSmtp server(with(Rule(Step::kConnect).reply_octets(octets).close_after()));
    PlainClient client(server.port());
    EXPECT_EQ("", octet_difference(octets + "(end)", client.rest()));
}

TEST(Misbehaviour, ClosesBeforeInsideAndAfterTheReply)
{
    const struct {
        const char* label;
        Rule rule;
        const char* came;
    } cases[] = {
        {"before", Rule(Step::kConnect).close(), "(end)"},
        {"inside", Rule(Step::kConnect).reply("220 hello").close_inside(), "220 h(end)"},
        {"after", Rule(Step::kConnect).reply("220 hello").close_after(), "220 hello\r\n(end)"},
    };
    for (const auto& row : cases) {
        const LoopbackSmtp server(with(row.rule));
        PlainClient client(server.port());
        EXPECT_EQ(row.came, client.rest()) << row.label;
        EXPECT_EQ(Ending::kServerClosed, ending_of(server)) << row.label;
    }
}

TEST(Misbehaviour, Resets)
{
    const LoopbackSmtp server(with(Rule(Step::kEhlo).reset()));
    PlainClient client(server.port());
    client.line();
    EXPECT_EQ("(reset)", client.say("EHLO me"));
    EXPECT_EQ(Ending::kServerReset, ending_of(server));
}

TEST(Misbehaviour, NeverAnswersUntilTheClientGoes)
{
    for (const bool stall : {false, true}) {
        const LoopbackSmtp server(with(stall ? Rule(Step::kEhlo).stall() : Rule(Step::kEhlo).silence()));
        {
            PlainClient client(server.port());
            client.line();
            ASSERT_TRUE(client.write("EHLO me\r\nNOOP\r\n"));
            EXPECT_FALSE(client.readable(kAWhile));
        }
        EXPECT_EQ(Ending::kClientClosed, ending_of(server));
    }
}

TEST(Misbehaviour, SilenceEndsWithTheServer)
{
    LoopbackSmtp server(with(Rule(Step::kConnect).silence()));
    PlainClient client(server.port());
    ASSERT_TRUE(server.wait_for_connection(1, kSoon));
    server.stop();
    EXPECT_EQ("(end)", client.rest());
    EXPECT_EQ(Ending::kStopped, ending_of(server));
}

TEST(Misbehaviour, DelaysTheReply)
{
    const LoopbackSmtp server(with(Rule(Step::kConnect).delay(2 * kAWhile)));
    const auto begin = std::chrono::steady_clock::now();
    PlainClient client(server.port());
    EXPECT_EQ("220 localhost ESMTP ready", client.line());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2 * kAWhile));
}

TEST(Misbehaviour, ADelayEndsWhenTheClientGoes)
{
    const LoopbackSmtp server(with(Rule(Step::kConnect).delay(60000)));
    PlainClient(server.port()).close();
    EXPECT_EQ(Ending::kClientClosed, ending_of(server));
}

TEST(Misbehaviour, TricklesAndSplits)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kConnect).reply("220 slow").trickle(5), Rule(Step::kEhlo).split()};
    const LoopbackSmtp server(options);
    const auto begin = std::chrono::steady_clock::now();
    PlainClient client(server.port());
    EXPECT_EQ("220 slow", client.line());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(8 * 5));
    EXPECT_EQ("250-localhost|250 8BITMIME", client.say("EHLO me"));
}

TEST(Misbehaviour, ALineWithoutEndGoesOnUntilTheClientGoes)
{
    const LoopbackSmtp server(with(Rule(Step::kNoop).reply("250 ok").endless_line()));
    {
        PlainClient client(server.port());
        client.line();
        ASSERT_TRUE(client.write("NOOP\r\n"));
        ASSERT_TRUE(client.readable(kSoon));
    }
    EXPECT_THAT(ending_of(server), AnyOf(Ending::kClientClosed, Ending::kClientReset));
}

TEST(Misbehaviour, HappensAfterOctetsOfTheBody)
{
    const struct {
        const char* label;
        Rule rule;
        Ending ending;
    } cases[] = {
        {"close", Rule(Step::kBody).after(1000).close(), Ending::kServerClosed},
        {"reset", Rule(Step::kBody).after(1000).reset(), Ending::kServerReset},
    };
    for (const auto& row : cases) {
        const LoopbackSmtp server(with(row.rule));
        PlainClient client(server.port());
        open_mail(client);
        client.write(std::string(5000, 'x') + "\r\n.\r\n");
        EXPECT_THAT(client.rest(), AnyOf("(end)", "(reset)")) << row.label;
        EXPECT_EQ(row.ending, ending_of(server)) << row.label;
        EXPECT_EQ(1000U, server.unfinished().at(0).size) << row.label;
        EXPECT_EQ("", octet_difference(std::string(1000, 'x'), server.unfinished().at(0).wire)) << row.label;
    }
}

TEST(Misbehaviour, AReplyInsideTheBodyLeavesTheMailWhole)
{
    const LoopbackSmtp server(with(Rule(Step::kBody).after(3).delay(1).reply("452 full")));
    PlainClient client(server.port());
    open_mail(client);
    ASSERT_TRUE(client.write("abcdef\r\n.\r\n"));
    EXPECT_EQ("452 full", client.line());
    EXPECT_EQ("250 2.0.0 taken", client.line());
    EXPECT_EQ("abcdef\r\n", server.mails().at(0).wire);
}

TEST(Misbehaviour, StallsInTheBody)
{
    const LoopbackSmtp server(with(Rule(Step::kBody).after(10).stall()));
    {
        PlainClient client(server.port());
        open_mail(client);
        ASSERT_TRUE(client.write("0123456789 and more\r\n.\r\n"));
        EXPECT_FALSE(client.readable(kAWhile));
    }
    EXPECT_EQ(Ending::kClientClosed, ending_of(server));
    EXPECT_EQ("0123456789", server.unfinished().at(0).wire);
}

TEST(Misbehaviour, ClosesBetweenDotAndReply)
{
    const LoopbackSmtp server(with(Rule(Step::kDot).close()));
    PlainClient client(server.port());
    open_mail(client);
    EXPECT_EQ("(end)", client.say("x\r\n."));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_TRUE(server.mails().at(0).dot);
    EXPECT_EQ(Ending::kServerClosed, ending_of(server));
    EXPECT_FALSE(server.conversations().at(0).quit);
}

TEST(Misbehaviour, AppearsInTheTranscript)
{
    const LoopbackSmtp server(with(Rule(Step::kEhlo).reply("599 \xff")));
    PlainClient client(server.port());
    client.line();
    client.say("EHLO me");
    client.say("QUIT");
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("S: 220 localhost ESMTP ready\nC: EHLO me\nS: 599 \\xff\nC: QUIT\nS: 221 2.0.0 bye\n(quit)\n",
              server.conversations().at(0).text());
}

}  // namespace
}  // namespace velorin_test
