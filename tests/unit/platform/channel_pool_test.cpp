// The pool of threads that accept.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <future>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::Caller;
using velorin_channel::Handler;
using velorin_channel::ServerOptions;

std::size_t threads_of_this_process()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

// Lets exchanges pass only together.
class Barrier {
public:
    explicit Barrier(unsigned wanted) : wanted_(wanted) {}

    //   result  whether that many came within the patience
    bool arrive()
    {
        std::unique_lock<std::mutex> guard(lock_);
        ++arrived_;
        change_.notify_all();
        return change_.wait_for(guard, std::chrono::milliseconds(kPatienceMs),
                                [this] { return arrived_ >= wanted_; });
    }

private:
    const unsigned wanted_;
    std::mutex lock_;
    std::condition_variable change_;
    unsigned arrived_ = 0;
};

std::vector<std::uint32_t> call_at_once(unsigned count)
{
    std::vector<std::future<std::uint32_t>> calls;
    for (unsigned index = 0; index < count; ++index) {
        calls.push_back(std::async(std::launch::async, [] { return call_once("echo", "x").code; }));
    }
    std::vector<std::uint32_t> codes;
    for (auto& call : calls)
        codes.push_back(call.get());
    return codes;
}

TEST(ChannelPool, GrowsWhileExchangesBlock)
{
    const ChannelDirectory directory;
    Barrier together(50);
    const EchoServer server(
        directory, {},
        [&together](const Caller&, const char*, std::uint32_t, char*, std::uint32_t, std::uint32_t& length) {
            length = 0;
            return together.arrive();
        });
    EXPECT_EQ(call_at_once(50), std::vector<std::uint32_t>(50, 0));
}

TEST(ChannelPool, StaysWithinItsLimitAndServesEverybody)
{
    const ChannelDirectory directory;
    ServerOptions options;
    options.max_threads = 6;
    Barrier together(4);  // so many at least run at once
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    const std::size_t before = threads_of_this_process();
    const EchoServer server(
        directory, options,
        [&](const Caller&, const char*, std::uint32_t, char*, std::uint32_t, std::uint32_t& length) {
            const int now = ++running;
            int seen = most;
            while (now > seen && !most.compare_exchange_weak(seen, now)) {
            }
            const bool met = together.arrive();
            --running;
            length = 0;
            return met;
        });
    EXPECT_EQ(call_at_once(40), std::vector<std::uint32_t>(40, 0));
    EXPECT_GE(most, 4);
    EXPECT_LE(most, 6);
    // The pool, and one thread for slow callers.
    EXPECT_LE(threads_of_this_process(), before + 6 + 1);
}

TEST(ChannelPool, SlowCallersAreServedWhenEveryAcceptingThreadSleeps)
{
    const ChannelDirectory directory;
    ServerOptions options;
    options.max_threads = 3;
    const EchoServer server(directory, options);
    const std::string frame = request_header(5, 4096) + "later";
    std::vector<Descriptor> callers;
    for (int index = 0; index < 20; ++index) {
        callers.push_back(connect_raw(directory / "echo"));
        ASSERT_TRUE(send_raw(callers.back(), frame.substr(0, 3)));
    }
    EXPECT_FALSE(is_readable(callers.back(), 60));
    for (const Descriptor& caller : callers)
        ASSERT_TRUE(send_raw(caller, frame.substr(3)));
    for (const Descriptor& caller : callers)
        EXPECT_EQ(receive_raw(caller, 13), answer_frame("later"));
}

TEST(ChannelPool, BlockedEndpointLeavesTheOthersAlone)
{
    const ChannelDirectory directory;
    ServerOptions options;
    options.directory = directory.path();
    std::promise<void> finish;
    std::shared_future<void> finished = finish.get_future().share();
    velorin_channel::ChannelServer server(options);
    std::string error;
    ASSERT_TRUE(server.add(
                    "blocked",
                    [finished](const Caller&, const char*, std::uint32_t, char*, std::uint32_t,
                               std::uint32_t& length) {
                        finished.wait();
                        length = 0;
                        return true;
                    },
                    error) &&
                server.add("echo", echo, error) && server.start(error))
        << error;
    std::vector<std::future<std::uint32_t>> blocked;
    for (int index = 0; index < 30; ++index) {
        blocked.push_back(std::async(std::launch::async, [] { return call_once("blocked", "x").code; }));
    }
    for (int round = 0; round < 50; ++round)
        ASSERT_EQ(call_once("echo", "x").answer, "x");
    finish.set_value();
    for (auto& call : blocked)
        EXPECT_EQ(call.get(), 0u);
}

// Twice the window over which the pool looks at its need, and the time a thread sleeps in accept: 15 seconds.
TEST(ChannelPool, ShrinksWhenTheNeedIsOver)
{
    const ChannelDirectory directory;
    Barrier together(30);
    std::atomic<bool> all_at_once{true};
    const EchoServer server(
        directory, {},
        [&](const Caller&, const char*, std::uint32_t, char*, std::uint32_t, std::uint32_t& length) {
            length = 0;
            return !all_at_once || together.arrive();
        });
    EXPECT_EQ(call_at_once(30), std::vector<std::uint32_t>(30, 0));
    all_at_once = false;
    const std::size_t grown = threads_of_this_process();
    EXPECT_GE(grown, 30u);
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    std::size_t now = grown;
    const Descriptor clock = listen_raw(directory / "clock");
    while (now > grown - 25 && std::chrono::steady_clock::now() < give_up) {
        ASSERT_EQ(call_once("echo", "x").code, 0u);  // it goes on serving meanwhile
        is_readable(clock, 100);                     // paces the loop: nobody ever connects
        now = threads_of_this_process();
    }
    EXPECT_LE(now, grown - 25);
    EXPECT_EQ(call_at_once(3), std::vector<std::uint32_t>(3, 0));
}

}  // namespace
