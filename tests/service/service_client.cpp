#include "service_client.h"

#include <array>
#include <utility>

#include <sys/types.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ca_file.h"
#include "emwGEN.h"
#include "velorin_mail_service.h"

namespace velorin_test {
namespace {

using Envelope = velorin::ntc_email_esu_smtp_method;

constexpr std::uint32_t kCapacity = 4096;  // the library's receive buffer

}  // namespace

velorin_channel::Caller this_caller()
{
    return {::getuid(), ::getgid(), static_cast<std::int32_t>(::getpid()), 1, true};
}

Exchange directly(velorin::service::MailService& service, const velorin_channel::Caller& caller)
{
    return [&service, caller](const std::string& request, std::string& answer) {
        answer.assign(kCapacity, '\0');
        std::uint32_t length = 0;
        const bool answered =
            service.answer_smtp(caller, request.data(), static_cast<std::uint32_t>(request.size()),
                                answer.data(), kCapacity, length);
        answer.resize(answered ? length : 0);
        return answered;
    };
}

Exchange over_channel()
{
    return [](const std::string& request, std::string& answer) {
        std::uint32_t channel = 0;
        if (emwGENPacketClntInit("pcie:ntc_email_smtp", &channel) != 0) return false;
        answer.assign(kCapacity, '\0');
        std::uint32_t length = 0;
        const std::uint32_t status =
            emwGENPacketClntCall(channel, request.data(), static_cast<std::uint32_t>(request.size()),
                                 answer.data(), kCapacity, &length, 60000);
        emwGENPacketClntTerm(channel);
        answer.resize(status == 0 ? length : 0);
        return status == 0;
    };
}

std::string last_reply_of(velorin::service::MailService& service)
{
    std::string line(512, '\0');
    std::uint32_t length = 0;
    EXPECT_TRUE(service.answer_diagnosis(this_caller(), line.data(), 512, length));
    line.resize(length);
    return line;
}

velorin::MailServiceOptions quick_options()
{
    velorin::MailServiceOptions options;
    options.connect_timeout = 5;
    options.command_timeout = 5;
    options.data_timeout = 5;
    return options;
}

velorin::MailServiceOptions trusting(const CaFile& ca)
{
    velorin::MailServiceOptions options = quick_options();
    options.ca_file = ca.path();
    return options;
}

ServiceClient::ServiceClient(Exchange exchange, std::uint32_t session_id)
    : exchange_(std::move(exchange)), session_id_(session_id)
{
    settings.set_c_server("127.0.0.1");
    settings.set_c_host_name("client.example");
    mail.mutable_my_part()->set_e_content_type(0);
    mail.mutable_my_part()->set_e_transfer_encoding(0);
    mail.mutable_my_part()->set_e_content_disposition(3);
    mail.mutable_my_part()->set_e_char_set(0);
    mail.mutable_c_from()->set_c_address("The Sender <sender@example.com>");
    mail.mutable_c_to()->set_c_address("one@example.org");
    mail.set_c_subject("A test");
    mail.set_c_date("Thu, 01 Jan 2026 00:00:00 +0000");
    mail.set_c_message_id("<id@example.com>");
}

std::string plain_header()
{
    return "Date: Thu, 01 Jan 2026 00:00:00 +0000\r\n"
           "From: The Sender <sender@example.com>\r\n"
           "Subject: A test\r\n"
           "To: one@example.org\r\n"
           "Message-Id: <id@example.com>\r\n"
           "Mime-Version: 1.0\r\n"
           "Content-Type: text/plain; charset=\"us-ascii\"\r\n"
           "Content-Transfer-Encoding: 7bit\r\n"
           "\r\n";
}

void ServiceClient::make_multipart()
{
    mail.mutable_my_part()->set_e_content_type(3);
    mail.set_c_boundary_string("cut");
}

void ServiceClient::set_part(const std::string& file_name)
{
    velorin::ntc_email_esu_mlutl_mail_part& part = *mail.mutable_p_part()->mutable_p_part();
    part.set_e_content_type(7);
    part.set_e_transfer_encoding(2);
    part.set_e_content_disposition(1);
    part.set_e_char_set(12);
    part.set_c_file_name(file_name);
}

void ServiceClient::log_in(std::int32_t auth_kind)
{
    settings.set_auth_kind(auth_kind);
    settings.set_c_usr_id(kUser);
    settings.set_c_paswd(kPassword);
}

Envelope ServiceClient::ask(const Envelope& request, bool& answered)
{
    std::string answer;
    answered = exchange_(request.SerializeAsString(), answer);
    Envelope out;
    if (answered) answered = out.ParseFromString(answer);
    return out;
}

#define ASK(METHOD, method, fill)                                                                            \
    Envelope request;                                                                                        \
    request.set_method_type(velorin::NTC_EMAIL_ESU_SMTP_METHOD_##METHOD);                                    \
    auto& req = *request.mutable_##method##_req();                                                           \
    req.set_session_id(session_id_);                                                                         \
    fill;                                                                                                    \
    bool answered = false;                                                                                   \
    const Envelope answer = ask(request, answered);                                                          \
    if (!answered || !answer.has_##method##_res() || !answer.method##_res().has_retcode()) return kNoAnswer; \
    return static_cast<std::uint32_t>(answer.method##_res().retcode())

std::uint32_t ServiceClient::create()
{
    ASK(CREATE_INSTANCE, create_instance, *req.mutable_psmtpset() = settings);
}
std::uint32_t ServiceClient::test()
{
    ASK(TEST, test, );
}
std::uint32_t ServiceClient::connect()
{
    ASK(CONNECT, connect, );
}
std::uint32_t ServiceClient::judge(std::uint32_t size)
{
    ASK(JUDGE_SIZE_OF_DATA, judge_size_of_data, req.set_size(size));
}
std::uint32_t ServiceClient::header()
{
    ASK(SEND_HEADER, send_header, *req.mutable_c_mail() = mail);
}
std::uint32_t ServiceClient::part_header()
{
    ASK(SEND_PART_HEADER, send_part_header, *req.mutable_c_mail() = mail);
}
std::uint32_t ServiceClient::close()
{
    ASK(CLOSE, close, *req.mutable_c_mail() = mail);
}
std::uint32_t ServiceClient::abort()
{
    ASK(ABORT, abort, );
}
std::uint32_t ServiceClient::destroy()
{
    ASK(DESTROY_INSTANCE, destroy_instance, );
}

std::uint32_t ServiceClient::body(const std::string& octets)
{
    mail.mutable_my_part()->set_p_buffer(octets);
    mail.mutable_my_part()->set_n_length(static_cast<std::int32_t>(octets.size()));
    ASK(SEND_BODY, send_body, *req.mutable_c_mail() = mail);
}

std::uint32_t ServiceClient::part_body(const std::string& octets)
{
    mail.mutable_p_part()->mutable_p_part()->set_p_buffer(octets);
    mail.mutable_p_part()->mutable_p_part()->set_n_length(static_cast<std::int32_t>(octets.size()));
    ASK(SEND_PART_BODY, send_part_body, *req.mutable_c_mail() = mail);
}
#undef ASK

std::uint32_t ServiceClient::open(std::uint16_t port)
{
    settings.set_n_port(port);
    const std::uint32_t code = create();
    return code != 0 ? code : connect();
}

std::uint32_t ServiceClient::send(const std::string& octets)
{
    std::uint32_t code = header();
    if (code == 0) code = body(octets);
    return code != 0 ? code : close();
}

std::string name_of(std::uint32_t code)
{
    if (code == 0) return "ok";
    if (code == kNoAnswer) return "no answer";
    const velorin::ReturnCode* const row = velorin::find_return_code(code);
    return row != nullptr ? row->name : "unknown code";
}

}  // namespace velorin_test
