// An application of the library: connects a session, says so and waits; ends it and all that it had for it, says
// so and waits. Each time SIGUSR1 lets it go on. Nothing but the library, and a service inside the process, keeps
// its password anywhere.
//   password-session smtp|pop3 channel|embedded PORT AUTH_KIND TLS_MODE short|long [POP3_PORT]
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include <string.h>

#include "CntsPOP3Boundary.h"
#include "CntsPOP3Settings.h"
#include "CntsSMTPBoundary.h"
#include "CntsSMTPSettings.h"
#include "password_session.h"
#include "velorin_mail_service.h"

namespace {

using velorin_test::hidden_password;
using velorin_test::kHidden;

constexpr int kPatience = 60;  // seconds
constexpr std::uint8_t kUnverified = 1;

// The password in clear, as long as somebody needs it.
class Password {
public:
    explicit Password(bool is_long)
    {
        const char* const hidden = hidden_password(is_long);
        for (std::size_t index = 0; hidden[index] != '\0'; ++index)
            text_[index] = static_cast<char>(hidden[index] ^ kHidden);
    }
    ~Password() { ::explicit_bzero(text_, sizeof text_); }
    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;
    const char* text() const { return text_; }

private:
    char text_[256] = {};
};

struct Account {
    std::int32_t port;
    std::int32_t auth_kind;
    std::uint8_t tls_mode;
    bool has_long_password;
};

std::unique_ptr<velorin::CntsPOP3Settings> pop3_settings(const Account& account)
{
    velorin::SPOP3Setting record;
    record.c_server = "127.0.0.1";
    record.n_port = account.port;
    record.n_tls_mode = account.tls_mode;
    record.n_ssl_auth = kUnverified;
    record.c_user_id = "user";
    record.c_passwd.CopyString(Password(account.has_long_password).text(), -1);
    return std::make_unique<velorin::CntsPOP3Settings>(record);
}

std::unique_ptr<velorin::CntsSMTPSettings> smtp_settings(const Account& account, std::int32_t pop3_port)
{
    velorin::nts_smtp_settings record;
    record.c_server = "127.0.0.1";
    record.c_host_name = "client.example";
    record.n_port = account.port;
    record.auth_kind = account.auth_kind;
    record.tlsmode = account.tls_mode;
    record.sslauth = kUnverified;
    record.c_usr_id = "user";
    record.c_paswd.CopyString(Password(account.has_long_password).text(), -1);
    std::unique_ptr<velorin::CntsPOP3Settings> pop3;
    Account pop3_account = account;
    pop3_account.port = pop3_port;
    if (pop3_port != 0) pop3 = pop3_settings(pop3_account);
    record.p_pop3_settings = pop3.get();
    return std::make_unique<velorin::CntsSMTPSettings>(record);
}

// Settings that take those of another account.
void replace(velorin::CntsPOP3Settings& settings)
{
    settings = velorin::CntsPOP3Settings(velorin::SPOP3Setting());
}

void replace(velorin::CntsSMTPSettings& settings)
{
    delete settings.p_pop3_settings;
    settings = velorin::CntsSMTPSettings(velorin::nts_smtp_settings());
}

bool pause(const char* word)
{
    std::printf("%s\n", word);
    std::fflush(stdout);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    const timespec patience = {kPatience, 0};
    return ::sigtimedwait(&signals, nullptr, &patience) == SIGUSR1;
}

template <typename Boundary, typename Settings>
int run(std::unique_ptr<Settings> settings, bool embedded)
{
    std::unique_ptr<velorin::EmbeddedMailService> service;
    if (embedded) service = std::make_unique<velorin::EmbeddedMailService>();
    auto session = std::make_unique<Boundary>(*settings);
    if (!pause(session->Connect() == 0 ? "connected" : "not connected")) return 1;
    session.reset();
    replace(*settings);
    settings.reset();
    return pause("over") ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 7) return 2;
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    const std::string protocol = argv[1];
    const bool embedded = std::strcmp(argv[2], "embedded") == 0;
    const Account account = {std::atoi(argv[3]), std::atoi(argv[4]),
                             static_cast<std::uint8_t>(std::atoi(argv[5])),
                             std::strcmp(argv[6], "long") == 0};
    const std::int32_t pop3_port = argc > 7 ? std::atoi(argv[7]) : 0;
    if (protocol == "pop3") return run<velorin::CntsPOP3Boundary>(pop3_settings(account), embedded);
    return run<velorin::CntsSMTPBoundary>(smtp_settings(account, pop3_port), embedded);
}
