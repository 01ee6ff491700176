// What callers who send nothing leave of the server's descriptors to the calls that are served.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::Caller;
using velorin_channel::ServerOptions;

constexpr rlim_t kPlainUser = 1024;        // descriptors of the server
constexpr rlim_t kFlooder = 4096;          // and of those who call it
constexpr std::size_t kWork = 400;         // descriptors that a call opens, as sessions with mail servers do
constexpr std::size_t kHeldByEach = 1000;  // connections
constexpr int kFlooders = 3;
constexpr int kCalls = 60;

bool set_limit(rlim_t descriptors)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_max < descriptors) return false;
    limit.rlim_cur = descriptors;
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

// Answers how many of the descriptors that it wants are there.
bool open_many(const Caller&, const char*, std::uint32_t, char* answer, std::uint32_t capacity,
               std::uint32_t& answer_length)
{
    std::vector<Descriptor> opened;
    for (std::size_t count = 0; count < kWork; ++count) {
        opened.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
        if (opened.back().get() < 0) break;
    }
    const auto there = static_cast<std::size_t>(
        std::count_if(opened.begin(), opened.end(), [](const Descriptor& one) { return one.get() >= 0; }));
    const std::string text = std::to_string(there);
    answer_length = static_cast<std::uint32_t>(text.copy(answer, capacity));
    return true;
}

// Connects without end, sends nothing, and goes last when it has most.
int flood(const std::string& endpoint)
{
    if (!set_limit(kFlooder)) return 2;
    std::vector<Descriptor> held(kHeldByEach);
    for (std::size_t at = 0;; at = (at + 1) % kHeldByEach)
        held[at] = connect_raw(endpoint);
}

TEST(ChannelBudget, LeavesDescriptorsToThoseWhoAreServed)
{
    const ChannelDirectory directory;
    const Signal up;
    Child server_process([&] {
        if (!set_limit(kPlainUser)) return 2;
        ServerOptions options;
        options.frame_timeout_ms = 2 * kPatienceMs;
        EchoServer server(directory, options, open_many);
        up.set();
        for (;;)
            pause();
    });
    ASSERT_TRUE(up.wait());
    std::vector<std::unique_ptr<Child>> flooders;
    for (int count = 0; count < kFlooders; ++count)
        flooders.push_back(std::make_unique<Child>([&] { return flood(directory / "echo"); }));
    for (int call = 0; call < kCalls; ++call)
        ASSERT_EQ(call_once("echo", "work").answer, std::to_string(kWork)) << call;
}

}  // namespace
