// Connections that carry more than one exchange. How closely exchanges follow each other is the machine's to
// say, so what has to happen is tried until it does, and what must never happen is looked at every time.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "channel_codes.h"
#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::Caller;

using Clock = std::chrono::steady_clock;

bool until(const std::function<bool()>& happened)
{
    const auto end = Clock::now() + std::chrono::milliseconds(kPatienceMs);
    while (Clock::now() < end) {
        if (happened()) return true;
    }
    return false;
}

// A peer that serves one connection after another, answering every request with the number of its connection.
// Its second request on one connection it treats as it is told to.
class ScriptedPeer {
public:
    enum class Second { answer, leave_unread, read_and_close };

    ScriptedPeer(const TempDirectory& directory, Second second)
        : second_(second), listener_(listen_raw(directory / "peer")), thread_([this] { run(); })
    {
    }
    ~ScriptedPeer()
    {
        stopping_ = true;
        shutdown(listener_.get(), SHUT_RDWR);
        const int current = current_;
        if (current >= 0) shutdown(current, SHUT_RDWR);  // the client may keep it
        thread_.join();
    }

    int shared() const { return shared_; }      // second requests on one connection
    int requests() const { return requests_; }  // that were read
    int connections() const { return connections_; }

private:
    void run()
    {
        while (!stopping_) {
            const Descriptor connection(accept(listener_.get(), nullptr, nullptr));
            if (connection.get() < 0) continue;
            ++connections_;
            current_ = connection.get();
            if (!stopping_) serve(connection);
            current_ = -1;
        }
    }

    void serve(const Descriptor& connection)
    {
        for (int count = 1; is_there(connection); ++count) {
            if (count > 1) ++shared_;
            if (count > 1 && second_ == Second::leave_unread) return;
            if (receive_raw(connection, request_header(1, 0).size() + 1).empty()) return;
            ++requests_;
            if (count > 1 && second_ == Second::read_and_close) return;
            if (!send_raw(connection, answer_frame(std::to_string(connections_)))) return;
        }
    }

    // Whether a request is there; false once the client has closed.
    static bool is_there(const Descriptor& connection)
    {
        char octet = 0;
        return is_readable(connection, kPatienceMs) && recv(connection.get(), &octet, 1, MSG_PEEK) == 1;
    }

    const Second second_;
    std::atomic<bool> stopping_{false};
    std::atomic<int> shared_{0};
    std::atomic<int> requests_{0};
    std::atomic<int> connections_{0};
    std::atomic<int> current_{-1};
    const Descriptor listener_;
    std::thread thread_;
};

TEST(ChannelKept, ExchangesThatFollowEachOtherShareAConnection)
{
    const ChannelDirectory directory;
    const ScriptedPeer peer(directory, ScriptedPeer::Second::answer);
    int calls = 0;
    EXPECT_TRUE(until([&] {
        const Outcome outcome = call_once("peer", "r");
        EXPECT_EQ(outcome.code, 0u);
        ++calls;
        return peer.shared() >= 3 || outcome.code != 0;
    }));
    EXPECT_EQ(peer.requests(), calls);
    EXPECT_LT(peer.connections(), calls);
}

TEST(ChannelKept, RequestThatNobodyReadGoesOverAnother)
{
    const ChannelDirectory directory;
    const ScriptedPeer peer(directory, ScriptedPeer::Second::leave_unread);
    int calls = 0;
    EXPECT_TRUE(until([&] {
        const Outcome outcome = call_once("peer", "r");
        EXPECT_EQ(outcome.code, 0u) << outcome.answer;
        ++calls;
        return peer.shared() >= 3 || outcome.code != 0;
    }));
    EXPECT_EQ(peer.requests(), calls);  // each once
}

TEST(ChannelKept, RequestThatWasReadIsNeverRepeated)
{
    const ChannelDirectory directory;
    const ScriptedPeer peer(directory, ScriptedPeer::Second::read_and_close);
    int calls = 0;
    int failed = 0;
    EXPECT_TRUE(until([&] {
        const Outcome outcome = call_once("peer", "r");
        ++calls;
        if (outcome.code != 0) {
            EXPECT_EQ(outcome.code, velorin_channel::kPeerGone);
            ++failed;
        }
        return failed >= 3;
    }));
    EXPECT_EQ(peer.requests(), calls);
    EXPECT_EQ(peer.shared(), failed);
}

TEST(ChannelKept, ServerLetsGoOfASilentConnection)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    const Descriptor peer = connect_raw(directory / "echo");
    ASSERT_TRUE(send_raw(peer, request_header(3, 100) + "one"));
    EXPECT_EQ(receive_raw(peer, answer_frame("one").size()), answer_frame("one"));
    EXPECT_TRUE(is_let_go(peer));
}

TEST(ChannelKept, ServerAnswersFurtherRequests)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    EXPECT_TRUE(until([&] {
        const Descriptor peer = connect_raw(directory / "echo");
        int answers = 0;
        for (; answers < 5; ++answers) {
            const std::string text = "request " + std::to_string(answers);
            const std::string answer = answer_frame(text);
            if (!send_raw(peer, request_header(static_cast<std::uint32_t>(text.size()), 100) + text)) break;
            const std::string received = receive_raw(peer, answer.size());
            if (received.empty()) break;  // it took longer than the server waits
            EXPECT_EQ(received, answer);
        }
        return answers == 5;
    }));
}

TEST(ChannelKept, CallersOfAnotherConnectionDoNotWait)
{
    const ChannelDirectory directory;
    velorin_channel::ServerOptions options;
    options.max_threads = 3;  // one of them accepts
    const EchoServer server(directory, options);
    const Descriptor one = connect_raw(directory / "echo");
    const Descriptor other = connect_raw(directory / "echo");
    for (const Descriptor* peer : {&one, &other}) {
        ASSERT_TRUE(send_raw(*peer, request_header(1, 100) + "x"));
        EXPECT_EQ(receive_raw(*peer, answer_frame("x").size()), answer_frame("x"));
    }
    for (int count = 0; count < 20; ++count)
        EXPECT_EQ(call_once("echo", "y").answer, "y");
}

TEST(ChannelKept, NextServerIsFoundBehindOneThatHasGone)
{
    const ChannelDirectory directory;
    for (int round = 0; round < 5; ++round) {
        const EchoServer server(directory);
        for (int count = 0; count < 10; ++count) {
            const std::string request = std::to_string(round * 10 + count);
            const Outcome outcome = call_once("echo", request);
            EXPECT_EQ(outcome.code, 0u);
            EXPECT_EQ(outcome.answer, request);
        }
    }
}

TEST(ChannelKept, ForkedChildDoesNotCallAsItsParent)
{
    const ChannelDirectory directory;
    const EchoServer server(directory, {},
                            [](const Caller& caller, const char*, std::uint32_t, char* answer,
                               std::uint32_t capacity, std::uint32_t& length) {
                                const std::string pid = std::to_string(caller.pid);
                                length = static_cast<std::uint32_t>(pid.copy(answer, capacity));
                                return true;
                            });
    for (int round = 0; round < 20; ++round) {
        for (int count = 0; count < 3; ++count)
            EXPECT_EQ(call_once("echo", "who").answer, std::to_string(getpid()));
        EXPECT_EQ(
            run_in_child([] { return call_once("echo", "who").answer == std::to_string(getpid()) ? 0 : 1; }),
            0);
    }
}

// Answers with the user that the server takes the caller for.
bool name_user(const Caller& caller, const char*, std::uint32_t, char* answer, std::uint32_t capacity,
               std::uint32_t& length)
{
    length = static_cast<std::uint32_t>(std::to_string(caller.uid).copy(answer, capacity));
    return true;
}

// What a connection is trusted for was asked when it was made: somebody else needs one of his own.
TEST(ChannelKept, ClientThatBecomesAnotherUserIsAskedAgain)
{
    constexpr uid_t kOther = 54321;
    const ChannelDirectory directory;
    const EchoServer server(directory, {}, name_user);
    const std::string own = std::to_string(geteuid());
    EXPECT_EQ(call_once("echo", "who").answer, own);
    if (geteuid() != 0) return;  // nobody else is at hand
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod((directory / "echo").c_str(), 0666), 0);
    EXPECT_EQ(run_in_child([&own] {
                  for (int round = 0; round < 20; ++round) {
                      for (int count = 0; count < 3; ++count) {
                          if (call_once("echo", "who").answer != own) return 1;
                      }
                      if (seteuid(kOther) != 0) return 2;
                      if (call_once("echo", "who").code != velorin_channel::kPeerGone) return 3;
                      if (seteuid(0) != 0) return 4;
                  }
                  return 0;
              }),
              0);
}

TEST(ChannelKept, ServerInAnotherPlaceIsFoundOnceTheOldOneIsSilent)
{
    const ChannelDirectory directory;
    const TempDirectory elsewhere;
    const ScriptedPeer before(directory, ScriptedPeer::Second::answer);
    int calls = 0;
    for (; calls < 5; ++calls)
        EXPECT_EQ(call_once("peer", "r").code, 0u);
    // Another directory takes the place of the one that the client knows.
    std::filesystem::rename(directory.path(), elsewhere / "old");
    ASSERT_TRUE(std::filesystem::create_directory(directory.path()));
    const ScriptedPeer after(directory, ScriptedPeer::Second::answer);
    EXPECT_TRUE(until([&] {
        EXPECT_EQ(call_once("peer", "r").code, 0u);
        ++calls;
        const auto silent_until = Clock::now() + std::chrono::milliseconds(calls % 20);
        while (Clock::now() < silent_until) {  // in the end longer than a connection is kept
        }
        return after.requests() > 0;
    }));
    EXPECT_EQ(before.requests() + after.requests(), calls);  // each once
}

// Exchanges of threads that have ended, and of those that follow, each get their own answer.
TEST(ChannelKept, ThreadsThatHaveEndedLeaveNothingToTheNext)
{
    const ChannelDirectory directory;
    const EchoServer server(directory);
    for (int round = 0; round < 10; ++round) {
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number) {
            threads.emplace_back([number] {
                for (int count = 0; count < 10; ++count) {
                    const std::string request = std::to_string(number) + "/" + std::to_string(count);
                    EXPECT_EQ(call_once("echo", request).answer, request);
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        for (int count = 0; count < 5; ++count) {
            const std::string request = "alone " + std::to_string(count);
            EXPECT_EQ(call_once("echo", request).answer, request);
        }
    }
}

// A program that is executed has none of the connections that its process kept.
TEST(ChannelKept, ExecutedProgramHasNone)
{
    const ChannelDirectory directory;
    const ScriptedPeer peer(directory, ScriptedPeer::Second::answer);
    EXPECT_TRUE(until([&] {
        EXPECT_EQ(call_once("peer", "r").code, 0u);
        return peer.shared() >= 1;
    }));
    int sockets = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename().string());
        // By name alone: the peer's thread may be closing it.
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone).string().rfind("socket:", 0) != 0) continue;
        sockaddr_un there{};
        socklen_t size = sizeof there;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&there), &size) != 0) continue;
        if (directory / "peer" != there.sun_path) continue;
        ++sockets;
        EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << descriptor;
    }
    EXPECT_EQ(sockets, 1);
}

}  // namespace
