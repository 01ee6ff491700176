// SIGTERM ends the daemon, whatever it waits for.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "attacked_daemon.h"
#include "loopback_pop3.h"
#include "loopback_smtp.h"
#include "pop3_client.h"
#include "service_client.h"

namespace {

using velorin_test::AttackedDaemon;
using velorin_test::kPatience;
using velorin_test::name_of;
using velorin_test::Pop3Client;
using velorin_test::Rule;
using velorin_test::ServiceClient;
using velorin_test::Step;
using Clock = std::chrono::steady_clock;

// Less than the five seconds that a server has to answer a farewell.
constexpr std::chrono::seconds kAtOnce(4);

void expect_end_at_once(AttackedDaemon& daemon)
{
    const Clock::time_point begin = Clock::now();
    daemon.process().signal(SIGTERM);
    EXPECT_EQ(0, daemon.process().wait_for_end(kPatience)) << daemon.process().output();
    EXPECT_LT(Clock::now() - begin, kAtOnce);
}

TEST(StopsAtOnce, WhileAnSmtpServerOwesItsFarewell)
{
    AttackedDaemon daemon;
    ::setenv("VELORIN_CHANNEL_DIR", daemon.directory().c_str(), 1);
    ASSERT_NO_FATAL_FAILURE(daemon.start());
    velorin_test::SmtpOptions options;
    options.rules = {Rule(Step::kQuit).silence()};
    const velorin_test::LoopbackSmtp server(options);
    ServiceClient client(velorin_test::over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    std::thread leaving([&] { client.destroy(); });
    EXPECT_TRUE(server.wait_for_command("QUIT", kPatience));
    expect_end_at_once(daemon);
    leaving.join();
}

TEST(StopsAtOnce, WhileAPop3ServerOwesItsFarewell)
{
    AttackedDaemon daemon;
    ::setenv("VELORIN_CHANNEL_DIR", daemon.directory().c_str(), 1);
    ASSERT_NO_FATAL_FAILURE(daemon.start());
    velorin_test::Pop3Options options;
    options.users = {{velorin_test::kUser, velorin_test::kPassword}};
    options.rules = {Rule(Step::kQuit).silence()};
    const velorin_test::LoopbackPop3 server(options);
    Pop3Client client(velorin_test::pop3_over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    std::thread leaving([&] { client.destroy(); });
    EXPECT_TRUE(server.wait_for_command("QUIT", kPatience));
    expect_end_at_once(daemon);
    leaving.join();
}

}  // namespace
