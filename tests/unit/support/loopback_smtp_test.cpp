#include "loopback_smtp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "octets.h"
#include "plain_client.h"

namespace velorin_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kSoon = 10000;  // far longer than anything here takes

// Up to where the mail's octets may come.
void open_mail(PlainClient& client)
{
    ASSERT_EQ("220 localhost ESMTP ready", client.line());
    ASSERT_THAT(client.say("EHLO me.example"), HasSubstr("250"));
    ASSERT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<a@example.org>"));
    ASSERT_EQ("250 2.1.5 fine", client.say("RCPT TO:<b@example.org>"));
    ASSERT_EQ("354 go on, dot ends it", client.say("DATA"));
}

TEST(LoopbackSmtp, KeepsTheMailAsItCame)
{
    SmtpOptions options;
    options.size_limit = 1000;
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    EXPECT_EQ("220 localhost ESMTP ready", client.line());
    EXPECT_EQ("250-localhost|250-SIZE 1000|250 8BITMIME", client.say("EHLO me.example"));
    EXPECT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<a@example.org> SIZE=10 BODY=8BITMIME"));
    EXPECT_EQ("250 2.1.5 fine", client.say("RCPT TO:<b@example.org>"));
    EXPECT_EQ("250 2.1.5 fine", client.say("RCPT TO:<c@example.org>"));
    EXPECT_EQ("354 go on, dot ends it", client.say("DATA"));
    ASSERT_TRUE(client.write("Subject: x\r\n\r\n..dot\r\nbare\nline\xe3\r\n"));
    EXPECT_EQ("250 2.0.0 taken", client.say("."));
    EXPECT_EQ("221 2.0.0 bye", client.say("QUIT"));
    EXPECT_EQ("(end)", client.rest());

    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    const LoopbackMail mail = server.mails().at(0);
    EXPECT_EQ("MAIL FROM:<a@example.org> SIZE=10 BODY=8BITMIME", mail.mail_line);
    EXPECT_EQ("a@example.org", mail.from);
    EXPECT_EQ("SIZE=10 BODY=8BITMIME", mail.parameters);
    EXPECT_THAT(mail.recipients, ElementsAre("b@example.org", "c@example.org"));
    EXPECT_EQ("", octet_difference("Subject: x\r\n\r\n..dot\r\nbare\nline\xe3\r\n", mail.wire));
    EXPECT_EQ("", octet_difference("Subject: x\r\n\r\n.dot\r\nbare\nline\xe3\r\n", mail.octets()));
    EXPECT_EQ(mail.wire.size(), mail.size);
    EXPECT_TRUE(mail.dot);
    EXPECT_TRUE(mail.accepted);
    const Conversation conversation = server.conversations().at(0);
    EXPECT_EQ(Ending::kQuit, conversation.ending);
    EXPECT_TRUE(conversation.quit);
    EXPECT_EQ("me.example", conversation.hello);
    EXPECT_EQ(0, conversation.bare_line_ends);
    EXPECT_EQ(0, conversation.early_commands);
    EXPECT_EQ("EHLO me.example\nMAIL FROM:<a@example.org> SIZE=10 BODY=8BITMIME\nRCPT TO:<b@example.org>\n"
              "RCPT TO:<c@example.org>\nDATA\nQUIT\n",
              conversation.client_lines());
    EXPECT_THAT(server.unfinished(), IsEmpty());
}

TEST(LoopbackSmtp, SeesTheFinalDotInAnyPieces)
{
    const LoopbackSmtp server;
    const std::string octets = "a\r\n..\r\n.\r\n";
    for (std::size_t cut = 1; cut < octets.size(); ++cut) {
        PlainClient client(server.port());
        open_mail(client);
        ASSERT_TRUE(client.write(octets.substr(0, cut)));
        ASSERT_TRUE(server.wait_for_octets((cut - 1) * octets.size() + cut, kSoon));
        ASSERT_TRUE(client.write(octets.substr(cut)));
        EXPECT_EQ("250 2.0.0 taken", client.reply());
        EXPECT_EQ("a\r\n..\r\n", server.mails().at(cut - 1).wire);
    }
}

TEST(LoopbackSmtp, TakesSeveralMailsOnOneConnection)
{
    const LoopbackSmtp server;
    PlainClient client(server.port());
    open_mail(client);
    EXPECT_EQ("250 2.0.0 taken", client.say("one\r\n."));
    EXPECT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<>"));
    EXPECT_EQ("250 2.0.0 fine", client.say("RSET"));
    EXPECT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<>"));
    EXPECT_EQ("250 2.1.5 fine", client.say("RCPT TO:<x@example.org>"));
    EXPECT_EQ("354 go on, dot ends it", client.say("DATA"));
    EXPECT_EQ("250 2.0.0 taken", client.say("."));
    const auto mails = server.mails();
    ASSERT_EQ(2U, mails.size());
    EXPECT_EQ("one\r\n", mails[0].wire);
    EXPECT_EQ("", mails[1].wire);
    EXPECT_THAT(mails[1].recipients, ElementsAre("x@example.org"));
}

TEST(LoopbackSmtp, RefusesWhatIsOutOfOrderOrMalformed)
{
    SmtpOptions options;
    options.size_limit = 10;
    options.eight_bit_mime = false;
    options.refused_recipients = {{"no@example.org", "550 5.1.1 nobody"}};
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    client.line();
    EXPECT_EQ("503 5.5.1 EHLO first", client.say("MAIL FROM:<a@b>"));
    EXPECT_EQ("501 5.5.4 a name is wanted", client.say("EHLO"));
    client.say("EHLO me");
    EXPECT_EQ("503 5.5.1 MAIL first", client.say("RCPT TO:<a@b>"));
    EXPECT_EQ("503 5.5.1 MAIL first", client.say("DATA"));
    EXPECT_EQ("501 5.5.2 MAIL FROM:<address>", client.say("MAIL FROM: a@b"));
    EXPECT_EQ("552 5.3.4 too large", client.say("MAIL FROM:<a@b> SIZE=11"));
    EXPECT_EQ("555 5.5.4 BODY is not offered", client.say("MAIL FROM:<a@b> BODY=8BITMIME"));
    EXPECT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<a@b> SIZE=10"));
    EXPECT_EQ("503 5.5.1 a mail is open already", client.say("MAIL FROM:<a@b>"));
    EXPECT_EQ("554 5.5.1 no recipient", client.say("DATA"));
    EXPECT_EQ("550 5.1.1 nobody", client.say("RCPT TO:<no@example.org>"));
    EXPECT_EQ("250 2.1.5 fine", client.say("RCPT TO:<a@b>"));
    EXPECT_EQ("500 5.5.1 no such command", client.say("BDAT 1 LAST"));
    EXPECT_EQ("502 5.5.1 no STARTTLS now", client.say("STARTTLS"));
    EXPECT_EQ("502 5.5.1 no AUTH here", client.say("AUTH PLAIN"));
    EXPECT_EQ("354 go on, dot ends it", client.say("DATA"));
    EXPECT_EQ("552 5.3.4 too large", client.say("12345678901\r\n."));
    EXPECT_FALSE(server.mails().at(0).accepted);
    EXPECT_THAT(server.mails().at(0).recipients, ElementsAre("a@b"));
}

TEST(LoopbackSmtp, CanKnowHeloOnly)
{
    SmtpOptions options;
    options.ehlo = false;
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    client.line();
    EXPECT_EQ("502 5.5.1 EHLO is not known here", client.say("EHLO me"));
    EXPECT_EQ("250 localhost", client.say("HELO me"));
    EXPECT_EQ("555 5.5.4 BODY is not offered", client.say("MAIL FROM:<a@b> BODY=8BITMIME"));
    EXPECT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<a@b>"));
}

TEST(LoopbackSmtp, NotesBareLineEndsAndEarlyCommands)
{
    const LoopbackSmtp server;
    PlainClient client(server.port());
    client.line();
    ASSERT_TRUE(client.write("EHLO me\nNOOP\r\nNOOP\r\n"));
    client.reply();
    client.reply();
    client.reply();
    client.say("QUIT");
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(1, server.conversations().at(0).bare_line_ends);
    EXPECT_GE(server.conversations().at(0).early_commands, 1);
}

TEST(LoopbackSmtp, TellsHowTheClientLeft)
{
    const LoopbackSmtp server;
    {
        PlainClient client(server.port());
        open_mail(client);
        ASSERT_TRUE(client.write("half a mail\r\n."));
        ASSERT_TRUE(server.wait_for_octets(14, kSoon));
    }
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(Ending::kClientClosed, server.conversations().at(0).ending);
    EXPECT_FALSE(server.conversations().at(0).quit);
    ASSERT_EQ(1U, server.unfinished().size());
    EXPECT_EQ("half a mail\r\n.", server.unfinished().at(0).wire);
    EXPECT_FALSE(server.unfinished().at(0).dot);
    EXPECT_THAT(server.mails(), IsEmpty());

    PlainClient client(server.port());
    client.line();
    client.reset();
    ASSERT_TRUE(server.wait_for_disconnect(2, kSoon));
    EXPECT_EQ(Ending::kClientReset, server.conversations().at(1).ending);
}

TEST(LoopbackSmtp, ServesManyAtOnce)
{
    const LoopbackSmtp server;
    std::vector<std::unique_ptr<PlainClient>> clients;
    for (int i = 0; i < 100; ++i)
        clients.push_back(std::make_unique<PlainClient>(server.port()));
    for (auto& client : clients)
        open_mail(*client);
    for (auto& client : clients)
        EXPECT_EQ("250 2.0.0 taken", client->say("x\r\n."));
    EXPECT_EQ(100U, server.mails().size());
}

TEST(LoopbackSmtp, WaitsEndWhenTheirTimeIsOver)
{
    const LoopbackSmtp server;
    EXPECT_FALSE(server.wait_for_connection(1, 1));
    EXPECT_FALSE(server.wait_for_mail(1, 1));
    EXPECT_FALSE(server.wait_for_disconnect(1, 1));
    EXPECT_FALSE(server.wait_for_command("QUIT", 1));
    EXPECT_FALSE(server.wait_for_octets(1, 1));
}

TEST(LoopbackSmtp, StopsByItself)
{
    SmtpOptions options;
    options.lifetime_ms = 50;
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    EXPECT_THAT(client.rest(), testing::AnyOf("220 localhost ESMTP ready\r\n(end)", "(end)", "(reset)"));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(Ending::kStopped, server.conversations().at(0).ending);
}

TEST(LoopbackSmtp, StopsInTheMiddleOfAnything)
{
    LoopbackSmtp server;
    PlainClient idle(server.port());
    PlainClient sending(server.port());
    idle.line();
    open_mail(sending);
    server.stop();
    EXPECT_EQ("(end)", idle.rest());
    EXPECT_EQ("(end)", sending.rest());
    EXPECT_FALSE(PlainClient(server.port()).connected());
    EXPECT_EQ(1U, server.unfinished().size());
}

TEST(LoopbackSmtp, DiscardModeCountsOnly)
{
    SmtpOptions options;
    options.discard = true;
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    open_mail(client);
    const std::string line = std::string(76, 'A') + "\r\n";
    std::string many;
    for (int i = 0; i < 10000; ++i)
        many += line;
    ASSERT_TRUE(client.write(many));
    EXPECT_EQ("250 2.0.0 taken", client.say("."));
    EXPECT_EQ(many.size(), server.mails().at(0).size);
    EXPECT_EQ("", server.mails().at(0).wire);
}

TEST(LoopbackSmtp, AsksItsOwnerAboutEveryMail)
{
    SmtpOptions options;
    std::string seen;
    options.on_mail = [&seen](const LoopbackMail& mail, const Conversation& conversation) {
        seen += conversation.hello + ": " + mail.wire;
        return false;
    };
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    open_mail(client);
    EXPECT_EQ("451 4.3.0 cannot keep it", client.say("two\r\n."));
    EXPECT_FALSE(server.mails().at(0).accepted);
    EXPECT_EQ("me.example: two\r\n", seen);
}

TEST(RefusedPort, RefusesConnections)
{
    const RefusedPort refused;
    EXPECT_NE(0, refused.port());
    EXPECT_FALSE(PlainClient(refused.port()).connected());
}

}  // namespace
}  // namespace velorin_test
