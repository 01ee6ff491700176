// Many sessions of both protocols over the platform double, which also watches semaphores, channels and blocks.
#include <gtest/gtest.h>

#include "many_sessions.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

TEST(ManySessionsOverTheDouble, EachGetsItsOwnAnswersAndNothingIsLeft)
{
    constexpr unsigned kRounds = 2;
    constexpr unsigned kQuestions = 10;
    PlatformDouble platform;
    NumberedService service;
    platform.on_exchange([&service](const Exchange& exchange) {
        const bool is_smtp = exchange.endpoint == "pcie:ntc_email_smtp";
        return Answer{is_smtp ? service.smtp(exchange.request) : service.pop3(exchange.request), {}, 0};
    });
    const unsigned exchanges = run_many_sessions(kRounds, kQuestions);
    EXPECT_EQ(service.answered(), exchanges);
    EXPECT_EQ(service.refused(), 0u);
    EXPECT_EQ(service.live_sessions(), 0u);
    // One exchange of a protocol at a time, whoever asks.
    EXPECT_EQ(platform.most_open_channels("pcie:ntc_email_smtp"), 1u);
    EXPECT_EQ(platform.most_open_channels("pcie:ntc_email_pop3"), 1u);
}

}  // namespace
}  // namespace velorin_test
