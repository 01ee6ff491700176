#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "secret.h"

namespace velorin {
class ntc_email_esu_pop3_settings;
class ntc_email_esu_smtp_settings;
}  // namespace velorin

namespace velorin::service {

enum class ServerProtocol { smtp, pop3 };

enum class TlsMode : std::uint32_t { none = 0, on_request = 1, from_start = 2 };

// The values of auth_kind.
enum class AuthKind : std::int32_t {
    none = 0,
    strongest = 1,
    plain = 2,
    login = 3,
    cram_md5 = 4,
    pop_before_smtp = 5,
    xoauth2 = 6,  // the password is the token
};

// One server: where it is and how to log in. Texts hold no control characters, so they can stand in a
// command.
struct ServerAccount {
    ServerProtocol protocol = ServerProtocol::smtp;
    std::string server;      // name, or address without brackets
    std::uint16_t port = 0;  // 0: the protocol's own
    bool ipv6 = false;
    TlsMode tls = TlsMode::none;
    bool verify = true;       // certificate chain and host name
    bool tls13_only = false;  // else TLS 1.2 or later
    bool log_in = false;
    std::string user;
    Secret password;
    AuthKind auth = AuthKind::none;      // SMTP
    bool apop = false;                   // POP3
    std::string host_name;               // SMTP: own name for EHLO, address literals in brackets
    std::uint32_t command_timeout = 60;  // seconds to a reply
};

// What an SMTP session keeps of its settings.
struct SmtpAccount {
    ServerAccount smtp;
    std::optional<ServerAccount> pop;  // present when a POP3 log-in comes first
    std::uint32_t pop_wait = 0;        // seconds between the two
    std::uint64_t size_limit = 0;      // octets; 0: none
};

// Takes the settings of a session.
//   in      default_timeout: seconds, for settings that name no time-out
//   result  0; kBadSettings, kUnsafeText: `account` is not to be used
std::uint32_t read_account(const ntc_email_esu_smtp_settings& settings, std::uint32_t default_timeout,
                           SmtpAccount& account);

std::uint32_t read_account(const ntc_email_esu_pop3_settings& settings, std::uint32_t default_timeout,
                           ServerAccount& account);

}  // namespace velorin::service
