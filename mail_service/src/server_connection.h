#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "account.h"
#include "deadline.h"
#include "smtp_capabilities.h"

namespace velorin::service {

class CancelSignal;
class LastReply;

// How long opening may take, and whom to trust.
struct OpeningRules {
    std::uint32_t connect_timeout = 30;  // seconds, name look-up to connected (TLS from the start included)
    std::string ca_file;                 // PEM; empty: the system's
};

// A connection to one mail server: opened and logged in, then octets both ways. Every step has a deadline
// that nothing but its completion moves, and ends at once when the cancel signal is raised. Dropping it sends
// nothing more: no final dot, no QUIT. Used by one thread at a time.
class ServerConnection {
public:
    ServerConnection(const CancelSignal& cancel, LastReply& last_reply);
    ~ServerConnection();
    ServerConnection(const ServerConnection&) = delete;
    ServerConnection& operator=(const ServerConnection&) = delete;

    // Name look-up, TCP, TLS as the account asks, greeting, EHLO or CAPA, log-in. Each reply has the
    // account's command time-out.
    //   in      log_in: false leaves the log-in to the caller
    //   result  0, or a return code of the service
    std::uint32_t open(const ServerAccount& account, const OpeningRules& rules, bool log_in = true);
    // The last opening of a POP3 server came to nothing for what nobody had asked for, a refused APOP or
    // SASL with nothing for passwords: USER and PASS are left.
    bool password_untried() const { return password_untried_; }

    // Sends all octets.
    //   in      deadline: of each 64 KiB
    //   result  0, kTimeOut, kConnectionLost or kAborted; then nothing more can be sent, but what the server
    //   said
    //           before it went can still be received
    std::uint32_t send(const char* octets, std::size_t count, Deadline deadline);

    // Waits for octets and takes what is there.
    //   out     count: at least 1
    //   result  0, kTimeOut, kConnectionLost (also at the end of the stream) or kAborted: the connection is
    //   dropped
    std::uint32_t receive(char* buffer, std::size_t capacity, std::size_t& count, Deadline deadline);

    // As receive, without waiting.
    //   out     count: 0 when nothing is there
    std::uint32_t receive_now(char* buffer, std::size_t capacity, std::size_t& count);

    void drop() noexcept;
    bool is_open() const { return handles_ != nullptr; }

    // Of the answer to the last EHLO; those from before TLS do not count.
    const SmtpCapabilities& capabilities() const { return capabilities_; }

private:
    struct Handles;

    enum class Login { none, strongest, with_password };

    //   out     wants_ticket: the server would be asked for GSSAPI, which nobody here has a ticket for
    std::uint32_t open_once(const ServerAccount& account, const OpeningRules& rules, Login login,
                            bool& wants_ticket);
    std::uint32_t wait(short events, Deadline deadline);

    const CancelSignal& cancel_;
    LastReply& last_reply_;
    std::unique_ptr<Handles> handles_;
    int socket_ = -1;
    SmtpCapabilities capabilities_;
    bool password_untried_ = false;
    bool prompt_ = false;  // what was last waited for came within a moment
};

}  // namespace velorin::service
