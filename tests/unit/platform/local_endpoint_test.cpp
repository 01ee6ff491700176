#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "channel_codes.h"
#include "channel_server.h"
#include "emwGEN.h"
#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::Caller;
using velorin_channel::Handler;
using velorin_channel::LocalEndpoint;

Handler answering(const std::string& text)
{
    return [text](const Caller&, const char*, std::uint32_t, char* answer, std::uint32_t capacity,
                  std::uint32_t& length) {
        if (text.size() > capacity) return false;
        std::memcpy(answer, text.data(), text.size());
        length = static_cast<std::uint32_t>(text.size());
        return true;
    };
}

TEST(LocalEndpoint, AnswersInTheCallersThread)
{
    const ChannelDirectory directory;
    std::thread::id served_by;
    Caller seen{};
    const LocalEndpoint endpoint("here",
                                 [&](const Caller& caller, const char* request, std::uint32_t request_length,
                                     char* answer, std::uint32_t capacity, std::uint32_t& length) {
                                     served_by = std::this_thread::get_id();
                                     seen = caller;
                                     return echo(caller, request, request_length, answer, capacity, length);
                                 });
    const Outcome outcome = call_once("here", std::string("a\0b", 3));
    EXPECT_EQ(outcome.code, 0u);
    EXPECT_EQ(outcome.answer, std::string("a\0b", 3));
    EXPECT_EQ(served_by, std::this_thread::get_id());
    EXPECT_TRUE(seen.in_process);
    EXPECT_EQ(seen.pid, getpid());
    EXPECT_EQ(seen.uid, geteuid());
    EXPECT_EQ(seen.gid, getegid());
    EXPECT_NE(seen.start_time, 0u);
}

TEST(LocalEndpoint, GoesBeforeASocketAndTheLatestWins)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    EXPECT_EQ(call_once("echo", "x").answer, "x");
    {
        const LocalEndpoint first("echo", answering("first"));
        EXPECT_EQ(call_once("echo", "x").answer, "first");
        auto second = std::make_unique<LocalEndpoint>("echo", answering("second"));
        EXPECT_EQ(call_once("echo", "x").answer, "second");
        second.reset();
        EXPECT_EQ(call_once("echo", "x").answer, "first");
    }
    EXPECT_EQ(call_once("echo", "x").answer, "x");
}

TEST(LocalEndpoint, OpenChannelFindsThatItsPeerHasGone)
{
    auto endpoint = std::make_unique<LocalEndpoint>("here", answering("x"));
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:here", &handle), 0u);
    endpoint.reset();
    char buffer[16];
    std::uint32_t length = 77;
    EXPECT_EQ(emwGENPacketClntCall(handle, "r", 1, buffer, sizeof buffer, &length, -1),
              velorin_channel::kPeerGone);
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
}

TEST(LocalEndpoint, HandlerThatFailsFailsTheCall)
{
    const LocalEndpoint refusing("refusing", [](const Caller&, const char*, std::uint32_t, char*,
                                                std::uint32_t, std::uint32_t&) { return false; });
    EXPECT_EQ(call_once("refusing", "x").code, velorin_channel::kPeerGone);
    const LocalEndpoint throwing("throwing",
                                 [](const Caller&, const char*, std::uint32_t, char*, std::uint32_t,
                                    std::uint32_t&) -> bool { throw std::runtime_error("no"); });
    EXPECT_EQ(call_once("throwing", "x").code, velorin_channel::kPeerGone);
    const LocalEndpoint boasting("boasting", [](const Caller&, const char*, std::uint32_t, char*,
                                                std::uint32_t capacity, std::uint32_t& length) {
        length = capacity + 1;
        return true;
    });
    EXPECT_EQ(call_once("boasting", "x", 16).code, velorin_channel::kPeerGone);
}

TEST(LocalEndpoint, EmptyRequestAndEmptyAnswer)
{
    const LocalEndpoint endpoint("empty", [](const Caller&, const char* request, std::uint32_t request_length,
                                             char*, std::uint32_t capacity, std::uint32_t& length) {
        length = 0;
        return request != nullptr && request_length == 0 && capacity == 0;
    });
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:empty", &handle), 0u);
    std::uint32_t length = 77;
    EXPECT_EQ(emwGENPacketClntCall(handle, nullptr, 0, nullptr, 0, &length, -1), 0u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
}

TEST(LocalEndpoint, GoesOnlyWhenRunningExchangesAreOver)
{
    std::promise<void> inside;
    std::promise<void> finish;
    std::shared_future<void> finished = finish.get_future().share();
    std::atomic<bool> over{false};
    auto endpoint = std::make_unique<LocalEndpoint>(
        "slow", [&](const Caller&, const char*, std::uint32_t, char*, std::uint32_t, std::uint32_t& length) {
            inside.set_value();
            finished.wait();
            over = true;
            length = 0;
            return true;
        });
    auto caller = std::async(std::launch::async, [] { return call_once("slow", "x").code; });
    inside.get_future().wait();
    auto remover = std::async(std::launch::async, [&] {
        endpoint.reset();
        return over.load();
    });
    EXPECT_EQ(remover.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    finish.set_value();
    EXPECT_TRUE(remover.get());
    EXPECT_EQ(caller.get(), 0u);
}

TEST(LocalEndpoint, ServesManyThreadsAtOnce)
{
    const LocalEndpoint endpoint("echo", echo);
    std::vector<std::thread> threads;
    for (unsigned index = 0; index < 8; ++index) {
        threads.emplace_back([index] {
            for (unsigned round = 0; round < 300; ++round) {
                const std::string request = pattern(round, index);
                const Outcome outcome = call_once("echo", request);
                ASSERT_EQ(outcome.code, 0u);
                ASSERT_EQ(outcome.answer, request);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(LocalEndpoint, HandlerMayUseTheChannelItself)
{
    const LocalEndpoint inner("inner", answering("from within"));
    const LocalEndpoint outer("outer", [](const Caller&, const char*, std::uint32_t, char* answer,
                                          std::uint32_t capacity, std::uint32_t& length) {
        const Outcome outcome = call_once("inner", "x");
        if (outcome.code != 0 || outcome.answer.size() > capacity) return false;
        std::memcpy(answer, outcome.answer.data(), outcome.answer.size());
        length = static_cast<std::uint32_t>(outcome.answer.size());
        return true;
    });
    EXPECT_EQ(call_once("outer", "x").answer, "from within");
}

TEST(LocalEndpoint, ForkedChildHasAnIdentityOfItsOwn)
{
    std::int32_t seen_pid = 0;
    std::uint64_t seen_start = 0;
    auto endpoint =
        std::make_unique<LocalEndpoint>("here", [&](const Caller& caller, const char*, std::uint32_t, char*,
                                                    std::uint32_t, std::uint32_t& length) {
            seen_pid = caller.pid;
            seen_start = caller.start_time;
            length = 0;
            return true;
        });
    ASSERT_EQ(call_once("here", "x").code, 0u);
    const std::uint64_t parents_start = seen_start;
    EXPECT_EQ(run_in_child([&] {
                  if (call_once("here", "x").code != 0) return 1;
                  if (seen_pid != getpid()) return 2;
                  if (seen_start < parents_start) return 3;
                  endpoint.reset();  // does not wait for exchanges of the parent
                  return 0;
              }),
              0);
}

}  // namespace
