#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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
// nothing more: no final dot, no QUIT. Used by one thread at a time. Sessions and dialogues know no more of the
// network than this.
class ServerConnection {
public:
    ServerConnection() = default;
    virtual ~ServerConnection() = default;  // dropped
    ServerConnection(const ServerConnection&) = delete;
    ServerConnection& operator=(const ServerConnection&) = delete;

    // Name look-up, TCP, TLS as the account asks, greeting, EHLO or CAPA, log-in. Each reply has the
    // account's command time-out.
    //   in      log_in: false leaves the log-in to the caller
    //   result  0, or a return code of the service
    virtual std::uint32_t open(const ServerAccount& account, const OpeningRules& rules,
                               bool log_in = true) = 0;
    // The last opening of a POP3 server came to nothing for what nobody had asked for, a refused APOP or
    // SASL with nothing for passwords: USER and PASS are left.
    virtual bool password_untried() const = 0;

    // Sends all octets.
    //   in      deadline: of each 64 KiB
    //   result  0, kTimeOut, kConnectionLost or kAborted; then nothing more can be sent, but what the server
    //   said
    //           before it went can still be received
    virtual std::uint32_t send(const char* octets, std::size_t count, Deadline deadline) = 0;

    // Waits for octets and takes what is there.
    //   out     count: at least 1
    //   result  0, kTimeOut, kConnectionLost (also at the end of the stream) or kAborted: the connection is
    //   dropped
    virtual std::uint32_t receive(char* buffer, std::size_t capacity, std::size_t& count,
                                  Deadline deadline) = 0;

    // As receive, without waiting.
    //   out     count: 0 when nothing is there
    virtual std::uint32_t receive_now(char* buffer, std::size_t capacity, std::size_t& count) = 0;

    virtual void drop() noexcept = 0;
    virtual bool is_open() const = 0;

    // Of the answer to the last EHLO; those from before TLS do not count.
    virtual const SmtpCapabilities& capabilities() const = 0;
};

// Makes a connection that is not open yet. What it is given lives longer than it does.
using MakeConnection = std::function<std::unique_ptr<ServerConnection>(const CancelSignal&, LastReply&)>;

// A connection over the network: by libcurl, or in a build without it one that is always refused.
std::unique_ptr<ServerConnection> make_network_connection(const CancelSignal& cancel, LastReply& last_reply);

}  // namespace velorin::service
