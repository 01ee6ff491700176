#pragma once

#include <cstdint>

#include "CntsSMTPSendMail.h"
#include "CntsSMTPSettings.h"
#include "ntc_email_esu_smtp.pb.h"
#include "ntc_email_export.h"

namespace velorin {

// Converters between the SMTP classes and their wire messages.
//   result  0; 0x21077103 after one trace line when an inner conversion failed, a message or mail then partly
//           filled
class NTC_EMAIL_API ntc_email_esu_smtp_helper {
public:
    static std::uint32_t convert_smtp_settings(const CntsSMTPSettings& settings,
                                               ntc_email_esu_smtp_settings& message);
    // Replaces the settings whole: an absent field becomes 0 or the text's default. Unchanged on failure.
    static std::uint32_t convert_smtp_settings(const ntc_email_esu_smtp_settings& message,
                                               CntsSMTPSettings& settings);

    static int convert_smtp_send_mail(const CntsSMTPSendMail& mail, ntc_email_esu_smtp_send_mail& message);
    // Only fields that are present change the mail; identifiers are normalised as its setters do.
    static int convert_smtp_send_mail(const ntc_email_esu_smtp_send_mail& message, CntsSMTPSendMail& mail);

    static int convert_smtp_send_mail_part(const CntsSMTPSendMailPart& part,
                                           ntc_email_esu_smtp_send_mail_part& message);
    static int convert_smtp_send_mail_part(const ntc_email_esu_smtp_send_mail_part& message,
                                           CntsSMTPSendMailPart& part);
};

}  // namespace velorin
