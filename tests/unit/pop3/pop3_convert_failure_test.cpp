// The converters of parts and addresses never fail by themselves. This program has its own in their place, so
// that the nth of them does.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mlutl_support.h"
#include "ntc_email_esu_mlutl_helper.h"
#include "ntc_email_esu_pop3_helper.h"
#include "ntc_email_esu_pop3_main_communicator.h"
#include "platform_double.h"
#include "pop3_service.h"

namespace {

int calls_until_failure = 0;  // 1: the next; 0: none
int calls_made = 0;

int next_result()
{
    ++calls_made;
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

using testing::IsEmpty;
using velorin::CntsPOP3Boundary;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;
using velorin::CntsPOP3ReceiveMailPart;
using velorin::ntc_email_esu_pop3_helper;
using velorin_test::answer_of;
using velorin_test::communicator_line;
using velorin_test::delimited;
using velorin_test::helper_line;
using velorin_test::kCallFailed;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::session_line;
using velorin_test::settings;
using velorin_test::text_of;

namespace {

using Communicator = velorin::ntc_email_esu_pop3_main_communicator;
using Message = velorin::ntc_email_esu_pop3_receive_mail;
using PartMessage = velorin::ntc_email_esu_pop3_receive_mail_part;

const std::string kMailPart = helper_line("convert_pop3_receive_mail", "convert_mlutl_mail_part()");
const std::string kAddress = helper_line("convert_pop3_receive_mail", "convert_mlutl_mail_address()");
const std::string kFurtherPart = helper_line("convert_pop3_receive_mail", "convert_pop3_receive_mail_part()");
const std::string kPartOfPart = helper_line("convert_pop3_receive_mail_part", "convert_mlutl_mail_part()");

class CountedPart : public CntsPOP3ReceiveMailPart {
public:
    CountedPart() { ++live; }
    CountedPart(const CountedPart&) = delete;
    CountedPart& operator=(const CountedPart&) = delete;
    ~CountedPart() override { --live; }

    static inline int live = 0;
};

// A mail that has all that is converted by a converter of its own.
void fill(CntsPOP3ReceiveMail& mail)
{
    for (velorin::CntsMLUTLMailAddress* const address :
         {&mail.m_cTo, &mail.m_cFrom, &mail.m_cCc, &mail.m_cNotificationTo, &mail.m_cReplyTo,
          &mail.m_cReturnPath})
        address->m_cAddress.CopyString("a@x", -1);
    mail.m_cSubject.CopyString("subject", -1);
    mail.m_cReferences.CopyString("references", -1);
    mail.SetPart(new CountedPart);
}

class Pop3ConvertFailure : public testing::Test {
protected:
    Pop3ConvertFailure()
    {
        calls_until_failure = 0;
        calls_made = 0;
        CountedPart::live = 0;
    }
    ~Pop3ConvertFailure() override { calls_until_failure = 0; }

    PlatformDouble platform;
    CntsPOP3ReceiveMail mail{CntsPOP3MailInfo()};
};

struct Step {
    const char* name;
    velorin_test::Pop3Method method;
    std::function<std::uint32_t(Communicator&, CntsPOP3ReceiveMail&)> call;
};

const Step kSteps[] = {
    {"call_receive_header", velorin_test::kReceiveHeader,
     [](Communicator& communicator, CntsPOP3ReceiveMail& mail) {
         return communicator.call_receive_header(mail, 0);
     }},
    {"call_receive_body", velorin_test::kReceiveBody, std::mem_fn(&Communicator::call_receive_body)},
    {"call_receive_part_header", velorin_test::kReceivePartHeader,
     [](Communicator& communicator, CntsPOP3ReceiveMail& mail) {
         return communicator.call_receive_part_header(mail, 0);
     }},
    {"call_receive_part_body", velorin_test::kReceivePartBody,
     std::mem_fn(&Communicator::call_receive_part_body)},
    {"call_skip_mail", velorin_test::kSkipMail, std::mem_fn(&Communicator::call_skip_mail)},
    {"call_skip_part", velorin_test::kSkipPart, std::mem_fn(&Communicator::call_skip_part)},
    {"call_delete", velorin_test::kDelete, std::mem_fn(&Communicator::call_delete)},
    {"call_receive_header_only", velorin_test::kReceiveHeaderOnly,
     [](Communicator& communicator, CntsPOP3ReceiveMail& mail) {
         return communicator.call_receive_header_only(mail, 0);
     }},
};

}  // namespace

TEST_F(Pop3ConvertFailure, OfAnyConversionEndsTheMail)
{
    fill(mail);
    // The mail's own part; To, From, Cc, the notification address, Reply-To; the return path; the part.
    for (int nth = 1; nth <= 9; ++nth) {
        SCOPED_TRACE(nth);
        if (nth == 1) {
            platform.expect_trace(kMailPart);
        } else if (nth <= 7) {
            platform.expect_trace(kAddress);
        } else if (nth == 8) {
            platform.expect_trace(kPartOfPart);
            platform.expect_trace(kFurtherPart);
        }
        Message message;
        calls_until_failure = nth;
        calls_made = 0;
        EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(mail, message),
                  nth <= 8 ? kCallFailed : 0u);
        EXPECT_EQ(calls_made, nth <= 8 ? nth : 8) << "nothing is converted behind a failure";
        EXPECT_TRUE(platform.verify());
        // A failure leaves what stands in front of it.
        EXPECT_EQ(message.has_c_subject(), nth > 6);
        EXPECT_EQ(message.has_c_references(), nth > 6);
        EXPECT_EQ(message.has_n_part_depth(), nth > 7);
        EXPECT_EQ(message.has_c_mail_info(), nth > 7);
        EXPECT_EQ(message.has_is_boundary_detected(), nth > 8);
    }
}

TEST_F(Pop3ConvertFailure, OfItsOwnPartEndsTheReadingOfAMail)
{
    Message message;
    message.mutable_my_part();
    message.mutable_c_to()->set_c_address("a@x");
    message.set_c_subject("subject");
    message.set_n_part_depth(5);
    platform.expect_trace(kMailPart);
    calls_until_failure = 1;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(message, mail), kCallFailed);
    EXPECT_EQ(mail.m_cTo.m_cAddress.GetString(), nullptr) << "what comes later is not read";
    EXPECT_EQ(text_of(mail.m_cSubject), "(null)");
    EXPECT_EQ(mail.m_nPartDepth, 0);
}

TEST_F(Pop3ConvertFailure, OfANewPartKeepsTheOldOne)
{
    CountedPart* const old = new CountedPart;
    mail.SetPart(old);
    Message message;
    message.set_c_subject("subject");
    message.set_n_part_depth(5);
    message.mutable_p_part()->mutable_p_part();
    message.set_is_boundary_detected(true);
    platform.expect_trace(kPartOfPart);
    platform.expect_trace(kFurtherPart);
    calls_until_failure = 1;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(message, mail), kCallFailed);
    EXPECT_EQ(mail.GetPart(), old);
    EXPECT_EQ(CountedPart::live, 1);
    EXPECT_EQ(text_of(mail.m_cSubject), "subject") << "what came before is read";
    EXPECT_EQ(mail.m_nPartDepth, 5);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 0) << "what comes later is not";
}

TEST_F(Pop3ConvertFailure, AddressesOfAReceivedMailAreCopiedNotConverted)
{
    Message message;
    for (auto* const address :
         {message.mutable_c_to(), message.mutable_c_from(), message.mutable_c_cc(),
          message.mutable_c_notification_to(), message.mutable_c_reply_to(), message.mutable_c_return_path()})
        address->set_c_address("a@x");
    calls_until_failure = 1;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(message, mail), 0u);
    EXPECT_EQ(calls_made, 0);
    EXPECT_EQ(text_of(mail.m_cReturnPath.m_cAddress), "a@x");
}

TEST_F(Pop3ConvertFailure, OfThePartIsTheFurtherPartsToo)
{
    CntsPOP3ReceiveMailPart part;
    PartMessage message;
    platform.expect_trace(kPartOfPart);
    calls_until_failure = 1;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(part, message), kCallFailed);
    message.mutable_p_part();
    platform.expect_trace(kPartOfPart);
    calls_until_failure = 1;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(message, part), kCallFailed);
    EXPECT_EQ(calls_made, 2);
}

TEST_F(Pop3ConvertFailure, OfTheMailSendsNoStep)
{
    Communicator communicator;
    fill(mail);
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        platform.expect_trace(kAddress);
        platform.expect_trace(communicator_line(step.name, "convert_pop3_receive_mail() returns 0x21077103"));
        calls_until_failure = 2;
        EXPECT_EQ(step.call(communicator, mail), kCallFailed);
        EXPECT_TRUE(platform.verify());
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}

TEST_F(Pop3ConvertFailure, OfTheAnswersMailFailsTheStepWhateverTheCode)
{
    Communicator communicator;
    for (const Step& step : kSteps) {
        for (const std::uint32_t code : {0u, 5u}) {
            SCOPED_TRACE(step.name);
            platform.answer(answer_of(step.method, "10", code, octets_of("0A 06 3A 01 73 8A 01 00")));
            platform.answer(answer_of(step.method, "10", code, octets_of("0A 08 3A 01 73 8A 01 02 0A 00")));
            calls_until_failure = 0;
            EXPECT_EQ(step.call(communicator, mail), code)
                << "a part message without its part is not converted";
            platform.expect_trace(kPartOfPart);
            platform.expect_trace(kFurtherPart);
            platform.expect_trace(
                communicator_line(step.name, "convert_pop3_receive_mail() returns 0x21077103"));
            // The mail's own part goes out, and the part that came before; then the one that comes in fails.
            calls_until_failure = 3;
            EXPECT_EQ(step.call(communicator, mail), kCallFailed);
            EXPECT_TRUE(platform.verify());
            EXPECT_EQ(text_of(mail.m_cSubject), "s");
            mail.DeletePart();
        }
    }
}

TEST_F(Pop3ConvertFailure, OfTheSettingsCreatesNoSession)
{
    platform.expect_trace(helper_line("convert_pop3_settings", "convert_mlutl_mail_address()"));
    platform.expect_trace(
        communicator_line("call_create_instance", "convert_pop3_settings() returns 0x21077103"));
    platform.expect_trace(session_line("CntsPOP3Boundary", "call_create_instance() returns 0x21077103"));
    calls_until_failure = 1;
    {
        CntsPOP3Boundary session(settings());
        EXPECT_EQ(session.Connect(), kCallFailed);
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}

TEST_F(Pop3ConvertFailure, OfTheAccountsAddressIsTracedWithItsResult)
{
    platform.answer("");
    CntsPOP3Boundary session(settings());
    platform.answer(octets_of("08 0F FA 01 05 0A 03 0A 01 61"));
    platform.expect_trace(
        communicator_line("call_ref_mail_address", "convert_mlutl_mail_address() returns 0x1"));
    platform.expect_trace(
        "<Error> CntsPOP3Boundary::RefMailAddress(): call_ref_mail_address() returns [0x00000001]\n");
    calls_until_failure = 1;
    EXPECT_EQ(session.RefMailAddress().m_cAddress.GetString(), nullptr);
    platform.answer("");
}
