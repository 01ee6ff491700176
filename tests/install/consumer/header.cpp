#include <string>

#include <CutlCPLBOSBoundary.h>
#include <ntc_email.h>

std::string compose_header()
{
    velorin::CntsSMTPSendMail mail;
    mail.m_cDate = "Thu, 01 Jan 2026 12:00:00 +0000";
    mail.m_cFrom.m_cAddress = "from@example.com";
    mail.m_cTo.m_cAddress = "to@example.com";
    mail.m_cSubject = "consumer";
    mail.m_eContentType = velorin::CntsMLUTLMailType::eContentTypeTextPlain;
    mail.m_eCharSet = velorin::CntsMLUTLMailType::eCharSetUtf8;
    char* block = nullptr;
    long length = 0;
    if (mail.MakeHeader(block, length) == 0) return "";
    const std::string header(block, static_cast<std::size_t>(length));
    CutlCPLBOSBoundary::MemFree(block);
    return header;
}
