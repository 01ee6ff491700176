#include "account.h"

#include <limits>

#include <unistd.h>

#include "setting_values.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = kSettingsStep;
constexpr std::int32_t kSmtpsPort = 465;
constexpr std::int32_t kPop3Port = 110;
constexpr std::int32_t kPop3sPort = 995;
constexpr std::int32_t kSubmissionPort = 587;
constexpr long kMaxSeconds = 86400;  // a day; longer waits are mistakes of unit

bool read_auth(const Settings& settings, AuthKind& kind, bool& given, Failure& failure)
{
    static const struct {
        const char* name;
        AuthKind kind;
    } rows[] = {{"none", AuthKind::kNone},      {"auto", AuthKind::kAuto}, {"plain", AuthKind::kPlain},
                {"login", AuthKind::kLogin},    {"pop", AuthKind::kPop},   {"cram-md5", AuthKind::kCramMd5},
                {"xoauth2", AuthKind::kXoauth2}};
    const auto found = settings.find("auth");
    given = found != settings.end();
    if (!given) return true;
    for (const auto& row : rows) {
        if (found->second != row.name) continue;
        kind = row.kind;
        return true;
    }
    return fail(failure, kExitUsage, kStep,
                "auth must be none, auto, plain, login, cram-md5, pop or xoauth2");
}

// This machine's name when it can stand in a greeting (RFC 5321, section 4.1.2); empty when not.
std::string machine_name()
{
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0) return std::string();
    for (const char* c = name; *c != '\0'; ++c) {
        const bool letter = (*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z');
        if (!letter && !(*c >= '0' && *c <= '9') && *c != '-' && *c != '.') return std::string();
    }
    return name;
}

bool read_pop(const Settings& settings, Account& account, Failure& failure)
{
    long port = 0;
    long wait = 0;
    bool tls_given = false;
    account.pop_server = text_of(settings, "pop-server");
    account.pop_user = text_of(settings, "pop-user");
    account.pop_apop = is_on(settings, "pop-apop");
    if (!read_number(settings, "pop-port", 1, 65535, port, failure)) return false;
    if (!read_number(settings, "pop-wait", 0, kMaxSeconds, wait, failure)) return false;
    if (!read_tls(settings, "pop-tls", account.pop_tls, tls_given, failure)) return false;
    if (!read_password_source(settings, "pop-", account.pop_password, failure)) return false;
    account.pop_password.file = at_home(account.pop_password.file);
    account.pop_port = static_cast<std::int32_t>(port);
    account.pop_wait = static_cast<std::int32_t>(wait);
    if (account.pop_server.empty()) account.pop_server = account.server;
    if (account.pop_user.empty()) account.pop_user = account.user;
    if (!tls_given) account.pop_tls = account.pop_port == kPop3sPort ? TlsMode::kFromTheStart : account.tls;
    if (account.auth == AuthKind::kPop && account.pop_user.empty())
        return fail(failure, kExitUsage, kStep, "auth pop needs a user, give user or pop-user");
    return true;
}

// The name of a server, as it is given.
bool check_server(const std::string& server, Failure& failure)
{
    if (server.empty()) return fail(failure, kExitUsage, kStep, "no server, give --server HOST");
    if (server.find_first_of(" \t/@") != std::string::npos)
        return fail(failure, kExitUsage, kStep, "\"" + server + "\" is not the name or address of a server");
    return true;
}

// What does not depend on the protocol, but for the server's name.
bool read_connection(const Settings& settings, Account& account, Failure& failure)
{
    long timeout = 0;
    long data_timeout = 0;
    if (!read_number(settings, "timeout", 1, kMaxSeconds, timeout, failure)) return false;
    if (!read_number(settings, "data-timeout", 1, kMaxSeconds, data_timeout, failure)) return false;
    if (!read_password_source(settings, "", account.password, failure)) return false;
    account.server = text_of(settings, "server");
    account.timeout = static_cast<std::uint32_t>(timeout);
    account.data_timeout = static_cast<std::uint32_t>(data_timeout);
    account.ca_file = at_home(text_of(settings, "ca-file"));
    account.password.file = at_home(account.password.file);
    account.verify = !is_on(settings, "no-verify");
    account.tls13_only = is_on(settings, "tls13-only");
    account.user = text_of(settings, "user");
    account.ipv6 = is_on(settings, "ipv6");
    account.daemon = is_on(settings, "daemon");
    return true;
}

bool check_authorities(const Account& account, Failure& failure)
{
    if (!account.ca_file.empty() && ::access(account.ca_file.c_str(), R_OK) != 0)
        return fail(failure, kExitConfig, kStep, "cannot read the certificates in " + account.ca_file);
    return true;
}

// What the running mail service decides for all of its clients has no effect here, and must not seem to have one.
bool check_daemon(const Settings& settings, const Account& account, Failure& failure)
{
    if (!account.daemon) return true;
    for (const char* const name : {"ca-file", "data-timeout"}) {
        if (!text_of(settings, name).empty())
            return fail(
                failure, kExitConfig, kStep,
                std::string(name) +
                    " is a setting of the running mail service, it cannot be given together with daemon");
    }
    return true;
}

// Port and TLS of the SMTP server, from which those of the POP3 server may follow.
//   in      logs_in: a password never goes out in clear unless somebody says so
bool read_port_and_tls(const Settings& settings, bool logs_in, Account& account, Failure& failure)
{
    long port = 0;
    bool tls_given = false;
    if (!read_number(settings, "port", 1, 65535, port, failure)) return false;
    if (!read_tls(settings, "tls", account.tls, tls_given, failure)) return false;
    account.port = static_cast<std::int32_t>(port);
    if (tls_given) return true;
    if (account.port == kSmtpsPort)
        account.tls = TlsMode::kFromTheStart;
    else if (logs_in)
        account.tls = TlsMode::kStartTls;
    return true;
}

}  // namespace

bool make_account(const Settings& settings, Account& account, Failure& failure)
{
    account = Account();
    if (!check_texts(settings, failure)) return false;
    long size_limit = 0;
    bool auth_given = false;
    if (!read_number(settings, "size-limit", 1, std::numeric_limits<std::int32_t>::max(), size_limit,
                     failure))
        return false;
    if (!read_auth(settings, account.auth, auth_given, failure)) return false;
    if (!read_connection(settings, account, failure)) return false;
    if (!auth_given) account.auth = account.user.empty() ? AuthKind::kNone : AuthKind::kAuto;
    if (!read_port_and_tls(settings, account.auth != AuthKind::kNone, account, failure)) return false;
    if (!check_server(account.server, failure)) return false;
    account.size_limit = static_cast<std::int32_t>(size_limit);
    account.host_name = settings.count("host-name") != 0 ? text_of(settings, "host-name") : machine_name();
    account.from = text_of(settings, "from");
    account.sender = text_of(settings, "sender");
    account.reply_to = text_of(settings, "reply-to");
    if (!read_domain_rule(settings, account.recipients, failure)) return false;
    if (settings.count("charset") != 0) account.charset = text_of(settings, "charset");
    if (account.port == 0 && account.tls == TlsMode::kStartTls) account.port = kSubmissionPort;
    if (account.auth != AuthKind::kNone && account.auth != AuthKind::kPop && account.user.empty())
        return fail(failure, kExitUsage, kStep,
                    "auth " + text_of(settings, "auth") + " needs a user, give --user NAME");
    return check_authorities(account, failure) && check_daemon(settings, account, failure) &&
           read_pop(settings, account, failure);
}

bool make_mailbox_account(const Settings& settings, Account& account, Failure& failure)
{
    account = Account();
    if (!check_texts(settings, failure) || !read_connection(settings, account, failure) ||
        !read_port_and_tls(settings, true, account, failure) || !read_pop(settings, account, failure))
        return false;
    if (!check_server(account.pop_server, failure)) return false;
    if (account.pop_user.empty()) return fail(failure, kExitUsage, kStep, "no user, give --user NAME");
    if (!account.pop_password.given()) account.pop_password = account.password;
    if (account.pop_port == 0)
        account.pop_port = account.pop_tls == TlsMode::kFromTheStart ? kPop3sPort : kPop3Port;
    return check_authorities(account, failure) && check_daemon(settings, account, failure);
}

bool needs_password(const Account& account)
{
    return account.auth != AuthKind::kNone;
}

std::unique_ptr<CntsPOP3Settings> make_pop3_settings(const Account& account, const Secret& password)
{
    SPOP3Setting record;
    record.c_server.CopyString(account.pop_server.c_str(), -1);
    record.c_user_id.CopyString(account.pop_user.c_str(), -1);
    record.c_passwd.CopyString(password.c_str(), -1);
    record.n_port = account.pop_port;
    record.is_apop = account.pop_apop ? 1 : 0;
    record.n_timeout = static_cast<std::int32_t>(account.timeout);
    record.b_is_ipv6 = account.ipv6 ? 1 : 0;
    record.n_tls_mode = static_cast<std::uint8_t>(account.pop_tls);
    record.n_ssl_auth = account.verify ? 0 : 1;
    record.n_ssl_encrypt = account.tls13_only ? 1 : 0;
    auto settings = std::make_unique<CntsPOP3Settings>(record);
    wipe(record.c_passwd);
    return settings;
}

std::unique_ptr<CntsSMTPSettings> make_smtp_settings(const Account& account, const Secret& password,
                                                     const Secret& pop_password)
{
    nts_smtp_settings record;
    record.c_server.CopyString(account.server.c_str(), -1);
    if (!account.host_name.empty()) record.c_host_name.CopyString(account.host_name.c_str(), -1);
    record.auth_kind = static_cast<std::int32_t>(account.auth);
    record.n_port = account.port;
    record.n_tmo = static_cast<std::int32_t>(account.timeout);
    record.n_size_limit = account.size_limit;
    record.n_pop_wait_time = account.pop_wait;
    record.b_is_ipv6 = account.ipv6 ? 1 : 0;
    record.tlsmode = static_cast<std::uint8_t>(account.tls);
    record.sslauth = account.verify ? 0 : 1;
    record.sslencrypt = account.tls13_only ? 1 : 0;

    std::unique_ptr<CntsPOP3Settings> pop;
    if (account.auth == AuthKind::kPop) {
        pop = make_pop3_settings(account, pop_password);
        record.p_pop3_settings = pop.get();
    } else if (account.auth != AuthKind::kNone) {
        record.c_usr_id.CopyString(account.user.c_str(), -1);
        record.c_paswd.CopyString(password.c_str(), -1);
    }
    auto settings = std::make_unique<CntsSMTPSettings>(record);
    wipe(record.c_paswd);
    if (pop != nullptr) wipe(pop->c_passwd);
    return settings;
}

void wipe_passwords(CntsSMTPSettings& settings)
{
    wipe(settings.c_paswd);
    if (settings.p_pop3_settings != nullptr) wipe(settings.p_pop3_settings->c_passwd);
}

}  // namespace velorin::cli
