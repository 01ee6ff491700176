// Sends one mail through an SMTP server: send_mail SERVER PORT FROM TO
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "CutlCPLBOSBoundary.h"
#include "ntc_email.h"
#include "velorin_mail_service.h"

int main(int argc, char** argv)
{
    if (argc != 5) return std::fputs("usage: send_mail SERVER PORT FROM TO\n", stderr), 64;
    const velorin::EmbeddedMailService service;  // or leave it out and run velorin-maild

    velorin::nts_smtp_settings account;
    account.c_server = argv[1];
    account.n_port = std::atoi(argv[2]);

    velorin::CntsSMTPSendMail mail;
    mail.m_cFrom.m_cAddress = argv[3];
    mail.m_cTo.m_cAddress = argv[4];
    mail.m_cSubject = "A first mail";
    mail.m_cDate = "Thu, 01 Jan 2026 12:00:00 +0000";
    mail.m_eContentType = velorin::CntsMLUTLMailType::eContentTypeTextPlain;
    mail.m_eCharSet = velorin::CntsMLUTLMailType::eCharSetUsAscii;
    mail.m_eTransferEncoding = velorin::CntsMLUTLMailType::eTransferEncoding7bit;

    const char text[] = "It works.\r\n";
    long length = sizeof text - 1;
    void* body = CutlCPLBOSBoundary::MemAllocate(sizeof text);  // the mail takes the block over
    if (body == nullptr) return 71;
    std::memcpy(body, text, sizeof text);
    if (mail.SetBuffer(body, length) == 0) return 71;

    velorin::CntsSMTPBoundary session{velorin::CntsSMTPSettings(account)};
    std::uint32_t status = session.Connect();
    if (status == 0) status = session.SendHeader(mail);
    if (status == 0) status = session.SendBody(mail);
    if (status == 0) status = session.Close(mail);
    if (status == 0) return std::puts("sent"), 0;
    const velorin::ReturnCode* reason = velorin::find_return_code(status);
    std::fprintf(stderr, "not sent: %s\n", reason != nullptr ? reason->sentence : "unknown code");
    return 69;
}
