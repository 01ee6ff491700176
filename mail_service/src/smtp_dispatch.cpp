#include "smtp_dispatch.h"

#include <cstddef>

#include "ntc_email_esu_smtp.pb.h"

#include "dispatch.h"
#include "smtp_secrets.h"
#include "smtp_session.h"

namespace velorin::service {
namespace {

using velorin_channel::Caller;
using Envelope = ntc_email_esu_smtp_method;

// The octets that are really there, whatever the length beside them says.
std::string_view octets_of(const ntc_email_esu_mlutl_mail_part& part)
{
    if (!part.has_n_length() || part.n_length() <= 0) return {};
    return std::string_view(part.p_buffer()).substr(0, static_cast<std::size_t>(part.n_length()));
}

std::uint32_t create(MailService& service, const Caller& caller,
                     ntc_email_esu_smtp_create_instance_req& request)
{
    return service.create_session(caller, request);
}

std::uint32_t test(MailService& service, const Caller& caller, ntc_email_esu_smtp_test_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(),
                                             [](SmtpSession& session) { return session.test(); });
}

std::uint32_t connect(MailService& service, const Caller& caller, ntc_email_esu_smtp_connect_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(),
                                             [](SmtpSession& session) { return session.connect(); });
}

std::uint32_t send_header(MailService& service, const Caller& caller,
                          ntc_email_esu_smtp_send_header_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(), [&](SmtpSession& session) {
        return request.has_c_mail() ? session.send_header(request.c_mail()) : kMalformedRequest;
    });
}

std::uint32_t send_body(MailService& service, const Caller& caller, ntc_email_esu_smtp_send_body_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(), [&](SmtpSession& session) {
        return request.has_c_mail() ? session.send_body(octets_of(request.c_mail().my_part()))
                                    : kMalformedRequest;
    });
}

std::uint32_t send_part_header(MailService& service, const Caller& caller,
                               ntc_email_esu_smtp_send_part_header_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(), [&](SmtpSession& session) {
        return request.has_c_mail() ? session.send_part_header(request.c_mail()) : kMalformedRequest;
    });
}

std::uint32_t send_part_body(MailService& service, const Caller& caller,
                             ntc_email_esu_smtp_send_part_body_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(), [&](SmtpSession& session) {
        const bool whole = request.c_mail().has_p_part() && request.c_mail().p_part().has_p_part();
        return whole ? session.send_part_body(octets_of(request.c_mail().p_part().p_part()))
                     : kMalformedRequest;
    });
}

std::uint32_t close(MailService& service, const Caller& caller, ntc_email_esu_smtp_close_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(),
                                             [](SmtpSession& session) { return session.close(); });
}

std::uint32_t abort(MailService& service, const Caller& caller, ntc_email_esu_smtp_abort_req& request)
{
    return service.abort_session(caller, SessionKind::smtp, request.session_id());
}

std::uint32_t judge(MailService& service, const Caller& caller,
                    ntc_email_esu_smtp_judge_size_of_data_req& request)
{
    return service.with_session<SmtpSession>(caller, request.session_id(), [&](SmtpSession& session) {
        return session.judge_size(request.size());
    });
}

std::uint32_t destroy(MailService& service, const Caller& caller,
                      ntc_email_esu_smtp_destroy_instance_req& request)
{
    return service.destroy_session(caller, SessionKind::smtp, request.session_id());
}

enum class Log { every, failures };  // steps that come by the thousand are logged when they fail only

template <auto Has, auto Request, auto Result, auto Run>
constexpr OperationRow<Envelope> operation(NTC_EMAIL_ESU_SMTP_METHOD method, const char* name, Log log)
{
    return {method,
            log == Log::failures,
            method == NTC_EMAIL_ESU_SMTP_METHOD_DESTROY_INSTANCE,
            name,
            [](const Envelope& envelope) { return (envelope.*Has)(); },
            nullptr,
            [](MailService& service, const Caller& caller, Envelope& envelope, Envelope&, std::uint32_t) {
                return Run(service, caller, *(envelope.*Request)());
            },
            [](Envelope& envelope, std::uint32_t code) {
                (envelope.*Result)()->set_retcode(static_cast<std::int32_t>(code));
            }};
}

#define NTC_SERVICE_OPERATION(METHOD, method, run, log)                                                      \
    operation<&Envelope::has_##method##_req, &Envelope::mutable_##method##_req,                              \
              &Envelope::mutable_##method##_res, &(run)>(NTC_EMAIL_ESU_SMTP_METHOD_##METHOD, #method, log)

struct SmtpProtocol {
    using Envelope = ntc_email_esu_smtp_method;

    static constexpr OperationRow<Envelope> kOperations[] = {
        NTC_SERVICE_OPERATION(CREATE_INSTANCE, create_instance, create, Log::every),
        NTC_SERVICE_OPERATION(TEST, test, test, Log::every),
        NTC_SERVICE_OPERATION(CONNECT, connect, connect, Log::every),
        NTC_SERVICE_OPERATION(SEND_HEADER, send_header, send_header, Log::every),
        NTC_SERVICE_OPERATION(SEND_BODY, send_body, send_body, Log::failures),
        NTC_SERVICE_OPERATION(SEND_PART_HEADER, send_part_header, send_part_header, Log::failures),
        NTC_SERVICE_OPERATION(SEND_PART_BODY, send_part_body, send_part_body, Log::failures),
        NTC_SERVICE_OPERATION(CLOSE, close, close, Log::every),
        NTC_SERVICE_OPERATION(ABORT, abort, abort, Log::every),
        NTC_SERVICE_OPERATION(JUDGE_SIZE_OF_DATA, judge_size_of_data, judge, Log::every),
        NTC_SERVICE_OPERATION(DESTROY_INSTANCE, destroy_instance, destroy, Log::every),
    };

    static void forget_secrets(Envelope& request)
    {
        if (request.has_create_instance_req())
            velorin::forget_secrets(*request.mutable_create_instance_req());
    }
};
#undef NTC_SERVICE_OPERATION

}  // namespace

bool dispatch_smtp(MailService& service, const Caller& caller, std::string_view request, char* answer,
                   std::uint32_t capacity, std::uint32_t& answer_length) noexcept
{
    return Dispatch<SmtpProtocol>(service, caller).exchange(request, answer, capacity, answer_length);
}

}  // namespace velorin::service
