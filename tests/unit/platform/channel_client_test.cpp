// The client end of the channel against peers that behave in every wrong way.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <set>
#include <string>
#include <thread>

#include "channel_codes.h"
#include "channel_path.h"
#include "emwGEN.h"
#include "platform_support.h"

namespace {

using namespace platform_support;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Plays the server for one exchange: takes the request, then sends `answer`, then closes.
class ScriptedPeer {
public:
    ScriptedPeer(const ChannelDirectory& directory, std::size_t request_length, std::string answer)
        : listener_(listen_raw(directory / "peer")),
          thread_([this, request_length, answer = std::move(answer)] {
              const Descriptor peer(accept(listener_.get(), nullptr, nullptr));
              request_ = receive_raw(peer, 12 + request_length);
              if (!answer.empty()) send_raw(peer, answer);
          })
    {
    }
    ~ScriptedPeer()
    {
        shutdown(listener_.get(), SHUT_RDWR);  // when nobody came
        thread_.join();
    }
    const std::string& request() { return request_; }

private:
    Descriptor listener_;
    std::string request_;
    std::thread thread_;
};

TEST(ChannelClient, RefusesNamesThatNoEndpointHas)
{
    const ChannelDirectory directory;
    std::uint32_t handle = 77;
    for (const char* endpoint :
         {"", "pcie", "pcie:", "echo", "pcie:a/b", "pcie:../x", "pcie:.hidden", "pcie:a b"}) {
        EXPECT_EQ(emwGENPacketClntInit(endpoint, &handle), velorin_channel::kBadArgument) << endpoint;
    }
    EXPECT_EQ(emwGENPacketClntInit(nullptr, &handle), velorin_channel::kBadArgument);
    EXPECT_EQ(emwGENPacketClntInit("pcie:echo", nullptr), velorin_channel::kBadArgument);
    EXPECT_EQ(handle, 77u);
}

TEST(ChannelClient, TellsWhyItCannotOpen)
{
    const ChannelDirectory directory;
    std::uint32_t handle = 77;
    EXPECT_EQ(emwGENPacketClntInit("pcie:nobody", &handle), velorin_channel::kNoSuchEndpoint);
    {
        const Descriptor gone = listen_raw(directory / "stale");
    }
    EXPECT_EQ(emwGENPacketClntInit("pcie:stale", &handle), velorin_channel::kRefused);
    setenv("VELORIN_CHANNEL_DIR", (directory / "missing").c_str(), 1);
    EXPECT_EQ(emwGENPacketClntInit("pcie:echo", &handle), velorin_channel::kNoSuchEndpoint);
    setenv("VELORIN_CHANNEL_DIR", (directory / std::string(120, 'x')).c_str(), 1);
    EXPECT_EQ(emwGENPacketClntInit("pcie:echo", &handle), velorin_channel::kBadArgument);
    EXPECT_EQ(handle, 77u);
}

TEST(ChannelClient, TellsThatItHasNoPermission)
{
    const ChannelDirectory directory;
    const Descriptor listener = listen_raw(directory / "locked");
    ASSERT_EQ(chmod(directory.path().c_str(), 0), 0);
    const int status = run_in_child([] {
        // Rights do not bind root: it becomes somebody else.
        if (geteuid() == 0 && setuid(65534) != 0) return 2;
        std::uint32_t handle = 0;
        return emwGENPacketClntInit("pcie:locked", &handle) == velorin_channel::kNoPermission ? 0 : 1;
    });
    chmod(directory.path().c_str(), 0700);
    EXPECT_EQ(status, 0);
}

TEST(ChannelClient, FindsTheDirectoryByTheEnvironment)
{
    setenv("VELORIN_CHANNEL_DIR", "/a", 1);
    setenv("XDG_RUNTIME_DIR", "/b", 1);
    EXPECT_EQ(velorin_channel::channel_directory(), "/a");
    setenv("VELORIN_CHANNEL_DIR", "", 1);
    EXPECT_EQ(velorin_channel::channel_directory(), "/b/velorin");
    unsetenv("VELORIN_CHANNEL_DIR");
    EXPECT_EQ(velorin_channel::channel_directory(), "/b/velorin");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(velorin_channel::channel_directory(), "/run/velorin");
    setenv("XDG_RUNTIME_DIR", "", 1);
    EXPECT_EQ(velorin_channel::channel_directory(), "/run/velorin");
}

TEST(ChannelClient, HandlesAreNotGivenOutAgain)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    std::set<std::uint32_t> seen;
    for (int round = 0; round < 500; ++round) {
        std::uint32_t handle = 0;
        ASSERT_EQ(emwGENPacketClntInit("pcie:echo", &handle), 0u);
        ASSERT_NE(handle, 0u);
        ASSERT_TRUE(seen.insert(handle).second);
        ASSERT_EQ(emwGENPacketClntTerm(handle), 0u);
        ASSERT_EQ(emwGENPacketClntTerm(handle), velorin_channel::kBadHandle);
    }
}

TEST(ChannelClient, RefusesHandlesThatAreNotOpen)
{
    char buffer[16];
    std::uint32_t length = 77;
    for (const std::uint32_t handle : {0u, 0xFFFFFFFFu}) {
        EXPECT_EQ(emwGENPacketClntCall(handle, "r", 1, buffer, sizeof buffer, &length, -1),
                  velorin_channel::kBadHandle);
        EXPECT_EQ(emwGENPacketClntTerm(handle), velorin_channel::kBadHandle);
    }
    EXPECT_EQ(length, 77u);
}

TEST(ChannelClient, RefusesNullArguments)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:echo", &handle), 0u);
    char buffer[16];
    std::uint32_t length = 0;
    EXPECT_EQ(emwGENPacketClntCall(handle, nullptr, 1, buffer, 16, &length, -1),
              velorin_channel::kBadArgument);
    EXPECT_EQ(emwGENPacketClntCall(handle, "r", 1, nullptr, 16, &length, -1), velorin_channel::kBadArgument);
    EXPECT_EQ(emwGENPacketClntCall(handle, "r", 1, buffer, 16, nullptr, -1), velorin_channel::kBadArgument);
    EXPECT_EQ(emwGENPacketClntCall(handle, nullptr, 0, buffer, 16, &length, -1), 0u);
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
}

TEST(ChannelClient, WritesTheRequestFrame)
{
    const ChannelDirectory directory;
    ScriptedPeer peer(directory, 3, answer_frame("yes"));
    const Outcome outcome = call_once("peer", "abc", 0x01020304);
    EXPECT_EQ(outcome.code, 0u);
    EXPECT_EQ(outcome.answer, "yes");
    EXPECT_EQ(peer.request(), std::string("NTQ\x01\0\0\0\x03\x01\x02\x03\x04"
                                          "abc",
                                          15));
}

TEST(ChannelClient, TakesAnAnswerThatComesOctetByOctet)
{
    const ChannelDirectory directory;
    const Descriptor listener = listen_raw(directory / "peer");
    std::thread peer([&listener] {
        const Descriptor accepted(accept(listener.get(), nullptr, nullptr));
        receive_raw(accepted, 13);
        for (const char octet : answer_frame("slowly"))
            send_raw(accepted, std::string(1, octet));
    });
    const Outcome outcome = call_once("peer", "r");
    peer.join();
    EXPECT_EQ(outcome.code, 0u);
    EXPECT_EQ(outcome.answer, "slowly");
}

TEST(ChannelClient, TellsWhatIsWrongWithAnAnswer)
{
    const std::string whole = answer_frame("answer");
    const struct {
        const char* label;
        std::string answer;
        std::uint32_t code;
    } cases[] = {
        {"nothing", "", velorin_channel::kPeerGone},
        {"half a header", whole.substr(0, 5), velorin_channel::kPeerGone},
        {"a header only", whole.substr(0, 8), velorin_channel::kPeerGone},
        {"half an answer", whole.substr(0, 11), velorin_channel::kPeerGone},
        {"another magic", "HTTP/1.0 200 OK", velorin_channel::kBadFrame},
        {"another version", std::string("NTA\x02", 4) + big_endian(0), velorin_channel::kBadFrame},
        {"a request", request_header(0, 0), velorin_channel::kBadFrame},
        {"more than an answer", whole + "x", velorin_channel::kBadFrame},
        {"an answer too long", answer_frame(std::string(17, 'x')), velorin_channel::kAnswerTooLong},
        {"an answer of all lengths", std::string("NTA\x01\xFF\xFF\xFF\xFF", 8),
         velorin_channel::kAnswerTooLong},
    };
    for (const auto& each : cases) {
        const ChannelDirectory directory;
        const ScriptedPeer peer(directory, 1, each.answer);
        EXPECT_EQ(call_once("peer", "r", 16).code, each.code) << each.label;
    }
}

TEST(ChannelClient, AnswerOfExactlyTheBufferFits)
{
    const ChannelDirectory directory;
    const ScriptedPeer peer(directory, 1, answer_frame(std::string(16, 'x')));
    const Outcome outcome = call_once("peer", "r", 16);
    EXPECT_EQ(outcome.code, 0u);
    EXPECT_EQ(outcome.answer, std::string(16, 'x'));
}

TEST(ChannelClient, GivesUpWhenTheTimeIsOver)
{
    const ChannelDirectory directory;
    const Descriptor listener = listen_raw(directory / "peer");  // connects, never answers
    for (const std::int32_t timeout : {0, 1, 60}) {
        const auto begin = steady_clock::now();
        EXPECT_EQ(call_once("peer", "r", 16, timeout).code, velorin_channel::kTimeout) << timeout;
        EXPECT_GE(steady_clock::now() - begin, milliseconds(timeout));
    }
    // Nor does it wait longer for a peer that does not read.
    const auto begin = steady_clock::now();
    EXPECT_EQ(call_once("peer", std::string(8u << 20, 'x'), 16, 60).code, velorin_channel::kTimeout);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(60));
}

TEST(ChannelClient, TrickleDoesNotMoveTheEnd)
{
    const ChannelDirectory directory;
    const Descriptor listener = listen_raw(directory / "peer");
    std::thread peer([&listener] {
        const Descriptor accepted(accept(listener.get(), nullptr, nullptr));
        // An octet whenever 20 ms pass without the caller leaving.
        send_raw(accepted, std::string("NTA\x01", 4) + big_endian(1000));
        receive_raw(accepted, 13);
        for (int octet = 0; octet < 900 && !is_readable(accepted, 20); ++octet)
            send_raw(accepted, "x");
    });
    EXPECT_EQ(call_once("peer", "r", 4096, 200).code, velorin_channel::kTimeout);
    peer.join();
}

TEST(ChannelClient, PeerThatClosesWhileARequestIsSentIsNoSignal)
{
    const ChannelDirectory directory;
    const Descriptor listener = listen_raw(directory / "peer");
    std::thread peer([&listener] {
        Descriptor accepted(accept(listener.get(), nullptr, nullptr));
        receive_raw(accepted, 100);
        accepted.reset();
    });
    EXPECT_EQ(call_once("peer", std::string(16u << 20, 'x'), 16, -1).code, velorin_channel::kPeerGone);
    peer.join();
}

TEST(ChannelClient, ListenerThatGoesFailsThoseWhoWaitInItsQueue)
{
    const ChannelDirectory directory;
    Descriptor listener = listen_raw(directory / "peer");
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:peer", &handle), 0u);
    auto waiting = std::async(std::launch::async, [handle] {
        char buffer[16];
        std::uint32_t length = 0;
        return emwGENPacketClntCall(handle, "r", 1, buffer, sizeof buffer, &length, -1);
    });
    EXPECT_EQ(waiting.wait_for(milliseconds(20)), std::future_status::timeout);
    listener.reset();
    ASSERT_EQ(waiting.wait_for(milliseconds(kPatienceMs)), std::future_status::ready);
    EXPECT_EQ(waiting.get(), velorin_channel::kPeerGone);
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
}

TEST(ChannelClient, TermInAnotherThreadEndsACall)
{
    const ChannelDirectory directory;
    const Descriptor listener = listen_raw(directory / "peer");
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:peer", &handle), 0u);
    auto waiting = std::async(std::launch::async, [handle] {
        char buffer[16];
        std::uint32_t length = 0;
        return emwGENPacketClntCall(handle, "r", 1, buffer, sizeof buffer, &length, -1);
    });
    const Descriptor accepted(accept(listener.get(), nullptr, nullptr));
    EXPECT_EQ(receive_raw(accepted, 13).size(), 13u);  // the call is under way
    char buffer[16];
    std::uint32_t length = 0;
    EXPECT_EQ(emwGENPacketClntCall(handle, "r", 1, buffer, sizeof buffer, &length, 0),
              velorin_channel::kBusy);
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
    ASSERT_EQ(waiting.wait_for(milliseconds(kPatienceMs)), std::future_status::ready);
    EXPECT_NE(waiting.get(), 0u);
}

TEST(ChannelClient, ChannelCarriesFurtherCalls)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:echo", &handle), 0u);
    for (const char* request : {"one", "two", "three"}) {
        char buffer[16];
        std::uint32_t length = 0;
        ASSERT_EQ(emwGENPacketClntCall(handle, request, static_cast<std::uint32_t>(std::strlen(request)),
                                       buffer, sizeof buffer, &length, -1),
                  0u);
        EXPECT_EQ(std::string(buffer, length), request);
    }
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
}

TEST(ChannelClient, SignalsDoNotDisturbAnExchange)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};  // without SA_RESTART: calls are interrupted
    sigaction(SIGALRM, &action, &before);
    const itimerval often{{0, 200}, {0, 200}};
    setitimer(ITIMER_REAL, &often, nullptr);
    for (unsigned round = 0; round < 30; ++round) {
        const std::string request = pattern(1u << 20, round);
        const Outcome outcome = call_once("echo", request, 1u << 20, round % 2 == 0 ? -1 : kPatienceMs);
        EXPECT_EQ(outcome.code, 0u);
        EXPECT_EQ(outcome.answer == request, true);
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
}

std::set<int> descriptors()
{
    std::set<int> open;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        open.insert(std::stoi(entry.path().filename().string()));
    }
    return open;
}

TEST(ChannelClient, DescriptorsAreNotInheritedAcrossExecNorLeft)
{
    const ChannelDirectory directory;
    const std::set<int> before = descriptors();
    {
        const EchoServer server(directory);
        std::uint32_t handle = 0;
        ASSERT_EQ(emwGENPacketClntInit("pcie:echo", &handle), 0u);
        int ours = 0;
        for (const int descriptor : descriptors()) {
            if (before.count(descriptor) != 0) continue;
            const int flags = fcntl(descriptor, F_GETFD);
            if (flags < 0) continue;  // that of the listing itself
            ++ours;
            EXPECT_NE(flags & FD_CLOEXEC, 0) << descriptor;
        }
        EXPECT_GE(ours, 2);  // the listener and the channel at least
        EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
        EXPECT_EQ(call_once("echo", "x").code, 0u);
    }
    EXPECT_EQ(descriptors().size(), before.size());
}

TEST(ChannelClient, ForkedChildHasNoChannelsOfItsParent)
{
    const ChannelDirectory directory;
    const Descriptor listener = listen_raw(directory / "peer");
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:peer", &handle), 0u);
    const Descriptor accepted(accept(listener.get(), nullptr, nullptr));
    EXPECT_EQ(run_in_child([handle] {
                  char buffer[16];
                  std::uint32_t length = 0;
                  return emwGENPacketClntCall(handle, "r", 1, buffer, sizeof buffer, &length, -1) ==
                                 velorin_channel::kBadHandle
                             ? 0
                             : 1;
              }),
              0);
    // The parent's channel is as it was: it carries its exchange.
    ASSERT_TRUE(send_raw(accepted, answer_frame("still here")));
    char buffer[16];
    std::uint32_t length = 0;
    ASSERT_EQ(emwGENPacketClntCall(handle, "r", 1, buffer, sizeof buffer, &length, kPatienceMs), 0u);
    EXPECT_EQ(std::string(buffer, length), "still here");
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
}

TEST(ChannelCodes, EachHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (std::uint32_t code = velorin_channel::kNoSuchEndpoint; code <= velorin_channel::kSystemError;
         ++code) {
        EXPECT_TRUE(texts.insert(velorin_channel::channel_code_text(code)).second) << code;
    }
    EXPECT_STREQ(velorin_channel::channel_code_text(1), "unknown code");
    EXPECT_EQ(texts.count("unknown code"), 0u);
}

}  // namespace
