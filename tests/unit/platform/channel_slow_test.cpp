// Callers that are slow, broken or hostile, and what the others notice of them: nothing.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "channel_codes.h"
#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::ServerOptions;

ServerOptions with_timeout(int milliseconds)
{
    ServerOptions options;
    options.frame_timeout_ms = milliseconds;
    return options;
}

void expect_service(int exchanges = 20)
{
    for (int round = 0; round < exchanges; ++round)
        ASSERT_EQ(call_once("echo", "honest").answer, "honest");
}

// Whether the server closes, without reading what it sent.
bool is_hung_up(const Descriptor& peer)
{
    pollfd waited{peer.get(), 0, 0};
    return poll(&waited, 1, kPatienceMs) == 1 && (waited.revents & POLLHUP) != 0;
}

// Memory of this process in octets.
std::size_t resident()
{
    std::ifstream statm("/proc/self/statm");
    std::size_t total = 0;
    std::size_t pages = 0;
    statm >> total >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST(ChannelSlow, SilentCallersDisturbNobodyAndAreLetGo)
{
    const ChannelDirectory directory;
    const EchoServer server(directory, with_timeout(1500));
    std::vector<Descriptor> silent;
    for (int index = 0; index < 100; ++index)
        silent.push_back(connect_raw(directory / "echo"));
    expect_service();
    for (const Descriptor& caller : silent)
        EXPECT_TRUE(is_let_go(caller));
    expect_service();
}

TEST(ChannelSlow, HalfAFrameIsWaitedForAndAnswered)
{
    const std::string request = pattern(50000);
    const std::string frame = request_header(50000, 65536) + request;
    const ChannelDirectory directory;
    const EchoServer server(directory);
    // Cut in the header, at its end, in the request before and behind the thread's buffer, before the last
    // octet.
    for (const std::size_t cut :
         {std::size_t{1}, std::size_t{11}, std::size_t{12}, std::size_t{13}, std::size_t{16383},
          std::size_t{16384}, std::size_t{16385}, std::size_t{40000}, frame.size() - 1}) {
        const Descriptor caller = connect_raw(directory / "echo");
        ASSERT_TRUE(send_raw(caller, frame.substr(0, cut)));
        EXPECT_FALSE(is_readable(caller, 60)) << cut;  // set aside meanwhile
        expect_service(1);
        ASSERT_TRUE(send_raw(caller, frame.substr(cut)));
        EXPECT_TRUE(receive_raw(caller, 8 + 50000) == answer_frame(request)) << cut;
        EXPECT_TRUE(is_let_go(caller));
    }
}

TEST(ChannelSlow, TrickleIsServedWhileOthersAre)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    const std::string frame = request_header(20, 4096) + "twenty octets, slowly";
    std::vector<Descriptor> callers;
    for (int index = 0; index < 20; ++index)
        callers.push_back(connect_raw(directory / "echo"));
    for (std::size_t octet = 0; octet < 32; ++octet) {
        for (const Descriptor& caller : callers)
            ASSERT_TRUE(send_raw(caller, frame.substr(octet, 1)));
        expect_service(1);
    }
    for (const Descriptor& caller : callers) {
        EXPECT_EQ(receive_raw(caller, 28), answer_frame("twenty octets, slowl"));
    }
}

TEST(ChannelSlow, TrickleDoesNotMoveTheDeadline)
{
    const ChannelDirectory directory;
    const EchoServer server(directory, with_timeout(300));
    const Descriptor caller = connect_raw(directory / "echo");
    const auto begin = std::chrono::steady_clock::now();
    const std::string frame = request_header(1000000, 16);
    std::size_t sent = 0;
    // An octet whenever 10 ms pass without the server letting go.
    while (!is_readable(caller, 10) && sent < 3000) {
        send_raw(caller, sent < frame.size() ? frame.substr(sent, 1) : "x");
        ++sent;
    }
    EXPECT_TRUE(is_let_go(caller));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
    EXPECT_LT(sent, 3000u);
}

TEST(ChannelSlow, BadFramesAreLetGoAtOnce)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    const struct {
        const char* label;
        std::string octets;
    } cases[] = {
        {"another protocol", "GET / HTTP/1.0\r\n\r\n"},
        {"another version", std::string("NTQ\x02", 4) + big_endian(0) + big_endian(0)},
        {"an answer", answer_frame("") + big_endian(0)},
        {"the longest length", request_header(0xFFFFFFFFu, 16)},
        {"one above the limit", request_header((64u << 20) + 1, 16)},
        {"more than its request", request_header(3, 16) + "abcd"},
        {"two requests", request_header(1, 16) + "a" + request_header(1, 16) + "b"},
    };
    for (const auto& each : cases) {
        const Descriptor caller = connect_raw(directory / "echo");
        ASSERT_TRUE(send_raw(caller, each.octets));
        EXPECT_TRUE(is_let_go(caller)) << each.label;
        expect_service(1);
    }
}

TEST(ChannelSlow, CallersThatLeaveDisturbNobody)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    const std::string frame = request_header(5, 4096) + "gone!";
    for (std::size_t cut = 0; cut <= frame.size(); ++cut) {
        Descriptor caller = connect_raw(directory / "echo");
        ASSERT_TRUE(send_raw(caller, frame.substr(0, cut)));
        caller.reset();
        expect_service(1);
    }
}

TEST(ChannelSlow, AnnouncedLengthTakesNoMemory)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    expect_service();
    const std::size_t before = resident();
    std::vector<Descriptor> callers;
    for (int index = 0; index < 200; ++index) {
        callers.push_back(connect_raw(directory / "echo"));
        ASSERT_TRUE(send_raw(callers.back(), request_header(64u << 20, 1u << 20) + "and no more"));
    }
    EXPECT_FALSE(is_readable(callers.back(), 60));
    expect_service();
    EXPECT_LT(resident(), before + (32u << 20));  // of the 12.5 GiB that were announced
}

TEST(ChannelSlow, AnswersThatNobodyReadsDisturbNobody)
{
    const ChannelDirectory directory;
    const EchoServer server(directory, with_timeout(1500));
    const std::string request = pattern(1u << 20);
    const std::string frame = request_header(1u << 20, 1u << 20) + request;
    std::vector<Descriptor> callers;
    for (int index = 0; index < 20; ++index) {
        callers.push_back(connect_raw(directory / "echo"));
        ASSERT_TRUE(send_raw(callers.back(), frame));
        expect_service(1);
    }
    // What the socket holds is there; the rest is not kept for ever.
    for (const Descriptor& caller : callers) {
        EXPECT_TRUE(is_hung_up(caller));
        EXPECT_LT(receive_raw(caller, 8 + request.size()).size(), request.size());
    }
    expect_service();
}

TEST(ChannelSlow, AnswerThatIsReadLateArrivesWhole)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    const std::string request = pattern(1u << 20);
    const Descriptor caller = connect_raw(directory / "echo");
    ASSERT_TRUE(send_raw(caller, request_header(1u << 20, 1u << 20) + request));
    ASSERT_TRUE(is_readable(caller, kPatienceMs));
    expect_service();
    EXPECT_TRUE(receive_raw(caller, 8 + request.size()) == answer_frame(request));
    EXPECT_TRUE(is_let_go(caller));
}

// A user starts with 1024 descriptors, which one process that is both ends soon has in use.
bool allow_descriptors(rlim_t wanted)
{
    rlimit descriptors{};
    if (getrlimit(RLIMIT_NOFILE, &descriptors) != 0) return false;
    if (descriptors.rlim_cur >= wanted) return true;
    descriptors.rlim_cur = wanted;
    return setrlimit(RLIMIT_NOFILE, &descriptors) == 0;
}

TEST(ChannelSlow, TooManySlowCallersGiveWayToTheNext)
{
    ASSERT_TRUE(allow_descriptors(4096));
    const ChannelDirectory directory;
    const EchoServer server(directory, with_timeout(2 * kPatienceMs));
    std::vector<Descriptor> silent;
    for (int index = 0; index < 1500; ++index) {
        silent.push_back(connect_raw(directory / "echo"));
        ASSERT_GE(silent.back().get(), 0) << index;
    }
    expect_service();
    // The server keeps 1024 at most; who is let go can be read.
    const Descriptor clock = listen_raw(directory / "clock");  // paces the loop: nobody ever connects
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    int let_go = 0;
    for (;;) {
        let_go = 0;
        for (const Descriptor& caller : silent)
            let_go += is_readable(caller, 0) ? 1 : 0;
        if (let_go >= 476 || std::chrono::steady_clock::now() >= give_up) break;
        is_readable(clock, 50);
    }
    EXPECT_GE(let_go, 476);
    expect_service();
}

}  // namespace
