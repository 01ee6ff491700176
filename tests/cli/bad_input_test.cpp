// What a user may get wrong, and what a server may do: one sentence, the right exit code, nothing half sent,
// no hang.
#include <csignal>
#include <cstdlib>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "commands.h"
#include "loopback_smtp.h"
#include "options.h"

#include "cli_process.h"
#include "send_support.h"
#include "temporary_folder.h"

using velorin_test::Ending;
using velorin_test::LoopbackSmtp;
using velorin_test::Rule;
using velorin_test::SmtpOptions;
using velorin_test::Step;

namespace {

std::vector<std::string> with_text(unsigned port, std::vector<std::string> more = {})
{
    more.insert(more.begin(), {"--subject", "s", "--text-string", "hello"});
    return send_arguments(port, more);
}

// No mail was completed, and whatever was begun ended without the final dot.
void expect_nothing_delivered(const LoopbackSmtp& server)
{
    for (const auto& mail : server.mails())
        EXPECT_FALSE(mail.accepted);
    for (const auto& mail : server.unfinished())
        EXPECT_FALSE(mail.dot);
}

// A port of 127.0.0.1 that nobody listens on: it is bound, so nobody else gets it meanwhile.
class RefusedPort {
public:
    RefusedPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        struct sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<struct sockaddr*>(&address);
        if (::bind(socket_, generic, length) == 0 && ::getsockname(socket_, generic, &length) == 0)
            port_ = ntohs(address.sin_port);
    }
    ~RefusedPort() { ::close(socket_); }
    RefusedPort(const RefusedPort&) = delete;
    RefusedPort& operator=(const RefusedPort&) = delete;
    unsigned port() const { return port_; }

private:
    int socket_;
    unsigned port_ = 0;
};

SmtpOptions with_rule(const Rule& rule)
{
    SmtpOptions options;
    options.rules.push_back(rule);
    return options;
}

SmtpOptions with_user(const std::vector<std::string>& mechanisms)
{
    SmtpOptions options;
    options.auth = mechanisms;
    options.users = {{"me", "right"}};
    return options;
}

}  // namespace

TEST(CliBadInput, UnknownHost)
{
    expect_failure(run_cli({"send", "--from", "a@b", "--to", "c@d", "--text-string", "x", "--server",
                            "nowhere.invalid"}),
                   68,
                   "connect nowhere.invalid: the server's name cannot be found (name-lookup, 0x21080101)");
}

TEST(CliBadInput, RefusedPort)
{
    const RefusedPort refused;
    ASSERT_NE(0u, refused.port());
    expect_failure(run_cli(with_text(refused.port())), 75, "(connect-refused, 0x21080102)");
}

TEST(CliBadInput, WrongPassword)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server(with_user({"PLAIN", "LOGIN", "CRAM-MD5"}));
    const std::string password = folder.write("password", "hunter2\n");
    for (const char* kind : {"auto", "plain", "login", "cram-md5"}) {
        const CliResult result = run_cli(with_text(
            server.port(), {"--tls", "none", "--user", "me", "--auth", kind, "--password-file", password}));
        expect_failure(result, 77, "the server refuses the user or the password (login-refused, ");
        EXPECT_NE(std::string::npos, result.err.find("the server answered \"535")) << result.err;
        EXPECT_EQ(std::string::npos, result.err.find("hunter2"));
        EXPECT_EQ(std::string::npos, result.err.find("aHVudGVyMg"));  // the same in base64
    }
    expect_nothing_delivered(server);
}

TEST(CliBadInput, ExpiredCertificate)
{
    const TemporaryFolder folder;
    for (const bool from_the_start : {false, true}) {
        SmtpOptions options = with_user({"PLAIN"});
        options.starttls = !from_the_start;
        options.implicit_tls = from_the_start;
        options.tls.expired = true;
        const LoopbackSmtp server(options);
        const std::string ca = folder.path() + "/ca.pem";
        ASSERT_TRUE(server.certificates()->write_ca(ca));
        expect_failure(run_cli(with_text(server.port(),
                                         {"--tls", from_the_start ? "tls" : "starttls", "--ca-file", ca})),
                       76, "(certificate-refused, ");
        for (const auto& conversation : server.conversations())
            EXPECT_EQ(std::string::npos, conversation.client_lines().find("MAIL"));
    }
}

TEST(CliBadInput, NoTlsOfferedSendsNoPassword)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server(with_user({"PLAIN"}));
    // STARTTLS is what a user gets who says nothing about TLS.
    expect_failure(run_cli(with_text(server.port(),
                                     {"--user", "me", "--password-file", folder.write("password", "right")})),
                   76, "the server offers no TLS (tls-not-offered, ");
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(std::string::npos, server.conversations()[0].client_lines().find("AUTH"));
}

TEST(CliBadInput, NoLoginOffered)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    expect_failure(run_cli(with_text(server.port(), {"--tls", "none", "--user", "me", "--password-file",
                                                     folder.write("password", "right")})),
                   76, "(no-common-method, ");
    expect_nothing_delivered(server);
}

TEST(CliBadInput, NoPasswordAndNobodyToAsk)
{
    const LoopbackSmtp server(with_user({"PLAIN"}));
    expect_failure(run_cli(with_text(server.port(), {"--tls", "none", "--user", "me"})), 64,
                   "no password for me at 127.0.0.1");
    expect_no_connection(server);
}

TEST(CliBadInput, APasswordOnTheCommandLine)
{
    const CliResult result = run_cli({"check", "--server", "127.0.0.1", "--password", "hunter2"});
    expect_failure(result, 64, "not taken from the command line");
    EXPECT_EQ(std::string::npos, result.err.find("hunter2"));
}

TEST(CliBadInput, AWrongValueInTheConfigurationFile)
{
    const TemporaryFolder folder;
    const std::string config = folder.write("mail.conf", "server = 127.0.0.1\nport = 99999\n");
    const CliResult of_file = run_cli({"check", "--config", config});
    EXPECT_EQ(78, of_file.exit_code);
    EXPECT_NE(std::string::npos, of_file.sentence().find("port must be")) << of_file.err;
    EXPECT_NE(std::string::npos, of_file.sentence().find("(set in the configuration file)")) << of_file.err;
    const CliResult of_line = run_cli({"check", "--config", config, "--port", "99998"});
    EXPECT_EQ(64, of_line.exit_code);
    EXPECT_EQ(std::string::npos, of_line.err.find("configuration file")) << of_line.err;
}

TEST(CliBadInput, DaemonNotRunning)
{
    const TemporaryFolder folder;
    const Environment environment = {{"VELORIN_CHANNEL_DIR", folder.path()}};
    expect_failure(run_cli(with_text(25, {"--daemon"}), "", environment), 69, "velorin-maild is not running");
    expect_failure(run_cli({"check", "--server", "127.0.0.1", "--daemon"}, "", environment), 69,
                   "velorin-maild is not running");
}

// A socket that a dead daemon left behind.
TEST(CliBadInput, DaemonGone)
{
    const TemporaryFolder folder;
    struct sockaddr_un {
        sa_family_t family;
        char path[108];
    } address = {AF_UNIX, {}};
    const std::string path = folder.path() + "/ntc_email_smtp";
    ASSERT_LT(path.size(), sizeof address.path);
    path.copy(address.path, path.size());
    const int left_behind = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, ::bind(left_behind, reinterpret_cast<struct sockaddr*>(&address), sizeof address));
    ::close(left_behind);
    expect_failure(run_cli(with_text(25, {"--daemon"}), "", {{"VELORIN_CHANNEL_DIR", folder.path()}}), 69,
                   "velorin-maild is not running");
}

// Run in a forked process, which gives up root's rights first: root may enter every directory.
TEST(CliBadInput, ChannelDirectoryWithoutRights)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0));
    int streams[2];
    ASSERT_EQ(0, ::pipe(streams));
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::alarm(20);
        ::dup2(streams[1], STDERR_FILENO);
        ::setenv("VELORIN_CHANNEL_DIR", folder.path().c_str(), 1);
        ::setenv("VELORIN_TRACE", "none", 1);
        ::setenv("XDG_CONFIG_HOME", "/nonexistent", 1);
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(1);
        velorin::cli::Options options;
        velorin::cli::Failure failure;
        if (!velorin::cli::parse_options(with_text(25, {"--daemon"}), options, failure)) ::_exit(2);
        ::_exit(velorin::cli::run_send(options));
    }
    ::close(streams[1]);
    char text[1024] = {};
    std::size_t length = 0;
    for (ssize_t count = 1; count > 0 && length + 1 < sizeof text;
         length += static_cast<std::size_t>(count > 0 ? count : 0))
        count = ::read(streams[0], text + length, sizeof text - 1 - length);
    ::close(streams[0]);
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(77, WEXITSTATUS(status));
    EXPECT_STREQ(
        "velorin-mail: mail service: this user has no right to the channel directory of the mail service\n",
        text);
    ::chmod(folder.path().c_str(), 0700);
}

TEST(CliBadServer, ClosesInMidMail)
{
    const TemporaryFolder folder;
    // More than the sockets of both ends hold, so that the mail cannot be under way whole when the server closes.
    const std::string file = folder.write("big.bin", std::string(24 << 20, 'x'));
    static const struct {
        const char* label;
        Rule rule;
        const char* part;  // with its farewell on the way, the small rest of the mail may still be taken
    } cases[] = {
        {"closes", Rule(Step::kBody).after(1 << 20).close(), "attachment "},
        {"resets", Rule(Step::kBody).after(1 << 20).reset(), "attachment "},
        {"says why", Rule(Step::kBody).after(1 << 20).reply("421 shutting down").close_after(), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        const LoopbackSmtp server(with_rule(c.rule));
        const CliResult result = run_cli(with_text(server.port(), {"--attach", file}));
        EXPECT_TRUE(result.in_time);
        EXPECT_EQ(75, result.exit_code) << result.err;
        EXPECT_NE("", result.sentence()) << result.err;
        EXPECT_NE(std::string::npos, result.err.find(c.part)) << result.err;
        expect_nothing_delivered(server);
    }
}

TEST(CliBadServer, RefusesAtAnyStep)
{
    static const struct {
        const char* label;
        Rule rule;
        int exit_code;
        const char* part;
        const char* answer;  // null: none that could be quoted
    } cases[] = {
        {"greeting", Rule(Step::kConnect).reply("554 go away"), 75, "connect", "554 go away"},
        {"sender", Rule(Step::kMail).reply("553 not you"), 77, "header: the server refuses the sender",
         "553 not you"},
        {"recipient", Rule(Step::kRcpt).reply("550 no such user"), 67,
         "header: the server refuses a recipient (recipient-refused, ", "550 no such user"},
        {"recipient later", Rule(Step::kRcpt).reply("450 greylisted"), 75, "(recipient-deferred, ",
         "450 greylisted"},
        {"data", Rule(Step::kData).reply("451 not now"), 75, "(try-later, ", "451 not now"},
        {"mail", Rule(Step::kDot).reply("554 spam"), 77, "close: the server refuses the mail (mail-refused, ",
         "554 spam"},
        {"mail later", Rule(Step::kDot).reply("452 disk full"), 75, "close: ", "452 disk full"},
        {"garbage", Rule(Step::kMail).reply("what?"), 76, "(reply-malformed, ", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        const LoopbackSmtp server(with_rule(c.rule));
        const CliResult result = run_cli(with_text(server.port()));
        expect_failure(result, c.exit_code, c.part);
        const std::string answer =
            c.answer == nullptr ? "" : std::string("the server answered \"") + c.answer + "\"";
        EXPECT_NE(std::string::npos, result.err.find(answer)) << result.err;
        expect_nothing_delivered(server);
    }
}

TEST(CliBadServer, LosesTheConnectionAfterTheDot)
{
    const LoopbackSmtp server(with_rule(Rule(Step::kDot).close()));
    expect_failure(run_cli(with_text(server.port())), 76,
                   "close: the mail was sent, but the server did not confirm it (not-confirmed, ");
}

TEST(CliBadServer, NeverAnswers)
{
    for (const Step step : {Step::kConnect, Step::kEhlo, Step::kMail, Step::kData, Step::kDot}) {
        SCOPED_TRACE(static_cast<int>(step));
        const LoopbackSmtp server(with_rule(Rule(step).silence()));
        const CliResult result = run_cli(with_text(server.port(), {"--timeout", "1", "--data-timeout", "1"}));
        EXPECT_TRUE(result.in_time);
        EXPECT_NE("", result.sentence()) << result.err;
        EXPECT_EQ(step == Step::kDot ? 76 : 75, result.exit_code) << result.err;
    }
}

TEST(CliBadServer, RefusedMailTellsJsonTheSame)
{
    const LoopbackSmtp server(with_rule(Rule(Step::kRcpt).reply("550 no \"such\" user")));
    const CliResult result = run_cli(with_text(server.port(), {"--json"}));
    EXPECT_EQ(67, result.exit_code);
    for (const char* part :
         {"{\"command\":\"send\",\"status\":\"failed\",\"exit_code\":67,\"step\":\"header\",",
          "\"code\":\"0x21080302\"", "\"name\":\"recipient-refused\"",
          "\"server_reply\":\"550 no \\\"such\\\" user\"", "\"message_id\":\"<"})
        EXPECT_NE(std::string::npos, result.out.find(part)) << result.out;
    EXPECT_NE("", result.sentence());
}

TEST(CliBadServer, TooLargeIsSaidBeforeAnythingIsSent)
{
    const TemporaryFolder folder;
    SmtpOptions options;
    options.size_limit = 100000;
    const LoopbackSmtp server(options);
    expect_failure(
        run_cli(with_text(server.port(), {"--attach", folder.write("a.pdf", std::string(80000, 'x'))})), 65,
        "(too-large, ");
    expect_failure(run_cli(with_text(server.port(), {"--size-limit", "100"})), 65, "(too-large, ");
    for (const auto& conversation : server.conversations())
        EXPECT_EQ(std::string::npos, conversation.client_lines().find("MAIL"));
}

// The server takes its time over the recipient; meanwhile somebody cuts the file.
TEST(CliBadInput, AFileThatBecomesShorterBreaksTheMailOff)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("a.bin", std::string(100000, 'x'));
    const LoopbackSmtp server(with_rule(Rule(Step::kRcpt).delay(2000)));
    CliProcess process(VELORIN_MAIL_PROGRAM, with_text(server.port(), {"--attach", file}));
    ASSERT_TRUE(server.wait_for_command("RCPT", kSoon));
    ASSERT_EQ(0, ::truncate(file.c_str(), 50000));
    expect_failure(process.wait(kSoon), 74,
                   "attachment " + file + ": the file became shorter while it was sent");
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    expect_nothing_delivered(server);
    EXPECT_EQ(1u, server.unfinished().size());
}

TEST(CliInterrupt, BreaksTheMailOff)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("big.bin", "");
    ASSERT_EQ(0, ::truncate(file.c_str(), off_t{1} << 33));  // sparse, and more than can be sent meanwhile
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        SmtpOptions options;
        options.discard = true;
        const LoopbackSmtp server(options);
        CliProcess process(VELORIN_MAIL_PROGRAM, with_text(server.port(), {"--attach", file}));
        ASSERT_TRUE(server.wait_for_octets(1 << 20, kSoon));
        process.send_signal(signal);
        const CliResult result = process.wait(kSoon);
        EXPECT_TRUE(result.in_time);
        EXPECT_EQ(128 + signal, result.exit_code);
        EXPECT_EQ("attachment " + file + ": interrupted, the mail was broken off and will not be delivered",
                  result.sentence())
            << result.err;
        ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
        expect_nothing_delivered(server);
        EXPECT_EQ(1u, server.unfinished().size());
        EXPECT_FALSE(server.conversations()[0].quit);
    }
}

TEST(CliInterrupt, EndsAProcessThatIsStuck)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("big.bin", std::string(32 << 20, 'x'));
    const LoopbackSmtp server(with_rule(Rule(Step::kBody).after(1 << 16).stall()));
    CliProcess process(VELORIN_MAIL_PROGRAM, with_text(server.port(), {"--attach", file}));
    ASSERT_TRUE(server.wait_for_octets(1 << 16, kSoon));
    process.send_signal(SIGINT);
    const CliResult result = process.wait(kSoon);
    EXPECT_TRUE(result.in_time);
    EXPECT_EQ(128 + SIGINT, result.exit_code);
    EXPECT_NE(std::string::npos, result.sentence().find("interrupted, the mail was broken off"))
        << result.err;
    expect_nothing_delivered(server);
}

TEST(CliInterrupt, SaysSoWhenTheVerdictIsNotKnown)
{
    const LoopbackSmtp server(with_rule(Rule(Step::kDot).silence()));
    CliProcess process(VELORIN_MAIL_PROGRAM, with_text(server.port()));
    ASSERT_TRUE(server.wait_for_command("DATA", kSoon));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    process.send_signal(SIGINT);
    const CliResult result = process.wait(kSoon);
    EXPECT_TRUE(result.in_time);
    EXPECT_EQ(128 + SIGINT, result.exit_code);
    EXPECT_EQ("interrupted while the server's verdict was awaited, the mail may have been delivered",
              result.sentence())
        << result.err;
}

TEST(CliInterrupt, WhileTheServerIsConnectedTo)
{
    const LoopbackSmtp server(with_rule(Rule(Step::kConnect).silence()));
    CliProcess process(VELORIN_MAIL_PROGRAM, with_text(server.port()));
    ASSERT_TRUE(server.wait_for_connection(1, kSoon));
    process.send_signal(SIGINT);
    const CliResult result = process.wait(kSoon);
    EXPECT_TRUE(result.in_time);
    EXPECT_EQ(128 + SIGINT, result.exit_code);
    EXPECT_NE(std::string::npos, result.sentence().find("interrupted, nothing was sent")) << result.err;
}
