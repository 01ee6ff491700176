// The daemon killed at each of its 30 operations, at three moments of it.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "channel_proxy.h"
#include "kill_cases.h"
#include "return_codes.h"

namespace {

using velorin_test::AttackedDaemon;
using velorin_test::ChannelProxy;
using velorin_test::kCallFailed;
using velorin_test::KillCase;
using velorin_test::Killing;
using velorin_test::KillScene;
using velorin_test::kPatience;
using velorin_test::LoopbackMail;
using velorin_test::Moment;
using Clock = std::chrono::steady_clock;

// A second is what an application is promised; a machine that is busy with other things, and a sanitizer's slow start,
// get more.
constexpr std::chrono::milliseconds kPromptly(5000);

std::chrono::milliseconds slowest(0);

class ShowSlowest : public testing::Environment {
public:
    void TearDown() override
    {
        std::printf("slowest return after the end of the daemon: %ld ms\n",
                    static_cast<long>(slowest.count()));
    }
};
const testing::Environment* const show_slowest = testing::AddGlobalTestEnvironment(new ShowSlowest);

class KilledAt : public testing::TestWithParam<KillCase> {
protected:
    KilledAt() : proxy_(daemon_) { ::setenv("VELORIN_CHANNEL_DIR", proxy_.directory().c_str(), 1); }

    // The operation, in the midst of which the daemon dies.
    void kill_it(const Killing& killing)
    {
        const KillCase& one = GetParam();
        ASSERT_NO_FATAL_FAILURE(proxy_.start());
        ASSERT_EQ(0u, one.prepare(scene_, killing.moment == Moment::kInMidWork));
        proxy_.kill_at_next(killing);
        const std::uint32_t code = one.call(scene_);
        const auto returned = Clock::now();
        ASSERT_TRUE(proxy_.killed());
        const auto took =
            std::chrono::duration_cast<std::chrono::milliseconds>(returned - proxy_.killed_at());
        EXPECT_LT(took.count(), kPromptly.count());
        slowest = std::max(slowest, took);
        if (one.has_code) {
            EXPECT_EQ(kCallFailed, code);
        }
    }

    void expect_nothing_half(Moment moment)
    {
        const KillCase& one = GetParam();
        const std::size_t sent_to = scene_.smtp.conversations().size();
        const std::size_t asked = scene_.pop3.conversations().size();
        if (one.stalls && moment == Moment::kInMidWork)
            scene_.smtp.stop();
        else
            EXPECT_TRUE(scene_.smtp.wait_for_disconnect(sent_to, kPatience));
        EXPECT_TRUE(scene_.pop3.wait_for_disconnect(asked, kPatience));
        const bool may_be_done = moment != Moment::kBeforeItReads;
        EXPECT_EQ(one.delivers && may_be_done ? 1u : 0u, scene_.smtp.mails().size());
        for (const LoopbackMail& mail : scene_.smtp.mails())
            EXPECT_EQ(velorin_test::header_of("plain@example.com") + "the body\r\n", mail.octets());
        const std::size_t deleted = one.deletes && moment == Moment::kAfterHalfAnswer ? 1 : 0;
        EXPECT_EQ(velorin_test::kill_scene_mails().size() - deleted, scene_.pop3.maildrop().mails().size());
    }

    // What was a session is none any more, and says so; new ones work.
    void expect_all_well_again()
    {
        ASSERT_NO_FATAL_FAILURE(proxy_.start());
        const std::uint32_t expected =
            GetParam().makes_session ? kCallFailed : velorin::service::kUnknownSession;
        if (scene_.sending) {
            EXPECT_EQ(expected, scene_.sending->Connect());
        }
        if (scene_.receiving) {
            EXPECT_EQ(expected, scene_.receiving->Connect());
        }
        send_and_receive();
    }

    void send_and_receive()
    {
        const velorin_test::LoopbackSmtp server;
        velorin::CntsSMTPBoundary sending(velorin_test::smtp_account(server.port()));
        velorin::CntsSMTPSendMail mail;
        velorin_test::fill_mail(mail, "next@example.com");
        ASSERT_EQ(0u, sending.Connect());
        EXPECT_EQ(0u, velorin_test::send_mail(sending, mail, "the next\r\n"));
        ASSERT_EQ(1u, server.mails().size());
        EXPECT_EQ(velorin_test::header_of("next@example.com") + "the next\r\n", server.mails()[0].octets());

        velorin::CntsPOP3Boundary receiving(velorin_test::pop3_account(scene_.pop3.port()));
        const velorin::CntsPOP3MailInfo info(3, "uid-3", 100, velorin::CntsPOP3MailInfo::eStatusRegistered);
        velorin::CntsPOP3ReceiveMail received(info);
        std::string body;
        ASSERT_EQ(0u, receiving.Connect());
        EXPECT_EQ(0u, receiving.ReceiveHeader(received, 1));
        EXPECT_EQ(0u, velorin_test::read_body(receiving, received, body));
        EXPECT_EQ("another text\r\n", body);
        EXPECT_EQ(0u, receiving.Close());
    }

    void run(const Killing& killing)
    {
        ASSERT_NO_FATAL_FAILURE(kill_it(killing));
        expect_nothing_half(killing.moment);
        expect_all_well_again();
    }

    AttackedDaemon daemon_;
    ChannelProxy proxy_;
    KillScene scene_;
};

TEST_P(KilledAt, BeforeItReads)
{
    run({Moment::kBeforeItReads, nullptr});
}

// The mail server's answer is pending; where no server is asked, half of the request is read.
TEST_P(KilledAt, InMidWork)
{
    const KillCase& one = GetParam();
    if (one.pending == nullptr)
        run({Moment::kInMidRequest, nullptr});
    else
        run({Moment::kInMidWork, [&] { return one.pending(scene_); }});
}

TEST_P(KilledAt, AfterHalfAnAnswer)
{
    run({Moment::kAfterHalfAnswer, nullptr});
}

INSTANTIATE_TEST_SUITE_P(Each, KilledAt, testing::ValuesIn(velorin_test::kill_cases()),
                         [](const testing::TestParamInfo<KillCase>& one) { return one.param.name; });

TEST(KilledAtEach, AreThirty)
{
    EXPECT_EQ(30u, velorin_test::kill_cases().size());
}

}  // namespace
