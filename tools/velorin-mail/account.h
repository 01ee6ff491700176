#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ntc_email.h"

#include "domain_list.h"
#include "failure.h"
#include "secret.h"
#include "settings.h"

namespace velorin::cli {

// Values that the mail service gives these settings.
enum class TlsMode : std::uint8_t { kNone = 0, kStartTls = 1, kFromTheStart = 2 };
enum class AuthKind : std::int32_t {
    kNone = 0,
    kAuto = 1,
    kPlain = 2,
    kLogin = 3,
    kCramMd5 = 4,
    kPop = 5,
    kXoauth2 = 6
};

// Where a password comes from; both empty: the terminal.
struct PasswordSource {
    std::string command;
    std::string file;
    bool given() const { return !command.empty() || !file.empty(); }
};

// An account, checked.
struct Account {
    std::string server;
    std::int32_t port = 0;  // 0: the protocol's own
    TlsMode tls = TlsMode::kNone;
    std::string ca_file;  // empty: the system's
    bool verify = true;
    bool tls13_only = false;
    AuthKind auth = AuthKind::kNone;
    std::string user;
    PasswordSource password;
    std::string host_name;  // empty: the library's own default
    bool ipv6 = false;
    std::uint32_t timeout = 0;       // seconds; 0: the service's defaults
    std::uint32_t data_timeout = 0;  // seconds; 0: the service's default
    std::int32_t size_limit = 0;     // octets; 0: none
    std::string pop_server;
    std::int32_t pop_port = 0;
    TlsMode pop_tls = TlsMode::kNone;
    std::string pop_user;
    PasswordSource pop_password;
    bool pop_apop = false;
    std::int32_t pop_wait = 0;  // seconds
    bool daemon = false;
    std::string from;
    std::string sender;
    std::string reply_to;
    DomainRule recipients;
    std::string charset;  // empty: the one that suits each text
};

// Checks the settings and fills in what follows from others.
//   result  false with the sentence and the code of a wrong command line
bool make_account(const Settings& settings, Account& account, Failure& failure);

// The same for the commands that read a mailbox: of the server and user for SMTP only what the POP3 account
// takes over from them is looked at.
//   out     account: the pop_ members complete, port included
bool make_mailbox_account(const Settings& settings, Account& account, Failure& failure);

// Whether anybody has to log in with a password.
bool needs_password(const Account& account);

// The POP3 account as the library takes it.
//   result  overwrite its password as soon as the session has been made from it
std::unique_ptr<CntsPOP3Settings> make_pop3_settings(const Account& account, const Secret& password);

// The account as the library takes it.
//   in      password, pop_password: empty where none is needed
//   result  overwrite its passwords (wipe_passwords) as soon as the session has been made from it
std::unique_ptr<CntsSMTPSettings> make_smtp_settings(const Account& account, const Secret& password,
                                                     const Secret& pop_password);
void wipe_passwords(CntsSMTPSettings& settings);

}  // namespace velorin::cli
