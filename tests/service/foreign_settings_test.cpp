// What others have set in the environment and keep in the home folder, proxies and log-in data, is not the service's: it
// goes to the server of the account, straight, and logs in as the account says or not at all.
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "daemon_fixture.h"
#include "loopback_listener.h"
#include "loopback_smtp.h"
#include "pop3_fixture.h"
#include "velorin_mail_service.h"

namespace velorin {
namespace {

using velorin_test::ChildProcess;
using velorin_test::kPassword;
using velorin_test::kSoon;
using velorin_test::kUser;
using velorin_test::LoopbackPop3;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::over_channel;
using velorin_test::pop3_over_channel;
using velorin_test::Pop3Client;
using velorin_test::ServiceClient;
using velorin_test::SmtpOptions;

using Variable = std::pair<std::string, std::string>;

constexpr char kForeignPassword[] = "foreign-pw";

// Lets every caller go and counts them.
class UnwantedProxy {
public:
    std::uint16_t port() const { return listener_.port(); }
    int callers() const { return callers_; }

private:
    std::atomic<int> callers_{0};
    velorin_test::LoopbackListener listener_{0, 60000,
                                             [this](velorin_test::LoopbackConnection&) { ++callers_; }};
};

// Variables of this process, as they were again afterwards.
class OwnVariables {
public:
    explicit OwnVariables(const std::vector<Variable>& variables)
    {
        for (const Variable& variable : variables) {
            const char* const before = std::getenv(variable.first.c_str());
            before_.emplace_back(variable.first,
                                 before != nullptr ? std::make_unique<std::string>(before) : nullptr);
            ::setenv(variable.first.c_str(), variable.second.c_str(), 1);
        }
    }
    ~OwnVariables()
    {
        for (const auto& [name, value] : before_) {
            if (value != nullptr)
                ::setenv(name.c_str(), value->c_str(), 1);
            else
                ::unsetenv(name.c_str());
        }
    }
    OwnVariables(const OwnVariables&) = delete;
    OwnVariables& operator=(const OwnVariables&) = delete;

private:
    std::vector<std::pair<std::string, std::unique_ptr<std::string>>> before_;
};

// A service in surroundings that have been made, as a daemon or inside this process.
class ForeignSettings : public velorin_test::DaemonFixture, public testing::WithParamInterface<bool> {
protected:
    void serve_among(const std::vector<Variable>& variables)
    {
        service_.reset();
        daemon_.reset();
        variables_.reset();
        if (GetParam()) {
            std::vector<std::string> entries;
            for (const Variable& variable : variables)
                entries.push_back(variable.first + "=" + variable.second);
            daemon_ = start("command_timeout = 5\n", entries);
        } else {
            variables_ = std::make_unique<OwnVariables>(variables);
            service_ = std::make_unique<EmbeddedMailService>(velorin_test::quick_options());
            ASSERT_TRUE(service_->running()) << service_->error();
        }
    }

    // Every name that such a variable goes by, and nothing that excepts this host.
    static std::vector<Variable> proxies(const std::string& scheme, std::uint16_t port)
    {
        std::vector<Variable> out = {{"no_proxy", ""}, {"NO_PROXY", ""}};
        for (const char* const name :
             {"http_proxy", "https_proxy", "HTTPS_PROXY", "ftp_proxy", "smtp_proxy", "SMTP_PROXY",
              "smtps_proxy", "SMTPS_PROXY", "pop3_proxy", "POP3_PROXY", "pop3s_proxy", "POP3S_PROXY",
              "socks_proxy", "SOCKS_PROXY", "SOCKS_SERVER", "all_proxy", "ALL_PROXY"})
            out.emplace_back(name, scheme + "://127.0.0.1:" + std::to_string(port));
        return out;
    }

    // A home folder with log-in data for this very server and user.
    std::vector<Variable> home() const
    {
        write_home("/.netrc",
                   std::string("machine 127.0.0.1 login ") + kUser + " password " + kForeignPassword + "\n");
        write_home("/.curlrc", std::string("user = ") + kUser + ":" + kForeignPassword + "\nnetrc\n");
        return {{"HOME", folder.path()}, {"CURL_HOME", folder.path()}, {"NETRC", folder.path() + "/.netrc"}};
    }

private:
    void write_home(const std::string& name, const std::string& text) const
    {
        const std::string path = folder.path() + name;
        std::ofstream(path) << text;
        ::chmod(path.c_str(), 0600);
    }

    std::unique_ptr<OwnVariables> variables_;
    std::unique_ptr<ChildProcess> daemon_;
    std::unique_ptr<EmbeddedMailService> service_;
};

constexpr const char* kSchemes[] = {"http", "https", "socks4", "socks5h"};

TEST_P(ForeignSettings, ProxyIsNotAskedForSmtp)
{
    const UnwantedProxy proxy;
    for (const char* const scheme : kSchemes) {
        const LoopbackSmtp server;
        serve_among(proxies(scheme, proxy.port()));
        ServiceClient client(over_channel());
        client.settings.set_n_port(server.port());
        ASSERT_EQ("ok", name_of(client.create()));
        EXPECT_EQ("ok", name_of(client.test())) << scheme;
        ASSERT_EQ("ok", name_of(client.connect())) << scheme;
        EXPECT_EQ("ok", name_of(client.send("x"))) << scheme;
        EXPECT_EQ("ok", name_of(client.destroy()));
        EXPECT_EQ(1u, server.mails().size());
        EXPECT_EQ(0, proxy.callers()) << scheme;
    }
}

TEST_P(ForeignSettings, ProxyIsNotAskedForPop3)
{
    const UnwantedProxy proxy;
    for (const char* const scheme : kSchemes) {
        const LoopbackPop3 server(velorin_test::with_mails({"Subject: a\r\n\r\n"}));
        serve_among(proxies(scheme, proxy.port()));
        Pop3Client client(pop3_over_channel());
        client.settings.set_n_port(server.port());
        ASSERT_EQ("ok", name_of(client.create()));
        EXPECT_EQ("ok", name_of(client.test())) << scheme;
        ASSERT_EQ("ok", name_of(client.connect())) << scheme;
        EXPECT_EQ("ok", name_of(client.stat())) << scheme;
        EXPECT_EQ(1, client.count);
        EXPECT_EQ("ok", name_of(client.destroy()));
        EXPECT_EQ(0, proxy.callers()) << scheme;
    }
}

// POP before SMTP opens connections of both kinds in one operation.
TEST_P(ForeignSettings, ProxyIsNotAskedForPopBeforeSmtp)
{
    const UnwantedProxy proxy;
    const LoopbackSmtp server;
    const LoopbackPop3 mailbox(velorin_test::with_mails({}));
    serve_among(proxies("socks5h", proxy.port()));
    ServiceClient client(over_channel());
    client.settings.set_auth_kind(5);
    *client.settings.mutable_p_pop3_settings() = Pop3Client(pop3_over_channel()).settings;
    client.settings.mutable_p_pop3_settings()->set_n_port(mailbox.port());
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_TRUE(mailbox.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(kUser, mailbox.conversations()[0].user);
    EXPECT_EQ(0, proxy.callers());
}

TEST_P(ForeignSettings, LogInDataIsNotSaidToAnSmtpServer)
{
    SmtpOptions options;
    options.auth = {"PLAIN", "LOGIN"};
    options.users = {{kUser, kForeignPassword}};
    const LoopbackSmtp server(options);
    serve_among(home());
    for (const std::int32_t kind : {0, 1}) {
        ServiceClient client(over_channel());
        client.settings.set_auth_kind(kind);
        EXPECT_EQ("ok", name_of(client.open(server.port()))) << kind;
        EXPECT_EQ("EHLO client.example\n", server.conversations().back().client_lines()) << kind;
        // A user without a password, and one with another.
        for (const char* const password : {"", kPassword}) {
            client.log_in(1);
            client.settings.set_c_paswd(password);
            EXPECT_EQ("login-refused", name_of(client.open(server.port()))) << kind << password;
            EXPECT_EQ("", server.conversations().back().user);
        }
    }
}

TEST_P(ForeignSettings, LogInDataIsNotSaidToAPop3Server)
{
    auto options = velorin_test::with_mails({"Subject: a\r\n\r\n"});
    options.users = {{kUser, kForeignPassword}};
    for (const char* const mechanism : {"", "PLAIN"}) {
        options.auth.clear();
        if (*mechanism != '\0') options.auth.emplace_back(mechanism);
        const LoopbackPop3 server(options);
        serve_among(home());
        for (const char* const password : {"", kPassword}) {
            Pop3Client client(pop3_over_channel());
            client.settings.set_c_passwd(password);
            EXPECT_EQ("login-refused", name_of(client.open(server.port()))) << mechanism << password;
            EXPECT_EQ("", server.conversations().back().user);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Service, ForeignSettings, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& form) {
                             return form.param ? "Daemon" : "Embedded";
                         });

}  // namespace
}  // namespace velorin
