// A server whose descriptors run out. The limit is this program's own, met by accept4() alone: RLIMIT_NOFILE would also take the
// pipes that the sanitizers read memory through, and what they then say is no fault of the server.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <vector>

#include "platform_support.h"

namespace {

std::atomic<int> descriptor_limit{-1};  // the first number that is not given out; -1: no limit
std::atomic<int> starved{0};            // how often accept4() found none

// As the kernel does it: the lowest free number, and the connection stays in the queue when that is beyond the limit.
bool is_descriptor_left(int listener)
{
    if (descriptor_limit < 0) return true;
    const int lowest_free = fcntl(listener, F_DUPFD_CLOEXEC, 0);
    if (lowest_free >= 0) close(lowest_free);
    return lowest_free >= 0 && lowest_free < descriptor_limit;
}

}  // namespace

// Visible, so that the library calls this one.
extern "C" __attribute__((visibility("default"))) int accept4(int listener, sockaddr* address,
                                                              socklen_t* length, int flags)
{
    if (!is_descriptor_left(listener)) {
        ++starved;
        errno = EMFILE;
        return -1;
    }
    return static_cast<int>(syscall(SYS_accept4, listener, address, length, flags));
}

namespace {

using namespace platform_support;

TEST(ChannelStarved, ServerWithoutDescriptorsComesBack)
{
    const ChannelDirectory directory;
    const Signal up;
    const Signal end;
    Child server_process([&] {
        velorin_channel::ServerOptions options;
        options.frame_timeout_ms = 2 * kPatienceMs;
        EchoServer server(directory, options);
        descriptor_limit = 48;
        up.set();
        if (!end.wait()) return 2;
        return starved > 0 ? 0 : 3;
    });
    ASSERT_TRUE(up.wait());
    std::vector<Descriptor> silent;
    for (int index = 0; index < 100; ++index)
        silent.push_back(connect_raw(directory / "echo"));
    for (int round = 0; round < 5; ++round)
        ASSERT_EQ(call_once("echo", "honest").answer, "honest");
    end.set();
    EXPECT_EQ(server_process.wait(), 0);
}

}  // namespace
