// Trace lines for somebody who does not read them.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "platform_support.h"
#include "trace_patience.h"

namespace {

using platform_support::Child;
using platform_support::TempDirectory;
using Clock = std::chrono::steady_clock;

constexpr auto kNoTime = std::chrono::seconds(15);  // for what waits for nobody, on a machine that is busy
constexpr char kPrefix[] = " 2107:102:0 ";

// A pipe, FIFO or socket pair whose reading end is here.
struct Channel {
    int reader = -1;
    int writer = -1;
};

Channel make_pipe()
{
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("pipe");
    return {ends[0], ends[1]};
}

Channel make_socket()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("socketpair");
    return {ends[0], ends[1]};
}

void trace(int number, std::size_t filling)
{
    emwGENTrcPrintf(0x2107, 0x102, 0, "line %d %s end\n", number, std::string(filling, 'x').c_str());
}

std::string read_all(int descriptor)
{
    std::string out;
    char buffer[65536];
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    for (;;) {
        const ssize_t taken = read(descriptor, buffer, sizeof buffer);
        if (taken <= 0) return out;
        out.append(buffer, static_cast<std::size_t>(taken));
    }
}

// Whether what was read is lines that are whole, counted up from `next`; a report says how many are missing.
//   out     lost: lines that reports spoke of
bool are_whole(const std::string& output, std::size_t filling, int& next, int& lost)
{
    std::size_t at = 0;
    while (at < output.size()) {
        const std::size_t end = output.find('\n', at);
        if (end == std::string::npos) return false;
        const std::string line = output.substr(at, end - at);
        at = end + 1;
        int count = 0;
        const std::size_t report = line.find(" 2106:102:0 trace: ");
        if (report != std::string::npos) {
            if (std::sscanf(line.c_str() + report, " 2106:102:0 trace: %d lines lost", &count) != 1)
                return false;
            next += count;
            lost += count;
            continue;
        }
        const std::size_t prefix = line.find(kPrefix);
        if (prefix == std::string::npos) return false;
        const std::string expected =
            "line " + std::to_string(next++) + " " + std::string(filling, 'x') + " end";
        if (line.substr(prefix + sizeof kPrefix - 1) != expected) return false;
    }
    return true;
}

// Fills standard error, has it read, traces on.
//   result  0; else the number of what went wrong
int fill_and_read(const Channel& channel, std::size_t filling, int lines)
{
    unsetenv("VELORIN_TRACE");
    velorin_channel::set_trace_patience(0);
    dup2(channel.writer, STDERR_FILENO);
    const int flags = fcntl(channel.writer, F_GETFL);
    const auto begin = Clock::now();
    int number = 0;
    while (number < lines)
        trace(number++, filling);
    if (Clock::now() - begin > kNoTime) return 1;
    if (fcntl(channel.writer, F_GETFL) != flags) return 2;  // everybody's who shares it
    std::string output = read_all(channel.reader);
    const std::size_t first = output.size();
    if (first == 0) return 3;
    // Room again: what was begun is finished, then the report, then what follows.
    trace(number++, filling);
    output += read_all(channel.reader);
    trace(number++, filling);
    output += read_all(channel.reader);
    int next = 0;
    int lost = 0;
    if (!are_whole(output, filling, next, lost)) return 4;
    if (lost == 0 || next != number) return 5;
    return 0;
}

TEST(TraceFull, PipeThatNobodyReadsHoldsNobodyUp)
{
    EXPECT_EQ(0, Child([] { return fill_and_read(make_pipe(), 100, 3000); }).wait());
}

TEST(TraceFull, LineThatAPipeTookInPartIsFinishedFirst)
{
    EXPECT_EQ(0, Child([] { return fill_and_read(make_pipe(), 5000, 40); }).wait());
}

TEST(TraceFull, SocketThatNobodyReadsHoldsNobodyUp)
{
    EXPECT_EQ(0, Child([] { return fill_and_read(make_socket(), 100, 10000); }).wait());
    EXPECT_EQ(0, Child([] { return fill_and_read(make_socket(), 5000, 200); }).wait());
}

// Where the pipe cannot be opened a second time, as when descriptors have run out.
TEST(TraceFull, HoldsNobodyUpWithoutADescriptorToSpare)
{
    for (const std::size_t filling : {std::size_t{100}, std::size_t{5000}}) {
        EXPECT_EQ(0, Child([filling] {
                         const Channel channel = make_pipe();
                         while (open("/dev/null", O_RDONLY) >= 0) {
                         }
                         return fill_and_read(channel, filling, 3000);
                     }).wait());
    }
}

// An application waits for its reader, but not again for every line.
TEST(TraceFull, PatienceIsLostOnce)
{
    EXPECT_EQ(0, Child([] {
                     unsetenv("VELORIN_TRACE");
                     velorin_channel::set_trace_patience(50);
                     const Channel channel = make_pipe();
                     dup2(channel.writer, STDERR_FILENO);
                     const auto begin = Clock::now();
                     for (int number = 0; number < 5000; ++number)
                         trace(number, 100);
                     return Clock::now() - begin > kNoTime ? 1 : 0;
                 }).wait());
}

// The pipe's end shows as soon as this process has let go of it.
TEST(TraceFull, KeepsNoPipeOpen)
{
    EXPECT_EQ(0, Child([] {
                     unsetenv("VELORIN_TRACE");
                     const Channel channel = make_pipe();
                     dup2(channel.writer, STDERR_FILENO);
                     close(channel.writer);
                     trace(0, 10);
                     dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
                     trace(1, 10);
                     char buffer[4096];
                     if (read(channel.reader, buffer, sizeof buffer) <= 0) return 1;
                     fcntl(channel.reader, F_SETFL, O_NONBLOCK);
                     return read(channel.reader, buffer, sizeof buffer) == 0 ? 0 : 2;
                 }).wait());
}

// A child process that is forked while lines wait does not say them a second time.
TEST(TraceFull, ForkedChildSaysNothingOfItsParents)
{
    EXPECT_EQ(0, Child([] {
                     unsetenv("VELORIN_TRACE");
                     velorin_channel::set_trace_patience(0);
                     const Channel channel = make_pipe();
                     dup2(channel.writer, STDERR_FILENO);
                     int number = 0;
                     while (number < 40)
                         trace(number++, 5000);
                     std::string output = read_all(channel.reader);
                     const Channel other = make_pipe();
                     if (Child([&] {
                             dup2(other.writer, STDERR_FILENO);
                             trace(0, 10);
                             return 0;
                         }).wait() != 0)
                         return 1;
                     int next = 0;
                     int lost = 0;
                     const std::string of_child = read_all(other.reader);
                     if (!are_whole(of_child, 10, next, lost) || next != 1) return 2;
                     trace(number++, 5000);
                     output += read_all(channel.reader);
                     next = 0;
                     lost = 0;
                     return are_whole(output, 5000, next, lost) && lost > 0 && next == number ? 0 : 3;
                 }).wait());
}

// A FIFO that nobody has opened for reading is a file that cannot be opened.
TEST(TraceFull, FifoWithoutAReaderIsReplaced)
{
    const TempDirectory directory;
    const std::string path = directory / "fifo";
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    EXPECT_EQ(0, Child([&] {
                     setenv("VELORIN_TRACE", path.c_str(), 1);
                     const Channel channel = make_pipe();
                     dup2(channel.writer, STDERR_FILENO);
                     trace(0, 10);
                     const std::string output = read_all(channel.reader);
                     if (output.find("velorin: trace file " + path) != 0) return 1;
                     int next = 0;
                     int lost = 0;
                     return are_whole(output.substr(output.find('\n') + 1), 10, next, lost) && next == 1 ? 0
                                                                                                         : 2;
                 }).wait());
}

}  // namespace
