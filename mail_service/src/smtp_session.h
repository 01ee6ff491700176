#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "account.h"
#include "server_connection.h"
#include "session.h"
#include "session_rules.h"
#include "smtp_dialogue.h"

namespace velorin {
class ntc_email_esu_smtp_send_mail;
class ntc_email_esu_smtp_settings;
}  // namespace velorin

namespace velorin::service {

class LastReply;

// One SMTP session: the operations of the service, each for whoever has the session's turn. Every result is 0
// or a return code. Whatever breaks the connection leaves the session as before Connect, so that the caller
// may connect again; what the server merely refuses leaves it connected.
class SmtpSession : public Session {
public:
    static constexpr SessionKind kKind = SessionKind::smtp;

    SmtpSession(const SessionRules& rules, const ntc_email_esu_smtp_settings& settings,
                std::shared_ptr<LastReply> last_reply);
    ~SmtpSession() override;

    std::uint32_t test();
    std::uint32_t connect();
    std::uint32_t judge_size(std::uint32_t size);  // octets
    std::uint32_t send_header(const ntc_email_esu_smtp_send_mail& mail);
    std::uint32_t send_body(std::string_view octets);
    std::uint32_t send_part_header(const ntc_email_esu_smtp_send_mail& mail);
    std::uint32_t send_part_body(std::string_view octets);
    std::uint32_t close();
    std::uint32_t abort_mail();

    void quit() override;  // politely, when no mail is under way; then dropped

private:
    enum class State { apart, connected, body, part };

    void drop() noexcept override;
    std::uint32_t open(ServerConnection& connection);
    std::uint32_t settle(std::uint32_t code);

    const SessionRules& rules_;
    std::shared_ptr<LastReply> last_reply_;
    SmtpAccount account_;
    std::uint32_t account_code_;  // 0, or why the settings cannot be used
    State state_ = State::apart;
    const std::unique_ptr<ServerConnection> connection_;
    std::optional<SmtpDialogue> dialogue_;
    std::uint64_t judged_size_ = 0;        // octets, for the next mail
    std::optional<std::string> boundary_;  // of the mail under way, when it is a multipart
};

}  // namespace velorin::service
