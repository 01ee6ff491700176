// A mail server that says what an input has, without a network: the connection that sessions and dialogues use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "opening_replies.h"
#include "server_connection.h"

namespace velorin_fuzz {

// What stands between two turns of the server: it says the next one when it has got something. The first turn is
// what it says until it has logged somebody in; the second waits for the first command. A turn that begins with
// kBroken takes nothing any more, but is heard out.
constexpr char kTurn = '\x1E';
constexpr char kBroken = '\x1D';

// The server's side of all connections of one session, one after the other.
class Script {
public:
    //   in      octets: stay where they are while the script is in use
    //           step: octets that come at once, at least 1
    Script(std::string_view octets, std::size_t step) : left_(octets), step_(step) {}

    const std::string& sent() const { return sent_; }  // by the client, over all connections
    std::size_t connections() const { return connections_; }
    velorin::service::MakeConnection maker();

private:
    friend class ScriptedConnection;
    std::string_view next_turn();

    std::string_view left_;
    std::size_t step_;
    std::string sent_;
    std::size_t connections_ = 0;  // opened
};

class ScriptedConnection final : public velorin::service::ServerConnection {
public:
    ScriptedConnection(Script& script, velorin::service::LastReply& last_reply)
        : script_(script), last_reply_(last_reply)
    {
    }

    // With the replies of the first turn.
    std::uint32_t open(const velorin::service::ServerAccount& account,
                       const velorin::service::OpeningRules& rules, bool log_in) override;
    // As it is behind the opening, logged in; for a dialogue that is no session's.
    void open_with(const velorin::service::SmtpCapabilities& capabilities);

    bool password_untried() const override { return password_untried_; }
    std::uint32_t send(const char* octets, std::size_t count, velorin::service::Deadline deadline) override;
    std::uint32_t receive(char* buffer, std::size_t capacity, std::size_t& count,
                          velorin::service::Deadline deadline) override;
    std::uint32_t receive_now(char* buffer, std::size_t capacity, std::size_t& count) override;
    void drop() noexcept override { is_open_ = false; }
    bool is_open() const override { return is_open_; }
    const velorin::service::SmtpCapabilities& capabilities() const override { return capabilities_; }

private:
    Script& script_;
    velorin::service::LastReply& last_reply_;
    std::string said_;
    std::size_t heard_ = 0;  // octets of it
    velorin::service::SmtpCapabilities capabilities_;
    bool is_open_ = false;
    bool is_broken_ = false;
    bool password_untried_ = false;
};

}  // namespace velorin_fuzz
