#include <string>

#include <gtest/gtest.h>

#include "CntsSMTPSendMail.h"
#include "mlutl_support.h"
#include "ntc_email_esu_mlutl_helper.h"
#include "ntc_email_esu_smtp_helper.h"
#include "platform_double.h"

// The converters of parts and addresses never fail by themselves. This program has its own in their place, so
// that the nth of them does.
namespace {

int calls_until_failure = 0;  // 1: the next; 0: none

int next_result()
{
    return calls_until_failure > 0 && --calls_until_failure == 0 ? 1 : 0;
}

}  // namespace

namespace velorin {

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(const CntsMLUTLMailAddress&,
                                                           ntc_email_esu_mlutl_mail_address&)
{
    return next_result();
}

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(const ntc_email_esu_mlutl_mail_address&,
                                                           CntsMLUTLMailAddress&)
{
    return next_result();
}

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(const CntsMLUTLMailPart&,
                                                        ntc_email_esu_mlutl_mail_part&)
{
    return next_result();
}

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(const ntc_email_esu_mlutl_mail_part&,
                                                        CntsMLUTLMailPart&)
{
    return next_result();
}

}  // namespace velorin

namespace velorin_test {
namespace {

using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSendMailPart;
using velorin::ntc_email_esu_smtp_helper;
using velorin::ntc_email_esu_smtp_send_mail;
using velorin::ntc_email_esu_smtp_send_mail_part;

constexpr int kFailed = 0x21077103;

const char kMailPart[] =
    "ntc_email_esu_smtp_helper::convert_smtp_send_mail():convert_mlutl_mail_part() returns NG\n";
const char kFurtherPart[] =
    "ntc_email_esu_smtp_helper::convert_smtp_send_mail():convert_smtp_send_mail_part() returns NG\n";
const char kPartOfPart[] =
    "ntc_email_esu_smtp_helper::convert_smtp_send_mail_part():convert_mlutl_mail_part() returns NG\n";
const char kAddress[] =
    "ntc_email_esu_smtp_helper::convert_smtp_send_mail():convert_mlutl_mail_address() returns NG\n";

TEST(ConvertSendMailFailure, OfAnyConversionEndsTheMail)
{
    // The mail's own part, the further part, From, To, Cc, Bcc, Reply-To, Sender, the notification address.
    for (int nth = 1; nth <= 10; ++nth) {
        SCOPED_TRACE(nth);
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        mail.SetPart(new CntsSMTPSendMailPart);
        for (velorin::CntsMLUTLMailAddress* const address :
             {&mail.m_cFrom, &mail.m_cTo, &mail.m_cCc, &mail.m_cBcc, &mail.m_cReplyTo, &mail.m_cSender})
            address->m_cAddress = CutlCPLBMString("a@x");
        mail.SetMdnAddress("a@x");
        ntc_email_esu_smtp_send_mail message;
        if (nth == 1) {
            platform.expect_trace(kMailPart);
        } else if (nth == 2) {
            platform.expect_trace(kPartOfPart);
            platform.expect_trace(kFurtherPart);
        } else if (nth <= 9) {
            platform.expect_trace(kAddress);
        }
        calls_until_failure = nth;
        const int result = ntc_email_esu_smtp_helper::convert_smtp_send_mail(mail, message);
        EXPECT_EQ(nth <= 9 ? kFailed : 0, result);
        EXPECT_EQ(nth <= 9 ? 0 : 1, calls_until_failure) << "nine conversions in all";
        calls_until_failure = 0;
    }
}

TEST(ConvertSendMailFailure, OfAPartEndsTheReading)
{
    for (int nth = 1; nth <= 2; ++nth) {
        SCOPED_TRACE(nth);
        PlatformDouble platform;
        ntc_email_esu_smtp_send_mail message;
        message.mutable_my_part();
        message.mutable_p_part()->mutable_p_part();
        message.set_c_subject("subject");
        CntsSMTPSendMail mail;
        if (nth == 1) {
            platform.expect_trace(kMailPart);
        } else {
            platform.expect_trace(kPartOfPart);
            platform.expect_trace(kFurtherPart);
        }
        calls_until_failure = nth;
        EXPECT_EQ(kFailed, ntc_email_esu_smtp_helper::convert_smtp_send_mail(message, mail));
        EXPECT_EQ(0, calls_until_failure);
        EXPECT_EQ("(null)", text_of(mail.m_cSubject)) << "what comes later is not read";
    }
}

TEST(ConvertSendMailFailure, OfThePartIsTheFurtherPartsToo)
{
    PlatformDouble platform;
    CntsSMTPSendMailPart part;
    ntc_email_esu_smtp_send_mail_part message;
    platform.expect_trace(kPartOfPart);
    calls_until_failure = 1;
    EXPECT_EQ(kFailed, ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(part, message));
    message.mutable_p_part();
    platform.expect_trace(kPartOfPart);
    calls_until_failure = 1;
    EXPECT_EQ(kFailed, ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(message, part));
    EXPECT_EQ(0, calls_until_failure);
}

}  // namespace
}  // namespace velorin_test
