// velorin-maild as a process, reached over its sockets.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "daemon_fixture.h"
#include "loopback_smtp.h"
#include "service_client.h"
#include "velorin_mail_service.h"

namespace velorin {
namespace {

using velorin_test::ChildProcess;
using velorin_test::kSoon;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::over_channel;
using velorin_test::Rule;
using velorin_test::ServiceClient;
using velorin_test::SmtpOptions;
using velorin_test::Step;

class Daemon : public velorin_test::DaemonFixture {};

TEST_F(Daemon, DeliversAMailAndStopsCleanly)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        const LoopbackSmtp server;
        const auto daemon = start();
        ServiceClient client(over_channel());
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        EXPECT_EQ("ok", name_of(client.send("Hello\n")));
        ASSERT_TRUE(server.wait_for_mail(1, kSoon));
        EXPECT_EQ(velorin_test::plain_header() + "Hello\r\n", server.mails()[0].wire);
        EXPECT_EQ("ok", name_of(client.destroy()));
        EXPECT_TRUE(std::filesystem::exists(folder.path() + "/ntc_email_smtp"));
        daemon->signal(signal);
        EXPECT_EQ(0, daemon->wait_for_end(kSoon)) << daemon->output();
        EXPECT_FALSE(std::filesystem::exists(folder.path() + "/ntc_email_smtp"));
        EXPECT_FALSE(std::filesystem::exists(folder.path() + "/velorin_diagnosis"));
        EXPECT_EQ("no answer", name_of(client.create()));
    }
}

TEST_F(Daemon, SaysWhatAServerAnswered)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kMail).reply("550 5.7.1 not you")};
    const LoopbackSmtp server(options);
    EXPECT_EQ("", last_server_reply());
    const auto daemon = start();
    EXPECT_EQ("", last_server_reply());
    ServiceClient client(over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("sender-refused", name_of(client.header()));
    EXPECT_EQ("550 5.7.1 not you", last_server_reply());
}

TEST_F(Daemon, ReloadsNothingAndSaysSo)
{
    const LoopbackSmtp server;
    const auto daemon = start();
    ServiceClient client(over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    daemon->signal(SIGHUP);
    EXPECT_TRUE(daemon->wait_for_output("nothing can be reloaded", kSoon));
    EXPECT_EQ("ok", name_of(client.send("x")));
}

TEST_F(Daemon, EndsTheSessionsOfAClientThatIsKilled)
{
    const LoopbackSmtp server;
    const auto daemon = start();
    ChildProcess client({VELORIN_HALF_MAIL, std::to_string(server.port())}, environment());
    ASSERT_TRUE(client.wait_for_output("half sent", kSoon)) << client.output();
    client.signal(SIGKILL);
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(server.mails().empty());
    EXPECT_EQ(1u, server.unfinished().size());
    EXPECT_FALSE(server.conversations()[0].quit);
    EXPECT_TRUE(daemon->wait_for_output("has gone, 1 sessions ended", kSoon)) << daemon->output();
}

TEST_F(Daemon, StopsInMidMailWithoutTheDot)
{
    const LoopbackSmtp server;
    const auto daemon = start();
    ServiceClient client(over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.body("half a mail\r\n")));
    daemon->signal(SIGTERM);
    EXPECT_EQ(0, daemon->wait_for_end(kSoon));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(server.mails().empty());
    EXPECT_FALSE(server.conversations()[0].quit);
    EXPECT_EQ("no answer", name_of(client.body("more")));
}

TEST_F(Daemon, KilledTakesNoMailWithIt)
{
    const LoopbackSmtp server;
    auto daemon = start();
    ServiceClient client(over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    daemon->signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, daemon->wait_for_end(kSoon));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(server.mails().empty());
    EXPECT_EQ("no answer", name_of(client.close()));
    // The sockets that were left behind do not stand in the way of the next one.
    daemon = start();
    EXPECT_EQ("unknown-session", name_of(client.close()));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
}

TEST_F(Daemon, RunsOnceOnly)
{
    const auto daemon = start();
    ChildProcess second({VELORIN_MAILD}, environment());
    EXPECT_EQ(69, second.wait_for_end(kSoon));
    EXPECT_NE(std::string::npos, second.output().find("already running")) << second.output();
    EXPECT_EQ("ok", name_of(ServiceClient(over_channel()).create()));
}

TEST_F(Daemon, ObeysItsSettings)
{
    const auto daemon = start("# limits\nmax_sessions_per_user = 1\n\nmax_request=2000 # octets\n");
    EXPECT_EQ("ok", name_of(ServiceClient(over_channel(), 1).create()));
    EXPECT_EQ("limit-reached", name_of(ServiceClient(over_channel(), 2).create()));
    ServiceClient large(over_channel(), 1);
    EXPECT_EQ("no answer", name_of(large.body(std::string(5000, 'x'))));
    EXPECT_EQ("wrong-order", name_of(large.body("x")));
}

TEST_F(Daemon, RefusesSettingsItDoesNotKnow)
{
    const struct {
        const char* text;
        const char* sentence;
    } cases[] = {
        {"a line\n", "maild.conf:1: not of the form key = value."},
        {"\nspeed = 5\n", "maild.conf:2: \"speed\" is no key."},
        {"idle_timeout = soon\n", "maild.conf:1: \"idle_timeout\" wants a number from 1 to 4294967295."},
        {"idle_timeout = 0\n", "maild.conf:1: \"idle_timeout\" wants a number from 1 to 4294967295."},
        {"idle_timeout = 4294967296\n",
         "maild.conf:1: \"idle_timeout\" wants a number from 1 to 4294967295."},
        {"ca_file =\n", "maild.conf:1: \"ca_file\" wants a value."},
    };
    for (const auto& one : cases) {
        ChildProcess daemon({VELORIN_MAILD, "--config", write_config(one.text)}, environment());
        EXPECT_EQ(78, daemon.wait_for_end(kSoon)) << one.text;
        EXPECT_NE(std::string::npos, daemon.output().find(one.sentence)) << daemon.output();
    }
    ChildProcess missing({VELORIN_MAILD, "--config", folder.path() + "/none"}, environment());
    EXPECT_EQ(78, missing.wait_for_end(kSoon));
    ChildProcess unknown({VELORIN_MAILD, "--fast"}, environment());
    EXPECT_EQ(64, unknown.wait_for_end(kSoon));
    ChildProcess check({VELORIN_MAILD, "--check", "--config", write_config("group = mail\n")}, environment());
    EXPECT_EQ(0, check.wait_for_end(kSoon));
    ChildProcess empty({VELORIN_MAILD, "--check", "--config", write_config("")}, environment());
    EXPECT_EQ(0, empty.wait_for_end(kSoon));
    ChildProcess help({VELORIN_MAILD, "--help"}, environment());
    EXPECT_EQ(0, help.wait_for_end(kSoon));
    EXPECT_NE(std::string::npos, help.output().find("usage: velorin-maild"));
    for (const char* const option : {"--help", "--version"}) {
        ChildProcess unheard({"/bin/sh", "-c", "exec \"$0\" \"$@\" > /dev/full", VELORIN_MAILD, option},
                             environment());
        EXPECT_EQ(74, unheard.wait_for_end(kSoon)) << option;
        EXPECT_EQ(unheard.output(), "velorin-maild: standard output cannot be written\n");
    }
}

TEST_F(Daemon, SaysSoWhenItCannotHaveItsFolder)
{
    std::ofstream(folder.path() + "/file") << "x";
    ChildProcess daemon({VELORIN_MAILD}, {"VELORIN_CHANNEL_DIR=" + folder.path() + "/file/below"});
    EXPECT_EQ(69, daemon.wait_for_end(kSoon)) << daemon.output();
    EXPECT_NE(std::string::npos, daemon.output().find("velorin-maild: ")) << daemon.output();
}

// A caller that sends no envelope at all disturbs nobody.
TEST_F(Daemon, OutlivesGarbageOnItsSocket)
{
    const LoopbackSmtp server;
    const auto daemon = start();
    for (int number = 0; number < 20; ++number) {
        const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = folder.path() + "/ntc_email_smtp";
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(0, ::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address));
        const std::string garbage(static_cast<std::size_t>(number) * 7, static_cast<char>(number * 31));
        EXPECT_EQ(static_cast<ssize_t>(garbage.size()),
                  ::send(descriptor, garbage.data(), garbage.size(), MSG_NOSIGNAL));
        ::close(descriptor);
    }
    ServiceClient client(over_channel());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
}

// Neither log nor core shows a password.
TEST_F(Daemon, KeepsPasswordsToItself)
{
    SmtpOptions options;
    options.auth = {"PLAIN", "LOGIN"};
    options.users = {{velorin_test::kUser, "another"}};
    const LoopbackSmtp server(options);
    const auto daemon = start();
    ServiceClient client(over_channel());
    client.log_in(1);
    EXPECT_EQ("login-refused", name_of(client.open(server.port())));
    EXPECT_EQ("login-refused", name_of(client.test()));
    ntc_email_esu_smtp_method damaged;
    damaged.mutable_create_instance_req()->mutable_psmtpset()->set_c_paswd(velorin_test::kPassword);
    bool answered = false;
    client.ask(damaged, answered);
    EXPECT_TRUE(answered);

    std::ifstream limits("/proc/" + std::to_string(daemon->pid()) + "/limits");
    std::stringstream text;
    text << limits.rdbuf();
    const std::size_t core = text.str().find("Max core file size");
    ASSERT_NE(std::string::npos, core);
    std::istringstream row(text.str().substr(core + 18));
    std::string soft, hard;
    row >> soft >> hard;
    EXPECT_EQ("0", soft);
    EXPECT_EQ("0", hard);

    daemon->signal(SIGTERM);
    EXPECT_EQ(0, daemon->wait_for_end(kSoon));
    EXPECT_NE(std::string::npos, daemon->output().find("login-refused"));
    EXPECT_EQ(std::string::npos, daemon->output().find(velorin_test::kPassword)) << daemon->output();
}

}  // namespace
}  // namespace velorin
