// Many sessions through one daemon: attack-soak [SESSIONS]. One process sends and another one receives, a session after
// the other; what daemon and clients hold must not grow. Prints the figures; exit status 0 when nothing has grown.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "attacked_daemon.h"
#include "kept_promises.h"
#include "service_client.h"

namespace {

using velorin_test::AttackedDaemon;
using velorin_test::ChildProcess;
using velorin_test::Holdings;
using velorin_test::holdings_of;
using velorin_test::kPatience;
using velorin_test::LoopbackMail;
using velorin_test::LoopbackPop3;
using velorin_test::LoopbackSmtp;

constexpr long kSessions = 5000;
constexpr long kSteps = 10;                // the figures are taken as often
constexpr long kPatienceForStep = 600000;  // milliseconds
constexpr std::size_t kThreads = 4;        // more than at the first figures; the pool breathes
constexpr std::size_t kDescriptors = 4;    // connections that are under way
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kMemory = 1u << 20;  // KiB; a sanitizer keeps what is freed
#else
constexpr std::size_t kMemory = 2u << 10;  // KiB; of 5,000 sessions, one that left 1 KiB behind would show
#endif

long sessions = kSessions;

velorin_test::SmtpOptions smtp_options()
{
    velorin_test::SmtpOptions options;
    options.lifetime_ms = 3600000;
    options.keep_mails = false;
    return options;
}

velorin_test::Pop3Options pop3_options()
{
    velorin_test::Pop3Options options;
    options.lifetime_ms = 3600000;
    options.users = {{velorin_test::kUser, velorin_test::kPassword}};
    options.maildrop = std::make_shared<velorin_test::Maildrop>();
    for (const char* const uid : {"keep-1", "keep-2"})
        options.maildrop->add(velorin_test::mail_of(uid), uid);
    return options;
}

class Soak : public testing::Test {
protected:
    Soak() : smtp_(smtp_options()), pop3_(pop3_options()) {}

    std::unique_ptr<ChildProcess> client(const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> command = {VELORIN_ATTACK_CLIENT};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return std::make_unique<ChildProcess>(
            command,
            std::vector<std::string>{"VELORIN_CHANNEL_DIR=" + daemon_.directory(), "VELORIN_TRACE=none"});
    }

    // What the two clients and the daemon hold after that many sessions of each client.
    std::vector<Holdings> figures_after(long count)
    {
        const std::string sent = "sent s" + std::to_string(count - 1) + "@";
        EXPECT_TRUE(sender_->wait_for_output(sent, kPatienceForStep)) << sender_->output().substr(0, 500);
        EXPECT_TRUE(wait_for_closed(count));
        const std::vector<Holdings> now = {daemon_.holdings(), holdings_of(sender_->pid()),
                                           holdings_of(receiver_->pid())};
        std::printf("%6ld", 2 * count);
        for (const Holdings& one : now)
            std::printf("   %4zu %4zu %7zu", one.descriptors, one.threads, one.memory);
        std::printf("\n");
        std::fflush(stdout);
        return now;
    }

    bool wait_for_closed(long count)
    {
        return receiver_->wait_for_output("closed " + std::to_string(count) + "\n", kPatienceForStep);
    }

    static void expect_no_growth(const std::vector<Holdings>& first, const std::vector<Holdings>& last)
    {
        for (std::size_t index = 0; index < first.size(); ++index) {
            SCOPED_TRACE(index);
            EXPECT_LE(last[index].descriptors, first[index].descriptors + kDescriptors);
            EXPECT_LE(last[index].threads, first[index].threads + kThreads);
            EXPECT_LE(last[index].memory, first[index].memory + kMemory);
        }
    }

    AttackedDaemon daemon_;
    const LoopbackSmtp smtp_;
    const LoopbackPop3 pop3_;
    std::unique_ptr<ChildProcess> sender_;
    std::unique_ptr<ChildProcess> receiver_;
};

TEST_F(Soak, NothingGrows)
{
    const long each = sessions / 2;
    ASSERT_GE(each, 2 * kSteps);
    ASSERT_NO_FATAL_FAILURE(daemon_.start());
    // They go on until the last figures have been taken: a client that has ended holds nothing.
    sender_ = client({"send", std::to_string(smtp_.port()), "s", "0"});
    receiver_ = client({"receive", std::to_string(pop3_.port()), "0"});
    std::printf("         daemon                client that sends     client that receives\n");
    std::printf("sessions files threads KiB      files threads KiB     files threads KiB\n");
    std::vector<Holdings> first;
    std::vector<Holdings> last;
    for (long step = 1; step <= kSteps && !HasFailure(); ++step) {
        last = figures_after(each * step / kSteps);
        if (step == 2) first = last;  // what is kept for the next session is there by then
    }
    if (!HasFailure()) expect_no_growth(first, last);
    for (ChildProcess* const one : {sender_.get(), receiver_.get()})
        one->signal(SIGKILL);
    EXPECT_EQ(std::string::npos, receiver_->output().find("broken"));
    EXPECT_TRUE(smtp_.wait_for_disconnect(smtp_.conversations().size(), kPatience));
    EXPECT_TRUE(pop3_.wait_for_disconnect(pop3_.conversations().size(), kPatience));
    daemon_.process().signal(SIGTERM);
    EXPECT_EQ(0, daemon_.process().wait_for_end(kPatience));
}

}  // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) sessions = std::strtol(argv[1], nullptr, 10);
    return RUN_ALL_TESTS();
}
