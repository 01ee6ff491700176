// The steps of a mail: each carries the whole mail, and brings back a code and nothing else.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CntsSMTPBoundary.h"
#include "CutlCPLBOSBoundary.h"
#include "platform_double.h"
#include "smtp_service.h"
#include "wire_octets.h"

using velorin::CntsMLUTLMailAddress;
using velorin::CntsMLUTLMailType;
using velorin::CntsSMTPBoundary;
using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSendMailPart;
using velorin::CntsSMTPSettings;
using velorin::nts_smtp_settings;
using velorin_test::answer_of;
using velorin_test::Call;
using velorin_test::communicator_line;
using velorin_test::delimited;
using velorin_test::hex_of;
using velorin_test::kCallFailed;
using velorin_test::kCreateInstance;
using velorin_test::kDestroyInstance;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::request_of;
using velorin_test::session_in_create;
using velorin_test::SmtpMethod;

namespace {

struct Step {
    const char* name;
    const char* call_name;
    SmtpMethod method;
    std::uint32_t (CntsSMTPBoundary::*call)(CntsSMTPSendMail&);
};

constexpr Step kSteps[] = {
    {"SendHeader", "call_send_header", velorin_test::kSendHeader, &CntsSMTPBoundary::SendHeader},
    {"SendBody", "call_send_body", velorin_test::kSendBody, &CntsSMTPBoundary::SendBody},
    {"SendPartHeader", "call_send_part_header", velorin_test::kSendPartHeader,
     &CntsSMTPBoundary::SendPartHeader},
    {"SendPartBody", "call_send_part_body", velorin_test::kSendPartBody, &CntsSMTPBoundary::SendPartBody},
    {"Close", "call_close", velorin_test::kClose, &CntsSMTPBoundary::Close},
};

// Its destroy answer is scripted from the start, behind whatever the test scripts: a handler serves last.
class Sending : public testing::Test {
protected:
    Sending()
    {
        platform.on_exchange([](const velorin_test::Exchange&) { return velorin_test::Answer{}; });
        session = std::make_unique<CntsSMTPBoundary>(CntsSMTPSettings(nts_smtp_settings()));
        number = session_in_create(platform.request(0));
    }
    ~Sending() override
    {
        session.reset();
        EXPECT_EQ(platform.request(platform.exchanges().size() - 1), request_of(kDestroyInstance, number));
    }

    PlatformDouble platform;
    std::unique_ptr<CntsSMTPBoundary> session;
    std::uint32_t number = 0;
};

void queue(velorin::CntsMLUTLMailPart& part, const std::string& octets)
{
    void* block = CutlCPLBOSBoundary::MemAllocate(octets.size());
    ASSERT_NE(block, nullptr);
    std::memcpy(block, octets.data(), octets.size());
    long length = static_cast<long>(octets.size());
    ASSERT_EQ(part.SetBuffer(block, length), 1);
}

// Every member of a mail set.
void fill(CntsSMTPSendMail& mail)
{
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeMultipartMixed;
    mail.m_eTransferEncoding = CntsMLUTLMailType::eTransferEncoding8bit;
    mail.m_eContentDisposition = CntsMLUTLMailType::eContentDispositionInline;
    mail.m_eCharSet = CntsMLUTLMailType::eCharSetIso2022Jp;
    mail.m_cContentType.CopyString("ct", -1);
    mail.m_cContentTypeString.CopyString("cs", -1);
    mail.m_cTransferEncoding.CopyString("te", -1);
    mail.m_cFIleName.CopyString("fn", -1);
    mail.m_cExtension.CopyString("ex", -1);
    mail.m_cOther.CopyString("stays here", -1);
    mail.m_bIsTerminate = 1;
    mail.SetContentCIAJWNETFAX(1);  // stays here too: copies carry no marker
    queue(mail, std::string("a\0\xFF", 3));
    mail.m_cFrom.m_cAddress.CopyString("f@x", -1);
    mail.m_cTo.m_cAddress.CopyString("t@x;u@x", -1);
    mail.m_cCc.m_cAddress.CopyString("c@x", -1);
    mail.m_cBcc.m_cAddress.CopyString("b@x", -1);
    mail.m_cReplyTo.m_cAddress.CopyString("r@x", -1);
    mail.m_cSender.m_cAddress.CopyString("s@x", -1);
    mail.m_cSubject.CopyString("sub", -1);
    mail.m_cBoundaryString.CopyString("bnd", -1);
    mail.m_cDate.CopyString("dat", -1);
    mail.SetMdnAddress("m@x");
    mail.SetMessageID("id");
    mail.SetInReplyTo("<ir>");
    mail.SetReferences("<r1><r2>");
    CntsSMTPSendMailPart* const part = new CntsSMTPSendMailPart;
    part->m_eContentType = CntsMLUTLMailType::eContentTypeApplicationPdf;
    part->m_eTransferEncoding = CntsMLUTLMailType::eTransferEncodingBase64;
    part->m_eContentDisposition = CntsMLUTLMailType::eContentDispositionAttachment;
    part->m_eCharSet = CntsMLUTLMailType::eCharSetUsAscii;
    part->m_cFIleName.CopyString("a.pdf", -1);
    queue(*part, "JVBE");
    mail.SetPart(part);
}

std::string filled_mail()
{
    const std::string own =
        octets_of("08 03 10 01 18 00 20 05 2A 02 63 74 32 02 63 73 3A 02 74 65 42 02 66 6E "
                  "4A 02 65 78 52 03 61 00 FF 58 03 60 01");
    const std::string part =
        octets_of("08 07 10 02 18 01 20 00 42 05 61 2E 70 64 66 52 04 4A 56 42 45 58 04 60 00");
    return delimited("0A", own) + delimited("12", delimited("0A", part)) +
           octets_of("1A 05 0A 03 66 40 78"
                     "22 09 0A 07 74 40 78 3B 75 40 78"
                     "2A 05 0A 03 63 40 78"
                     "32 05 0A 03 62 40 78"
                     "3A 05 0A 03 72 40 78"
                     "42 05 0A 03 73 40 78"
                     "4A 03 73 75 62"
                     "52 03 62 6E 64"
                     "5A 03 64 61 74"
                     "62 05 0A 03 6D 40 78"
                     "6A 04 3C 69 64 3E"
                     "72 04 3C 69 72 3E"
                     "7A 08 3C 72 31 3E 3C 72 32 3E");
}

std::string empty_mail()
{
    return delimited("0A", octets_of("08 0E 10 05 18 03 20 0C 58 00 60 00"));
}

}  // namespace

TEST_F(Sending, AMailThatWasNeverFilledIn)
{
    CntsSMTPSendMail mail;
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        EXPECT_EQ((session.get()->*step.call)(mail), 0u);
        const std::size_t last = platform.exchanges().size() - 1;
        EXPECT_EQ(hex_of(platform.request(last)),
                  hex_of(request_of(step.method, number, delimited("12", empty_mail()))));
    }
}

TEST_F(Sending, TheWholeMailTravelsAtEveryStep)
{
    CntsSMTPSendMail mail;
    fill(mail);
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        EXPECT_EQ((session.get()->*step.call)(mail), 0u);
        const std::size_t last = platform.exchanges().size() - 1;
        EXPECT_EQ(hex_of(platform.request(last)),
                  hex_of(request_of(step.method, number, delimited("12", filled_mail()))));
    }
}

TEST_F(Sending, TheMailIsSentInItsStateOfTheMoment)
{
    CntsSMTPSendMail mail;
    mail.m_cSubject.CopyString("s", -1);
    EXPECT_EQ(session->SendHeader(mail), 0u);
    mail.m_cSubject.CopyString(nullptr, -1);
    queue(mail, "one");
    EXPECT_EQ(session->SendBody(mail), 0u);
    EXPECT_EQ(session->SendBody(mail), 0u);
    mail.FreeBuffer();
    mail.SetPart(new CntsSMTPSendMailPart);
    EXPECT_EQ(session->SendPartHeader(mail), 0u);
    mail.DeletePart();
    EXPECT_EQ(session->Close(mail), 0u);
    const std::string nothing = "08 0E 10 05 18 03 20 0C 58 00 60 00";
    const std::string with_body = "08 0E 10 05 18 03 20 0C 52 03 6F 6E 65 58 03 60 00";
    const std::string mails[] = {
        delimited("0A", octets_of(nothing)) + octets_of("4A 01 73"),
        delimited("0A", octets_of(with_body)),
        delimited("0A", octets_of(with_body)),  // the queue is the caller's to empty
        delimited("0A", octets_of(nothing)) + delimited("12", delimited("0A", octets_of(nothing))),
        delimited("0A", octets_of(nothing)),
    };
    const SmtpMethod methods[] = {velorin_test::kSendHeader, velorin_test::kSendBody, velorin_test::kSendBody,
                                  velorin_test::kSendPartHeader, velorin_test::kClose};
    for (std::size_t index = 0; index < 5; ++index) {
        EXPECT_EQ(hex_of(platform.request(index + 1)),
                  hex_of(request_of(methods[index], number, delimited("12", mails[index]))))
            << index;
    }
}

TEST_F(Sending, NothingIsWrittenBackIntoTheMail)
{
    CntsSMTPSendMail mail;
    fill(mail);
    const CntsSMTPSendMailPart* const part = mail.m_pPart;
    const char* const buffer = mail.m_pBuffer;
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        // A service that sends a mail back, in a field that no SMTP response has.
        platform.answer(octets_of(step.method.type) +
                        delimited(step.method.response, octets_of("08 05 12 05 4A 03 6E 65 77")));
        EXPECT_EQ((session.get()->*step.call)(mail), 5u);
        EXPECT_STREQ(mail.m_cSubject.GetString(), "sub");
        EXPECT_EQ(mail.m_pPart, part);
        EXPECT_EQ(mail.m_pBuffer, buffer);
        EXPECT_EQ(mail.m_nLength, 3);
        EXPECT_EQ(part->m_nLength, 4);
        EXPECT_EQ(mail.IsIgnoreContentCIAJWNETFAX(), 1);
        EXPECT_STREQ(mail.m_cOther.GetString(), "stays here");
    }
}

TEST_F(Sending, EveryCodeOfTheServiceIsPassedThrough)
{
    CntsSMTPSendMail mail;
    for (const Step& step : kSteps) {
        for (const std::uint32_t code : velorin_test::kRetcodes) {
            SCOPED_TRACE(std::string(step.name) + " " + std::to_string(code));
            platform.answer(answer_of(step.method, code));
            EXPECT_EQ((session.get()->*step.call)(mail), code);
        }
    }
}

TEST_F(Sending, AnAnswerWithoutTheResponseIsZero)
{
    CntsSMTPSendMail mail;
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        platform.answer("");
        EXPECT_EQ((session.get()->*step.call)(mail), 0u);
        platform.answer(answer_of(velorin_test::kConnect, 5));
        EXPECT_EQ((session.get()->*step.call)(mail), 0u);
    }
}

TEST_F(Sending, AFailedExchangeIsTracedAndTheNextStepWorks)
{
    CntsSMTPSendMail mail;
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        platform.fail_call(Call::call, 1, 0x42);
        platform.expect_trace(communicator_line("call_esu_method", "emwGENPacketClntCall returns 0x42"));
        platform.expect_trace(communicator_line(step.call_name, "call_esu_method() returns 0x21077103"));
        EXPECT_EQ((session.get()->*step.call)(mail), kCallFailed);
        EXPECT_TRUE(platform.verify());
        platform.answer(answer_of(step.method, 6));
        EXPECT_EQ((session.get()->*step.call)(mail), 6u);
    }
}

TEST_F(Sending, ABodyOfAMebibyteTravelsWhole)
{
    CntsSMTPSendMail mail;
    std::string body;
    for (unsigned index = 0; index < 1u << 20; ++index)
        body.push_back(static_cast<char>(index * 7 >> 3));
    queue(mail, body);
    EXPECT_EQ(session->SendBody(mail), 0u);
    const std::string own =
        octets_of("08 0E 10 05 18 03 20 0C") + delimited("52", body) + octets_of("58 80 80 40 60 00");
    EXPECT_TRUE(platform.request(1) ==
                request_of(velorin_test::kSendBody, number, delimited("12", delimited("0A", own))));
    EXPECT_EQ(mail.m_nLength, 1 << 20);
}

TEST(SendingWithoutACommunicator, CloseSendsNothing)
{
    PlatformDouble platform;
    platform.answer(answer_of(kCreateInstance, 1));
    platform.expect_trace(
        velorin_test::session_line("CntsSMTPBoundary", "::call_create_instance() returns 0x1"));
    CntsSMTPBoundary session{CntsSMTPSettings(nts_smtp_settings())};
    CntsSMTPSendMail mail;
    fill(mail);
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        EXPECT_EQ((session.*step.call)(mail), kCallFailed);
    }
    EXPECT_EQ(platform.exchanges().size(), 1u);
}
