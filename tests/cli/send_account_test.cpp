// The account that a mail is sent by: log-ins, TLS, the configuration file, and the trial of it all.
#include <gtest/gtest.h>

#include "loopback_pop3.h"
#include "loopback_smtp.h"

#include "cli_process.h"
#include "send_support.h"
#include "temporary_folder.h"

using velorin_test::LoopbackMail;
using velorin_test::LoopbackPop3;
using velorin_test::LoopbackSmtp;
using velorin_test::Pop3Options;
using velorin_test::SmtpOptions;

TEST(CliSend, LogsInByEveryMethod)
{
    const TemporaryFolder folder;
    static const struct {
        const char* kind;
        const char* mechanism;
    } cases[] = {{"auto", "CRAM-MD5"},
                 {"plain", "PLAIN"},
                 {"login", "LOGIN"},
                 {"cram-md5", "CRAM-MD5"},
                 {"xoauth2", "XOAUTH2"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.kind);
        SmtpOptions options;
        options.auth = {"PLAIN", "LOGIN", "CRAM-MD5"};
        if (std::string(c.kind) == "xoauth2") options.auth = {"XOAUTH2"};
        options.users = {{"me", "p\xC3\xA4ss word"}};
        options.auth_required = true;
        options.starttls = true;
        options.tls_required = true;
        const LoopbackSmtp server(options);
        const std::string ca = folder.path() + "/ca.pem";
        ASSERT_TRUE(server.certificates()->write_ca(ca));
        expect_sent(run_cli(send_arguments(
            server.port(), {"--subject", "s", "--text-string", "x", "--ca-file", ca, "--user", "me", "--auth",
                            c.kind, "--password-command", "printf 'p\\303\\244ss word\\n'"})));
        EXPECT_EQ("me", only_mail(server).user);
        EXPECT_EQ(c.mechanism, server.conversations()[0].mechanism);
        EXPECT_NE("", server.conversations()[0].tls_version);
    }
}

TEST(CliSend, TlsFromTheStart)
{
    const TemporaryFolder folder;
    SmtpOptions options;
    options.implicit_tls = true;
    const LoopbackSmtp server(options);
    const std::string ca = folder.path() + "/ca.pem";
    ASSERT_TRUE(server.certificates()->write_ca(ca));
    const std::vector<std::string> mail = {"--subject", "s", "--text-string", "x", "--tls", "tls"};
    EXPECT_EQ(76, run_cli(send_arguments(server.port(), mail)).exit_code)
        << "an unknown authority was trusted";
    std::vector<std::string> trusting = mail;
    trusting.insert(trusting.end(), {"--ca-file", ca, "--tls13-only"});
    expect_sent(run_cli(send_arguments(server.port(), trusting)));
    std::vector<std::string> careless = mail;
    careless.push_back("--no-verify");
    expect_sent(run_cli(send_arguments(server.port(), careless)));
    EXPECT_EQ(2u, server.mails().size());
}

TEST(CliSend, PopBeforeSmtp)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    for (const bool apop : {false, true}) {
        Pop3Options options;
        options.apop = apop;
        options.users = {{"me", "right"}};
        const LoopbackPop3 pop(options);
        std::vector<std::string> more = {"--subject",       "s",
                                         "--text-string",   "x",
                                         "--tls",           "none",
                                         "--auth",          "pop",
                                         "--user",          "me",
                                         "--pop-port",      std::to_string(pop.port()),
                                         "--password-file", folder.write("password", "right\n")};
        if (apop) more.push_back("--pop-apop");
        expect_sent(run_cli(send_arguments(server.port(), more)));
        ASSERT_EQ(1u, pop.conversations().size());
        EXPECT_EQ("me", pop.conversations()[0].user);
        EXPECT_EQ(apop ? "APOP" : "USER", pop.conversations()[0].mechanism);
    }
    EXPECT_EQ(2u, server.mails().size());
}

TEST(CliSend, TheAccountStandsInAFile)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    const std::string config = folder.write(
        "mail.conf", "# mine\nserver = 127.0.0.1\nport = " + std::to_string(server.port()) +
                         "\nfrom = me@example.com\ncharset = iso-8859-1\nhost-name = from.file\n");
    expect_sent(run_cli({"send", "--config", config, "--host-name", "from.line", "--to", "you@example.com",
                         "--text-string", "x"}));
    const LoopbackMail mail = only_mail(server);
    EXPECT_EQ("me@example.com", mail.from);
    EXPECT_EQ("from.line", server.conversations()[0].hello);
    EXPECT_NE(std::string::npos, mail.octets().find("iso-8859-1"));
}

TEST(CliCheck, SaysWhetherTheAccountWorks)
{
    const TemporaryFolder folder;
    SmtpOptions options;
    options.auth = {"PLAIN"};
    options.users = {{"me", "right"}};
    const LoopbackSmtp server(options);
    const std::vector<std::string> account = {
        "check", "--server", "127.0.0.1", "--port", std::to_string(server.port()), "--tls", "none"};
    const CliResult open = run_cli(account);
    EXPECT_EQ(0, open.exit_code) << open.err;
    EXPECT_EQ("127.0.0.1 port " + std::to_string(server.port()) + ": the connection works\n", open.out);
    std::vector<std::string> unheard = {"-c", "exec \"$0\" \"$@\" > /dev/full", VELORIN_MAIL_PROGRAM};
    unheard.insert(unheard.end(), account.begin(), account.end());
    const CliResult full = CliProcess("/bin/sh", unheard).wait(30000);
    EXPECT_EQ(74, full.exit_code);
    EXPECT_NE(std::string::npos, full.sentence().find("the result cannot be written to standard output"))
        << full.err;
    std::vector<std::string> login = account;
    login.insert(login.end(), {"--user", "me", "--password-file", folder.write("right", "right"), "--json"});
    const CliResult good = run_cli(login);
    EXPECT_EQ(0, good.exit_code) << good.err;
    EXPECT_EQ(0u, good.out.find("{\"command\":\"check\",\"status\":\"works\",\"exit_code\":0,")) << good.out;
    folder.write("right", "wrong");
    const CliResult bad = run_cli(login);
    EXPECT_EQ(77, bad.exit_code);
    EXPECT_NE(std::string::npos, bad.sentence().find("test 127.0.0.1 port")) << bad.err;
    EXPECT_TRUE(server.mails().empty());
}
