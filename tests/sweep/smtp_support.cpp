#include "smtp_support.h"

#include <cstring>

#include "CntsPOP3Settings.h"
#include "CutlCPLBOSBoundary.h"

namespace velorin_test::sweep {

velorin::SPOP3Setting pop3_record()
{
    velorin::SPOP3Setting record;
    record.c_address.m_cAddress.CopyString("the owner of this mailbox <owner@example.org>", -1);
    record.c_server.CopyString("pop3.example.org", -1);
    record.n_port = 995;
    record.c_user_id.CopyString("owner", -1);
    record.c_passwd.CopyString("a password that no trace line may show", -1);
    record.is_apop = 1;
    record.n_timeout = 31;
    record.b_is_ipv6 = 1;
    record.n_tls_mode = 2;
    record.n_ssl_auth = 3;
    record.n_ssl_encrypt = 4;
    return record;
}

velorin::nts_smtp_settings smtp_record()
{
    static velorin::CntsPOP3Settings pop3((pop3_record()));
    velorin::nts_smtp_settings record;
    record.c_server.CopyString("smtp.example.org", -1);
    record.c_usr_id.CopyString("sender", -1);
    record.c_paswd.CopyString("another password", -1);
    record.c_host_name.CopyString("device.example.org", -1);
    record.p_pop3_settings = &pop3;
    record.auth_kind = 5;
    record.n_port = 587;
    record.n_tmo = 32;
    record.n_size_limit = 1000000;
    record.n_pop_wait_time = 6;
    record.b_is_ipv6 = 1;
    record.tlsmode = 7;
    record.sslauth = 8;
    record.sslencrypt = 9;
    return record;
}

std::shared_ptr<velorin::CntsSMTPBoundary> open_smtp_session(PlatformDouble& platform)
{
    platform.on_exchange([](const Exchange&) { return Answer{}; });
    return std::make_shared<velorin::CntsSMTPBoundary>(velorin::CntsSMTPSettings(smtp_record()));
}

void queue(velorin::CntsMLUTLMailPart& part, const char* octets)
{
    long length = static_cast<long>(std::strlen(octets));
    void* block = CutlCPLBOSBoundary::MemAllocate(static_cast<std::size_t>(length));
    std::memcpy(block, octets, static_cast<std::size_t>(length));
    part.SetBuffer(block, length);
}

std::shared_ptr<velorin::CntsSMTPSendMail> send_mail()
{
    using Type = velorin::CntsMLUTLMailType;
    const auto mail = std::make_shared<velorin::CntsSMTPSendMail>();
    mail->m_eContentType = Type::eContentTypeMultipartMixed;
    mail->m_eTransferEncoding = Type::eTransferEncoding7bit;
    mail->m_eContentDisposition = Type::eContentDispositionInline;
    mail->m_eCharSet = Type::eCharSetIso2022Jp;
    mail->m_cContentType.CopyString("multipart/mixed; what the application says", -1);
    mail->m_cContentTypeString.CopyString("the whole value of the content type", -1);
    mail->m_cTransferEncoding.CopyString("7bit, as a text", -1);
    mail->m_cFIleName.CopyString("a file name of the mail itself.txt", -1);
    mail->m_cExtension.CopyString("txt", -1);
    mail->m_bIsTerminate = 1;
    mail->m_cFrom.m_cAddress.CopyString("\"Device, Third Floor\" <device@example.org>", -1);
    mail->m_cTo.m_cAddress.CopyString("first@example.org; second@example.org", -1);
    mail->m_cCc.m_cAddress.CopyString("third@example.org", -1);
    mail->m_cBcc.m_cAddress.CopyString("fourth@example.org", -1);
    mail->m_cReplyTo.m_cAddress.CopyString("fifth@example.org", -1);
    mail->m_cSender.m_cAddress.CopyString("sixth@example.org", -1);
    mail->m_cSubject.CopyString("a subject that is longer than a short string", -1);
    mail->m_cBoundaryString.CopyString("----=_boundary_of_the_sweep", -1);
    mail->m_cDate.CopyString("Sat, 21 Nov 2026 12:00:00 +0900", -1);
    mail->SetMdnAddress("seventh@example.org");
    mail->SetMessageID("<identifier@device.example.org>");
    mail->SetInReplyTo("<another@example.org>");
    mail->SetReferences("<one@example.org>\r\n\t<another@example.org>");
    queue(*mail, "the text of the mail\r\n");
    auto* const part = new velorin::CntsSMTPSendMailPart;
    part->m_eContentType = Type::eContentTypeApplicationPdf;
    part->m_eTransferEncoding = Type::eTransferEncodingBase64;
    part->m_eContentDisposition = Type::eContentDispositionAttachment;
    part->m_cFIleName.CopyString("attachment.pdf", -1);
    queue(*part, "JVBERi0xLjQK");
    mail->SetPart(part);
    return mail;
}

}  // namespace velorin_test::sweep
