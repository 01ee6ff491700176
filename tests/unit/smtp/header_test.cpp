#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsSMTPSendMail.h"
#include "header_support.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailType;
using velorin::CntsSMTPSendMail;

const char kNullAddress[] = "<Error>:GetAddress:[Result]m_cAddress is null\n";

TEST(MakeHeader, ComposesAPlainMail)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_plain_mail(mail);
    EXPECT_EQ("", octet_difference("Date: Fri, 20 Nov 2026 19:00:00 +0900\r\n"
                                   "From: Device <from@x.example>\r\n"
                                   "Subject: A subject\r\n"
                                   "To: a@x\r\n"
                                   "Message-Id: <m@x>\r\n"
                                   "Mime-Version: 1.0\r\n"
                                   "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n"
                                   "Content-Transfer-Encoding: 7bit\r\n"
                                   "\r\n",
                                   header_of(mail)));
}

TEST(MakeHeader, WritesEveryHeaderInOrder)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_plain_mail(mail);
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeTextHtml;
    mail.m_eCharSet = CntsMLUTLMailType::eCharSetUtf8;
    mail.m_eTransferEncoding = CntsMLUTLMailType::eTransferEncodingQuotedPrintable;
    set_address(mail.m_cTo, "a@x; \"B, C\" <b@x> ,c@x");
    set_address(mail.m_cCc, "d@x,e@x");
    set_address(mail.m_cBcc, "secret@x");
    set_address(mail.m_cReplyTo, "r@x;s@x");
    set_address(mail.m_cSender, " Sender <t@x> ");
    set_address(mail.m_cMdnAddress, "n@x,o@x");
    mail.SetInReplyTo("<p@x> and <q@x>");
    mail.SetReferences("<1@x> <2@x>\r\n\t<3@x>");
    mail.SetContentCIAJWNETFAX(1);
    mail.m_cBoundaryString = CutlCPLBMString("unused");
    EXPECT_EQ("", octet_difference("Date: Fri, 20 Nov 2026 19:00:00 +0900\r\n"
                                   "From: Device <from@x.example>\r\n"
                                   "Subject: A subject\r\n"
                                   "To: a@x,\r\n"
                                   "\t\"B, C\" <b@x>,\r\n"
                                   "\tc@x\r\n"
                                   "Cc: d@x,\r\n"
                                   "\te@x\r\n"
                                   "Reply-To: r@x,\r\n"
                                   "\ts@x\r\n"
                                   "Sender: Sender <t@x>\r\n"
                                   "Disposition-Notification-To: n@x,\r\n"
                                   "\to@x\r\n"
                                   "Message-Id: <m@x>\r\n"
                                   "In-Reply-To: <p@x>\r\n"
                                   "\t<q@x>\r\n"
                                   "References: <1@x>\r\n"
                                   "\t<2@x>\r\n"
                                   "\t<3@x>\r\n"
                                   "Mime-Version: 1.0\r\n"
                                   "Content-Type: text/html; charset=\"utf-8\"\r\n"
                                   "Content-Transfer-Encoding: quoted-printable\r\n"
                                   "\r\n",
                                   header_of(mail)));
}

TEST(MakeHeader, AddsTheFirstPartOfAMultipartMail)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_multipart_mail(mail);
    EXPECT_EQ("", octet_difference("Date: Fri, 20 Nov 2026 19:00:00 +0900\r\n"
                                   "From: Device <from@x.example>\r\n"
                                   "Subject: A subject\r\n"
                                   "To: a@x\r\n"
                                   "Message-Id: <m@x>\r\n"
                                   "Mime-Version: 1.0\r\n"
                                   "Content-Type: multipart/mixed;\r\n\tboundary=\"BOUND\"\r\n"
                                   "Content-Transfer-Encoding: 8bit\r\n"
                                   "\r\n"
                                   "--BOUND\r\n"
                                   "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n"
                                   "Content-Transfer-Encoding: 7bit\r\n"
                                   "\r\n",
                                   header_of(mail)));
}

std::string from_mime_version(const std::string& header)
{
    const std::size_t at = header.find("Mime-Version: 1.0\r\n");
    return at == std::string::npos ? header : header.substr(at + 19);
}

TEST(MakeHeader, EndsAsTheContentAsks)
{
    const struct {
        const char* label;
        int content;
        int charset;
        int encoding;
        int marker;
        const char* end;
    } cases[] = {
        {"text, no encoding", 0, 0, 5, 0, "Content-Type: text/plain; charset=\"us-ascii\"\r\n\r\n"},
        {"text, unknown encoding", 0, 0, 4, 0, "Content-Type: text/plain; charset=\"us-ascii\"\r\n\r\n"},
        {"text, 8bit", 0, 10, 1, 0,
         "Content-Type: text/plain; charset=\"utf-8\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"},
        {"text, base64", 1, 7, 2, 0,
         "Content-Type: text/html; charset=\"shift_jis\"\r\nContent-Transfer-Encoding: base64\r\n\r\n"},
        {"text, marker is not written", 0, 0, 5, 1, "Content-Type: text/plain; charset=\"us-ascii\"\r\n\r\n"},
        {"charset without a row", 0, 99, 5, 0, "Content-Type: text/plain; charset=\"\"\r\n\r\n"},
        {"encoding without a row", 0, 0, 9, 0,
         "Content-Type: text/plain; charset=\"us-ascii\"\r\nContent-Transfer-Encoding: \r\n\r\n"},
        {"multipart, no encoding", 3, 5, 5, 0,
         "Content-Type: multipart/mixed;\r\n\tboundary=\"BOUND\"\r\n\r\n--BOUND\r\n"
         "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n\r\n"},
        {"multipart, unknown encoding", 3, 5, 4, 0,
         "Content-Type: multipart/mixed;\r\n\tboundary=\"BOUND\"\r\n\r\n--BOUND\r\n"
         "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n\r\n"},
        {"multipart, base64", 3, 10, 2, 0,
         "Content-Type: multipart/mixed;\r\n\tboundary=\"BOUND\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
         "--BOUND\r\nContent-Type: text/plain; charset=\"utf-8\"\r\nContent-Transfer-Encoding: "
         "base64\r\n\r\n"},
        {"multipart, 7bit, marker", 3, 5, 0, 1,
         "Content-Type: multipart/mixed;\r\n\tboundary=\"BOUND\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
         "--BOUND\r\nContent-Type: text/plain; charset=\"iso-2022-jp\"\r\nContent-Transfer-Encoding: 7bit\r\n"
         "Content-X-CIAJWNETFAX: IGNORE\r\n\r\n"},
        {"multipart, marker alone", 3, 5, 5, 1,
         "Content-Type: multipart/mixed;\r\n\tboundary=\"BOUND\"\r\n\r\n--BOUND\r\n"
         "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\nContent-X-CIAJWNETFAX: IGNORE\r\n\r\n"},
        {"report", 4, 5, 5, 0,
         "Content-Type: "
         "multipart/report;\r\n\treport-type=disposition-notification;\r\n\tboundary=\"BOUND\"\r\n\r\n"
         "--BOUND\r\nContent-Type: text/plain; charset=\"iso-2022-jp\"\r\n\r\n"},
        {"any multipart", 2, 5, 5, 0,
         "Content-Type: multipart/;\r\n\tboundary=\"BOUND\"\r\n\r\n--BOUND\r\n"
         "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n\r\n"},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        CntsSMTPSendMail mail;
        fill_multipart_mail(mail);
        mail.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(c.content);
        mail.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(c.charset);
        mail.m_eTransferEncoding = static_cast<CntsMLUTLMailType::eTransferEncoding>(c.encoding);
        mail.SetContentCIAJWNETFAX(c.marker);
        EXPECT_EQ("", octet_difference(c.end, from_mime_version(header_of(mail)))) << c.label;
    }
}

TEST(MakeHeader, WritesAnEmptySubjectDateAndSender)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_plain_mail(mail);
    mail.m_cSubject = CutlCPLBMString("");
    mail.m_cDate = CutlCPLBMString("");
    set_address(mail.m_cFrom, "");
    EXPECT_EQ(0u, header_of(mail).find("Date: \r\nFrom: \r\nSubject: \r\nTo: a@x\r\n"));
}

TEST(MakeHeader, NeverTakesAValueForAFormat)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_multipart_mail(mail);
    const std::string value = "%s%n%d%%";
    mail.m_cDate = CutlCPLBMString(value.c_str());
    mail.m_cSubject = CutlCPLBMString(value.c_str());
    mail.m_cBoundaryString = CutlCPLBMString(value.c_str());
    set_address(mail.m_cFrom, value);
    set_address(mail.m_cTo, value);
    set_address(mail.m_cSender, value);
    mail.SetMessageID(value.c_str());
    mail.SetInReplyTo("<%s>");
    EXPECT_EQ("", octet_difference("Date: %s%n%d%%\r\nFrom: %s%n%d%%\r\nSubject: %s%n%d%%\r\nTo: %s%n%d%%\r\n"
                                   "Sender: %s%n%d%%\r\nMessage-Id: <%s%n%d%%>\r\nIn-Reply-To: <%s>\r\n"
                                   "Mime-Version: 1.0\r\n"
                                   "Content-Type: multipart/mixed;\r\n\tboundary=\"%s%n%d%%\"\r\n"
                                   "Content-Transfer-Encoding: 8bit\r\n\r\n--%s%n%d%%\r\n"
                                   "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n"
                                   "Content-Transfer-Encoding: 7bit\r\n\r\n",
                                   header_of(mail)));
}

TEST(MakeHeader, LeavesTheMailAsItIs)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_multipart_mail(mail);
    mail.m_cMessageID = CutlCPLBMString();
    header_of(mail);
    EXPECT_EQ("(null)", text_of(mail.m_cMessageID)) << "a fresh identifier is not kept";
    EXPECT_EQ(3, static_cast<int>(mail.m_eContentType));
    EXPECT_EQ(0, static_cast<int>(mail.m_eTransferEncoding));
    EXPECT_EQ(nullptr, mail.m_pBuffer);
}

TEST(MakeHeader, TracesEveryNullAddressItWalks)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_plain_mail(mail);
    for (velorin::CntsMLUTLMailAddress* const none :
         {&mail.m_cCc, &mail.m_cBcc, &mail.m_cReplyTo, &mail.m_cSender, &mail.m_cMdnAddress}) {
        none->m_cAddress = CutlCPLBMString();
        platform.expect_trace(kNullAddress);
    }
    EXPECT_NE(std::string::npos, header_of(mail).find("\r\nTo: a@x\r\nMessage-Id: <m@x>\r\nMime-Version"));
}

TEST(MakeHeader, AcceptsAnyKindOfRecipientAlone)
{
    const struct {
        const char* to;
        const char* cc;
        const char* bcc;
        const char* lines;
    } cases[] = {
        {"a@x", "", "", "To: a@x\r\n"},
        {"", "a@x", "", "Cc: a@x\r\n"},
        {"", "", "a@x", ""},
        {" ; ", ",", "a@x,b@x", ""},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        CntsSMTPSendMail mail;
        fill_plain_mail(mail);
        set_address(mail.m_cTo, c.to);
        set_address(mail.m_cCc, c.cc);
        set_address(mail.m_cBcc, c.bcc);
        EXPECT_NE(std::string::npos,
                  header_of(mail).find("Subject: A subject\r\n" + std::string(c.lines) + "Message-Id:"))
            << c.to << "|" << c.cc << "|" << c.bcc;
    }
}

struct RefusedCase {
    const char* label;
    std::function<void(CntsSMTPSendMail&)> spoil;
    std::vector<std::string> traces;
};

TEST(MakeHeader, RefusesAnIncompleteMail)
{
    const std::string begin = "<Error> : CntsSMTPSendMail::MakeHeader : ";
    const RefusedCase cases[] = {
        {"charset unknown",
         [](CntsSMTPSendMail& m) { m.m_eCharSet = CntsMLUTLMailType::eCharSetUnknown; },
         {begin + "IsCharSetAvail NG\n"}},
        {"charset none",
         [](CntsSMTPSendMail& m) { m.m_eCharSet = CntsMLUTLMailType::eCharSetEnd; },
         {begin + "IsCharSetAvail NG\n"}},
        {"charset is looked at first",
         [](CntsSMTPSendMail& m) {
             m.m_eCharSet = CntsMLUTLMailType::eCharSetEnd;
             m.m_cDate = CutlCPLBMString();
         },
         {begin + "IsCharSetAvail NG\n"}},
        {"no date", [](CntsSMTPSendMail& m) { m.m_cDate = CutlCPLBMString(); }, {begin + "pdate == NULL\n"}},
        {"no date, no From",
         [](CntsSMTPSendMail& m) {
             m.m_cDate = CutlCPLBMString();
             m.m_cFrom.m_cAddress = CutlCPLBMString();
         },
         {begin + "pdate == NULL\n"}},
        {"no From",
         [](CntsSMTPSendMail& m) { m.m_cFrom.m_cAddress = CutlCPLBMString(); },
         {begin + "pfrom == NULL\n"}},
        {"no subject",
         [](CntsSMTPSendMail& m) { m.m_cSubject = CutlCPLBMString(); },
         {begin + "psubject == NULL\n"}},
        {"no recipient",
         [](CntsSMTPSendMail& m) { set_address(m.m_cTo, ""); },
         {begin + "addr_count == 0\n"}},
        {"separators are no recipient",
         [](CntsSMTPSendMail& m) { set_address(m.m_cTo, " ;,"); },
         {begin + "addr_count == 0\n"}},
        {"null recipients",
         [](CntsSMTPSendMail& m) {
             m.m_cTo.m_cAddress = CutlCPLBMString();
             m.m_cCc.m_cAddress = CutlCPLBMString();
             m.m_cBcc.m_cAddress = CutlCPLBMString();
         },
         {kNullAddress, kNullAddress, kNullAddress, begin + "addr_count == 0\n"}},
        {"two senders",
         [](CntsSMTPSendMail& m) { set_address(m.m_cSender, "a@x,b@x"); },
         {begin + "senderaddr_count > 1\n"}},
        {"three senders",
         [](CntsSMTPSendMail& m) { set_address(m.m_cSender, "a@x;b@x;c@x"); },
         {begin + "senderaddr_count > 1\n"}},
        {"application",
         [](CntsSMTPSendMail& m) { m.m_eContentType = CntsMLUTLMailType::eContentTypeApplicationPdf; },
         {begin + "Invalid ContentType.\n"}},
        {"message",
         [](CntsSMTPSendMail& m) { m.m_eContentType = CntsMLUTLMailType::eContentTypeMessagePartial; },
         {begin + "Invalid ContentType.\n"}},
        {"image",
         [](CntsSMTPSendMail& m) { m.m_eContentType = CntsMLUTLMailType::eContentTypeImageTiff; },
         {begin + "Invalid ContentType.\n"}},
        {"type 13",
         [](CntsSMTPSendMail& m) { m.m_eContentType = CntsMLUTLMailType::eContentTypeEnd; },
         {begin + "Invalid ContentType.\n"}},
        {"type 14",
         [](CntsSMTPSendMail& m) { m.m_eContentType = CntsMLUTLMailType::eContentTypeUnknown; },
         {begin + "Invalid ContentType.\n"}},
        {"type out of range",
         [](CntsSMTPSendMail& m) { m.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(99); },
         {begin + "Invalid ContentType.\n"}},
    };
    for (const RefusedCase& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        fill_plain_mail(mail);
        c.spoil(mail);
        for (const std::string& line : c.traces)
            platform.expect_trace(line);
        expect_no_header(mail);
        EXPECT_EQ(0u, platform.live_blocks());
    }
}

TEST(MakeHeader, RefusesIdentifiersWithoutBrackets)
{
    const struct {
        const char* label;
        void (*spoil)(CntsSMTPSendMail&);
        bool warns;
    } cases[] = {
        {"In-Reply-To", [](CntsSMTPSendMail& m) { m.SetInReplyTo("id1"); }, false},
        {"In-Reply-To never closed", [](CntsSMTPSendMail& m) { m.SetInReplyTo("<id1"); }, true},
        {"References", [](CntsSMTPSendMail& m) { m.m_cReferences = CutlCPLBMString("id1"); }, false},
        {"References, blank", [](CntsSMTPSendMail& m) { m.m_cReferences = CutlCPLBMString(" "); }, false},
        {"Message-Id past its setter", [](CntsSMTPSendMail& m) { m.m_cMessageID = CutlCPLBMString("id1"); },
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        fill_plain_mail(mail);
        c.spoil(mail);
        if (c.warns)
            platform.expect_trace("<Warning>CntsSMTPSendMail::MakeHeaderBracket:not found bracket'>'\n");
        expect_numbered_trace(platform,
                              "<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderBracket[NG]: Line");
        expect_no_header(mail);
        EXPECT_EQ(0u, platform.live_blocks());
    }
}

}  // namespace
}  // namespace velorin_test
