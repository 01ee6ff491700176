// Receiving through velorin-maild as a process, reached over its sockets.
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "daemon_fixture.h"
#include "octets.h"
#include "pop3_fixture.h"

namespace velorin {
namespace {

using velorin_test::ChildProcess;
using velorin_test::kPassword;
using velorin_test::kSoon;
using velorin_test::LoopbackPop3;
using velorin_test::name_of;
using velorin_test::octet_difference;
using velorin_test::pop3_over_channel;
using velorin_test::Pop3Client;
using velorin_test::ReceivedPart;
using velorin_test::with_mails;

class Pop3Daemon : public velorin_test::DaemonFixture {
protected:
    static std::string long_body()
    {
        std::string body;
        for (int line = 0; line < 20000; ++line)
            body += "line " + std::to_string(line) + "\r\n";
        return body;
    }
};

TEST_F(Pop3Daemon, ReadsAndDeletesAMail)
{
    const LoopbackPop3 server(with_mails({"Subject: long\r\n\r\n" + long_body()}));
    const auto daemon = start();
    EXPECT_TRUE(std::filesystem::exists(folder.path() + "/ntc_email_pop3"));
    Pop3Client client(pop3_over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    std::vector<ReceivedPart> parts;
    ASSERT_EQ("ok", name_of(client.receive(parts)));
    EXPECT_EQ("", octet_difference(long_body(), parts[0].joined()));
    EXPECT_EQ("ok", name_of(client.remove()));
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_TRUE(server.maildrop().mails().empty());
    EXPECT_EQ("ok", name_of(client.destroy()));
    daemon->signal(SIGTERM);
    EXPECT_EQ(0, daemon->wait_for_end(kSoon)) << daemon->output();
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/ntc_email_pop3"));
    EXPECT_EQ(std::string::npos, daemon->output().find(kPassword));
}

// Nothing is deleted unasked: the connection goes without QUIT, whoever ends.
TEST_F(Pop3Daemon, DeletesNothingForAClientThatIsKilled)
{
    const LoopbackPop3 server(with_mails({"Subject: a\r\n\r\n", "Subject: long\r\n\r\n" + long_body()}));
    const auto daemon = start();
    ChildProcess client({VELORIN_HALF_READ, std::to_string(server.port())}, environment());
    ASSERT_TRUE(client.wait_for_output("half read", kSoon)) << client.output();
    client.signal(SIGKILL);
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_FALSE(server.conversations()[0].quit);
    EXPECT_EQ(2u, server.maildrop().mails().size());
    EXPECT_TRUE(daemon->wait_for_output("has gone, 1 sessions ended", kSoon)) << daemon->output();
}

TEST_F(Pop3Daemon, DeletesNothingWhenItEnds)
{
    for (const int signal : {SIGTERM, SIGKILL}) {
        const LoopbackPop3 server(with_mails({"Subject: a\r\n\r\n"}));
        const auto daemon = start();
        Pop3Client client(pop3_over_channel());
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        ASSERT_EQ("ok", name_of(client.next()));
        client.mean(client.info.n_id(), client.info.c_uniq_id());
        ASSERT_EQ("ok", name_of(client.remove()));
        daemon->signal(signal);
        ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
        EXPECT_FALSE(server.conversations()[0].quit);
        EXPECT_EQ(1u, server.maildrop().mails().size());
        daemon->wait_for_end(kSoon);  // until then it may still answer, that it is shutting down
        EXPECT_EQ("no answer", name_of(client.close()));
    }
}

}  // namespace
}  // namespace velorin
