#include "account.h"

#include <cstring>
#include <map>

#include <gtest/gtest.h>

#include "password.h"
#include "temporary_folder.h"

using namespace velorin::cli;

namespace {

Account made(const Settings& settings)
{
    Account account;
    Failure failure;
    EXPECT_TRUE(make_account(settings, account, failure)) << failure.sentence;
    return account;
}

}  // namespace

TEST(CliAccount, TlsFollowsPortAndLogin)
{
    static const struct {
        const char* label;
        Settings settings;
        TlsMode tls;
        std::int32_t port;
        AuthKind auth;
    } cases[] = {
        {"nobody logs in", {}, TlsMode::kNone, 0, AuthKind::kNone},
        {"a user logs in", {{"user", "u"}}, TlsMode::kStartTls, 587, AuthKind::kAuto},
        {"a user on a port", {{"user", "u"}, {"port", "2525"}}, TlsMode::kStartTls, 2525, AuthKind::kAuto},
        {"in clear when it is said", {{"user", "u"}, {"tls", "none"}}, TlsMode::kNone, 0, AuthKind::kAuto},
        {"port 465", {{"port", "465"}}, TlsMode::kFromTheStart, 465, AuthKind::kNone},
        {"port 465 in clear", {{"port", "465"}, {"tls", "none"}}, TlsMode::kNone, 465, AuthKind::kNone},
        {"from the start", {{"tls", "tls"}}, TlsMode::kFromTheStart, 0, AuthKind::kNone},
        {"a user without login", {{"user", "u"}, {"auth", "none"}}, TlsMode::kNone, 0, AuthKind::kNone},
        {"cram-md5", {{"user", "u"}, {"auth", "cram-md5"}}, TlsMode::kStartTls, 587, AuthKind::kCramMd5},
    };
    for (const auto& c : cases) {
        Settings settings = c.settings;
        settings["server"] = "mx";
        const Account account = made(settings);
        EXPECT_EQ(c.tls, account.tls) << c.label;
        EXPECT_EQ(c.port, account.port) << c.label;
        EXPECT_EQ(c.auth, account.auth) << c.label;
    }
}

TEST(CliAccount, WrongSettingsAreUsageErrors)
{
    static const struct {
        const char* label;
        Settings settings;
    } cases[] = {
        {"no server", {{"user", "u"}}},
        {"port 0", {{"server", "mx"}, {"port", "0"}}},
        {"port too high", {{"server", "mx"}, {"port", "65536"}}},
        {"port no number", {{"server", "mx"}, {"port", "25x"}}},
        {"port negative", {{"server", "mx"}, {"port", "-25"}}},
        {"port empty", {{"server", "mx"}, {"port", ""}}},
        {"port huge", {{"server", "mx"}, {"port", "99999999999999999999"}}},
        {"size limit too high", {{"server", "mx"}, {"size-limit", "2147483648"}}},
        {"tls", {{"server", "mx"}, {"tls", "ssl"}}},
        {"auth", {{"server", "mx"}, {"auth", "digest"}}},
        {"auth without user", {{"server", "mx"}, {"auth", "plain"}}},
        {"pop without user", {{"server", "mx"}, {"auth", "pop"}}},
        {"line break", {{"server", "mx\nQUIT"}}},
        {"address as server", {{"server", "me@mx"}}},
        {"two password sources",
         {{"server", "mx"}, {"user", "u"}, {"password-file", "a"}, {"password-command", "b"}}},
        {"timeout 0", {{"server", "mx"}, {"timeout", "0"}}},
    };
    for (const auto& c : cases) {
        Account account;
        Failure failure;
        EXPECT_FALSE(make_account(c.settings, account, failure)) << c.label;
        EXPECT_EQ(kExitUsage, failure.exit_code) << c.label;
        EXPECT_FALSE(failure.sentence.empty()) << c.label;
    }
}

TEST(CliAccount, WhatTheRunningServiceDecidesIsRefusedBesideIt)
{
    for (const auto& [name, value] :
         std::map<std::string, std::string>{{"ca-file", "/dev/null"}, {"data-timeout", "5"}}) {
        for (const auto make : {make_account, make_mailbox_account}) {
            Settings settings = {{"server", "mx"}, {"pop-server", "pop"}, {"user", "u"}, {name, value}};
            Account account;
            Failure failure;
            EXPECT_TRUE(make(settings, account, failure)) << failure.sentence;
            settings["daemon"] = "true";
            EXPECT_FALSE(make(settings, account, failure)) << name;
            EXPECT_EQ(kExitConfig, failure.exit_code) << name;
            EXPECT_EQ(
                name + " is a setting of the running mail service, it cannot be given together with daemon",
                failure.sentence);
        }
    }
}

TEST(CliAccount, PopBeforeSmtpTakesOverWhatItIsNotTold)
{
    const Account account =
        made({{"server", "mx"}, {"user", "u"}, {"auth", "pop"}, {"pop-wait", "3"}, {"pop-apop", "true"}});
    EXPECT_EQ("mx", account.pop_server);
    EXPECT_EQ("u", account.pop_user);
    EXPECT_EQ(TlsMode::kStartTls, account.pop_tls);
    EXPECT_EQ(3, account.pop_wait);
    EXPECT_TRUE(account.pop_apop);
    const Account other = made({{"server", "mx"},
                                {"user", "u"},
                                {"auth", "pop"},
                                {"pop-server", "pop"},
                                {"pop-port", "995"},
                                {"pop-user", "v"}});
    EXPECT_EQ("pop", other.pop_server);
    EXPECT_EQ("v", other.pop_user);
    EXPECT_EQ(TlsMode::kFromTheStart, other.pop_tls);
}

TEST(CliAccount, TheLibrarysSettingsSayTheSame)
{
    Secret password;
    Secret pop_password;
    ASSERT_TRUE(password.assign("secret", 6));
    Account account = made({{"server", "mx"},
                            {"port", "2525"},
                            {"user", "u"},
                            {"tls", "tls"},
                            {"auth", "login"},
                            {"no-verify", "true"},
                            {"tls13-only", "true"},
                            {"host-name", "me.example"},
                            {"timeout", "7"},
                            {"size-limit", "1000"},
                            {"ipv6", "true"}});
    const auto settings = make_smtp_settings(account, password, pop_password);
    EXPECT_STREQ("mx", settings->c_server.GetString());
    EXPECT_EQ(2525, settings->n_port);
    EXPECT_STREQ("u", settings->c_usr_id.GetString());
    EXPECT_STREQ("secret", settings->c_paswd.GetString());
    EXPECT_STREQ("me.example", settings->c_host_name.GetString());
    EXPECT_EQ(3, settings->auth_kind);
    EXPECT_EQ(7, settings->n_tmo);
    EXPECT_EQ(1000, settings->n_size_limit);
    EXPECT_EQ(1, settings->b_is_ipv6);
    EXPECT_EQ(2, settings->tlsmode);
    EXPECT_EQ(1, settings->sslauth);
    EXPECT_EQ(1, settings->sslencrypt);
    EXPECT_EQ(nullptr, settings->p_pop3_settings);
    wipe_passwords(*settings);
    EXPECT_EQ(0, std::memcmp(settings->c_paswd.GetString(), "\0\0\0\0\0\0", 6));
}

TEST(CliAccount, ThePopPasswordStandsInThePopSettingsOnly)
{
    Secret password;
    Secret pop_password;
    ASSERT_TRUE(pop_password.assign("secret", 6));
    const Account account = made({{"server", "mx"},
                                  {"user", "u"},
                                  {"auth", "pop"},
                                  {"pop-server", "pop"},
                                  {"pop-port", "1110"},
                                  {"pop-tls", "none"}});
    const auto settings = make_smtp_settings(account, password, pop_password);
    ASSERT_NE(nullptr, settings->p_pop3_settings);
    EXPECT_STREQ("pop", settings->p_pop3_settings->c_server.GetString());
    EXPECT_EQ(1110, settings->p_pop3_settings->n_port);
    EXPECT_STREQ("secret", settings->p_pop3_settings->c_passwd.GetString());
    EXPECT_EQ(0, settings->p_pop3_settings->n_tls_mode);
    EXPECT_EQ(0, settings->c_usr_id.GetLength());
    EXPECT_EQ(0, settings->c_paswd.GetLength());
    wipe_passwords(*settings);
    EXPECT_EQ(0, std::memcmp(settings->p_pop3_settings->c_passwd.GetString(), "\0\0\0\0\0\0", 6));
}

TEST(CliPassword, ComesFromTheFirstLineOfAFileOrACommand)
{
    const TemporaryFolder folder;
    static const struct {
        const char* text;
        const char* password;
    } cases[] = {{"secret\n", "secret"},
                 {"secret", "secret"},
                 {"a b\r\nmore\n", "a b"},
                 {"p\xC3\xA4ss\nx", "p\xC3\xA4ss"}};
    for (const auto& c : cases) {
        const std::string file = folder.write("password", c.text);
        for (const PasswordSource& source : {PasswordSource{"", file}, PasswordSource{"cat " + file, ""}}) {
            Secret password;
            Failure failure;
            ASSERT_TRUE(get_password(source, "u at mx", password, failure)) << failure.sentence;
            EXPECT_STREQ(c.password, password.c_str());
            EXPECT_EQ(std::strlen(c.password), password.length());
        }
    }
}

TEST(CliPassword, WhatCannotBeAPasswordIsRefusedWithoutRepeatingIt)
{
    const TemporaryFolder folder;
    static const struct {
        const char* label;
        PasswordSource source;
    } cases[] = {
        {"no file", {"", folder.path() + "/none"}},
        {"empty file", {"", folder.write("empty", "")}},
        {"empty line", {"", folder.write("line", "\nhunter2\n")}},
        {"control character", {"", folder.write("control", "hunter2\x01\n")}},
        {"too long", {"", folder.write("long", std::string(Secret::kCapacity + 1, 'x'))}},
        {"failing command", {"echo hunter2; exit 3", ""}},
        {"killed command", {"echo hunter2; kill -9 $$", ""}},
        {"silent command", {"true", ""}},
        {"no such command", {"/nonexistent/command 2>/dev/null", ""}},
        {"command without input", {"cat", ""}},
    };
    for (const auto& c : cases) {
        Secret password;
        Failure failure;
        EXPECT_FALSE(get_password(c.source, "u at mx", password, failure)) << c.label;
        EXPECT_EQ(kExitConfig, failure.exit_code) << c.label;
        EXPECT_EQ(std::string::npos, failure.sentence.find("hunter2")) << c.label;
    }
}

TEST(CliSecret, KeepsItsLimitAndForgets)
{
    Secret secret;
    const std::string longest(Secret::kCapacity, 'x');
    EXPECT_TRUE(secret.assign(longest.data(), longest.size()));
    EXPECT_FALSE(secret.assign((longest + "y").data(), longest.size() + 1));
    EXPECT_EQ(longest.size(), secret.length());
    const char* const octets = secret.c_str();
    secret.clear();
    EXPECT_TRUE(secret.empty());
    EXPECT_EQ(std::string(longest.size(), '\0'), std::string(octets, longest.size()));
}

TEST(CliAccount, AMailboxTakesOverWhatItsOwnSettingsLeaveOpen)
{
    static const struct {
        const char* label;
        Settings settings;
        const char* server;
        const char* user;
        TlsMode tls;
        std::int32_t port;
    } cases[] = {
        {"all from SMTP", {}, "smtp", "u", TlsMode::kStartTls, 110},
        {"its own", {{"pop-server", "pop"}, {"pop-user", "p"}}, "pop", "p", TlsMode::kStartTls, 110},
        {"port 995", {{"pop-port", "995"}}, "smtp", "u", TlsMode::kFromTheStart, 995},
        {"from the start", {{"pop-tls", "tls"}}, "smtp", "u", TlsMode::kFromTheStart, 995},
        {"SMTP from the start", {{"port", "465"}}, "smtp", "u", TlsMode::kFromTheStart, 995},
        {"in clear when it is said", {{"pop-tls", "none"}}, "smtp", "u", TlsMode::kNone, 110},
        {"SMTP without login", {{"auth", "none"}}, "smtp", "u", TlsMode::kStartTls, 110},
        {"port of SMTP", {{"port", "587"}}, "smtp", "u", TlsMode::kStartTls, 110},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.label);
        Settings settings = {{"server", "smtp"}, {"user", "u"}, {"password-file", "f"}};
        for (const auto& [name, value] : row.settings)
            settings[name] = value;
        Account account;
        Failure failure;
        ASSERT_TRUE(make_mailbox_account(settings, account, failure)) << failure.sentence;
        EXPECT_EQ(row.server, account.pop_server);
        EXPECT_EQ(row.user, account.pop_user);
        EXPECT_EQ(row.tls, account.pop_tls);
        EXPECT_EQ(row.port, account.pop_port);
        EXPECT_EQ("f", account.pop_password.file);
        const auto record = make_pop3_settings(account, Secret());
        EXPECT_EQ(row.port, record->n_port);
        EXPECT_EQ(static_cast<std::uint8_t>(row.tls), record->n_tls_mode);
        EXPECT_EQ(0, record->n_ssl_auth);
    }
}

TEST(CliAccount, AMailboxNeedsServerAndUser)
{
    static const struct {
        Settings settings;
        const char* part;
    } cases[] = {
        {{}, "no server"},
        {{{"pop-server", "p"}}, "no user"},
        {{{"pop-server", "a b"}, {"pop-user", "u"}}, "is not the name or address of a server"},
        {{{"pop-server", "p"}, {"pop-user", "u\n"}}, "pop-user holds a line break"},
        {{{"pop-server", "p"}, {"pop-user", "u"}, {"pop-port", "0"}}, "pop-port must be a number"},
        {{{"pop-server", "p"}, {"pop-user", "u"}, {"pop-tls", "ssl"}}, "pop-tls must be"},
    };
    for (const auto& row : cases) {
        Account account;
        Failure failure;
        EXPECT_FALSE(make_mailbox_account(row.settings, account, failure)) << row.part;
        EXPECT_EQ(kExitUsage, failure.exit_code);
        EXPECT_NE(std::string::npos, failure.sentence.find(row.part)) << failure.sentence;
    }
}
