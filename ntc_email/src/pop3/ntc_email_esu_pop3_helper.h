#pragma once

#include <cstdint>

#include "CntsPOP3MailInfo.h"
#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"
#include "CntsPOP3ReceiveMailPart.h"
#include "CntsPOP3Settings.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_export.h"

namespace velorin {

// Converters between the POP3 classes and their wire messages.
//   result  0; 0x21077103 when an inner conversion failed, after one trace line, or no boundary could be kept;
//           the target is then partly filled
class NTC_EMAIL_API ntc_email_esu_pop3_helper {
public:
    static std::uint32_t convert_pop3_settings(const CntsPOP3Settings& settings,
                                               ntc_email_esu_pop3_settings& message);
    // Only fields that are present change the settings.
    static std::uint32_t convert_pop3_settings(const ntc_email_esu_pop3_settings& message,
                                               CntsPOP3Settings& settings);

    static std::uint32_t convert_pop3_mail_info(const CntsPOP3MailInfo& info,
                                                ntc_email_esu_pop3_mail_info& message);
    // All four fields, or the entry stays as it was.
    static std::uint32_t convert_pop3_mail_info(const ntc_email_esu_pop3_mail_info& message,
                                                CntsPOP3MailInfo& info);

    static std::uint32_t convert_pop3_mail_info_list(const CntsPOP3MailInfoList& list,
                                                     ntc_email_esu_pop3_mail_info_list& message);
    // Replaces the list whole; on failure it holds the entries that fitted.
    static std::uint32_t convert_pop3_mail_info_list(const ntc_email_esu_pop3_mail_info_list& message,
                                                     CntsPOP3MailInfoList& list);

    static std::uint32_t convert_pop3_receive_mail(const CntsPOP3ReceiveMail& mail,
                                                   ntc_email_esu_pop3_receive_mail& message);
    // Only fields that are present change the mail; an empty boundary stack is no field.
    static std::uint32_t convert_pop3_receive_mail(const ntc_email_esu_pop3_receive_mail& message,
                                                   CntsPOP3ReceiveMail& mail);

    static std::uint32_t convert_pop3_receive_mail_part(const CntsPOP3ReceiveMailPart& part,
                                                        ntc_email_esu_pop3_receive_mail_part& message);
    static std::uint32_t convert_pop3_receive_mail_part(const ntc_email_esu_pop3_receive_mail_part& message,
                                                        CntsPOP3ReceiveMailPart& part);
};

}  // namespace velorin
