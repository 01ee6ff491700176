// A session is its process's alone: a forked child, which has the same objects in its memory, has no part in it.
#include <csignal>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "attack_mails.h"
#include "attacked_daemon.h"
#include "loopback_smtp.h"
#include "pop3_fixture.h"

namespace {

using velorin_test::ChildProcess;
using velorin_test::Conversation;
using velorin_test::header_of;
using velorin_test::kPatience;
using velorin_test::LoopbackPop3;
using velorin_test::LoopbackSmtp;

class ForkedClient : public testing::Test {
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(daemon_.start()); }

    std::unique_ptr<ChildProcess> run(const std::string& way, std::uint16_t port) const
    {
        return std::make_unique<ChildProcess>(
            std::vector<std::string>{VELORIN_ATTACK_FORKED, way, std::to_string(port)},
            std::vector<std::string>{"VELORIN_CHANNEL_DIR=" + daemon_.directory(), "VELORIN_TRACE=none"});
    }

    velorin_test::AttackedDaemon daemon_;
};

TEST_F(ForkedClient, SendsNothingInTheSessionOfItsParent)
{
    const LoopbackSmtp server;
    const auto client = run("send", server.port());
    EXPECT_EQ(0, client->wait_for_end(kPatience));
    EXPECT_EQ("child JudgeSizeofData: unknown-session\n"
              "child SendBody: unknown-session\n"
              "child Close: unknown-session\n"
              "child Abort: unknown-session\n"
              "child Connect: unknown-session\n"
              "child Connect: ok\n"
              "child send: ok\n"
              "parent SendBody: ok\n"
              "parent Close: ok\n"
              "done\n",
              client->output());
    ASSERT_TRUE(server.wait_for_disconnect(2, kPatience));
    ASSERT_EQ(2u, server.mails().size());
    EXPECT_EQ(header_of("child") + "the child's\r\n", server.mails()[0].wire);
    EXPECT_EQ(1u, server.mails()[0].connection);
    EXPECT_EQ(header_of("parent") + "first half\r\nsecond half\r\n", server.mails()[1].wire);
    EXPECT_EQ(0u, server.mails()[1].connection);
    for (const Conversation& conversation : server.conversations())
        EXPECT_TRUE(conversation.quit);
}

TEST_F(ForkedClient, ReadsAndDeletesNothingInTheSessionOfItsParent)
{
    const std::string body(100000, 'x');
    const LoopbackPop3 server(velorin_test::with_mails({"Subject: long\r\n\r\n" + body + "\r\n"}));
    const auto client = run("receive", server.port());
    EXPECT_EQ(0, client->wait_for_end(kPatience));
    EXPECT_EQ("child Stat: unknown-session\n"
              "child ReceiveBody: unknown-session\n"
              "child Delete: unknown-session\n"
              "child Close: unknown-session\n"
              "child Connect: unknown-session\n"
              "child Connect: ok\n"
              "child Stat: ok\n"
              "child Close: ok\n"
              "parent ReceiveBody: ok\n"
              "parent Delete: ok\n"
              "parent Close: ok\n"
              "done, 100002 octets\n",
              client->output());
    ASSERT_TRUE(server.wait_for_disconnect(2, kPatience));
    EXPECT_TRUE(server.maildrop().mails().empty());
    EXPECT_NE(std::string::npos, server.conversations()[0].client_lines().find("DELE"));
    EXPECT_EQ(std::string::npos, server.conversations()[1].client_lines().find("DELE"));
}

// The service waits for the process that made the session, not for everybody who has its memory.
TEST_F(ForkedClient, DoesNotKeepTheSessionOfItsParentAlive)
{
    const LoopbackSmtp server;
    const auto client = run("orphan", server.port());
    ASSERT_TRUE(client->wait_for_output("child SendBody: unknown-session\n", kPatience)) << client->output();
    client->signal(SIGKILL);
    ASSERT_TRUE(client->wait_for_output("done\n", kPatience)) << client->output();
    EXPECT_EQ("child SendBody: unknown-session\n"
              "child Connect: ok\n"
              "child send: ok\n"
              "child Abort: unknown-session\n"
              "done\n",
              client->output());
    ASSERT_TRUE(server.wait_for_disconnect(2, kPatience));
    ASSERT_EQ(1u, server.mails().size());
    EXPECT_EQ(header_of("child") + "the child's\r\n", server.mails()[0].wire);
    EXPECT_EQ(1u, server.unfinished().size());
    EXPECT_FALSE(server.conversations()[0].quit);
    EXPECT_TRUE(daemon_.process().wait_for_output("has gone, 1 sessions ended", kPatience));
}

}  // namespace
