#include "mail_service.h"

#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>

#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"

#include "pop3_dispatch.h"
#include "pop3_session.h"
#include "service_log.h"
#include "smtp_dispatch.h"
#include "smtp_session.h"

namespace velorin::service {
namespace {

MailServiceOptions completed(MailServiceOptions options)
{
    const MailServiceOptions defaults;
    const auto complete = [](std::uint32_t& value, std::uint32_t otherwise) {
        if (value == 0) value = otherwise;
    };
    complete(options.connect_timeout, defaults.connect_timeout);
    complete(options.command_timeout, defaults.command_timeout);
    complete(options.data_timeout, defaults.data_timeout);
    complete(options.max_sessions, defaults.max_sessions);
    complete(options.max_sessions_per_user, defaults.max_sessions_per_user);
    complete(options.idle_timeout, defaults.idle_timeout);
    complete(options.max_request, defaults.max_request);
    complete(options.max_kept, defaults.max_kept);
    complete(options.max_recipients, defaults.max_recipients);
    const char* const environment = std::getenv("SSL_CERT_FILE");
    if (options.ca_file.empty() && environment != nullptr) options.ca_file = environment;
    return options;
}

SessionRules rules_of(const MailServiceOptions& options, MakeConnection make_connection)
{
    SessionRules rules;
    rules.make_connection = std::move(make_connection);
    rules.opening.connect_timeout = options.connect_timeout;
    rules.opening.ca_file = options.ca_file;
    rules.command_timeout = options.command_timeout;
    rules.data_timeout = options.data_timeout;
    rules.max_recipients = options.max_recipients;
    return rules;
}

}  // namespace

MailService::MailService(const MailServiceOptions& options) : MailService(options, make_network_connection) {}

MailService::MailService(const MailServiceOptions& options, MakeConnection make_connection)
    : options_(completed(options)), rules_(rules_of(options_, std::move(make_connection))),
      registry_(options_.max_sessions, options_.max_sessions_per_user), watch_(callbacks())
{
}

MailService::~MailService()
{
    shut_down(0);
}

ClientWatch::Callbacks MailService::callbacks()
{
    const auto idle = std::chrono::seconds(options_.idle_timeout);
    ClientWatch::Callbacks out;
    out.gone = [this](const ClientId& client) {
        const std::size_t count = registry_.end_client(client);
        last_replies_.forget(client);
        if (options_.log_events) {
            NTC_SERVICE_LOG("client %ld of user %lu has gone, %lu sessions ended\n",
                            static_cast<long>(client.pid), static_cast<unsigned long>(client.uid),
                            static_cast<unsigned long>(count));
        }
    };
    out.still_needed = [this](const ClientId& client) { return registry_.has_client(client); };
    out.when_due = [this, idle] { return registry_.next_idle(idle); };
    out.due = [this, idle] {
        const std::size_t count = registry_.end_idle(idle);
        if (count > 0 && options_.log_events) {
            NTC_SERVICE_LOG("%lu idle sessions ended\n", static_cast<unsigned long>(count));
        }
    };
    return out;
}

std::uint32_t MailService::create_session(const velorin_channel::Caller& caller,
                                          ntc_email_esu_smtp_create_instance_req& request)
{
    if (!request.has_psmtpset()) return kMalformedRequest;
    if (request.psmtpset().ByteSizeLong() > options_.max_kept) return kLimitReached;
    const SessionKey key = {client_of(caller), SessionKind::smtp, request.session_id()};
    return add_session(
        caller, key, std::make_shared<SmtpSession>(rules_, request.psmtpset(), last_replies_.of(key.client)));
}

std::uint32_t MailService::create_session(const velorin_channel::Caller& caller,
                                          ntc_email_esu_pop3_create_instance_req& request)
{
    if (!request.has_c_settings()) return kMalformedRequest;
    if (request.c_settings().ByteSizeLong() > options_.max_kept) return kLimitReached;
    const SessionKey key = {client_of(caller), SessionKind::pop3, request.session_id()};
    return add_session(
        caller, key,
        std::make_shared<Pop3Session>(rules_, request.c_settings(), last_replies_.of(key.client)));
}

std::uint32_t MailService::add_session(const velorin_channel::Caller& caller, const SessionKey& key,
                                       std::shared_ptr<Session> session)
{
    if (!registry_.add(key, std::move(session))) return kLimitReached;
    // Registered first and watched then, so that a session never stays whose client has gone in between.
    if (!caller.in_process && !watch_.watch(key.client)) {
        registry_.end_client(key.client);
        return kUnknownSession;
    }
    watch_.wake();  // to the time at which it will be idle
    if (shutting_down()) {
        registry_.end_client(key.client);
        return kShuttingDown;
    }
    return 0;
}

std::uint32_t MailService::destroy_session(const velorin_channel::Caller& caller, SessionKind kind,
                                           std::uint32_t session_id)
{
    const SessionKey key = {client_of(caller), kind, session_id};
    const auto session = registry_.find(key);
    if (!session) return kUnknownSession;
    {
        // Still registered, so that whoever ends all sessions ends a farewell that the server does not answer.
        const Session::Turn turn(*session);
        if (turn.taken()) session->quit();
    }
    registry_.remove(key, session);
    session->end();
    watch_.wake();
    return 0;
}

std::uint32_t MailService::abort_session(const velorin_channel::Caller& caller, SessionKind kind,
                                         std::uint32_t session_id)
{
    const auto session = registry_.find({client_of(caller), kind, session_id});
    if (!session) return kUnknownSession;
    session->abort();
    return 0;
}

void MailService::shut_down(std::uint32_t grace_seconds)
{
    shutting_down_.store(true, std::memory_order_release);
    const Deadline deadline = in_seconds(grace_seconds);
    while (registry_.end_all_but_awaiting() > 0 && milliseconds_left(deadline) > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    registry_.end_all();
}

bool MailService::answer_smtp(const velorin_channel::Caller& caller, const char* request,
                              std::uint32_t request_length, char* answer, std::uint32_t capacity,
                              std::uint32_t& answer_length) noexcept
{
    return dispatch_smtp(*this, caller, {request, request_length}, answer, capacity, answer_length);
}

bool MailService::answer_pop3(const velorin_channel::Caller& caller, const char* request,
                              std::uint32_t request_length, char* answer, std::uint32_t capacity,
                              std::uint32_t& answer_length) noexcept
{
    return dispatch_pop3(*this, caller, {request, request_length}, answer, capacity, answer_length);
}

bool MailService::answer_diagnosis(const velorin_channel::Caller& caller, char* answer,
                                   std::uint32_t capacity, std::uint32_t& answer_length) noexcept
{
    try {
        const std::string line = last_replies_.line_of(client_of(caller));
        if (line.size() > capacity) return false;
        answer_length = static_cast<std::uint32_t>(line.copy(answer, line.size()));
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace velorin::service
