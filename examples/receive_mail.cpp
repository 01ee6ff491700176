// Shows what a POP3 mailbox holds and leaves it there: MAIL_PASSWORD=... receive_mail SERVER PORT USER
#include <cstdio>
#include <cstdlib>

#include "CutlCPLBOSBoundary.h"
#include "ntc_email.h"
#include "velorin_mail_service.h"
#include "velorin_return_codes.h"

using velorin::return_code::kAnswerCut;
using velorin::return_code::kNoMoreMail;

static const char* shown(const CutlCPLBMString& text)
{
    return text.GetLength() > 0 ? text.GetString() : "-";
}

// Undoes the transfer encoding of one piece; each decodes by itself, and joined they are the part.
//   result  octets, which an application would write to a file here
static long decoded_length(const velorin::CntsPOP3ReceiveMailPart& piece)
{
    void* octets = nullptr;
    long length = piece.m_nLength;
    if (piece.m_eTransferEncoding == velorin::CntsMLUTLMailType::eTransferEncodingBase64)
        velorin::CntsMLUTLMimeUtility::FromB64(piece.m_pBuffer, piece.m_nLength, octets, length);
    else if (piece.m_eTransferEncoding == velorin::CntsMLUTLMailType::eTransferEncodingQuotedPrintable)
        velorin::CntsMLUTLMimeUtility::FromQP(piece.m_pBuffer, piece.m_nLength, octets, length);
    CutlCPLBOSBoundary::MemFree(octets);
    return length;
}

static std::uint32_t show_mail(velorin::CntsPOP3Boundary& session, const velorin::CntsPOP3MailInfo& info)
{
    velorin::CntsPOP3ReceiveMail mail(info);
    std::uint32_t status = session.ReceiveHeader(mail, 1);  // 1: header texts as UTF-8
    if (status != 0 && status != kAnswerCut) return status;
    std::printf("%s: %s\n", shown(mail.m_cFrom.m_cAddress), shown(mail.m_cSubject));
    const bool is_multipart = mail.m_nPartDepth > 0;
    while (mail.m_bIsHasNext != 0) {
        if (is_multipart) {
            status = session.ReceivePartHeader(mail, 1);
            if (status != 0 && status != kAnswerCut) return status;
            if (mail.GetPart()->m_bIsTerminate != 0) continue;  // a multipart in it; its parts come next
        }
        long octets = 0;
        do {
            status = is_multipart ? session.ReceivePartBody(mail) : session.ReceiveBody(mail);
            if (status != 0) return status;
            octets += decoded_length(*mail.GetPart());
        } while (mail.GetPart()->m_bIsTerminate == 0);
        std::printf("  file %s, %ld octets\n", shown(mail.GetPart()->m_cFIleName), octets);
    }
    return 0;
}

int main(int argc, char** argv)
{
    if (argc != 4) return std::fputs("usage: receive_mail SERVER PORT USER\n", stderr), 64;
    const velorin::EmbeddedMailService service;  // or leave it out and run velorin-maild

    velorin::SPOP3Setting account;
    account.c_server = argv[1];
    account.n_port = std::atoi(argv[2]);
    account.c_user_id = argv[3];
    account.c_passwd = std::getenv("MAIL_PASSWORD");

    velorin::CntsPOP3Boundary session{velorin::CntsPOP3Settings(account)};
    velorin::CntsPOP3MailInfoList list(1);  // the walk needs no more
    velorin::CntsPOP3MailInfo info;
    std::uint32_t status = session.Connect();
    while (status == 0 && (status = session.ListNext(list, info)) == 0)
        status = show_mail(session, info);
    if (status == kNoMoreMail) status = session.Close();
    if (status == 0) return 0;
    const velorin::ReturnCode* reason = velorin::find_return_code(status);
    std::fprintf(stderr, "not received: %s\n", reason != nullptr ? reason->sentence : "unknown code");
    return 69;
}
