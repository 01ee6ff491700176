#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "server_connection.h"

namespace velorin::service {

// A connection over the network, by libcurl.
class CurlConnection final : public ServerConnection {
public:
    CurlConnection(const CancelSignal& cancel, LastReply& last_reply);
    ~CurlConnection() override;

    std::uint32_t open(const ServerAccount& account, const OpeningRules& rules, bool log_in) override;
    bool password_untried() const override { return password_untried_; }
    std::uint32_t send(const char* octets, std::size_t count, Deadline deadline) override;
    std::uint32_t receive(char* buffer, std::size_t capacity, std::size_t& count, Deadline deadline) override;
    std::uint32_t receive_now(char* buffer, std::size_t capacity, std::size_t& count) override;
    void drop() noexcept override;
    bool is_open() const override { return handles_ != nullptr; }
    const SmtpCapabilities& capabilities() const override { return capabilities_; }

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
