// SMTP envelopes as the service reads them, through the converters of all that they carry.
//   input   the allocation that fails (0: none), the envelope
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_envelope.h"
#include "fuzz_input.h"
#include "ntc_email_esu_pop3_helper.h"
#include "ntc_email_esu_smtp_helper.h"

namespace {

using namespace velorin;
using namespace velorin_fuzz;
using Mail = ntc_email_esu_smtp_send_mail;
using Settings = ntc_email_esu_smtp_settings;

const auto fresh_mail = [] { return std::make_unique<CntsSMTPSendMail>(); };
const auto mail_from = [](const Mail& message, CntsSMTPSendMail& mail) {
    return ntc_email_esu_smtp_helper::convert_smtp_send_mail(message, mail);
};
const auto mail_to = [](const CntsSMTPSendMail& mail, Mail& message) {
    return ntc_email_esu_smtp_helper::convert_smtp_send_mail(mail, message);
};
const auto fresh_settings = [] { return std::make_unique<CntsSMTPSettings>(nts_smtp_settings()); };
const auto settings_from = [](const Settings& message, CntsSMTPSettings& settings) {
    return ntc_email_esu_smtp_helper::convert_smtp_settings(message, settings);
};
const auto settings_to = [](const CntsSMTPSettings& settings, Settings& message) {
    return ntc_email_esu_smtp_helper::convert_smtp_settings(settings, message);
};

// An account is read into one of empty texts, so that an address without a text does not stay without.
const auto settle = [](Settings& message) {
    if (message.has_p_pop3_settings())
        message.mutable_p_pop3_settings()->mutable_c_address()->mutable_c_address();
};

void check_mail(const Mail& message, unsigned failing)
{
    {
        const Platform platform;
        Mail written;
        written.ParseFromString(stable(message, fresh_mail, mail_from, mail_to));
        check_part(written.my_part());
        check_part(written.p_part().p_part());
        require(written.has_p_part() == message.has_p_part(), "a part travels when there is one");
        require(written.has_c_cc() == message.has_c_cc(), "a field that is absent stays absent");
        require(written.c_subject() == message.c_subject().substr(0, message.c_subject().find('\0')),
                "a text travels up to its NUL");
        require(written.c_message_id().empty() || written.c_message_id()[0] == '<',
                "an identifier has its brackets");
        keeps_what_is_absent(message, fresh_mail, mail_from, mail_to);
    }
    survives(message, failing, fresh_mail, mail_from, mail_to);
}

void check_settings(const Settings& message, unsigned failing)
{
    {
        const Platform platform;
        Settings written;
        written.ParseFromString(stable(message, fresh_settings, settings_from, settings_to, settle));
        require(written.has_p_pop3_settings() == message.has_p_pop3_settings(), "accounts stay together");
        require(written.n_port() == message.n_port() && written.n_size_limit() == message.n_size_limit(),
                "numbers travel as they are");
        require(written.tlsmode() <= 0xFF, "a mode is an octet");
    }
    survives(message, failing, fresh_settings, settings_from, settings_to);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(16);
    ntc_email_esu_smtp_method envelope;
    if (!envelope.ParseFromString(input.rest())) return 0;

    const auto mail_of = [&](const auto& request) {
        if (request.has_c_mail()) check_mail(request.c_mail(), failing);
    };
    mail_of(envelope.send_header_req());
    mail_of(envelope.send_body_req());
    mail_of(envelope.send_part_header_req());
    mail_of(envelope.send_part_body_req());
    mail_of(envelope.close_req());
    if (envelope.create_instance_req().has_psmtpset())
        check_settings(envelope.create_instance_req().psmtpset(), failing);
    return 0;
}
