// Many sessions of both protocols over the channel of this platform: through its sockets, and inside the process.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "channel_server.h"
#include "many_sessions.h"
#include "platform_support.h"

namespace velorin_test {
namespace {

using velorin_channel::Caller;
using velorin_channel::ChannelServer;
using velorin_channel::Handler;
using velorin_channel::LocalEndpoint;
using velorin_channel::ServerOptions;

constexpr unsigned kRounds = 4;
constexpr unsigned kQuestions = 20;

// Lets one of the service's functions answer at an endpoint.
Handler handler_of(NumberedService& service, std::string (NumberedService::*protocol)(const std::string&))
{
    return [&service, protocol](const Caller&, const char* request, std::uint32_t request_length,
                                char* answer, std::uint32_t capacity, std::uint32_t& answer_length) {
        const std::string octets = (service.*protocol)(std::string(request, request_length));
        if (octets.empty() || octets.size() > capacity) return false;
        std::memcpy(answer, octets.data(), octets.size());
        answer_length = static_cast<std::uint32_t>(octets.size());
        return true;
    };
}

void run_and_check(const NumberedService& service)
{
    const unsigned exchanges = run_many_sessions(kRounds, kQuestions);
    EXPECT_EQ(service.answered(), exchanges);
    EXPECT_EQ(service.refused(), 0u);
    EXPECT_EQ(service.live_sessions(), 0u);
}

TEST(ManySessionsOverSockets, EachGetsItsOwnAnswers)
{
    const platform_support::ChannelDirectory directory;
    NumberedService service;
    ServerOptions options;
    options.directory = directory.path();
    ChannelServer server(options);
    std::string error;
    ASSERT_TRUE(server.add("ntc_email_smtp", handler_of(service, &NumberedService::smtp), error)) << error;
    ASSERT_TRUE(server.add("ntc_email_pop3", handler_of(service, &NumberedService::pop3), error)) << error;
    ASSERT_TRUE(server.start(error)) << error;
    run_and_check(service);
    server.stop();
}

TEST(ManySessionsInside, EachGetsItsOwnAnswers)
{
    const platform_support::ChannelDirectory directory;
    NumberedService service;
    const LocalEndpoint smtp("ntc_email_smtp", handler_of(service, &NumberedService::smtp));
    const LocalEndpoint pop3("ntc_email_pop3", handler_of(service, &NumberedService::pop3));
    run_and_check(service);
}

}  // namespace
}  // namespace velorin_test
