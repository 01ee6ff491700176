#include <string>

#include <gtest/gtest.h>

#include "ntc_email_esu_smtp_helper.h"

#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

// The octets are written down from the message tables, see field().
namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailAddress;
using velorin::CntsMLUTLMailPart;
using velorin::CntsMLUTLMailType;
using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSendMailPart;
using velorin::ntc_email_esu_smtp_helper;
using velorin::ntc_email_esu_smtp_send_mail;
using velorin::ntc_email_esu_smtp_send_mail_part;

// A part without values: types 14, 5, 3 and 12, no octets, not the last piece.
const char kEmptyPart[] = "08 0E 10 05 18 03 20 0C 58 00 60 00";

std::string octets_of_mail(const CntsSMTPSendMail& mail)
{
    ntc_email_esu_smtp_send_mail message;
    EXPECT_EQ(0, ntc_email_esu_smtp_helper::convert_smtp_send_mail(mail, message));
    return message.SerializeAsString();
}

void read_mail(const std::string& octets, CntsSMTPSendMail& mail)
{
    ntc_email_esu_smtp_send_mail message;
    ASSERT_TRUE(message.ParseFromString(octets));
    EXPECT_EQ(0, ntc_email_esu_smtp_helper::convert_smtp_send_mail(message, mail));
}

void queue(CntsMLUTLMailPart& part, std::string_view octets)
{
    void* block = platform_block(octets);
    long length = static_cast<long>(octets.size());
    ASSERT_EQ(1, part.SetBuffer(block, length));
}

std::string queued(const CntsMLUTLMailPart& part)
{
    if (part.m_pBuffer == nullptr) return "(null)";
    return std::string(part.m_pBuffer, static_cast<std::size_t>(part.m_nLength));
}

std::string address_field(int number, std::string_view text)
{
    return field(number, field(1, text));
}

const std::string own_part = field(1, octets_of(kEmptyPart));

TEST(ConvertSendMail, SendsOnlyItsOwnPartWhenEmpty)
{
    PlatformDouble platform;
    EXPECT_EQ("0A 0C 08 0E 10 05 18 03 20 0C 58 00 60 00", hex_of(octets_of_mail(CntsSMTPSendMail())));
}

TEST(ConvertSendMail, SendsEveryFieldInOrder)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    mail.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(0);
    mail.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(5);
    mail.m_bIsTerminate = 1;
    mail.SetContentCIAJWNETFAX(1);
    queue(mail, std::string_view("b\0", 2));
    CntsSMTPSendMailPart* const part = new CntsSMTPSendMailPart;
    part->m_eTransferEncoding = static_cast<CntsMLUTLMailType::eTransferEncoding>(2);
    part->m_cFIleName = CutlCPLBMString("n");
    queue(*part, "xyz");
    mail.SetPart(part);
    mail.m_cFrom.m_cAddress = CutlCPLBMString("f@x");
    mail.m_cTo.m_cAddress = CutlCPLBMString("t@x;u@x");
    mail.m_cCc.m_cAddress = CutlCPLBMString("c@x");
    mail.m_cBcc.m_cAddress = CutlCPLBMString("b@x");
    mail.m_cReplyTo.m_cAddress = CutlCPLBMString("r@x");
    mail.m_cSender.m_cAddress = CutlCPLBMString("s@x");
    mail.m_cSubject = CutlCPLBMString("sub");
    mail.m_cBoundaryString = CutlCPLBMString("bnd");
    mail.m_cDate = CutlCPLBMString("dat");
    mail.SetMdnAddress("m@x");
    mail.SetMessageID("i");
    mail.SetInReplyTo("j");
    mail.SetReferences("k <l>");
    const std::string expected =
        field(1, octets_of("08 00 10 05 18 03 20 05 52 02 62 00 58 02 60 01")) +
        field(2, field(1, octets_of("08 0E 10 02 18 03 20 0C 42 01 6E 52 03 78 79 7A 58 03 60 00"))) +
        address_field(3, "f@x") + address_field(4, "t@x;u@x") + address_field(5, "c@x") +
        address_field(6, "b@x") + address_field(7, "r@x") + address_field(8, "s@x") + field(9, "sub") +
        field(10, "bnd") + field(11, "dat") + address_field(12, "m@x") + field(13, "<i>") + field(14, "j") +
        field(15, "<l>");
    EXPECT_EQ("", octet_difference(expected, octets_of_mail(mail)));
    EXPECT_EQ("", octet_difference(std::string_view("b\0", 2), queued(mail))) << "the mail keeps its octets";
    EXPECT_EQ("xyz", queued(*mail.m_pPart));
    EXPECT_EQ(part, mail.m_pPart);
    EXPECT_EQ(1, mail.IsIgnoreContentCIAJWNETFAX());
}

TEST(ConvertSendMail, SendsAddressesAndTextsThatAreNotNull)
{
    const struct {
        int number;
        CntsMLUTLMailAddress CntsSMTPSendMail::*member;
    } addresses[] = {
        {3, &CntsSMTPSendMail::m_cFrom},        {4, &CntsSMTPSendMail::m_cTo},
        {5, &CntsSMTPSendMail::m_cCc},          {6, &CntsSMTPSendMail::m_cBcc},
        {7, &CntsSMTPSendMail::m_cReplyTo},     {8, &CntsSMTPSendMail::m_cSender},
        {12, &CntsSMTPSendMail::m_cMdnAddress},
    };
    const struct {
        int number;
        CutlCPLBMString CntsSMTPSendMail::*member;
    } texts[] = {
        {9, &CntsSMTPSendMail::m_cSubject},
        {10, &CntsSMTPSendMail::m_cBoundaryString},
        {11, &CntsSMTPSendMail::m_cDate},
    };
    PlatformDouble platform;
    for (const char* const text : {"", "ab@cd", " %s%n\xff "}) {
        for (const auto& c : addresses) {
            CntsSMTPSendMail mail;
            (mail.*c.member).m_cAddress = CutlCPLBMString(text);
            EXPECT_EQ("", octet_difference(own_part + address_field(c.number, text), octets_of_mail(mail)))
                << c.number;
            CntsSMTPSendMail back;
            read_mail(octets_of_mail(mail), back);
            EXPECT_EQ(text, text_of((back.*c.member).m_cAddress)) << c.number;
        }
        for (const auto& c : texts) {
            CntsSMTPSendMail mail;
            mail.*c.member = CutlCPLBMString(text);
            EXPECT_EQ("", octet_difference(own_part + field(c.number, text), octets_of_mail(mail)))
                << c.number;
            CntsSMTPSendMail back;
            read_mail(octets_of_mail(mail), back);
            EXPECT_EQ(text, text_of(back.*c.member)) << c.number;
        }
    }
}

TEST(ConvertSendMail, SendsNoEmptyIdentifiers)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    mail.SetMessageID("");
    mail.SetInReplyTo("  ");
    mail.SetReferences("no bracket");
    EXPECT_EQ("", octet_difference(own_part, octets_of_mail(mail)));
    mail.m_cInReplyTo = CutlCPLBMString("<j>");
    EXPECT_EQ("", octet_difference(own_part + field(14, "<j>"), octets_of_mail(mail)));
    mail.m_cMessageID = CutlCPLBMString("as it is");  // filled past the setter
    EXPECT_EQ("",
              octet_difference(own_part + field(13, "as it is") + field(14, "<j>"), octets_of_mail(mail)));
}

TEST(ConvertSendMail, NormalisesIncomingIdentifiersLikeLocalOnes)
{
    std::string refs;
    for (int i = 1; i <= 25; ++i)
        refs += "<" + std::string(1, static_cast<char>('a' + i - 1)) + ">";
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    read_mail(field(13, "  id1 ") + field(14, " j \t") + field(15, refs), mail);
    EXPECT_EQ("<id1>", text_of(mail.m_cMessageID));
    EXPECT_EQ("j", text_of(mail.m_cInReplyTo));
    EXPECT_EQ(refs.substr(15), text_of(mail.m_cReferences));  // five of three octets each are dropped
    read_mail(field(13, "") + field(14, "") + field(15, "junk"), mail);
    EXPECT_EQ("", text_of(mail.m_cMessageID));
    EXPECT_EQ("", text_of(mail.m_cInReplyTo));
    EXPECT_EQ("", text_of(mail.m_cReferences));
}

TEST(ConvertSendMail, ReadsEveryField)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    read_mail(field(1, octets_of("08 01 10 03 18 00 20 0A 52 02 62 00 58 02 60 01 6A 06 69 67 6E 6F 72 65")) +
                  field(2, field(1, octets_of("08 07 42 03 20 6E 20"))) + address_field(3, "f@x") +
                  address_field(4, "t@x") + address_field(5, "c@x") + address_field(6, "b@x") +
                  address_field(7, "r@x") + address_field(8, "s@x") + field(9, "sub") + field(10, "bnd") +
                  field(11, "dat") + address_field(12, "m@x") + field(13, "<i>") + field(14, "<j>") +
                  field(15, "<k>"),
              mail);
    EXPECT_EQ(1, static_cast<int>(mail.m_eContentType));
    EXPECT_EQ(3, static_cast<int>(mail.m_eTransferEncoding));
    EXPECT_EQ(0, static_cast<int>(mail.m_eContentDisposition));
    EXPECT_EQ(10, static_cast<int>(mail.m_eCharSet));
    EXPECT_EQ("", octet_difference(std::string_view("b\0", 2), queued(mail)));
    EXPECT_EQ(1, mail.m_bIsTerminate);
    EXPECT_EQ("ignore", text_of(mail.m_cContentCIAJWNETFAX));
    ASSERT_NE(nullptr, mail.m_pPart);
    EXPECT_EQ(7, static_cast<int>(mail.m_pPart->m_eContentType));
    EXPECT_EQ(5, static_cast<int>(mail.m_pPart->m_eTransferEncoding)) << "absent: the default stays";
    EXPECT_EQ("n", text_of(mail.m_pPart->m_cFIleName));
    EXPECT_EQ("f@x", text_of(mail.m_cFrom.m_cAddress));
    EXPECT_EQ("t@x", text_of(mail.m_cTo.m_cAddress));
    EXPECT_EQ("c@x", text_of(mail.m_cCc.m_cAddress));
    EXPECT_EQ("b@x", text_of(mail.m_cBcc.m_cAddress));
    EXPECT_EQ("r@x", text_of(mail.m_cReplyTo.m_cAddress));
    EXPECT_EQ("s@x", text_of(mail.m_cSender.m_cAddress));
    EXPECT_EQ("sub", text_of(mail.m_cSubject));
    EXPECT_EQ("bnd", text_of(mail.m_cBoundaryString));
    EXPECT_EQ("dat", text_of(mail.m_cDate));
    EXPECT_EQ("m@x", text_of(mail.m_cMdnAddress.m_cAddress));
    EXPECT_EQ("<i>", text_of(mail.m_cMessageID));
    EXPECT_EQ("<j>", text_of(mail.m_cInReplyTo));
    EXPECT_EQ("<k>", text_of(mail.m_cReferences));
}

TEST(ConvertSendMail, AbsentFieldsChangeNothing)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    mail.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(1);
    mail.m_cTo.m_cAddress = CutlCPLBMString("t@x");
    mail.m_cSubject = CutlCPLBMString("sub");
    mail.SetMdnAddress("m@x");
    mail.SetMessageID("i");
    mail.SetInReplyTo("j");
    mail.SetReferences("<k>");
    CntsSMTPSendMailPart* const part = new CntsSMTPSendMailPart;
    mail.SetPart(part);
    queue(mail, "abc");
    const std::string before = octets_of_mail(mail);
    read_mail("", mail);
    EXPECT_EQ("", octet_difference(before, octets_of_mail(mail)));
    EXPECT_EQ(part, mail.m_pPart);
    EXPECT_EQ("(null)", text_of(mail.m_cFrom.m_cAddress));
}

TEST(ConvertSendMail, ReplacesThePartItHeld)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    CntsSMTPSendMailPart* const old = new CntsSMTPSendMailPart;
    queue(*old, "old octets");
    mail.SetPart(old);
    read_mail(field(2, field(1, octets_of("52 03 6E 65 77 58 03"))), mail);
    ASSERT_NE(nullptr, mail.m_pPart);
    EXPECT_EQ("new", queued(*mail.m_pPart)) << "a new part, not the old queue";
    EXPECT_EQ(1u, platform.live_blocks());
    read_mail(field(2, ""), mail);  // a part message without its part
    ASSERT_NE(nullptr, mail.m_pPart);
    EXPECT_EQ("(null)", queued(*mail.m_pPart));
    EXPECT_EQ(14, static_cast<int>(mail.m_pPart->m_eContentType));
    EXPECT_EQ(0u, platform.live_blocks());
}

TEST(ConvertSendMail, AnAddressWithoutTextIsReadAsEmpty)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    read_mail(address_field(4, "") + field(12, field(1, "")), mail);
    EXPECT_EQ("", text_of(mail.m_cTo.m_cAddress));
    EXPECT_EQ("", text_of(mail.m_cMdnAddress.m_cAddress));
    EXPECT_EQ("(null)", text_of(mail.m_cCc.m_cAddress));
}

TEST(ConvertSendMail, KeepsItsQueueWhenMemoryRunsOut)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    queue(mail, "abc");
    mail.SetInReplyTo("j");
    // Only queues are copied on the platform's heap. What a copy of the part cannot hold is left out.
    platform.fail_allocation(1);
    platform.expect_trace("<Error> : CntsMLUTLMailPart::CopyPart() failed to allocate memory\n");
    std::string octets = octets_of_mail(mail);
    EXPECT_TRUE(platform.allocation_failed());
    EXPECT_EQ("", octet_difference(own_part + field(14, "j"), octets));
    EXPECT_EQ("abc", queued(mail));
    EXPECT_EQ(1u, platform.live_blocks());
}

TEST(ConvertSendMailPart, AlwaysHasItsPart)
{
    PlatformDouble platform;
    CntsSMTPSendMailPart part;
    ntc_email_esu_smtp_send_mail_part message;
    EXPECT_EQ(0, ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(part, message));
    EXPECT_EQ("0A 0C 08 0E 10 05 18 03 20 0C 58 00 60 00", hex_of(message.SerializeAsString()));
    queue(part, "x");
    part.SetContentCIAJWNETFAX(1);
    ntc_email_esu_smtp_send_mail_part filled;
    EXPECT_EQ(0, ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(part, filled));
    EXPECT_EQ("0A 0F 08 0E 10 05 18 03 20 0C 52 01 78 58 01 60 00", hex_of(filled.SerializeAsString()));
    EXPECT_EQ("x", queued(part));
}

TEST(ConvertSendMailPart, ReadsOnlyAPresentPart)
{
    PlatformDouble platform;
    CntsSMTPSendMailPart part;
    part.m_cFIleName = CutlCPLBMString("old");
    ntc_email_esu_smtp_send_mail_part message;
    EXPECT_EQ(0, ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(message, part));
    EXPECT_EQ("old", text_of(part.m_cFIleName));
    ASSERT_TRUE(message.ParseFromString(octets_of("0A 05 08 07 42 01 6E")));
    EXPECT_EQ(0, ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(message, part));
    EXPECT_EQ("n", text_of(part.m_cFIleName));
    EXPECT_EQ(7, static_cast<int>(part.m_eContentType));
}

}  // namespace
}  // namespace velorin_test
