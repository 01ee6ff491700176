// Client and server end together, in one process and in two.
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <future>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "channel_codes.h"
#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::Caller;
using velorin_channel::ChannelServer;
using velorin_channel::ServerOptions;

TEST(ChannelExchange, CarriesOctetsOfEverySize)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    // About the boundaries of the server's buffers, the socket's buffer and the largest answer.
    for (const std::size_t length : {0u, 1u, 63u, 8191u, 8192u, 8193u, 16371u, 16372u, 16373u, 65523u, 65524u,
                                     65525u, 212992u, 1048575u, 1048576u}) {
        const std::string request = pattern(length);
        const Outcome outcome = call_once("echo", request, static_cast<std::uint32_t>(length));
        EXPECT_EQ(outcome.code, 0u) << length;
        EXPECT_TRUE(outcome.answer == request) << length;
    }
}

TEST(ChannelExchange, HandlerSeesTheCallersCapacity)
{
    const ChannelDirectory directory;
    std::atomic<std::uint32_t> seen{0};
    const EchoServer server(directory, {},
                            [&seen](const Caller&, const char*, std::uint32_t, char*, std::uint32_t capacity,
                                    std::uint32_t& length) {
                                seen = capacity;
                                length = 0;
                                return true;
                            });
    for (const std::uint32_t capacity : {0u, 16u, 4096u, 8192u, velorin_channel::kMaxAnswer}) {
        const Outcome outcome = call_once("echo", "x", capacity);
        EXPECT_EQ(outcome.code, 0u);
        EXPECT_EQ(outcome.answer, "");
        EXPECT_EQ(seen, capacity);
    }
    EXPECT_EQ(call_once("echo", "x", velorin_channel::kMaxAnswer + 1).code, 0u);
    EXPECT_EQ(seen, velorin_channel::kMaxAnswer);
}

TEST(ChannelExchange, LimitOfARequestIsExact)
{
    const ChannelDirectory directory;
    ServerOptions options;
    options.max_request = 100000;
    const EchoServer server(directory, options);
    EXPECT_EQ(call_once("echo", std::string(100000, 'x'), 16).code, 0u);
    EXPECT_EQ(call_once("echo", std::string(100001, 'x'), 16).code, velorin_channel::kPeerGone);
    EXPECT_EQ(call_once("echo", std::string(10000000, 'x'), 16).code, velorin_channel::kPeerGone);
    EXPECT_EQ(call_once("echo", "x").code, 0u);
}

TEST(ChannelExchange, LargestRequestGoesThrough)
{
    const ChannelDirectory directory;
    std::atomic<bool> right{false};
    const std::string request = pattern(64u << 20);
    const EchoServer server(directory, {},
                            [&](const Caller&, const char* octets, std::uint32_t request_length, char*,
                                std::uint32_t, std::uint32_t& length) {
                                right = request_length == request.size() &&
                                        std::memcmp(octets, request.data(), request.size()) == 0;
                                length = 0;
                                return true;
                            });
    EXPECT_EQ(call_once("echo", request).code, 0u);
    EXPECT_TRUE(right);
}

TEST(ChannelExchange, HandlerThatFailsFailsThisCallOnly)
{
    const ChannelDirectory directory;
    const EchoServer server(directory, {},
                            [](const Caller& caller, const char* request, std::uint32_t request_length,
                               char* answer, std::uint32_t capacity, std::uint32_t& length) {
                                const std::string text(request, request_length);
                                if (text == "refuse") return false;
                                if (text == "throw") throw std::runtime_error("no");
                                if (text == "throw a number") throw 4711;
                                if (text == "boast") {
                                    length = capacity + 1;
                                    return true;
                                }
                                return echo(caller, request, request_length, answer, capacity, length);
                            });
    for (const char* request : {"refuse", "throw", "throw a number", "boast"}) {
        EXPECT_EQ(call_once("echo", request).code, velorin_channel::kPeerGone) << request;
        EXPECT_EQ(call_once("echo", "fine").answer, "fine");
    }
}

TEST(ChannelExchange, ManyThreadsGetTheirOwnAnswers)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    std::vector<std::thread> threads;
    for (unsigned index = 0; index < 16; ++index) {
        threads.emplace_back([index] {
            for (unsigned round = 0; round < 60; ++round) {
                const std::string request = pattern((round * 977) % 40000, index * 1000 + round);
                const Outcome outcome = call_once("echo", request, 65536);
                ASSERT_EQ(outcome.code, 0u);
                ASSERT_TRUE(outcome.answer == request);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(ChannelExchange, EndpointsOfOneServerAreApart)
{
    const ChannelDirectory directory;
    ServerOptions options;
    options.directory = directory.path();
    ChannelServer server(options);
    std::string error;
    for (const std::string name : {"one", "two", "three"}) {
        ASSERT_TRUE(server.add(
            name,
            [name](const Caller&, const char*, std::uint32_t, char* answer, std::uint32_t,
                   std::uint32_t& length) {
                std::memcpy(answer, name.data(), name.size());
                length = static_cast<std::uint32_t>(name.size());
                return true;
            },
            error))
            << error;
    }
    ASSERT_TRUE(server.start(error)) << error;
    for (const std::string name : {"one", "two", "three", "one"})
        EXPECT_EQ(call_once(name, "x").answer, name);
    server.stop();
    EXPECT_EQ(call_once("one", "x").code, velorin_channel::kNoSuchEndpoint);
}

TEST(ChannelExchange, TellsOneCallingProcessFromAnother)
{
    const ChannelDirectory directory;
    const Signal go;
    const auto ask = [](const std::string& expected) {
        return call_once("who", "x").answer == expected ? 0 : 1;
    };
    // Forked before the server has threads.
    Child caller([&] {
        if (!go.wait()) return 9;
        return ask(std::to_string(getpid()) + " " + std::to_string(geteuid()) + " " +
                   std::to_string(getegid()) + " 0 1");
    });
    const EchoServer server(
        directory, {},
        [](const Caller& who, const char*, std::uint32_t, char* answer, std::uint32_t capacity,
           std::uint32_t& length) {
            const std::string text = std::to_string(who.pid) + " " + std::to_string(who.uid) + " " +
                                     std::to_string(who.gid) + " " + (who.in_process ? "1" : "0") + " " +
                                     (who.start_time != 0 ? "1" : "0");
            if (text.size() > capacity) return false;
            std::memcpy(answer, text.data(), text.size());
            length = static_cast<std::uint32_t>(text.size());
            return true;
        },
        "who");
    go.set();
    EXPECT_EQ(caller.wait(), 0);
    EXPECT_EQ(ask(std::to_string(getpid()) + " " + std::to_string(geteuid()) + " " +
                  std::to_string(getegid()) + " 0 1"),
              0);
}

TEST(ChannelExchange, StartTimeIsTheKernelsForEveryCall)
{
    const ChannelDirectory directory;
    const EchoServer server(directory, {},
                            [](const Caller& who, const char*, std::uint32_t, char* answer,
                               std::uint32_t capacity, std::uint32_t& length) {
                                const std::string text = std::to_string(who.start_time);
                                if (text.size() > capacity) return false;
                                std::memcpy(answer, text.data(), text.size());
                                length = static_cast<std::uint32_t>(text.size());
                                return true;
                            });
    std::ifstream file("/proc/self/stat");
    const std::string stat((std::istreambuf_iterator<char>(file)), {});
    // 20 blanks lie between the end of field 2 and field 22.
    std::size_t at = stat.rfind(')');
    ASSERT_NE(at, std::string::npos);
    for (int blank = 0; blank < 20; ++blank)
        at = stat.find(' ', at + 1);
    const std::string expected = stat.substr(at + 1, stat.find(' ', at + 1) - at - 1);
    for (int round = 0; round < 3; ++round) {  // read first, remembered then
        EXPECT_EQ(call_once("echo", "x").answer, expected);
    }
}

TEST(ChannelExchange, ServerThatIsKilledFailsTheCallAtOnce)
{
    const ChannelDirectory directory;
    const Signal up;
    const Signal inside;
    Child server_process([&] {
        const EchoServer server(
            directory, {},
            [&](const Caller&, const char*, std::uint32_t, char*, std::uint32_t, std::uint32_t&) {
                inside.set();
                for (;;)
                    pause();
                return false;
            });
        up.set();
        for (;;)
            pause();
        return 0;
    });
    ASSERT_TRUE(up.wait());
    auto call = std::async(std::launch::async, [] { return call_once("echo", "x", 16, -1).code; });
    ASSERT_TRUE(inside.wait());
    server_process.kill_now();
    ASSERT_EQ(call.wait_for(std::chrono::milliseconds(kPatienceMs)), std::future_status::ready);
    EXPECT_EQ(call.get(), velorin_channel::kPeerGone);
    EXPECT_EQ(call_once("echo", "x").code, velorin_channel::kRefused);
    // A new server takes the place of the dead one.
    const EchoServer next(directory);
    EXPECT_EQ(call_once("echo", "x").answer, "x");
}

TEST(ChannelExchange, ServerInAnotherProcessServesManyExchanges)
{
    const ChannelDirectory directory;
    const Signal up;
    const Signal end;
    Child server_process([&] {
        EchoServer server(directory);
        up.set();
        if (!end.wait()) return 1;
        server.server().stop();
        return 0;
    });
    ASSERT_TRUE(up.wait());
    for (unsigned round = 0; round < 200; ++round) {
        const std::string request = pattern(round * 50, round);
        const Outcome outcome = call_once("echo", request, 65536);
        ASSERT_EQ(outcome.code, 0u);
        ASSERT_TRUE(outcome.answer == request);
    }
    end.set();
    EXPECT_EQ(server_process.wait(), 0);
    EXPECT_EQ(call_once("echo", "x").code, velorin_channel::kNoSuchEndpoint);
}

}  // namespace
