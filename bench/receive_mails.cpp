// Fetches all mails of a POP3 mailbox and writes each part, decoded, to a file of its own, as N or N-PART:
//   receive_mails PORT FOLDER [--daemon]
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

constexpr int kBook = 1;                      // entries of the list, which travels whole: no book is kept
constexpr std::size_t kFileBuffer = 1 << 16;  // octets

struct Failure {
    std::string step;
    std::uint32_t status;
};

// 0, or what the caller knows how to go on with.
std::uint32_t check(const char* step, std::uint32_t status)
{
    const ReturnCode* const reason = status != 0 ? find_return_code(status) : nullptr;
    const std::string name = reason != nullptr ? reason->name : "";
    if (status != 0 && name != "no-more-mail" && name != "no-more-part" && name != "answer-cut")
        throw Failure{step, status};
    return status;
}

struct Block {
    ~Block() { CutlCPLBOSBoundary::MemFree(octets); }
    void* octets = nullptr;
    long length = 0;
};

// Takes the octets of the part and gives them as they were before they were encoded.
void take_decoded(CntsPOP3ReceiveMailPart& part, Block& decoded)
{
    Block piece;
    if (part.GetBuffer(piece.octets, piece.length) == 0) throw Failure{"piece", 0};
    const char* const text = static_cast<const char*>(piece.octets);
    int done = 1;
    switch (part.m_eTransferEncoding) {
    case CntsMLUTLMailType::eTransferEncodingBase64:
        done = CntsMLUTLMimeUtility::FromB64(text, piece.length, decoded.octets, decoded.length);
        break;
    case CntsMLUTLMailType::eTransferEncodingQuotedPrintable:
        done = CntsMLUTLMimeUtility::FromQP(text, piece.length, decoded.octets, decoded.length);
        break;
    default:
        std::swap(decoded.octets, piece.octets);
        std::swap(decoded.length, piece.length);
        break;
    }
    if (done == 0) throw Failure{"decoding", 0};
}

class Receiver {
public:
    Receiver(CntsPOP3Boundary& session, std::string folder)
        : session_(session), folder_(std::move(folder)), buffer_(new char[kFileBuffer])
    {
    }

    void receive_all()
    {
        int count = 0;
        check("count", session_.Stat(count));
        CntsPOP3MailInfoList list(kBook);
        check("list", session_.List(list, 0));
        CntsPOP3MailInfo info;
        int received = 0;
        while (check("next mail", session_.ListNext(list, info)) == 0) {
            receive(info);
            ++received;
        }
        if (received != count) throw Failure{"a mail is missing", 0};
    }

private:
    using Step = std::uint32_t (CntsPOP3Boundary::*)(CntsPOP3ReceiveMail&);

    void receive(const CntsPOP3MailInfo& info)
    {
        CntsPOP3ReceiveMail mail(info);
        check("header", session_.ReceiveHeader(mail, 1));
        const std::string path = folder_ + "/" + std::to_string(info.m_nId);
        if (mail.m_nPartDepth == 0) return receive_body(mail, &CntsPOP3Boundary::ReceiveBody, path);
        for (int number = 1; mail.m_bIsHasNext != 0; ++number) {
            if (check("part", session_.ReceivePartHeader(mail, 1)) != 0) return;
            if (mail.GetPart()->m_bIsTerminate != 0) continue;  // a multipart: its parts come next
            receive_body(mail, &CntsPOP3Boundary::ReceivePartBody, path + "-" + std::to_string(number));
        }
    }

    void receive_body(CntsPOP3ReceiveMail& mail, Step step, const std::string& path)
    {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"),
                                                                   std::fclose);
        if (file == nullptr) throw Failure{path, 0};
        std::setvbuf(file.get(), buffer_.get(), _IOFBF, kFileBuffer);
        do {
            check("piece", (session_.*step)(mail));
            Block decoded;
            take_decoded(*mail.GetPart(), decoded);
            const auto length = static_cast<std::size_t>(decoded.length);
            if (std::fwrite(decoded.octets, 1, length, file.get()) != length) throw Failure{path, 0};
        } while (mail.GetPart()->m_bIsTerminate == 0);
        if (std::fflush(file.get()) != 0) throw Failure{path, 0};
    }

    CntsPOP3Boundary& session_;
    std::string folder_;
    std::unique_ptr<char[]> buffer_;
};

int run(int port, const char* folder)
{
    SPOP3Setting account;
    account.c_server = "127.0.0.1";
    account.n_port = port;
    account.c_user_id = "reader";
    account.c_passwd = "anything";
    try {
        CntsPOP3Boundary session{CntsPOP3Settings(account)};
        check("connect", session.Connect());
        Receiver(session, folder).receive_all();
        check("close", session.Close());
    } catch (const Failure& failure) {
        const ReturnCode* const reason = find_return_code(failure.status);
        std::fprintf(stderr, "receive_mails: %s: %s\n", failure.step.c_str(),
                     reason != nullptr ? reason->sentence : "failed");
        return 1;
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments)
{
    const bool daemon = count == 4 && std::strcmp(arguments[3], "--daemon") == 0;
    if (count != 3 && !daemon) return std::fputs("usage: receive_mails PORT FOLDER [--daemon]\n", stderr), 64;
    const auto service = daemon ? nullptr : std::make_unique<EmbeddedMailService>();
    if (service != nullptr && !service->running()) {
        std::fprintf(stderr, "receive_mails: %s\n", service->error());
        return 1;
    }
    return run(std::atoi(arguments[1]), arguments[2]);
}
