#include "attack_mails.h"

#include <cstring>
#include <new>

#include "CutlCPLBOSBoundary.h"

#include "service_client.h"

namespace velorin_test {

using velorin::CntsMLUTLMailType;

velorin::CntsSMTPSettings smtp_account(std::uint16_t port)
{
    velorin::nts_smtp_settings record;
    record.c_server = "127.0.0.1";
    record.n_port = port;
    return velorin::CntsSMTPSettings(record);
}

velorin::CntsPOP3Settings pop3_account(std::uint16_t port)
{
    velorin::SPOP3Setting record;
    record.c_server = "127.0.0.1";
    record.n_port = port;
    record.c_user_id = kUser;
    record.c_passwd = kPassword;
    record.c_address.m_cAddress = "user@example.com";
    return velorin::CntsPOP3Settings(record);
}

void fill_mail(velorin::CntsSMTPSendMail& mail, const std::string& id)
{
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
    mail.m_eTransferEncoding = CntsMLUTLMailType::eTransferEncoding7bit;
    mail.m_eCharSet = CntsMLUTLMailType::eCharSetUsAscii;
    mail.m_cFrom = velorin::CntsMLUTLMailAddress("sender@example.com");
    mail.m_cTo = velorin::CntsMLUTLMailAddress("one@example.org");
    mail.m_cSubject = "A test";
    mail.m_cDate = "Thu, 01 Jan 2026 00:00:00 +0000";
    mail.SetMessageID(id.c_str());
}

void fill_multipart(velorin::CntsSMTPSendMail& mail, const std::string& id)
{
    fill_mail(mail, id);
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeMultipartMixed;
    mail.m_cBoundaryString = "cut";
    auto* const part = new velorin::CntsSMTPSendMailPart;
    part->m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
    part->m_eTransferEncoding = CntsMLUTLMailType::eTransferEncoding7bit;
    part->m_eCharSet = CntsMLUTLMailType::eCharSetUsAscii;
    mail.SetPart(part);
}

void queue(velorin::CntsMLUTLMailPart& part, const std::string& octets)
{
    part.FreeBuffer();
    void* block = CutlCPLBOSBoundary::MemAllocate(octets.size());
    if (block == nullptr) throw std::bad_alloc();
    std::memcpy(block, octets.data(), octets.size());
    long length = static_cast<long>(octets.size());
    if (part.SetBuffer(block, length) != 1) throw std::bad_alloc();
}

std::string header_of(const std::string& id)
{
    return "Date: Thu, 01 Jan 2026 00:00:00 +0000\r\n"
           "From: sender@example.com\r\n"
           "Subject: A test\r\n"
           "To: one@example.org\r\n"
           "Message-Id: <" +
           id +
           ">\r\n"
           "Mime-Version: 1.0\r\n"
           "Content-Type: text/plain; charset=\"us-ascii\"\r\n"
           "Content-Transfer-Encoding: 7bit\r\n"
           "\r\n";
}

std::uint32_t send_mail(velorin::CntsSMTPBoundary& session, velorin::CntsSMTPSendMail& mail,
                        const std::string& body)
{
    std::uint32_t code = session.SendHeader(mail);
    if (code != 0) return code;
    queue(mail, body);
    code = session.SendBody(mail);
    return code != 0 ? code : session.Close(mail);
}

std::uint32_t read_body(velorin::CntsPOP3Boundary& session, velorin::CntsPOP3ReceiveMail& mail,
                        std::string& body)
{
    body.clear();
    do {
        const std::uint32_t code = session.ReceiveBody(mail);
        if (code != 0) return code;
        const velorin::CntsPOP3ReceiveMailPart& piece = *mail.GetPart();
        if (piece.m_nLength > 0) body.append(piece.m_pBuffer, static_cast<std::size_t>(piece.m_nLength));
    } while (mail.m_bIsHasNext != 0);
    return 0;
}

}  // namespace velorin_test
