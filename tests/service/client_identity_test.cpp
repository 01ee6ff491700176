// Which process a session belongs to. Start times count on for as long as the machine runs: after 497 days they need more
// than 32 bits, and two processes whose start times are alike in the lower ones are still two.
#include <cstdint>
#include <memory>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "client_watch.h"
#include "last_replies.h"
#include "process_start.h"
#include "service_client.h"
#include "session_registry.h"

namespace velorin::service {
namespace {

using velorin_channel::Caller;
using velorin_test::directly;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::ServiceClient;
using velorin_test::this_caller;

constexpr std::uint64_t kBeyond = std::uint64_t{1} << 32;
constexpr std::uint64_t kStarts[] = {7, kBeyond + 7, 2 * kBeyond + 7, (std::uint64_t{1} << 63) + 7};

class IdleSession : public Session {
public:
    void quit() override {}

protected:
    void drop() noexcept override {}
};

Caller started_at(std::uint64_t start_time)
{
    Caller caller = this_caller();
    caller.start_time = start_time;
    return caller;
}

ClientId client_started_at(std::uint64_t start_time)
{
    return {1000, 4711, start_time};
}

TEST(ClientIdentity, IsTheWholeStartTimeInTheService)
{
    MailService service(quick_options());
    for (const std::uint64_t start : kStarts) {
        ServiceClient client(directly(service, started_at(start)));
        EXPECT_EQ("unknown-session", name_of(client.abort())) << start;
        EXPECT_EQ("ok", name_of(client.create())) << start;
    }
    // Nobody's session was replaced, and each ends its own.
    for (const std::uint64_t start : kStarts) {
        ServiceClient client(directly(service, started_at(start)));
        EXPECT_EQ("ok", name_of(client.destroy())) << start;
        EXPECT_EQ("unknown-session", name_of(client.destroy())) << start;
    }
}

TEST(ClientIdentity, IsTheWholeStartTimeInTheRegistry)
{
    SessionRegistry registry(10, 10);
    for (const std::uint64_t start : kStarts)
        ASSERT_TRUE(
            registry.add({client_started_at(start), SessionKind::smtp, 1}, std::make_shared<IdleSession>()));
    EXPECT_EQ(4u, registry.size());
    std::size_t left = 4;
    for (const std::uint64_t start : kStarts) {
        EXPECT_TRUE(registry.has_client(client_started_at(start)));
        EXPECT_EQ(1u, registry.end_client(client_started_at(start))) << "the others' do not end with it";
        EXPECT_FALSE(registry.has_client(client_started_at(start)));
        EXPECT_EQ(--left, registry.size());
    }
}

TEST(ClientIdentity, IsTheWholeStartTimeForTheLastReply)
{
    LastReplies replies;
    for (const std::uint64_t start : kStarts)
        replies.of(client_started_at(start))->set("250 " + std::to_string(start));
    for (const std::uint64_t start : kStarts)
        EXPECT_EQ("250 " + std::to_string(start), replies.line_of(client_started_at(start)));
    replies.forget(client_started_at(kStarts[0]));
    EXPECT_EQ("", replies.line_of(client_started_at(kStarts[0])));
    EXPECT_NE("", replies.line_of(client_started_at(kStarts[1])));
}

TEST(ClientIdentity, IsTheWholeStartTimeToTheWatch)
{
    ClientWatch watch({[](const ClientId&) {}, [](const ClientId&) { return true; },
                       [] { return Clock::time_point::max(); }, [] {}});
    const std::int32_t pid = static_cast<std::int32_t>(::getpid());
    const std::uint64_t own = velorin_channel::read_start_time(pid);
    for (const std::uint64_t further : {kBeyond, 2 * kBeyond, std::uint64_t{1} << 63})
        EXPECT_FALSE(watch.watch({0, pid, own + further})) << "a process of the same number, long ago";
    EXPECT_TRUE(watch.watch({0, pid, own}));
}

}  // namespace
}  // namespace velorin::service
