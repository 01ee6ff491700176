#include "envelope_text.h"

#include <cstdio>

#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"

namespace velorin::cli {

namespace {

using Address = ntc_email_esu_mlutl_mail_address;
using Part = ntc_email_esu_mlutl_mail_part;

// Collects fields; absent and empty ones are left out.
class Fields {
public:
    explicit Fields(ExchangeText& text) : text_(text) {}

    void add(const char* name, const std::string& value)
    {
        if (!value.empty()) text_.fields.emplace_back(name, value);
    }
    void add(const char* name, std::int64_t value) { add(name, std::to_string(value)); }
    void add(const char* name, const Address& address) { add(name, address.c_address()); }
    void add_session(std::uint32_t session)
    {
        char text[16];
        std::snprintf(text, sizeof text, "%08lx", static_cast<unsigned long>(session));
        add("session", text);
    }
    void add_part(const char* octets_name, const Part& part)
    {
        add("file", part.c_file_name());
        if (part.n_length() > 0) add(octets_name, part.n_length());
    }

private:
    ExchangeText& text_;
};

const char* auth_text(std::int32_t kind)
{
    static const char* const texts[] = {"none", "auto", "plain", "login", "cram-md5", "pop", "xoauth2"};
    return kind >= 0 && kind < 7 ? texts[kind] : "unknown";
}

const char* tls_text(std::uint32_t mode)
{
    static const char* const texts[] = {"none", "starttls", "tls"};
    return mode < 3 ? texts[mode] : "unknown";
}

void add_smtp_settings(Fields& fields, const ntc_email_esu_smtp_settings& settings)
{
    fields.add("server", settings.c_server());
    if (settings.n_port() != 0) fields.add("port", settings.n_port());
    fields.add("tls", std::string(tls_text(settings.tlsmode())));
    fields.add("auth", std::string(auth_text(settings.auth_kind())));
    fields.add("user", settings.c_usr_id());
    fields.add("host name", settings.c_host_name());
    if (settings.has_p_pop3_settings()) {
        fields.add("pop server", settings.p_pop3_settings().c_server());
        fields.add("pop user", settings.p_pop3_settings().c_user_id());
    }
}

// The header texts of a mail, for the step that uses them.
void add_mail_header(Fields& fields, const ntc_email_esu_smtp_send_mail& mail)
{
    fields.add("from", mail.c_from());
    fields.add("sender", mail.c_sender());
    fields.add("to", mail.c_to());
    fields.add("cc", mail.c_cc());
    fields.add("bcc", mail.c_bcc());
    fields.add("reply to", mail.c_reply_to());
    fields.add("subject", mail.c_subject());
    fields.add("date", mail.c_date());
    fields.add("notification", mail.c_mdn_address());
    fields.add("message id", mail.c_message_id());
    fields.add("in reply to", mail.c_in_reply_to());
    fields.add("references", mail.c_references());
    fields.add("boundary", mail.c_boundary_string());
}

void describe_smtp_request(const ntc_email_esu_smtp_method& envelope, ExchangeText& text)
{
    Fields fields(text);
    switch (envelope.method_type()) {
    case NTC_EMAIL_ESU_SMTP_METHOD_CREATE_INSTANCE:
        text.method = "create session";
        fields.add_session(envelope.create_instance_req().session_id());
        add_smtp_settings(fields, envelope.create_instance_req().psmtpset());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_TEST:
        text.method = "test";
        fields.add_session(envelope.test_req().session_id());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_CONNECT:
        text.method = "connect";
        fields.add_session(envelope.connect_req().session_id());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_SEND_HEADER:
        text.method = "send header";
        fields.add_session(envelope.send_header_req().session_id());
        add_mail_header(fields, envelope.send_header_req().c_mail());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_SEND_BODY:
        text.method = "send body";
        fields.add_session(envelope.send_body_req().session_id());
        fields.add_part("octets", envelope.send_body_req().c_mail().my_part());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_SEND_PART_HEADER:
        text.method = "send part header";
        fields.add_session(envelope.send_part_header_req().session_id());
        fields.add_part("octets", envelope.send_part_header_req().c_mail().p_part().p_part());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_SEND_PART_BODY:
        text.method = "send part body";
        fields.add_session(envelope.send_part_body_req().session_id());
        fields.add_part("octets", envelope.send_part_body_req().c_mail().p_part().p_part());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_CLOSE:
        text.method = "close";
        fields.add_session(envelope.close_req().session_id());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_ABORT:
        text.method = "abort";
        fields.add_session(envelope.abort_req().session_id());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_JUDGE_SIZE_OF_DATA:
        text.method = "judge size";
        fields.add_session(envelope.judge_size_of_data_req().session_id());
        fields.add("octets", envelope.judge_size_of_data_req().size());
        break;
    case NTC_EMAIL_ESU_SMTP_METHOD_DESTROY_INSTANCE:
        text.method = "destroy session";
        fields.add_session(envelope.destroy_instance_req().session_id());
        break;
    }
}

template <typename Response>
void take_retcode(bool present, const Response& response, ExchangeText& text)
{
    if (!present) return;
    text.has_retcode = true;
    text.retcode = static_cast<std::uint32_t>(response.retcode());
}

void describe_smtp_answer(const ntc_email_esu_smtp_method& answer, ExchangeText& text)
{
    take_retcode(answer.has_create_instance_res(), answer.create_instance_res(), text);
    take_retcode(answer.has_test_res(), answer.test_res(), text);
    take_retcode(answer.has_connect_res(), answer.connect_res(), text);
    take_retcode(answer.has_send_header_res(), answer.send_header_res(), text);
    take_retcode(answer.has_send_body_res(), answer.send_body_res(), text);
    take_retcode(answer.has_send_part_header_res(), answer.send_part_header_res(), text);
    take_retcode(answer.has_send_part_body_res(), answer.send_part_body_res(), text);
    take_retcode(answer.has_close_res(), answer.close_res(), text);
    take_retcode(answer.has_abort_res(), answer.abort_res(), text);
    take_retcode(answer.has_judge_size_of_data_res(), answer.judge_size_of_data_res(), text);
    take_retcode(answer.has_destroy_instance_res(), answer.destroy_instance_res(), text);
}

const char* pop3_method(NTC_EMAIL_ESU_POP3_METHOD method)
{
    switch (method) {
    case NTC_EMAIL_ESU_POP3_METHOD_CREATE_INSTANCE:
        return "create session";
    case NTC_EMAIL_ESU_POP3_METHOD_TEST:
        return "test";
    case NTC_EMAIL_ESU_POP3_METHOD_CONNECT:
        return "connect";
    case NTC_EMAIL_ESU_POP3_METHOD_STAT:
        return "stat";
    case NTC_EMAIL_ESU_POP3_METHOD_LIST:
        return "list";
    case NTC_EMAIL_ESU_POP3_METHOD_LIST_NEXT:
        return "list next";
    case NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_HEADER:
        return "receive header";
    case NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_BODY:
        return "receive body";
    case NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_PART_HEADER:
        return "receive part header";
    case NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_PART_BODY:
        return "receive part body";
    case NTC_EMAIL_ESU_POP3_METHOD_SKIP_MAIL:
        return "skip mail";
    case NTC_EMAIL_ESU_POP3_METHOD_SKIP_PART:
        return "skip part";
    case NTC_EMAIL_ESU_POP3_METHOD_DELETE:
        return "delete";
    case NTC_EMAIL_ESU_POP3_METHOD_CLOSE:
        return "close";
    case NTC_EMAIL_ESU_POP3_METHOD_REF_MAIL_ADDRESS:
        return "mail address";
    case NTC_EMAIL_ESU_POP3_METHOD_NOOP:
        return "noop";
    case NTC_EMAIL_ESU_POP3_METHOD_DELETE_BY_UID:
        return "delete by unique id";
    case NTC_EMAIL_ESU_POP3_METHOD_RECEIVE_HEADER_ONLY:
        return "receive header only";
    case NTC_EMAIL_ESU_POP3_METHOD_DESTROY_INSTANCE:
        return "destroy session";
    }
    return "unknown method";
}

void describe_pop3_request(const ntc_email_esu_pop3_method& envelope, ExchangeText& text)
{
    Fields fields(text);
    text.method = pop3_method(envelope.method_type());
    if (!envelope.has_create_instance_req()) return;
    const auto& request = envelope.create_instance_req();
    fields.add_session(request.session_id());
    fields.add("server", request.c_settings().c_server());
    if (request.c_settings().n_port() != 0) fields.add("port", request.c_settings().n_port());
    fields.add("tls", std::string(tls_text(request.c_settings().n_tls_mode())));
    fields.add("user", request.c_settings().c_user_id());
    fields.add("address", request.c_settings().c_address());
}

void describe_pop3_answer(const ntc_email_esu_pop3_method& answer, ExchangeText& text)
{
    take_retcode(answer.has_create_instance_res(), answer.create_instance_res(), text);
    take_retcode(answer.has_test_res(), answer.test_res(), text);
    take_retcode(answer.has_connect_res(), answer.connect_res(), text);
    take_retcode(answer.has_stat_res(), answer.stat_res(), text);
    take_retcode(answer.has_list_res(), answer.list_res(), text);
    take_retcode(answer.has_list_next_res(), answer.list_next_res(), text);
    take_retcode(answer.has_receive_header_res(), answer.receive_header_res(), text);
    take_retcode(answer.has_receive_body_res(), answer.receive_body_res(), text);
    take_retcode(answer.has_receive_part_header_res(), answer.receive_part_header_res(), text);
    take_retcode(answer.has_receive_part_body_res(), answer.receive_part_body_res(), text);
    take_retcode(answer.has_skip_mail_res(), answer.skip_mail_res(), text);
    take_retcode(answer.has_skip_part_res(), answer.skip_part_res(), text);
    take_retcode(answer.has_delete_res(), answer.delete_res(), text);
    take_retcode(answer.has_close_res(), answer.close_res(), text);
    take_retcode(answer.has_noop_res(), answer.noop_res(), text);
    take_retcode(answer.has_delete_by_uid_res(), answer.delete_by_uid_res(), text);
    take_retcode(answer.has_receive_header_only_res(), answer.receive_header_only_res(), text);
    take_retcode(answer.has_destroy_instance_res(), answer.destroy_instance_res(), text);
}

template <typename Envelope, typename Request, typename Answer>
void describe(const std::string* request, const std::string* answer, Request describe_request,
              Answer describe_answer, ExchangeText& text)
{
    Envelope envelope;
    if (request != nullptr && envelope.ParseFromString(*request)) describe_request(envelope, text);
    if (answer != nullptr && envelope.ParseFromString(*answer)) describe_answer(envelope, text);
}

}  // namespace

ExchangeText describe_exchange(const std::string& endpoint, const std::string* request,
                               const std::string* answer)
{
    ExchangeText text;
    if (endpoint == "pcie:ntc_email_smtp") {
        text.protocol = "smtp";
        describe<ntc_email_esu_smtp_method>(request, answer, describe_smtp_request, describe_smtp_answer,
                                            text);
    } else if (endpoint == "pcie:ntc_email_pop3") {
        text.protocol = "pop3";
        describe<ntc_email_esu_pop3_method>(request, answer, describe_pop3_request, describe_pop3_answer,
                                            text);
    }
    return text;
}

}  // namespace velorin::cli
