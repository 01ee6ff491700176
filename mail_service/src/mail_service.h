#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "channel_server.h"
#include "client_watch.h"
#include "last_replies.h"
#include "return_codes.h"
#include "session_registry.h"
#include "session_rules.h"
#include "velorin_mail_service.h"

namespace velorin {
class ntc_email_esu_pop3_create_instance_req;
class ntc_email_esu_smtp_create_instance_req;
}  // namespace velorin

namespace velorin::service {

constexpr char kSmtpEndpoint[] = "ntc_email_smtp";
constexpr char kPop3Endpoint[] = "ntc_email_pop3";
constexpr char kDiagnosisEndpoint[] = "velorin_diagnosis";

// The mail service without its channel: sessions, who may use them, how they end. Any number of threads.
class MailService {
public:
    explicit MailService(const MailServiceOptions& options);  // std::runtime_error, std::system_error
    // With servers that are reached in another way.
    MailService(const MailServiceOptions& options, MakeConnection make_connection);
    ~MailService();
    MailService(const MailService&) = delete;
    MailService& operator=(const MailService&) = delete;

    // The handlers of the endpoints; nothing leaves them but their result.
    bool answer_smtp(const velorin_channel::Caller& caller, const char* request, std::uint32_t request_length,
                     char* answer, std::uint32_t capacity, std::uint32_t& answer_length) noexcept;
    bool answer_pop3(const velorin_channel::Caller& caller, const char* request, std::uint32_t request_length,
                     char* answer, std::uint32_t capacity, std::uint32_t& answer_length) noexcept;
    bool answer_diagnosis(const velorin_channel::Caller& caller, char* answer, std::uint32_t capacity,
                          std::uint32_t& answer_length) noexcept;

    // No operation begins any more; those that run end at once, but for one that waits for the verdict on a
    // mail: that one has the given time. Then every session has ended; exchanges still at work are about to
    // return.
    void shut_down(std::uint32_t grace_seconds);

    // For the operations' table.
    std::uint32_t create_session(const velorin_channel::Caller& caller,
                                 ntc_email_esu_smtp_create_instance_req& request);
    std::uint32_t create_session(const velorin_channel::Caller& caller,
                                 ntc_email_esu_pop3_create_instance_req& request);
    std::uint32_t destroy_session(const velorin_channel::Caller& caller, SessionKind kind,
                                  std::uint32_t session_id);
    std::uint32_t abort_session(const velorin_channel::Caller& caller, SessionKind kind,
                                std::uint32_t session_id);
    // Runs one operation of a session, with the session's turn.
    template <typename SessionType, typename Operation>
    std::uint32_t with_session(const velorin_channel::Caller& caller, std::uint32_t session_id,
                               Operation operation);

    bool shutting_down() const { return shutting_down_.load(std::memory_order_acquire); }
    const MailServiceOptions& options() const { return options_; }

private:
    static ClientId client_of(const velorin_channel::Caller& caller)
    {
        return {caller.uid, caller.pid, caller.start_time};
    }
    std::uint32_t add_session(const velorin_channel::Caller& caller, const SessionKey& key,
                              std::shared_ptr<Session> session);
    ClientWatch::Callbacks callbacks();

    const MailServiceOptions options_;
    const SessionRules rules_;
    std::atomic<bool> shutting_down_{false};
    LastReplies last_replies_;
    SessionRegistry registry_;
    ClientWatch watch_;  // last: its thread uses the others
};

template <typename SessionType, typename Operation>
std::uint32_t MailService::with_session(const velorin_channel::Caller& caller, std::uint32_t session_id,
                                        Operation operation)
{
    const auto session = std::static_pointer_cast<SessionType>(
        registry_.find({client_of(caller), SessionType::kKind, session_id}));
    if (!session) return kUnknownSession;
    try {
        const Session::Turn turn(*session);
        if (!turn.taken()) return kSessionBusy;
        if (session->ended()) return kUnknownSession;
        return operation(*session);
    } catch (...) {
        session->abort();  // nobody knows how far it came
        throw;
    }
}

}  // namespace velorin::service
