#include "account.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

#include <sys/stat.h>
#include <unistd.h>

namespace velorin::cli {

namespace {

constexpr const char* kStep = "settings";
constexpr std::int32_t kSmtpsPort = 465;
constexpr std::int32_t kPop3sPort = 995;
constexpr std::int32_t kSubmissionPort = 587;
constexpr long kMaxSeconds = 86400;  // a day; longer waits are mistakes of unit

std::string text_of(const Settings& settings, const char* name)
{
    const auto found = settings.find(name);
    return found == settings.end() ? std::string() : found->second;
}

bool is_on(const Settings& settings, const char* name)
{
    return text_of(settings, name) == "true";
}

bool has_control(const std::string& text)
{
    for (const char c : text) {
        const auto octet = static_cast<unsigned char>(c);
        if (octet < 0x20 || octet == 0x7F) return true;
    }
    return false;
}

// A decimal number in a range.
//   out     value: unchanged when the setting is absent
bool read_number(const Settings& settings, const char* name, long low, long high, long& value,
                 Failure& failure)
{
    const auto found = settings.find(name);
    if (found == settings.end()) return true;
    const std::string& text = found->second;
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 10);
    const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || errno != 0 || *end != '\0' || number < low || number > high)
        return fail(failure, kExitUsage, kStep,
                    std::string(name) + " must be a number from " + std::to_string(low) + " to " +
                        std::to_string(high));
    value = static_cast<long>(number);
    return true;
}

bool read_tls(const Settings& settings, const char* name, TlsMode& mode, bool& given, Failure& failure)
{
    const auto found = settings.find(name);
    given = found != settings.end();
    if (!given) return true;
    if (found->second == "none")
        mode = TlsMode::kNone;
    else if (found->second == "starttls")
        mode = TlsMode::kStartTls;
    else if (found->second == "tls")
        mode = TlsMode::kFromTheStart;
    else
        return fail(failure, kExitUsage, kStep, std::string(name) + " must be none, starttls or tls");
    return true;
}

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

bool read_password_source(const Settings& settings, const std::string& prefix, PasswordSource& source,
                          Failure& failure)
{
    source.command = text_of(settings, (prefix + "password-command").c_str());
    source.file = text_of(settings, (prefix + "password-file").c_str());
    if (source.command.empty() || source.file.empty()) return true;
    return fail(failure, kExitUsage, kStep,
                "give either " + prefix + "password-command or " + prefix + "password-file, not both");
}

// "~/" at the front of a file name of the configuration file, where no shell replaces it.
std::string at_home(const std::string& path)
{
    const char* const home = std::getenv("HOME");
    if (path.compare(0, 2, "~/") != 0 || home == nullptr) return path;
    return home + path.substr(1);
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

bool check_texts(const Settings& settings, Failure& failure)
{
    for (const auto& [name, value] : settings)
        if (has_control(value))
            return fail(failure, kExitUsage, kStep,
                        name + " holds a line break or another control character");
    return true;
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

}  // namespace

bool make_account(const Settings& settings, Account& account, Failure& failure)
{
    account = Account();
    if (!check_texts(settings, failure)) return false;
    long port = 0;
    long timeout = 0;
    long data_timeout = 0;
    long size_limit = 0;
    bool tls_given = false;
    bool auth_given = false;
    if (!read_number(settings, "port", 1, 65535, port, failure)) return false;
    if (!read_number(settings, "timeout", 1, kMaxSeconds, timeout, failure)) return false;
    if (!read_number(settings, "data-timeout", 1, kMaxSeconds, data_timeout, failure)) return false;
    if (!read_number(settings, "size-limit", 1, std::numeric_limits<std::int32_t>::max(), size_limit,
                     failure))
        return false;
    if (!read_tls(settings, "tls", account.tls, tls_given, failure)) return false;
    if (!read_auth(settings, account.auth, auth_given, failure)) return false;
    if (!read_password_source(settings, "", account.password, failure)) return false;

    account.server = text_of(settings, "server");
    if (account.server.empty()) return fail(failure, kExitUsage, kStep, "no server, give --server HOST");
    if (account.server.find_first_of(" \t/@") != std::string::npos)
        return fail(failure, kExitUsage, kStep,
                    "\"" + account.server + "\" is not the name or address of a server");
    account.port = static_cast<std::int32_t>(port);
    account.timeout = static_cast<std::uint32_t>(timeout);
    account.data_timeout = static_cast<std::uint32_t>(data_timeout);
    account.size_limit = static_cast<std::int32_t>(size_limit);
    account.ca_file = at_home(text_of(settings, "ca-file"));
    account.password.file = at_home(account.password.file);
    account.verify = !is_on(settings, "no-verify");
    account.tls13_only = is_on(settings, "tls13-only");
    account.user = text_of(settings, "user");
    account.ipv6 = is_on(settings, "ipv6");
    account.daemon = is_on(settings, "daemon");
    account.host_name = settings.count("host-name") != 0 ? text_of(settings, "host-name") : machine_name();
    account.from = text_of(settings, "from");
    account.sender = text_of(settings, "sender");
    account.reply_to = text_of(settings, "reply-to");
    if (settings.count("charset") != 0) account.charset = text_of(settings, "charset");

    if (!auth_given) account.auth = account.user.empty() ? AuthKind::kNone : AuthKind::kAuto;
    // A password never goes out in clear unless somebody says so.
    if (!tls_given) {
        if (account.port == kSmtpsPort)
            account.tls = TlsMode::kFromTheStart;
        else if (account.auth != AuthKind::kNone)
            account.tls = TlsMode::kStartTls;
    }
    if (account.port == 0 && account.tls == TlsMode::kStartTls) account.port = kSubmissionPort;
    if (account.auth != AuthKind::kNone && account.auth != AuthKind::kPop && account.user.empty())
        return fail(failure, kExitUsage, kStep,
                    "auth " + text_of(settings, "auth") + " needs a user, give --user NAME");
    if (!account.ca_file.empty() && ::access(account.ca_file.c_str(), R_OK) != 0)
        return fail(failure, kExitConfig, kStep, "cannot read the certificates in " + account.ca_file);
    if (account.daemon && !account.ca_file.empty())
        return fail(
            failure, kExitConfig, kStep,
            "ca-file is a setting of the running mail service, it cannot be given together with daemon");
    return read_pop(settings, account, failure);
}

bool needs_password(const Account& account)
{
    return account.auth != AuthKind::kNone;
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

    SPOP3Setting pop_record;
    std::unique_ptr<CntsPOP3Settings> pop;
    if (account.auth == AuthKind::kPop) {
        pop_record.c_server.CopyString(account.pop_server.c_str(), -1);
        pop_record.c_user_id.CopyString(account.pop_user.c_str(), -1);
        pop_record.c_passwd.CopyString(pop_password.c_str(), -1);
        pop_record.n_port = account.pop_port;
        pop_record.is_apop = account.pop_apop ? 1 : 0;
        pop_record.n_timeout = static_cast<std::int32_t>(account.timeout);
        pop_record.b_is_ipv6 = record.b_is_ipv6;
        pop_record.n_tls_mode = static_cast<std::uint8_t>(account.pop_tls);
        pop_record.n_ssl_auth = record.sslauth;
        pop_record.n_ssl_encrypt = record.sslencrypt;
        pop = std::make_unique<CntsPOP3Settings>(pop_record);
        record.p_pop3_settings = pop.get();
    } else if (account.auth != AuthKind::kNone) {
        record.c_usr_id.CopyString(account.user.c_str(), -1);
        record.c_paswd.CopyString(password.c_str(), -1);
    }
    auto settings = std::make_unique<CntsSMTPSettings>(record);
    wipe(record.c_paswd);
    wipe(pop_record.c_passwd);
    if (pop != nullptr) wipe(pop->c_passwd);
    return settings;
}

void wipe_passwords(CntsSMTPSettings& settings)
{
    wipe(settings.c_paswd);
    if (settings.p_pop3_settings != nullptr) wipe(settings.p_pop3_settings->c_passwd);
}

}  // namespace velorin::cli
