// Hostile processes call the daemon while a good one uses it.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include "attacked_daemon.h"
#include "loopback_smtp.h"
#include "service_client.h"

namespace {

using velorin_test::AttackedDaemon;
using velorin_test::ChildProcess;
using velorin_test::Holdings;
using velorin_test::kPatience;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::over_channel;
using velorin_test::ServiceClient;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kSession = 77;
constexpr int kRounds = 40;                        // of the good client, while the hostile one is at work
constexpr std::chrono::milliseconds kBound(3000);  // one exchange, on a machine that is busy with other tests
constexpr rlim_t kPlainUser = 1024;                // descriptors
constexpr std::size_t kSpareThreads = 2;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kSpareMemory = 1u << 20;  // KiB; a sanitizer keeps what is freed
#else
constexpr std::size_t kSpareMemory = 32u << 10;  // KiB; heaps and stacks that the C library keeps of threads
#endif
constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

struct Attack {
    const char* name;
    const char* mode;
};

constexpr Attack kAttacks[] = {
    {"CutFrames", "cut-frames"},
    {"TooMuchAnnounced", "too-much"},
    {"RandomOctets", "noise"},
    {"UnknownMethods", "unknown-methods"},
    {"SessionOfAnother", "foreign-session"},
    {"SilentConnections", "silent"},
    {"MoreConnectionsThanDescriptors", "too-many"},
    {"OneOctetASecond", "slow"},
    {"UnreadAnswers", "unreading"},
};

void PrintTo(const Attack& attack, std::ostream* out)
{
    *out << attack.name;
}

class Hostile : public testing::Test {
protected:
    Hostile()
    {
        rlimit descriptors{};
        ::getrlimit(RLIMIT_NOFILE, &descriptors);
        descriptors.rlim_cur = std::min(descriptors.rlim_cur, kPlainUser);
        ::setrlimit(RLIMIT_NOFILE, &descriptors);
        ::setenv("VELORIN_CHANNEL_DIR", daemon_.directory().c_str(), 1);
    }

    template <typename Operation>
    std::string timed(Operation operation)
    {
        const Clock::time_point begin = Clock::now();
        const std::uint32_t code = operation();
        slowest_ = std::max(slowest_, Clock::now() - begin);
        return name_of(code);
    }

    // A session from its beginning to its end, and a piece of the mail that is under way in another.
    void use_the_service(ServiceClient& under_way)
    {
        ServiceClient client(over_channel(), kSession + 100);
        client.settings.set_n_port(server_.port());
        EXPECT_EQ("ok", timed([&] { return client.create(); }));
        EXPECT_EQ("ok", timed([&] { return client.connect(); }));
        EXPECT_EQ("ok", timed([&] { return client.header(); }));
        EXPECT_EQ("ok", timed([&] { return client.body("a mail\r\n"); }));
        EXPECT_EQ("ok", timed([&] { return client.close(); }));
        EXPECT_EQ("ok", timed([&] { return client.destroy(); }));
        EXPECT_EQ("ok", timed([&] { return under_way.body("a piece\r\n"); }));
    }

    std::unique_ptr<ChildProcess> attack(const char* mode) const
    {
        const std::vector<std::string> command = {VELORIN_ATTACK_HOSTILE, mode, daemon_.directory(),
                                                  std::to_string(kSession)};
        auto hostile = std::make_unique<ChildProcess>(command, std::vector<std::string>{});
        EXPECT_TRUE(hostile->wait_for_output("at work", kPatience)) << hostile->output();
        return hostile;
    }

    // Uses the service while they all are at work, and ends them.
    void use_it_under_attack(const std::vector<const char*>& modes)
    {
        ASSERT_NO_FATAL_FAILURE(daemon_.start());
        ServiceClient under_way(over_channel(), kSession);
        ASSERT_EQ("ok", name_of(under_way.open(server_.port())));
        ASSERT_EQ("ok", name_of(under_way.header()));
        use_the_service(under_way);
        before_ = daemon_.holdings();
        {
            std::vector<std::unique_ptr<ChildProcess>> hostile;
            for (const char* const mode : modes)
                hostile.push_back(attack(mode));
            for (int round = 0; round < kRounds && !HasFailure(); ++round)
                use_the_service(under_way);
            for (const auto& one : hostile)
                EXPECT_EQ(-1, one->wait_for_end_unread(0)) << one->output();  // it is still at work
        }
        EXPECT_LT(slowest_, kBound);
        std::printf(
            "slowest exchange: %ld ms\n",
            static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(slowest_).count()));
        EXPECT_EQ("ok", name_of(under_way.close()));
        expect_whole_mails();
    }

    void expect_whole_mails() const
    {
        std::string pieces;
        for (int count = 0; count < kRounds + 1; ++count)
            pieces += "a piece\r\n";
        ASSERT_EQ(kRounds + 2u, server_.mails().size());
        EXPECT_EQ(velorin_test::plain_header() + pieces, server_.mails().back().octets());
    }

    // As it was before, as soon as nobody has called for some seconds.
    void expect_as_before() const
    {
        const Holdings limit = {before_.descriptors, before_.threads + kSpareThreads,
                                before_.memory + kSpareMemory};
        EXPECT_TRUE(daemon_.wait_for_no_more_than(limit, kPatience));
        const Holdings after = daemon_.holdings();
        std::printf("descriptors %zu, then %zu; threads %zu, then %zu; KiB %zu, then %zu\n",
                    before_.descriptors, after.descriptors, before_.threads, after.threads, before_.memory,
                    after.memory);
    }

    void expect_clean_end()
    {
        daemon_.process().signal(SIGTERM);
        const int status = daemon_.process().wait_for_end(kPatience);
        const std::string& output = daemon_.process().output();
        EXPECT_EQ(0, status) << output.substr(output.size() - std::min<std::size_t>(output.size(), 5000));
    }

    AttackedDaemon daemon_;
    const LoopbackSmtp server_;
    Clock::duration slowest_{};
    Holdings before_;
};

class HostileTo : public Hostile, public testing::WithParamInterface<Attack> {};

TEST_P(HostileTo, DisturbsNobody)
{
    ASSERT_NO_FATAL_FAILURE(use_it_under_attack({GetParam().mode}));
    // Who called last is remembered for some seconds, which takes a descriptor.
    EXPECT_TRUE(daemon_.wait_for_no_more_than({before_.descriptors + 1, kAnyNumber, kAnyNumber}, kPatience));
    expect_clean_end();
}

INSTANTIATE_TEST_SUITE_P(Each, HostileTo, testing::ValuesIn(kAttacks),
                         [](const testing::TestParamInfo<Attack>& one) { return one.param.name; });

TEST_F(Hostile, AllTogetherDisturbNobodyAndLeaveNothingBehind)
{
    std::vector<const char*> modes;
    for (const Attack& attack : kAttacks)
        modes.push_back(attack.mode);
    ASSERT_NO_FATAL_FAILURE(use_it_under_attack(modes));
    expect_as_before();
    expect_clean_end();
}

}  // namespace
