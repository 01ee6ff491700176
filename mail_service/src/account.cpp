#include "account.h"

#include <algorithm>
#include <string>

#include <arpa/inet.h>

#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"

#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::uint32_t kMaxPort = 65535;

bool holds_control(const std::string& text)
{
    return std::any_of(text.begin(), text.end(), [](char octet) {
        const auto value = static_cast<unsigned char>(octet);
        return value < 0x20 || value == 0x7F;
    });
}

bool is_alphanumeric(char octet)
{
    return (octet >= 'a' && octet <= 'z') || (octet >= 'A' && octet <= 'Z') || (octet >= '0' && octet <= '9');
}

// Only what a name or an address literal is made of: nothing that could end the host part of a URL.
bool is_host_text(const std::string& text, const char* besides)
{
    if (text.empty() || text.front() == '.' || text.front() == '-') return false;
    return std::all_of(text.begin(), text.end(), [&](char octet) {
        return is_alphanumeric(octet) ||
               (octet != 0 && std::string(besides).find(octet) != std::string::npos);
    });
}

bool is_ipv4(const std::string& text)
{
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool is_ipv6(const std::string& text)
{
    in6_addr address{};
    return ::inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

// The name for EHLO: an address stands in brackets there (RFC 5321, 4.1.3).
std::string greeting_name(const std::string& text)
{
    if (text.empty()) return "localhost";
    if (is_ipv4(text)) return "[" + text + "]";
    if (is_ipv6(text)) return "[IPv6:" + text + "]";
    return text;
}

struct TlsBytes {
    std::uint32_t mode, authentication, encryption;
};

std::uint32_t read_place(const std::string& server, std::uint32_t port, const TlsBytes& tls,
                         ServerAccount& account)
{
    if (holds_control(server)) return kUnsafeText;
    std::string host = server;
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    if (!is_host_text(host, ".-_") && !is_ipv6(host)) return kBadSettings;
    if (port > kMaxPort || tls.mode > 2 || tls.authentication > 1 || tls.encryption > 1) return kBadSettings;
    account.server = host;
    account.port = static_cast<std::uint16_t>(port);
    account.tls = static_cast<TlsMode>(tls.mode);
    account.verify = tls.authentication == 0;
    account.tls13_only = tls.encryption == 1;
    return 0;
}

}  // namespace

std::uint32_t read_account(const ntc_email_esu_pop3_settings& settings, std::uint32_t default_timeout,
                           ServerAccount& account)
{
    account.protocol = ServerProtocol::pop3;
    const TlsBytes tls = {settings.n_tls_mode(), settings.n_ssl_auth(), settings.n_ssl_encrypt()};
    if (const std::uint32_t code = read_place(settings.c_server(), settings.n_port(), tls, account))
        return code;
    if (holds_control(settings.c_user_id()) || holds_control(settings.c_passwd())) return kUnsafeText;
    if (settings.c_user_id().empty()) return kBadSettings;
    account.ipv6 = settings.b_is_ipv6();
    account.log_in = true;
    account.user = settings.c_user_id();
    account.password = Secret(settings.c_passwd());
    account.apop = settings.is_apop();
    account.command_timeout = settings.n_timeout() != 0 ? settings.n_timeout() : default_timeout;
    return 0;
}

std::uint32_t read_account(const ntc_email_esu_smtp_settings& settings, std::uint32_t default_timeout,
                           SmtpAccount& account)
{
    ServerAccount& smtp = account.smtp;
    const TlsBytes tls = {settings.tlsmode(), settings.sslauth(), settings.sslencrypt()};
    if (const std::uint32_t code = read_place(settings.c_server(), settings.n_port(), tls, smtp)) return code;
    if (holds_control(settings.c_usr_id()) || holds_control(settings.c_paswd())) return kUnsafeText;
    if (holds_control(settings.c_host_name())) return kUnsafeText;
    smtp.host_name = greeting_name(settings.c_host_name());
    if (!is_host_text(smtp.host_name, ".-_[]:")) return kBadSettings;
    if (settings.auth_kind() < 0 || settings.auth_kind() > static_cast<std::int32_t>(AuthKind::xoauth2)) {
        return kBadSettings;
    }
    smtp.auth = static_cast<AuthKind>(settings.auth_kind());
    smtp.ipv6 = settings.b_is_ipv6();
    smtp.command_timeout = settings.n_tmo() != 0 ? settings.n_tmo() : default_timeout;
    // The strongest method there is may be none; a method that is asked for by name needs a user.
    const bool by_name = smtp.auth != AuthKind::none && smtp.auth != AuthKind::strongest &&
                         smtp.auth != AuthKind::pop_before_smtp;
    if (by_name && settings.c_usr_id().empty()) return kBadSettings;
    smtp.log_in = by_name || (smtp.auth == AuthKind::strongest && !settings.c_usr_id().empty());
    if (smtp.log_in) {
        smtp.user = settings.c_usr_id();
        smtp.password = Secret(settings.c_paswd());
    }
    account.size_limit = settings.n_size_limit();
    account.pop_wait = settings.n_pop_wait_time();
    if (smtp.auth != AuthKind::pop_before_smtp || !settings.has_p_pop3_settings()) return 0;
    account.pop.emplace();
    return read_account(settings.p_pop3_settings(), default_timeout, *account.pop);
}

}  // namespace velorin::service
