#include "ntc_email_esu_smtp_main_communicator.h"

#include <algorithm>

#include "ntc_email_esu_smtp_helper.h"
#include "smtp_secrets.h"

namespace velorin {

template class ServiceChannel<SmtpProtocol>;

template <>
class RequestSecrets<ntc_email_esu_smtp_create_instance_req> {
public:
    explicit RequestSecrets(ntc_email_esu_smtp_create_instance_req& request) : request_(request) {}
    RequestSecrets(const RequestSecrets&) = delete;
    RequestSecrets& operator=(const RequestSecrets&) = delete;
    ~RequestSecrets() { forget_secrets(request_); }

private:
    ntc_email_esu_smtp_create_instance_req& request_;
};

namespace {

using Envelope = ntc_email_esu_smtp_method;

constexpr RetcodeOf retcode_of{};
constexpr FillNothing fill_nothing{};

std::uint32_t put_settings(const char* method, const CntsSMTPSettings& settings,
                           ntc_email_esu_smtp_settings& message)
{
    const std::uint32_t status = ntc_email_esu_smtp_helper::convert_smtp_settings(settings, message);
    if (status != kStatusOk) {
        NTC_TRACE("ntc_email_esu_smtp_main_communicator::%s():convert_smtp_settings() returns 0x%lx\n",
                  method, static_cast<unsigned long>(status));
    }
    return status;
}

std::uint32_t put_mail(const char* method, const CntsSMTPSendMail& mail,
                       ntc_email_esu_smtp_send_mail& message)
{
    const auto status =
        static_cast<std::uint32_t>(ntc_email_esu_smtp_helper::convert_smtp_send_mail(mail, message));
    if (status != kStatusOk) {
        NTC_TRACE("ntc_email_esu_smtp_main_communicator::%s():convert_smtp_send_mail() returns 0x%lx\n",
                  method, static_cast<unsigned long>(status));
    }
    return status;
}

}  // namespace

ntc_email_esu_smtp_main_communicator::ntc_email_esu_smtp_main_communicator() = default;

ntc_email_esu_smtp_main_communicator::~ntc_email_esu_smtp_main_communicator() = default;

std::uint32_t ntc_email_esu_smtp_main_communicator::call_create_instance(const CntsSMTPSettings& settings)
{
    const char* const method = __func__;  // inside a lambda it would name the lambda
    return exchange(
        method, NTC_EMAIL_ESU_SMTP_METHOD_CREATE_INSTANCE, &Envelope::mutable_create_instance_req,
        &Envelope::mutable_create_instance_res,
        [&](auto& req) { return put_settings(method, settings, *req.mutable_psmtpset()); }, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_test()
{
    return exchange(__func__, NTC_EMAIL_ESU_SMTP_METHOD_TEST, &Envelope::mutable_test_req,
                    &Envelope::mutable_test_res, fill_nothing, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_connect()
{
    return exchange(__func__, NTC_EMAIL_ESU_SMTP_METHOD_CONNECT, &Envelope::mutable_connect_req,
                    &Envelope::mutable_connect_res, fill_nothing, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_send_header(CntsSMTPSendMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_SMTP_METHOD_SEND_HEADER, &Envelope::mutable_send_header_req,
        &Envelope::mutable_send_header_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); }, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_send_body(CntsSMTPSendMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_SMTP_METHOD_SEND_BODY, &Envelope::mutable_send_body_req,
        &Envelope::mutable_send_body_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); }, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_send_part_header(CntsSMTPSendMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_SMTP_METHOD_SEND_PART_HEADER, &Envelope::mutable_send_part_header_req,
        &Envelope::mutable_send_part_header_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); }, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_send_part_body(CntsSMTPSendMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_SMTP_METHOD_SEND_PART_BODY, &Envelope::mutable_send_part_body_req,
        &Envelope::mutable_send_part_body_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); }, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_close(CntsSMTPSendMail& mail)
{
    const char* const method = __func__;
    return exchange(
        method, NTC_EMAIL_ESU_SMTP_METHOD_CLOSE, &Envelope::mutable_close_req, &Envelope::mutable_close_res,
        [&](auto& req) { return put_mail(method, mail, *req.mutable_c_mail()); }, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_abort()
{
    return exchange(__func__, NTC_EMAIL_ESU_SMTP_METHOD_ABORT, &Envelope::mutable_abort_req,
                    &Envelope::mutable_abort_res, fill_nothing, retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_judge_size_of_data(unsigned long size)
{
    return exchange(
        __func__, NTC_EMAIL_ESU_SMTP_METHOD_JUDGE_SIZE_OF_DATA, &Envelope::mutable_judge_size_of_data_req,
        &Envelope::mutable_judge_size_of_data_res,
        [&](auto& req) {
            // The field has 32 bits: a larger size is judged as the largest, never as what its low bits say.
            req.set_size(static_cast<std::uint32_t>(std::min(size, 0xFFFFFFFFul)));
            return kStatusOk;
        },
        retcode_of);
}

std::uint32_t ntc_email_esu_smtp_main_communicator::call_destroy_instance()
{
    return exchange(__func__, NTC_EMAIL_ESU_SMTP_METHOD_DESTROY_INSTANCE,
                    &Envelope::mutable_destroy_instance_req, &Envelope::mutable_destroy_instance_res,
                    fill_nothing, retcode_of);
}

}  // namespace velorin
