// Sends small mails one after another over one connection: many_mails PORT COUNT [--daemon]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "CutlCPLBOSBoundary.h"
#include "ntc_email.h"
#include "velorin_mail_service.h"

namespace {

using namespace velorin;

std::string small_text()
{
    std::string text;
    for (int line = 0; line < 20; ++line)
        text += "A line of a small mail, as long as lines of text often are.\r\n";
    return text;
}

void compose(CntsSMTPSendMail& mail)
{
    mail.m_cFrom.m_cAddress = "sender@example.com";
    mail.m_cTo.m_cAddress = "reader@example.org";
    mail.m_cSubject = "A small mail";
    mail.m_cDate = "Thu, 01 Jan 2026 12:00:00 +0000";
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
    mail.m_eCharSet = CntsMLUTLMailType::eCharSetUsAscii;
    mail.m_eTransferEncoding = CntsMLUTLMailType::eTransferEncoding7bit;
}

bool queue(CntsSMTPSendMail& mail, const std::string& text)
{
    void* block = CutlCPLBOSBoundary::MemAllocate(text.size());
    if (block == nullptr) return false;
    std::memcpy(block, text.data(), text.size());
    long length = static_cast<long>(text.size());
    if (mail.SetBuffer(block, length) != 0) return true;
    CutlCPLBOSBoundary::MemFree(block);
    return false;
}

int fail(const char* step, std::uint32_t status)
{
    const ReturnCode* const reason = find_return_code(status);
    std::fprintf(stderr, "many_mails: %s: %s\n", step, reason != nullptr ? reason->sentence : "failed");
    return 1;
}

int send(int port, int count)
{
    nts_smtp_settings account;
    account.c_server = "127.0.0.1";
    account.n_port = port;
    CntsSMTPBoundary session{CntsSMTPSettings(account)};
    if (const std::uint32_t status = session.Connect()) return fail("connect", status);
    const std::string text = small_text();
    for (int number = 0; number < count; ++number) {
        CntsSMTPSendMail mail;
        compose(mail);
        if (const std::uint32_t status = session.SendHeader(mail)) return fail("header", status);
        if (!queue(mail, text)) return fail("text", 0);
        if (const std::uint32_t status = session.SendBody(mail)) return fail("text", status);
        mail.FreeBuffer();
        if (const std::uint32_t status = session.Close(mail)) return fail("close", status);
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments)
{
    const bool daemon = count == 4 && std::strcmp(arguments[3], "--daemon") == 0;
    if (count != 3 && !daemon) return std::fputs("usage: many_mails PORT COUNT [--daemon]\n", stderr), 64;
    const auto service = daemon ? nullptr : std::make_unique<EmbeddedMailService>();
    if (service != nullptr && !service->running()) {
        std::fprintf(stderr, "many_mails: %s\n", service->error());
        return 1;
    }
    return send(std::atoi(arguments[1]), std::atoi(arguments[2]));
}
