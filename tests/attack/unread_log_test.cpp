// A daemon whose log nobody reads.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "attacked_daemon.h"
#include "loopback_smtp.h"
#include "service_client.h"

namespace {

using velorin_test::AttackedDaemon;
using velorin_test::kPatience;
using velorin_test::name_of;
using velorin_test::ServiceClient;

// Each leaves a line of about 120 octets; a pipe holds 65,536 octets.
constexpr int kExchanges = 1500;

void fill_log(ServiceClient& client)
{
    for (int count = 0; count < kExchanges; ++count)
        ASSERT_EQ("ok", name_of(client.create())) << count;
}

TEST(UnreadLog, HoldsUpNeitherCallersNorTheEnd)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        AttackedDaemon daemon;
        ::setenv("VELORIN_CHANNEL_DIR", daemon.directory().c_str(), 1);
        daemon.start();
        const velorin_test::LoopbackSmtp server;
        ServiceClient client(velorin_test::over_channel());
        fill_log(client);
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        EXPECT_EQ("ok", name_of(client.send("Hello\n")));
        daemon.process().signal(signal);
        EXPECT_EQ(0, daemon.process().wait_for_end_unread(kPatience));
    }
}

TEST(UnreadLog, SaysHowManyLinesWereLost)
{
    AttackedDaemon daemon;
    ::setenv("VELORIN_CHANNEL_DIR", daemon.directory().c_str(), 1);
    daemon.start();
    ServiceClient client(velorin_test::over_channel());
    fill_log(client);
    int exchanges = kExchanges;
    // Whoever reads on finds the number in front of the first line that there was room for.
    const std::string report = " 2106:102:0 trace: ";
    do {
        ASSERT_LT(exchanges, kExchanges + 1000);
        ++exchanges;
        ASSERT_EQ("ok", name_of(client.create()));
    } while (!daemon.process().wait_for_output(report, 100));
    ASSERT_EQ("ok", name_of(client.destroy()));
    ASSERT_TRUE(daemon.process().wait_for_output("destroy_instance: ok", kPatience));

    int told = 0;
    int lost = 0;
    std::istringstream lines(daemon.process().output());
    for (std::string line; std::getline(lines, line);) {
        const std::size_t number = line.find(report);
        if (number != std::string::npos) {
            lost += std::atoi(line.c_str() + number + report.size());
            continue;
        }
        EXPECT_NE(std::string::npos, line.find("Z " + std::to_string(daemon.pid()) + "/")) << line;
        const bool is_whole = line.find(": create_instance: ok (0x00000000)") == line.size() - 34;
        if (is_whole) ++told;
        EXPECT_TRUE(is_whole || line.find("ready") != std::string::npos ||
                    line.find("destroy_instance") != std::string::npos)
            << line;
    }
    EXPECT_GT(lost, 0);
    EXPECT_EQ(exchanges, told + lost);
}

}  // namespace
