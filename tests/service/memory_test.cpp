// A password is nowhere in the memory of a process once its session is over: neither in an application's, nor in
// that of a service inside it, nor in the daemon's.
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "loopback_pop3.h"
#include "loopback_smtp.h"
#include "password_session.h"
#include "process_memory.h"
#include "service_client.h"

namespace velorin {
namespace {

using velorin_test::ChildProcess;
using velorin_test::forms_of;
using velorin_test::kSoon;
using velorin_test::kUser;
using velorin_test::LoopbackPop3;
using velorin_test::LoopbackSmtp;
using velorin_test::may_look_into;
using velorin_test::password_of_program;
using velorin_test::places_of;
using velorin_test::Pop3Options;
using velorin_test::SmtpOptions;
using velorin_test::TemporaryFolder;

constexpr int kPatience = 30000;  // milliseconds; all of a process's memory is looked through

enum class Server { in_clear, under_tls, refuses };

struct Account {
    const char* label;
    const char* protocol;
    const char* auth_kind;
    const char* mechanism;  // that the server offers
    const char* password;   // "long" or "short"
    Server server = Server::in_clear;
    bool pop3_first = false;
};

class PasswordInMemory : public testing::TestWithParam<Account> {
protected:
    PasswordInMemory()
        : password_(password_of_program(GetParam().password == std::string("long"))), smtp_(smtp_options()),
          pop3_(pop3_options())
    {
    }

    std::vector<std::string> command(const char* where) const
    {
        const Account& account = GetParam();
        const std::uint16_t port = account.protocol == std::string("pop3") ? pop3_.port() : smtp_.port();
        std::vector<std::string> words = {
            VELORIN_PASSWORD_SESSION, account.protocol,  where,
            std::to_string(port),     account.auth_kind, account.server == Server::under_tls ? "1" : "0",
            account.password};
        if (account.pop3_first) words.push_back(std::to_string(pop3_.port()));
        return words;
    }

    static const char* connected()
    {
        return GetParam().server == Server::refuses ? "not connected" : "connected";
    }
    std::vector<std::string> environment() const { return {"VELORIN_CHANNEL_DIR=" + folder_.path()}; }
    std::vector<std::string> places(const ChildProcess& process) const
    {
        return places_of(process.pid(), forms_of(password_));
    }

private:
    std::string password_of_server() const
    {
        return GetParam().server == Server::refuses ? "another" : password_;
    }

    SmtpOptions smtp_options() const
    {
        SmtpOptions options;
        options.users = {{kUser, password_of_server()}};
        options.starttls = GetParam().server == Server::under_tls;
        if (!GetParam().pop3_first) options.auth = {GetParam().mechanism};
        return options;
    }

    Pop3Options pop3_options() const
    {
        Pop3Options options;
        options.users = {{kUser, password_of_server()}};
        options.stls = GetParam().server == Server::under_tls;
        const std::string mechanism = GetParam().mechanism;
        options.apop = mechanism == "APOP";
        if (mechanism != "USER" && mechanism != "APOP") options.auth = {mechanism};
        return options;
    }

protected:
    const std::string password_;
    const TemporaryFolder folder_;
    const LoopbackSmtp smtp_;
    const LoopbackPop3 pop3_;
};

TEST_P(PasswordInMemory, OfAnApplicationWithTheServiceInsideIsGone)
{
    ChildProcess application(command("embedded"), environment());
    ASSERT_TRUE(application.wait_for_output(connected(), kSoon)) << application.output();
    EXPECT_FALSE(
        places(application).empty());  // while the session lives: it is looked for in the right places
    application.signal(SIGUSR1);
    ASSERT_TRUE(application.wait_for_output("over", kSoon)) << application.output();
    EXPECT_EQ(std::vector<std::string>(), places(application));
    application.signal(SIGUSR1);
    EXPECT_EQ(0, application.wait_for_end(kPatience));
}

TEST_P(PasswordInMemory, OfAnApplicationAndOfTheDaemonIsGone)
{
    ChildProcess daemon({VELORIN_MAILD}, environment());
    ASSERT_TRUE(daemon.wait_for_output("ready", kSoon)) << daemon.output();
    const bool open = may_look_into(daemon.pid());
    ChildProcess application(command("channel"), environment());
    ASSERT_TRUE(application.wait_for_output(connected(), kSoon)) << application.output();
    EXPECT_FALSE(places(application).empty());
    if (open) {
        EXPECT_FALSE(places(daemon).empty());
    }
    application.signal(SIGUSR1);
    ASSERT_TRUE(application.wait_for_output("over", kSoon)) << application.output();
    EXPECT_EQ(std::vector<std::string>(), places(application));
    // Nobody but root may look into the daemon. What it does with a password is what the service inside an
    // application does; that was looked at above.
    if (open) {
        EXPECT_EQ(std::vector<std::string>(), places(daemon));
    }
}

constexpr Account kAccounts[] = {
    {"SmtpPlain", "smtp", "2", "PLAIN", "long"},
    {"SmtpPlainShort", "smtp", "2", "PLAIN", "short"},
    {"SmtpPlainRefused", "smtp", "2", "PLAIN", "long", Server::refuses},
    {"SmtpPlainUnderTls", "smtp", "2", "PLAIN", "long", Server::under_tls},
    {"SmtpLogin", "smtp", "3", "LOGIN", "long"},
    {"SmtpCramMd5", "smtp", "4", "CRAM-MD5", "long"},
    {"SmtpXoauth2", "smtp", "6", "XOAUTH2", "long"},
    {"PopBeforeSmtp", "smtp", "5", "USER", "long", Server::in_clear, true},
    {"PopBeforeSmtpRefused", "smtp", "5", "USER", "long", Server::refuses, true},
    {"Pop3User", "pop3", "0", "USER", "long"},
    {"Pop3UserShort", "pop3", "0", "USER", "short"},
    {"Pop3UserRefused", "pop3", "0", "USER", "long", Server::refuses},
    {"Pop3UserUnderTls", "pop3", "0", "USER", "long", Server::under_tls},
    {"Pop3Apop", "pop3", "0", "APOP", "long"},
    {"Pop3Plain", "pop3", "0", "PLAIN", "long"},
};

INSTANTIATE_TEST_SUITE_P(Accounts, PasswordInMemory, testing::ValuesIn(kAccounts),
                         [](const testing::TestParamInfo<Account>& account) { return account.param.label; });

}  // namespace
}  // namespace velorin
