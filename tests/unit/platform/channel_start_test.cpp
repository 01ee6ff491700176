// Starting and stopping a server: its directory, its sockets, and others in the same place.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "channel_codes.h"
#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::Caller;
using velorin_channel::ChannelServer;
using velorin_channel::ServerOptions;

ServerOptions in_directory(const std::string& path)
{
    ServerOptions options;
    options.directory = path;
    return options;
}

// The error of starting a server with the endpoint "echo"; empty when it started.
std::string start_error(const ServerOptions& options)
{
    ChannelServer server(options);
    std::string error;
    if (!server.add("echo", echo, error)) return error;
    return server.start(error) ? "" : error;
}

unsigned mode_of(const std::string& path)
{
    struct stat found {};
    return stat(path.c_str(), &found) == 0 ? found.st_mode & 07777u : 0u;
}

TEST(ChannelServerStart, MakesDirectoryAndSocketsWithTheirModes)
{
    const ChannelDirectory directory;
    const mode_t before = umask(0077);
    const std::string path = directory / "channel";
    setenv("VELORIN_CHANNEL_DIR", path.c_str(), 1);
    {
        ChannelServer server{ServerOptions()};  // the directory of the environment
        std::string error;
        ASSERT_TRUE(server.add("echo", echo, error)) << error;
        ASSERT_TRUE(server.start(error)) << error;
        EXPECT_EQ(mode_of(path), 0750u);
        EXPECT_EQ(mode_of(path + "/echo"), 0660u);
        EXPECT_EQ(call_once("echo", "x").answer, "x");
        server.stop();
        EXPECT_FALSE(std::filesystem::exists(path + "/echo"));
        server.stop();  // again
    }
    umask(before);
}

TEST(ChannelServerStart, StartsAgainAfterStop)
{
    const ChannelDirectory directory;
    ChannelServer server(in_directory(directory.path()));
    std::string error;
    ASSERT_TRUE(server.add("echo", echo, error)) << error;
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(server.start(error)) << error;
        EXPECT_FALSE(server.start(error));
        EXPECT_FALSE(error.empty());
        EXPECT_FALSE(server.add("late", echo, error));
        EXPECT_EQ(call_once("echo", "x").answer, "x");
        server.stop();
        EXPECT_EQ(call_once("echo", "x").code, velorin_channel::kNoSuchEndpoint);
    }
}

TEST(ChannelServerStart, RefusesBadNamesAndDoubles)
{
    const ChannelDirectory directory;
    ChannelServer server(in_directory(directory.path()));
    std::string error;
    for (const char* name : {"", ".lock", "a/b", "..", "a b", "pcie:a"}) {
        error.clear();
        EXPECT_FALSE(server.add(name, echo, error)) << name;
        EXPECT_FALSE(error.empty()) << name;
    }
    EXPECT_TRUE(server.add("echo", echo, error)) << error;
    EXPECT_TRUE(error.empty());
    EXPECT_FALSE(server.add("echo", echo, error));
}

TEST(ChannelServerStart, SaysWhatIsWrongWithTheDirectory)
{
    const ChannelDirectory directory;
    const struct {
        const char* label;
        std::string path;
        const char* expected;
    } cases[] = {
        {"no parent", directory / "a/b", "cannot create"},
        {"a file", directory / "file", "no directory"},
        {"everybody's", directory / "open", "by everybody"},
        {"too long", directory / std::string(100, 'x'), "longer than"},
    };
    std::ofstream(directory / "file") << "x";
    std::filesystem::create_directory(directory / "open");
    ASSERT_EQ(chmod((directory / "open").c_str(), 01777), 0);
    for (const auto& each : cases) {
        const std::string error = start_error(in_directory(each.path));
        EXPECT_NE(error.find(each.expected), std::string::npos) << each.label << ": " << error;
    }
}

TEST(ChannelServerStart, SaysThatThereIsNoSuchGroup)
{
    const ChannelDirectory directory;
    ServerOptions options = in_directory(directory.path());
    options.group = "no-such-group-here";
    EXPECT_NE(start_error(options).find("no-such-group-here"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(directory / "echo"));
}

TEST(ChannelServerStart, GivesTheSocketToTheGroup)
{
    const ChannelDirectory directory;
    const struct group* const own = getgrgid(getegid());
    ASSERT_NE(own, nullptr);
    ServerOptions options = in_directory(directory / "channel");
    options.group = own->gr_name;
    const EchoServer server(directory, options);
    struct stat found {};
    ASSERT_EQ(stat((directory / "echo").c_str(), &found), 0);
    EXPECT_EQ(found.st_gid, getegid());
    EXPECT_EQ(call_once("echo", "x").answer, "x");
}

TEST(ChannelServerStart, LeavesALiveServerAlone)
{
    const ChannelDirectory directory;
    const EchoServer first(directory);
    const std::string error = start_error(in_directory(directory.path()));
    EXPECT_NE(error.find("already running"), std::string::npos) << error;
    EXPECT_EQ(call_once("echo", "x").answer, "x");
}

TEST(ChannelServerStart, LeavesAStrangersListenerAlone)
{
    const ChannelDirectory directory;
    const Descriptor stranger = listen_raw(directory / "echo");
    const std::string error = start_error(in_directory(directory.path()));
    EXPECT_NE(error.find("already running"), std::string::npos) << error;
    EXPECT_TRUE(std::filesystem::exists(directory / "echo"));
}

TEST(ChannelServerStart, LeavesWhatIsNoSocketAlone)
{
    const ChannelDirectory directory;
    std::ofstream(directory / "echo") << "mine";
    EXPECT_NE(start_error(in_directory(directory.path())).find("in the way"), std::string::npos);
    EXPECT_EQ(std::filesystem::file_size(directory / "echo"), 4u);
}

TEST(ChannelServerStart, FailureLeavesNothingBehind)
{
    const ChannelDirectory directory;
    const Descriptor stranger = listen_raw(directory / "second");
    ChannelServer server(in_directory(directory.path()));
    std::string error;
    ASSERT_TRUE(server.add("first", echo, error) && server.add("second", echo, error)) << error;
    EXPECT_FALSE(server.start(error));
    EXPECT_FALSE(std::filesystem::exists(directory / "first"));
    server.stop();
}

TEST(ChannelServerStart, ReplacesAStaleSocket)
{
    const ChannelDirectory directory;
    {
        const Descriptor gone = listen_raw(directory / "echo");
    }
    ASSERT_TRUE(std::filesystem::exists(directory / "echo"));
    const EchoServer server(directory);
    EXPECT_EQ(call_once("echo", "x").answer, "x");
}

TEST(ChannelServerStart, OfSeveralAtOnceOneWins)
{
    for (int round = 0; round < 5; ++round) {
        const ChannelDirectory directory;
        {
            const Descriptor gone = listen_raw(directory / "echo");
        }
        const Signal go;
        const Signal end;
        std::vector<std::unique_ptr<Child>> servers;
        for (int index = 0; index < 6; ++index) {
            servers.push_back(std::make_unique<Child>([&] {
                ChannelServer server(in_directory(directory.path()));
                std::string error;
                if (!server.add("echo", echo, error) || !go.wait()) return 2;
                if (!server.start(error)) return error.find("already running") != std::string::npos ? 1 : 3;
                return end.wait() ? 0 : 4;
            }));
        }
        for (int index = 0; index < 6; ++index)
            go.set();
        int won = 0;
        // Five end by themselves; then the one that runs is told to.
        std::vector<int> statuses;
        std::vector<std::future<int>> waits;
        for (const auto& server : servers) {
            waits.push_back(std::async(std::launch::async, [&server] { return server->wait(); }));
        }
        std::size_t over = 0;
        while (over < 5) {
            over = 0;
            for (auto& wait : waits) {
                if (wait.wait_for(std::chrono::milliseconds(5)) == std::future_status::ready) ++over;
            }
            if (over == 6) break;
        }
        EXPECT_EQ(over, 5u);
        EXPECT_EQ(call_once("echo", "x").answer, "x");
        end.set();
        for (auto& wait : waits) {
            const int status = wait.get();
            EXPECT_TRUE(status == 0 || status == 1) << status;
            if (status == 0) ++won;
        }
        EXPECT_EQ(won, 1);
    }
}

TEST(ChannelServerStop, WaitsForRunningExchangesAndAnswersThem)
{
    const ChannelDirectory directory;
    std::promise<void> inside;
    std::promise<void> finish;
    std::shared_future<void> finished = finish.get_future().share();
    EchoServer server(directory, {},
                      [&](const Caller& caller, const char* request, std::uint32_t request_length,
                          char* answer, std::uint32_t capacity, std::uint32_t& length) {
                          inside.set_value();
                          finished.wait();
                          return echo(caller, request, request_length, answer, capacity, length);
                      });
    auto call = std::async(std::launch::async, [] { return call_once("echo", "x"); });
    inside.get_future().wait();
    auto stopped = std::async(std::launch::async, [&server] { server.server().stop(); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_NE(call_once("echo", "x").code, 0u);  // no more are accepted meanwhile
    finish.set_value();
    ASSERT_EQ(stopped.wait_for(std::chrono::milliseconds(kPatienceMs)), std::future_status::ready);
    EXPECT_EQ(call.get().answer, "x");
}

TEST(ChannelServerStop, DoesNotWaitForSilentCallers)
{
    const ChannelDirectory directory;
    auto server = std::make_unique<EchoServer>(directory);
    std::vector<Descriptor> silent;
    for (int index = 0; index < 50; ++index)
        silent.push_back(connect_raw(directory / "echo"));
    EXPECT_EQ(call_once("echo", "x").answer, "x");
    const auto begin = std::chrono::steady_clock::now();
    server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(5));  // below the frame's time-out
    for (const Descriptor& caller : silent)
        EXPECT_TRUE(is_let_go(caller));
}

TEST(ChannelServerStop, RemovesNoSocketButItsOwn)
{
    const ChannelDirectory directory;
    auto server = std::make_unique<EchoServer>(directory);
    std::filesystem::remove(directory / "echo");
    const Descriptor other = listen_raw(directory / "echo");
    server.reset();
    EXPECT_TRUE(std::filesystem::exists(directory / "echo"));
}

TEST(ChannelServerStop, ForkedChildThatDestroysItHarmsNothing)
{
    const ChannelDirectory directory;
    auto server = std::make_unique<EchoServer>(directory);
    EXPECT_EQ(call_once("echo", "x").answer, "x");
    EXPECT_EQ(run_in_child([&server] {
                  server.reset();
                  return 0;
              }),
              0);
    EXPECT_EQ(call_once("echo", "x").answer, "x");
}

}  // namespace
