// Service and clients killed at random moments of what they do, over and over.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <sys/wait.h>
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
using velorin_test::KeptPromises;
using velorin_test::kPatience;
using velorin_test::LoopbackPop3;
using velorin_test::LoopbackSmtp;
using velorin_test::mail_of;
using velorin_test::Maildrop;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 40;  // processes start ten times slower
#else
constexpr int kRounds = 300;  // one kill of the service and one of a client each
#endif
constexpr int kLongest = 12;           // milliseconds to the next kill; a session takes about five
constexpr std::size_t kInMailbox = 6;  // mails that a receiver finds

unsigned from_environment(const char* name, unsigned otherwise)
{
    const char* const text = std::getenv(name);
    return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

velorin_test::Pop3Options pop3_options()
{
    velorin_test::Pop3Options options;
    options.users = {{velorin_test::kUser, velorin_test::kPassword}};
    options.maildrop = std::make_shared<Maildrop>();
    return options;
}

class RandomKills : public testing::Test {
protected:
    RandomKills() : pop3_(pop3_options()) {}

    // Clients that have just begun: one sends, one receives.
    void start_client(bool sends)
    {
        std::vector<std::string> command = {VELORIN_ATTACK_CLIENT};
        if (sends) {
            const std::string prefix = std::to_string(++clients_) + "-";
            command.insert(command.end(), {"send", std::to_string(smtp_.port()), prefix, "0"});
        } else {
            command.insert(command.end(), {"receive", std::to_string(pop3_.port()), "0"});
        }
        std::unique_ptr<ChildProcess>& client = sends ? sender_ : receiver_;
        client = std::make_unique<ChildProcess>(
            command,
            std::vector<std::string>{"VELORIN_CHANNEL_DIR=" + daemon_.directory(), "VELORIN_TRACE=none"});
        ASSERT_TRUE(client->wait_for_output("up\n", kPatience)) << client->output();
    }

    void kill_client(bool sends)
    {
        ChildProcess& client = sends ? *sender_ : *receiver_;
        client.signal(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, client.wait_for_end(kPatience)) << client.output();
        promises_.take(client.output());
    }

    // Listens to a client for a random time.
    void wait_a_moment(ChildProcess& client)
    {
        std::uniform_int_distribution<int> moment(0, kLongest);
        client.wait_for_output("no client says this", moment(random_));
    }

    void fill_mailbox()
    {
        while (pop3_.maildrop().mails().size() < kInMailbox) {
            const std::string prefix = mails_ < 2 ? "keep-" : velorin_test::kDropPrefix;
            const std::string uid = prefix + std::to_string(++mails_);
            pop3_.maildrop().add(mail_of(uid), uid);
            uids_.insert(uid);
        }
    }

    void kill_both()
    {
        fill_mailbox();
        wait_a_moment(random_() % 2 == 0 ? *sender_ : *receiver_);
        daemon_.kill();
        ASSERT_NO_FATAL_FAILURE(daemon_.start());
        const bool sends = random_() % 2 == 0;
        wait_a_moment(sends ? *sender_ : *receiver_);
        kill_client(sends);
        ASSERT_NO_FATAL_FAILURE(start_client(sends));
    }

    AttackedDaemon daemon_;
    const LoopbackSmtp smtp_;
    const LoopbackPop3 pop3_;
    std::unique_ptr<ChildProcess> sender_;
    std::unique_ptr<ChildProcess> receiver_;
    std::mt19937 random_;
    KeptPromises promises_;
    std::set<std::string> uids_;
    int clients_ = 0;
    int mails_ = 0;
};

TEST_F(RandomKills, LoseNoMailAndDoubleNone)
{
    const unsigned seed = from_environment("VELORIN_ATTACK_SEED", 1);
    const unsigned rounds = from_environment("VELORIN_ATTACK_ROUNDS", kRounds);
    std::printf("seed %u, %u kills of the service and %u of clients\n", seed, rounds, rounds);
    random_.seed(seed);
    const Holdings own = holdings_of(::getpid());
    ASSERT_NO_FATAL_FAILURE(daemon_.start());
    const Holdings at_first = daemon_.holdings();
    fill_mailbox();
    for (const bool sends : {true, false})
        ASSERT_NO_FATAL_FAILURE(start_client(sends));
    for (unsigned round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(kill_both());
    }
    for (const bool sends : {true, false})
        kill_client(sends);

    // The service lets go of whoever has been killed.
    EXPECT_TRUE(smtp_.wait_for_disconnect(smtp_.conversations().size(), kPatience));
    EXPECT_TRUE(pop3_.wait_for_disconnect(pop3_.conversations().size(), kPatience));
    promises_.check_sent(smtp_.mails());
    promises_.check_deleted(uids_, pop3_.maildrop());
    std::printf("%zu mails begun, %zu confirmed, %zu arrived; %zu read, %zu sessions closed\n",
                promises_.begun(), promises_.sent(), smtp_.mails().size(), promises_.read(),
                promises_.closed());
    EXPECT_GT(promises_.sent(), rounds / 4) << "the kills leave nobody the time for anything";
    EXPECT_GT(promises_.closed(), rounds / 20);

    // Two threads more for each kind of mail: the pool keeps what it needed in the last seconds.
    const Holdings limit = {at_first.descriptors, at_first.threads + 4, static_cast<std::size_t>(-1)};
    EXPECT_TRUE(daemon_.wait_for_no_more_than(limit, kPatience));
    daemon_.kill();
    sender_.reset();
    receiver_.reset();
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
    EXPECT_GE(own.descriptors + 1, holdings_of(::getpid()).descriptors);  // the daemon's output
}

}  // namespace
