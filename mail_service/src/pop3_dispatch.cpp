#include "pop3_dispatch.h"

#include <cstddef>
#include <string>

#include "ntc_email_esu_pop3.pb.h"

#include "dispatch.h"
#include "header_text.h"
#include "mail_answer.h"
#include "mail_list.h"
#include "pop3_secrets.h"
#include "pop3_session.h"

namespace velorin::service {
namespace {

using velorin_channel::Caller;
using Envelope = ntc_email_esu_pop3_method;

template <typename Request, typename Run>
std::uint32_t in_session(MailService& service, const Caller& caller, const Request& request, Run run)
{
    return service.with_session<Pop3Session>(caller, request.session_id(), run);
}

// One function each: what the request must hold, and what of the session it asks for. All have the same
// arguments, so that the table below is one.
#define NTC_SERVICE_STEP(name, method)                                                                       \
    std::uint32_t name([[maybe_unused]] MailService& service, [[maybe_unused]] const Caller& caller,         \
                       [[maybe_unused]] ntc_email_esu_pop3_##method##_req& request,                          \
                       [[maybe_unused]] ntc_email_esu_pop3_##method##_res& answer,                           \
                       [[maybe_unused]] std::size_t room)

NTC_SERVICE_STEP(create, create_instance)
{
    return service.create_session(caller, request);
}

NTC_SERVICE_STEP(test, test)
{
    return in_session(service, caller, request, [](Pop3Session& session) { return session.test(); });
}

NTC_SERVICE_STEP(connect, connect)
{
    return in_session(service, caller, request, [](Pop3Session& session) { return session.connect(); });
}

NTC_SERVICE_STEP(stat, stat)
{
    std::int32_t count = 0;
    const std::uint32_t code =
        in_session(service, caller, request, [&](Pop3Session& session) { return session.stat(count); });
    answer.set_total_num(count);
    return code;
}

NTC_SERVICE_STEP(list, list)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        if (!request.has_c_info_list()) return kMalformedRequest;
        return session.list(request.c_info_list(), *answer.mutable_c_info_list(), room);
    });
}

NTC_SERVICE_STEP(list_next, list_next)
{
    ntc_email_esu_pop3_mail_info next;
    const std::uint32_t code = in_session(service, caller, request, [&](Pop3Session& session) {
        if (!request.has_c_info_list() || !request.has_c_info()) return kMalformedRequest;
        return session.list_next(request.c_info_list(), request.c_info(), *answer.mutable_c_info_list(), next,
                                 room);
    });
    if (next.has_n_id()) *answer.mutable_c_info() = next;
    return code;
}

NTC_SERVICE_STEP(receive_header, receive_header)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        if (!request.c_mail().has_c_mail_info()) return kMalformedRequest;
        return session.receive_header(request.c_mail(), request.code_conv(), *answer.mutable_c_mail(), room);
    });
}

NTC_SERVICE_STEP(receive_body, receive_body)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        return session.receive_body(request.c_mail(), *answer.mutable_c_mail(), room);
    });
}

NTC_SERVICE_STEP(receive_part_header, receive_part_header)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        return session.receive_part_header(request.c_mail(), request.code_conv(), *answer.mutable_c_mail(),
                                           room);
    });
}

NTC_SERVICE_STEP(receive_part_body, receive_part_body)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        return session.receive_part_body(request.c_mail(), *answer.mutable_c_mail(), room);
    });
}

NTC_SERVICE_STEP(skip_mail, skip_mail)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        return session.skip_mail(request.c_mail(), *answer.mutable_c_mail());
    });
}

NTC_SERVICE_STEP(skip_part, skip_part)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        return session.skip_part(request.c_mail(), *answer.mutable_c_mail(), room);
    });
}

NTC_SERVICE_STEP(remove, delete)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        return request.c_mail().has_c_mail_info() ? session.remove(request.c_mail()) : kMalformedRequest;
    });
}

NTC_SERVICE_STEP(close, close)
{
    return in_session(service, caller, request, [](Pop3Session& session) { return session.close(); });
}

NTC_SERVICE_STEP(ref_mail_address, ref_mail_address)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        const std::string_view address = cut_addresses(session.own_address(), less(room, kAroundMail));
        answer.mutable_mail_address()->set_c_address(std::string(address));
        return std::uint32_t{0};
    });
}

NTC_SERVICE_STEP(noop, noop)
{
    return in_session(service, caller, request, [](Pop3Session& session) { return session.noop(); });
}

NTC_SERVICE_STEP(remove_by_uid, delete_by_uid)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        if (!request.has_c_info_list()) return kMalformedRequest;
        return session.remove_by_uid(request.c_info_list(), *answer.mutable_c_info_list(), room);
    });
}

NTC_SERVICE_STEP(receive_header_only, receive_header_only)
{
    return in_session(service, caller, request, [&](Pop3Session& session) {
        if (!request.c_mail().has_c_mail_info()) return kMalformedRequest;
        return session.receive_header_only(request.c_mail(), request.code_conv(), *answer.mutable_c_mail(),
                                           room);
    });
}

NTC_SERVICE_STEP(destroy, destroy_instance)
{
    return service.destroy_session(caller, SessionKind::pop3, request.session_id());
}
#undef NTC_SERVICE_STEP

enum class Log { every, failures };  // steps that come by the thousand are logged when they fail only

// The answer to RefMailAddress alone has no code.
template <typename Answer, typename = void>
struct CodeOf {
    static void set(Answer&, std::uint32_t) {}
};
template <typename Answer>
struct CodeOf<Answer, std::void_t<decltype(std::declval<Answer&>().set_retcode(0))>> {
    static void set(Answer& answer, std::uint32_t code)
    {
        answer.set_retcode(static_cast<std::int32_t>(code));
    }
};

template <auto Has, auto Request, auto Answer, auto Run>
constexpr OperationRow<Envelope> operation(NTC_EMAIL_ESU_POP3_METHOD method, const char* name, Log log)
{
    return {method,
            log == Log::failures,
            method == NTC_EMAIL_ESU_POP3_METHOD_DESTROY_INSTANCE,
            name,
            [](const Envelope& envelope) { return (envelope.*Has)(); },
            nullptr,
            [](MailService& service, const Caller& caller, Envelope& request, Envelope& reply,
               std::uint32_t capacity) {
                return Run(service, caller, *(request.*Request)(), *(reply.*Answer)(), capacity);
            },
            [](Envelope& reply, std::uint32_t code) {
                auto& answer = *(reply.*Answer)();
                CodeOf<std::decay_t<decltype(answer)>>::set(answer, code);
            }};
}

// An answer without the list empties the caller's: his own is in it from the start.
template <auto Request, auto Answer>
constexpr OperationRow<Envelope> with_list(OperationRow<Envelope> row)
{
    row.prepare = [](const Envelope& request, Envelope& reply, std::uint32_t capacity) {
        put_list((request.*Request)().c_info_list(), less(capacity, kAroundList),
                 *(reply.*Answer)()->mutable_c_info_list());
    };
    return row;
}

#define NTC_SERVICE_OPERATION(METHOD, method, run, log)                                                      \
    operation<&Envelope::has_##method##_req, &Envelope::mutable_##method##_req,                              \
              &Envelope::mutable_##method##_res, &(run)>(NTC_EMAIL_ESU_POP3_METHOD_##METHOD, #method, log)
#define NTC_SERVICE_WITH_LIST(method, row)                                                                   \
    with_list<&Envelope::method##_req, &Envelope::mutable_##method##_res>(row)

struct Pop3Protocol {
    using Envelope = ntc_email_esu_pop3_method;

    static constexpr OperationRow<Envelope> kOperations[] = {
        NTC_SERVICE_OPERATION(CREATE_INSTANCE, create_instance, create, Log::every),
        NTC_SERVICE_OPERATION(TEST, test, test, Log::every),
        NTC_SERVICE_OPERATION(CONNECT, connect, connect, Log::every),
        NTC_SERVICE_OPERATION(STAT, stat, stat, Log::every),
        NTC_SERVICE_WITH_LIST(list, NTC_SERVICE_OPERATION(LIST, list, list, Log::every)),
        NTC_SERVICE_WITH_LIST(list_next,
                              NTC_SERVICE_OPERATION(LIST_NEXT, list_next, list_next, Log::failures)),
        NTC_SERVICE_OPERATION(RECEIVE_HEADER, receive_header, receive_header, Log::every),
        NTC_SERVICE_OPERATION(RECEIVE_BODY, receive_body, receive_body, Log::failures),
        NTC_SERVICE_OPERATION(RECEIVE_PART_HEADER, receive_part_header, receive_part_header, Log::failures),
        NTC_SERVICE_OPERATION(RECEIVE_PART_BODY, receive_part_body, receive_part_body, Log::failures),
        NTC_SERVICE_OPERATION(SKIP_MAIL, skip_mail, skip_mail, Log::every),
        NTC_SERVICE_OPERATION(SKIP_PART, skip_part, skip_part, Log::failures),
        NTC_SERVICE_OPERATION(DELETE, delete, remove, Log::every),
        NTC_SERVICE_OPERATION(CLOSE, close, close, Log::every),
        NTC_SERVICE_OPERATION(REF_MAIL_ADDRESS, ref_mail_address, ref_mail_address, Log::failures),
        NTC_SERVICE_OPERATION(NOOP, noop, noop, Log::every),
        NTC_SERVICE_WITH_LIST(delete_by_uid,
                              NTC_SERVICE_OPERATION(DELETE_BY_UID, delete_by_uid, remove_by_uid, Log::every)),
        NTC_SERVICE_OPERATION(RECEIVE_HEADER_ONLY, receive_header_only, receive_header_only, Log::every),
        NTC_SERVICE_OPERATION(DESTROY_INSTANCE, destroy_instance, destroy, Log::every),
    };

    static void forget_secrets(Envelope& request)
    {
        if (request.has_create_instance_req())
            velorin::forget_secrets(*request.mutable_create_instance_req());
    }
};
#undef NTC_SERVICE_OPERATION
#undef NTC_SERVICE_WITH_LIST

}  // namespace

bool dispatch_pop3(MailService& service, const Caller& caller, std::string_view request, char* answer,
                   std::uint32_t capacity, std::uint32_t& answer_length) noexcept
{
    return Dispatch<Pop3Protocol>(service, caller).exchange(request, answer, capacity, answer_length);
}

}  // namespace velorin::service
