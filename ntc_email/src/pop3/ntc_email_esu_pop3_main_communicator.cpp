#include "ntc_email_esu_pop3_main_communicator.h"

#include "ntc_email_esu_mlutl_helper.h"
#include "ntc_email_esu_pop3_helper.h"
#include "pop3_secrets.h"

namespace velorin {

template class ServiceChannel<Pop3Protocol>;

template <>
class RequestSecrets<ntc_email_esu_pop3_create_instance_req> {
public:
    explicit RequestSecrets(ntc_email_esu_pop3_create_instance_req& request) : request_(request) {}
    RequestSecrets(const RequestSecrets&) = delete;
    RequestSecrets& operator=(const RequestSecrets&) = delete;
    ~RequestSecrets() { forget_secrets(request_); }

private:
    ntc_email_esu_pop3_create_instance_req& request_;
};

namespace {

using Envelope = ntc_email_esu_pop3_method;
using Helper = ntc_email_esu_pop3_helper;

constexpr RetcodeOf retcode_of{};
constexpr FillNothing fill_nothing{};

// Both directions of a converter fail with the same line.
std::uint32_t traced_settings(const char* method, std::uint32_t status)
{
    if (status != kStatusOk) {
        NTC_TRACE("ntc_email_esu_pop3_main_communicator::%s():convert_pop3_settings() returns 0x%lx\n",
                  method, static_cast<unsigned long>(status));
    }
    return status;
}

std::uint32_t traced_list(const char* method, std::uint32_t status)
{
    if (status != kStatusOk) {
        NTC_TRACE("ntc_email_esu_pop3_main_communicator::%s():convert_pop3_mail_info_list() returns 0x%lx\n",
                  method, static_cast<unsigned long>(status));
    }
    return status;
}

std::uint32_t traced_info(const char* method, std::uint32_t status)
{
    if (status != kStatusOk) {
        NTC_TRACE("ntc_email_esu_pop3_main_communicator::%s():convert_pop3_mail_info() returns 0x%lx\n",
                  method, static_cast<unsigned long>(status));
    }
    return status;
}

std::uint32_t traced_mail(const char* method, std::uint32_t status)
{
    if (status != kStatusOk) {
        NTC_TRACE("ntc_email_esu_pop3_main_communicator::%s():convert_pop3_receive_mail() returns 0x%lx\n",
                  method, static_cast<unsigned long>(status));
    }
    return status;
}

std::uint32_t traced_address(const char* method, std::uint32_t status)
{
    if (status != kStatusOk) {
        NTC_TRACE("ntc_email_esu_pop3_main_communicator::%s():convert_mlutl_mail_address() returns 0x%lx\n",
                  method, static_cast<unsigned long>(status));
    }
    return status;
}

std::uint32_t put_list(const char* method, const CntsPOP3MailInfoList& list,
                       ntc_email_esu_pop3_mail_info_list& message)
{
    return traced_list(method, Helper::convert_pop3_mail_info_list(list, message));
}

std::uint32_t put_mail(const char* method, const CntsPOP3ReceiveMail& mail,
                       ntc_email_esu_pop3_receive_mail& message)
{
    return traced_mail(method, Helper::convert_pop3_receive_mail(mail, message));
}

template <typename Request>
std::uint32_t put_header_request(const char* method, const CntsPOP3ReceiveMail& mail, int code_conv,
                                 Request& request)
{
    const std::uint32_t status = put_mail(method, mail, *request.mutable_c_mail());
    request.set_code_conv(code_conv != 0);
    return status;
}

bool holds(const CntsPOP3MailInfoList& list, const CntsPOP3MailInfo& info)
{
    for (long i = 0; i < list.m_cList.GetCount(); ++i) {
        if (list.m_cList.GetAt(i) == &info) return true;
    }
    return false;
}

// Copies the answer's list back, then gives its code.
template <typename Response>
std::uint32_t take_list(const char* method, const Response& response, CntsPOP3MailInfoList& list)
{
    const std::uint32_t status =
        traced_list(method, Helper::convert_pop3_mail_info_list(response.c_info_list(), list));
    return status != kStatusOk ? status : retcode_of(response);
}

// Copies the answer's mail back, whatever its code is, then gives the code.
template <typename Response>
std::uint32_t take_mail(const char* method, const Response& response, CntsPOP3ReceiveMail& mail)
{
    const std::uint32_t status =
        traced_mail(method, Helper::convert_pop3_receive_mail(response.c_mail(), mail));
    return status != kStatusOk ? status : retcode_of(response);
}

}  // namespace

ntc_email_esu_pop3_main_communicator::ntc_email_esu_pop3_main_communicator() = default;

ntc_email_esu_pop3_main_communicator::~ntc_email_esu_pop3_main_communicator() = default;

std::uint32_t ntc_email_esu_pop3_main_communicator::call_create_instance(const CntsPOP3Settings& settings)
{
    const char* const method = __func__;  // inside a lambda it would name the lambda
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_CREATE_INSTANCE, &Envelope::mutable_create_instance_req,
        &Envelope::mutable_create_instance_res,
        [&](auto& req) {
            return traced_settings(method,
                                   Helper::convert_pop3_settings(settings, *req.mutable_c_settings()));
        },
        retcode_of);
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_test()
{
    return exchange(__func__, NTC_EMAIL_ESU_POP3_METHOD_TEST, &Envelope::mutable_test_req,
                    &Envelope::mutable_test_res, fill_nothing, retcode_of);
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_connect()
{
    return exchange(__func__, NTC_EMAIL_ESU_POP3_METHOD_CONNECT, &Envelope::mutable_connect_req,
                    &Envelope::mutable_connect_res, fill_nothing, retcode_of);
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_stat(int& count)
{
    return exchange(__func__, NTC_EMAIL_ESU_POP3_METHOD_STAT, &Envelope::mutable_stat_req,
                    &Envelope::mutable_stat_res, fill_nothing, [&](auto& res) {
                        count =
                            res.total_num();  // before the code is looked at: an error's answer counts too
                        return retcode_of(res);
                    });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_list(CntsPOP3MailInfoList& list,
                                                              int /* never travels */)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_LIST, &Envelope::mutable_list_req, &Envelope::mutable_list_res,
        [&](auto& req) { return put_list(method, list, *req.mutable_c_info_list()); },
        [&](auto& res) { return take_list(method, res, list); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_list_next(CntsPOP3MailInfoList& list,
                                                                   CntsPOP3MailInfo& info)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_LIST_NEXT, &Envelope::mutable_list_next_req,
        &Envelope::mutable_list_next_res,
        [&](auto& req) {
            const std::uint32_t status = put_list(method, list, *req.mutable_c_info_list());
            if (status != kStatusOk) return status;
            return traced_info(method, Helper::convert_pop3_mail_info(info, *req.mutable_c_info()));
        },
        [&](auto& res) {
            const bool is_own_entry = holds(list, info);  // the new list destroys it
            std::uint32_t status =
                traced_list(method, Helper::convert_pop3_mail_info_list(res.c_info_list(), list));
            if (status != kStatusOk) return status;
            CntsPOP3MailInfo unseen;
            status = traced_info(method,
                                 Helper::convert_pop3_mail_info(res.c_info(), is_own_entry ? unseen : info));
            return status != kStatusOk ? status : retcode_of(res);
        });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_receive_header(CntsPOP3ReceiveMail& mail,
                                                                        int code_conv)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_HEADER, &Envelope::mutable_receive_header_req,
        &Envelope::mutable_receive_header_res,
        [&](auto& req) { return put_header_request(method, mail, code_conv, req); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_receive_body(CntsPOP3ReceiveMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_BODY, &Envelope::mutable_receive_body_req,
        &Envelope::mutable_receive_body_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_receive_part_header(CntsPOP3ReceiveMail& mail,
                                                                             int code_conv)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_PART_HEADER, &Envelope::mutable_receive_part_header_req,
        &Envelope::mutable_receive_part_header_res,
        [&](auto& req) { return put_header_request(method, mail, code_conv, req); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_receive_part_body(CntsPOP3ReceiveMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_PART_BODY, &Envelope::mutable_receive_part_body_req,
        &Envelope::mutable_receive_part_body_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_skip_mail(CntsPOP3ReceiveMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_SKIP_MAIL, &Envelope::mutable_skip_mail_req,
        &Envelope::mutable_skip_mail_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_skip_part(CntsPOP3ReceiveMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_SKIP_PART, &Envelope::mutable_skip_part_req,
        &Envelope::mutable_skip_part_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_delete(CntsPOP3ReceiveMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_DELETE, &Envelope::mutable_delete_req,
        &Envelope::mutable_delete_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_close()
{
    return exchange(__func__, NTC_EMAIL_ESU_POP3_METHOD_CLOSE, &Envelope::mutable_close_req,
                    &Envelope::mutable_close_res, fill_nothing, retcode_of);
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_ref_mail_address(CntsMLUTLMailAddress& address)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_REF_MAIL_ADDRESS, &Envelope::mutable_ref_mail_address_req,
        &Envelope::mutable_ref_mail_address_res, fill_nothing, [&](auto& res) {
            // This answer alone has no code of its own.
            return traced_address(
                method, static_cast<std::uint32_t>(ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(
                            res.mail_address(), address)));
        });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_noop()
{
    return exchange(__func__, NTC_EMAIL_ESU_POP3_METHOD_NOOP, &Envelope::mutable_noop_req,
                    &Envelope::mutable_noop_res, fill_nothing, retcode_of);
}

std::uint32_t
ntc_email_esu_pop3_main_communicator::call_delete_by_uid(CntsPOP3MailInfoList& list,
                                                         CntsPOP3ReceiveMail& /* never travels */)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_DELETE_BY_UID, &Envelope::mutable_delete_by_uid_req,
        &Envelope::mutable_delete_by_uid_res,
        [&](auto& req) { return put_list(method, list, *req.mutable_c_info_list()); },
        [&](auto& res) { return take_list(method, res, list); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_receive_header_only(CntsPOP3ReceiveMail& mail,
                                                                             int code_conv)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_HEADER_ONLY, &Envelope::mutable_receive_header_only_req,
        &Envelope::mutable_receive_header_only_res,
        [&](auto& req) { return put_header_request(method, mail, code_conv, req); },
        [&](auto& res) { return take_mail(method, res, mail); });
}

std::uint32_t ntc_email_esu_pop3_main_communicator::call_destroy_instance()
{
    // Deliberately reads the answer of another method: a destroy that was exchanged counts as done, whatever
    // code its own answer carries.
    return exchange(__func__, NTC_EMAIL_ESU_POP3_METHOD_DESTROY_INSTANCE,
                    &Envelope::mutable_destroy_instance_req, &Envelope::mutable_receive_header_only_res,
                    fill_nothing, retcode_of);
}

}  // namespace velorin
